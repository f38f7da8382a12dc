// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The family's two text files: the configured action, and the paths that may not be protected. Both are read
// by lines; lines of less than two bytes (the line end counts) and lines that begin with "#" say nothing.
#include "common/edge.h"
#include "common/framework.h"
#include "common/handles.h"
#include "tresk_extend.h"

#include <cerrno>
#include <cstring>

namespace tresk::ppro {

namespace {

constexpr char kConfigurationFile[] = "/etc/tresk/ppro/ppro.conf";
constexpr char kBlacklistFile[] = "/etc/tresk/ppro/ppro_blacklist";
constexpr std::size_t kShortestLine = 2;

/// The lines of a file, one at a time.
///
/// A line's length is what was read, so a NUL byte inside a line does not end it for those who look at its
/// end, while texts are compared up to the first NUL.
class LineReader {
  public:
    explicit LineReader(const char* path) : stream_(std::fopen(path, "re")) {}

    explicit operator bool() const noexcept { return stream_ != nullptr; }

    /// Reads on to a line that is long enough to say something; false at the end and on failure.
    bool next()
    {
        do {
            char* line = line_.release();
            const ssize_t read = ::getline(&line, &capacity_, stream_.get());
            line_.reset(line);
            if (read < 0) {
                return false;
            }
            length_ = static_cast<std::size_t>(read);
        } while (length_ < kShortestLine);
        cut_last('\n');
        return true;
    }

    /// Once next() answered false: whether that was the end of the file.
    [[nodiscard]] bool at_end() const noexcept { return std::feof(stream_.get()) != 0; }

    /// Cuts the line's last byte off if it is @byte.
    bool cut_last(char byte) noexcept
    {
        if (length_ == 0 || line_.get()[length_ - 1] != byte) {
            return false;
        }
        line_.get()[--length_] = '\0';
        return true;
    }

    /// The line past its leading blanks; a null pointer for a comment. Cut before: this may move the text.
    [[nodiscard]] const char* text()
    {
        const char* trimmed = ltrim_anyway(line_.get());
        return *trimmed == '#' ? nullptr : trimmed;
    }

  private:
    File stream_;
    Malloced<char> line_;
    std::size_t capacity_ = 0;
    std::size_t length_ = 0;
};

/// What follows the first "=" of a line that sets the action; a null pointer for any other line.
const char* action_in(const char* line)
{
    if (line == nullptr || std::strstr(line, "action") == nullptr) {
        return nullptr;
    }
    const char* equals = std::strchr(line, '=');
    return equals == nullptr ? nullptr : equals + 1;
}

Malloced<char> copy_of(const char* text)
{
    Malloced<char> copy(::strdup(text));
    if (!copy) {
        throw std::bad_alloc();
    }
    return copy;
}

int get_action(char** action)
{
    LineReader lines(kConfigurationFile);
    if (action == nullptr || !lines) {
        return -1;
    }
    Malloced<char> setting;
    while (lines.next()) {
        if (const char* value = action_in(lines.text())) {
            setting = copy_of(value);
        }
    }
    if (!lines.at_end()) {
        return -1;
    }
    if (setting) {
        *action = setting.release();
    }
    return 0;
}

/// The line at which @lines stands against @path. A final "*" makes it a text that may stand anywhere.
bool matches(LineReader& lines, const char* path)
{
    const bool anywhere = lines.cut_last('*');
    const char* pattern = lines.text();
    if (pattern == nullptr) {
        return false;
    }
    return anywhere ? std::strstr(path, pattern) != nullptr : std::strcmp(path, pattern) == 0;
}

int report_unreadable_blacklist()
{
    std::fprintf(stderr, "%s: %s\n", kBlacklistFile, std::strerror(errno));
    return -1;
}

int path_in_blacklist(const char* path)
{
    if (path == nullptr) {
        return -1;
    }
    LineReader lines(kBlacklistFile);
    if (!lines) {
        return report_unreadable_blacklist();
    }
    while (lines.next()) {
        if (matches(lines, path)) {
            return 1;
        }
    }
    return lines.at_end() ? 0 : report_unreadable_blacklist();
}

} // namespace

} // namespace tresk::ppro

using namespace tresk;

TRESK_EXPORT int tresk_ppro_get_action(char** action)
{
    return at_edge(-1, [&] { return ppro::get_action(action); });
}

TRESK_EXPORT int ppro_path_in_blacklist(char* path)
{
    return at_edge(-1, [&] { return ppro::path_in_blacklist(path); });
}
