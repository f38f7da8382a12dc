// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_log: one line for each call, to the file that TRESK_STANDIN_LOG names, else to standard error:
//
//   log level=3 subject=- source=tresk_ppro:123 text=what was logged\n
//   error code=-1011 subject=/usr/bin/a text=what was recorded
//
// Fields are separated by one blank; "text" is the last one and runs to the end of the line. Control bytes
// and the backslash are written \n, \t, \xNN and \\ everywhere, blanks outside of "text" as \x20. A null
// subject is "-" (a subject "-" is \x2d); a null format leaves "text" out; the older logging call has no
// source. Each line is one write to an appending descriptor, so lines of several processes never mix.
#include "common/edge.h"
#include "common/framework.h"
#include "common/handles.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

using tresk::Descriptor;
using tresk::Malloced;

constexpr unsigned char LAST_CONTROL = 0x1f;
constexpr unsigned char DELETE = 0x7f;

void append_hex(std::string& out, unsigned char byte)
{
    std::array<char, 5> text;
    std::snprintf(text.data(), text.size(), "\\x%02x", static_cast<unsigned>(byte));
    out += text.data();
}

void append_escaped(std::string& out, std::string_view text, bool blanks_too)
{
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '\\') {
            out += "\\\\";
        } else if (character == '\n') {
            out += "\\n";
        } else if (character == '\t') {
            out += "\\t";
        } else if (byte <= LAST_CONTROL || byte == DELETE || (blanks_too && character == ' ')) {
            append_hex(out, byte);
        } else {
            out += character;
        }
    }
}

void append_word(std::string& out, const char* field, const char* word)
{
    out.append(" ").append(field).append("=");
    if (word == nullptr) {
        out += "-";
    } else if (std::string_view{word} == "-") {
        append_hex(out, '-');
    } else {
        append_escaped(out, word, true);
    }
}

[[gnu::format(printf, 2, 0)]] void append_text(std::string& line, const char* format, std::va_list arguments)
{
    if (format == nullptr) {
        return;
    }
    char* text = nullptr;
    if (::vasprintf(&text, format, arguments) < 0) {
        return;
    }
    const Malloced<char> owner{text};
    line += " text=";
    append_escaped(line, text, false);
}

Descriptor open_log()
{
    const char* file = std::getenv("TRESK_STANDIN_LOG");
    constexpr mode_t READABLE_BY_ALL = 0644;
    return file == nullptr || *file == '\0'
               ? Descriptor{}
               : Descriptor{::open(file, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, READABLE_BY_ALL)};
}

void write_line(std::string line)
{
    line += '\n';
    const Descriptor file = open_log();
    [[maybe_unused]] const ssize_t written =
        ::write(file ? file.get() : STDERR_FILENO, line.data(), line.size());
}

/// Callers pass strerror(errno) and go on with errno: logging never changes it.
template <class Body>
void without_touching_errno(Body body)
{
    const int saved = errno;
    tresk::at_edge(0, [&] {
        body();
        return 0;
    });
    errno = saved;
}

[[gnu::format(printf, 2, 0)]] void finish(std::string line, const char* format, std::va_list arguments)
{
    append_text(line, format, arguments);
    write_line(std::move(line));
}

} // namespace

TRESK_EXPORT void tresk_log_v2(int level, int /*one*/, int /*zero*/, const char* subject, const char* source,
                               int line, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    without_touching_errno([&] {
        std::string text = "log level=" + std::to_string(level);
        append_word(text, "subject", subject);
        append_word(text, "source", source);
        finish(text + ":" + std::to_string(line), format, arguments);
    });
    va_end(arguments);
}

TRESK_EXPORT void tresk_log(int level, int /*zero*/, const char* subject, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    without_touching_errno([&] {
        std::string text = "log level=" + std::to_string(level);
        append_word(text, "subject", subject);
        finish(std::move(text), format, arguments);
    });
    va_end(arguments);
}

TRESK_EXPORT void tresk_set_error(int code, const char* subject, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    without_touching_errno([&] {
        std::string text = "error code=" + std::to_string(code);
        append_word(text, "subject", subject);
        finish(std::move(text), format, arguments);
    });
    va_end(arguments);
}
