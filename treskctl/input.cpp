// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/input.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace tresk::ctl {

namespace {

/// Appends all that is left of @descriptor; false with errno.
bool append_all(int descriptor, std::string& content)
{
    constexpr std::size_t kPieceBytes = 65536;
    std::vector<char> piece(kPieceBytes);
    ssize_t length = 0;
    while ((length = read_some(descriptor, piece)) > 0) {
        content.append(piece.data(), static_cast<std::size_t>(length));
    }
    return length == 0;
}

bool read_file(const std::string& file, std::string& content)
{
    if (file == kStandardInput) {
        return append_all(STDIN_FILENO, content);
    }
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    return opened && append_all(opened.get(), content);
}

} // namespace

ssize_t read_some(int descriptor, std::span<char> room)
{
    ssize_t length = -1;
    do {
        length = ::read(descriptor, room.data(), room.size());
    } while (length < 0 && errno == EINTR);
    return length;
}

std::optional<std::string> read_input(Run& run, const std::string& file)
{
    std::string content;
    if (read_file(file, content)) {
        return content;
    }
    run.fail({Cause::Input,
              std::string("cannot be read: ") + std::strerror(errno),
              {},
              file == kStandardInput ? "standard input" : file});
    return std::nullopt;
}

} // namespace tresk::ctl
