// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/input.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
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

/// Empty entries are no texts: the one behind the last separator, and lines left blank.
std::vector<std::string> entries_of(std::string_view content, char separator)
{
    std::vector<std::string> entries;
    while (!content.empty()) {
        const std::string_view entry = content.substr(0, content.find(separator));
        if (!entry.empty()) {
            entries.emplace_back(entry);
        }
        content.remove_prefix(std::min(entry.size() + 1, content.size()));
    }
    return entries;
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
    if (run.ask_user([&] { return read_file(file, content); })) {
        return content;
    }
    run.fail({Cause::Input,
              std::string("cannot be read: ") + std::strerror(errno),
              {},
              file == kStandardInput ? "standard input" : file});
    return std::nullopt;
}

std::optional<std::vector<std::string>> read_list(Run& run, const std::string& file)
{
    const auto content = read_input(run, file);
    if (!content) {
        return std::nullopt;
    }
    const char separator = run.settings().null_separated ? '\0' : '\n';
    // A text ends at a null character, wherever the line goes on.
    if (separator != '\0' && content->find('\0') != std::string::npos) {
        throw WrongUsage("--from-file: there are null characters in the list (see --null)");
    }
    return entries_of(*content, separator);
}

} // namespace tresk::ctl
