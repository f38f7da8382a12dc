// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/streams.h"

#include "common/handles.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace tresk::ctl {

namespace {

Descriptor output; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables): the process's streams
Descriptor error;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

bool write_all(const Descriptor& stream, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t length = ::write(stream.get(), text.data(), text.size());
        if (length < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(length < 0 ? 0 : static_cast<std::size_t>(length));
    }
    return true;
}

} // namespace

void keep_streams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) < 0) {
            // Else the next thing that is opened would be read or written instead. Reading and writing it
            // fails.
            (void)!::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
    (void)std::signal(SIGPIPE, SIG_IGN); // NOLINT(cert-err33-c): it cannot fail for this signal
    output = Descriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    error = Descriptor(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

bool write_output(std::string_view text)
{
    return write_all(output, text);
}

bool write_error(std::string_view text)
{
    return write_all(error, text);
}

void OutputPieces::add(std::string_view text)
{
    constexpr std::size_t most_kept = 65536;
    kept_ += text;
    if (kept_.size() >= most_kept) {
        write();
    }
}

bool OutputPieces::finish()
{
    write();
    errno = error_;
    return error_ == 0;
}

void OutputPieces::write()
{
    if (error_ == 0 && !write_output(kept_)) {
        error_ = errno;
    }
    kept_.clear();
}

bool output_is_terminal()
{
    return ::isatty(output.get()) == 1;
}

bool error_is_terminal()
{
    return ::isatty(error.get()) == 1;
}

} // namespace tresk::ctl
