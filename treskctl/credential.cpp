// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/credential.h"

#include "treskctl/input.h"
#include "treskctl/streams.h"
#include "treskctl/terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace tresk::ctl {

namespace {

/// Asks for a line, which is there to be read when this returns null; else it says what is wrong.
template <class Read>
const char* ask_at_terminal(const std::string& question, Read read)
{
    const SilentTerminal terminal;
    if (!terminal.silenced()) {
        return "the terminal cannot be silenced";
    }
    write_error(question);
    const char* const complaint = read();
    write_error("\n");
    return complaint;
}

} // namespace

Credential::~Credential()
{
    ::explicit_bzero(text_.data(), text_.size());
}

const char* Credential::read_line()
{
    std::size_t length = 0;
    bool ended = false;
    while (!ended && length < text_.size()) {
        const auto room = std::span(text_).subspan(length);
        const ssize_t got = read_some(STDIN_FILENO, room);
        if (got < 0) {
            return "cannot be read";
        }
        ended = got == 0 || std::memchr(room.data(), '\n', static_cast<std::size_t>(got)) != nullptr;
        length += static_cast<std::size_t>(got);
    }
    if (length == 0) {
        return "there is no credential";
    }
    char* const end = std::find(text_.data(), text_.data() + length, '\n');
    if (end == text_.data() + text_.size()) {
        return "longer than 1023 bytes";
    }
    const auto used = static_cast<std::size_t>(end - text_.data());
    ::explicit_bzero(end, text_.size() - used);
    return std::memchr(text_.data(), '\0', used) == nullptr ? nullptr : "there is a null character in it";
}

bool Credential::read(Run& run, const std::string& question)
{
    const bool asked = ::isatty(STDIN_FILENO) == 1;
    const char* const complaint = run.ask_user(
        [&] { return asked ? ask_at_terminal(question, [this] { return read_line(); }) : read_line(); });
    if (complaint != nullptr) {
        run.fail({Cause::Usage,
                  complaint,
                  {},
                  "standard input",
                  "The credential is the first line of it, without NUL and of at most 1023 bytes."});
    }
    return complaint == nullptr;
}

} // namespace tresk::ctl
