// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Two questions of package tools: is a package installed, does a program exist.
//
// The package manager is asked through a shell pipeline
//
//     LIST | grep NAME | BASE NAMES
//
// and a package is installed when a whole line of the answer equals its name. So grep only makes the answer
// shorter, and a name stands in the command only if it means itself to shell and grep alike: letters, digits
// and a few signs, without a leading dash. For any other name, be it one with a blank, a backslash, a
// bracket, a tilde or a control byte, grep is left out: the answer is the same and no shell ever sees the
// name.
#include "common/edge.h"
#include "common/handles.h"
#include "common/report.h"
#include "netctl/netctl_policy.h"
#include "tresk_extend.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace tresk::netctl {

namespace {

constexpr std::string_view kRefused = "|<>?*&^%$#@!`;'\"";
constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._+-";
/// No package's line is longer, in bytes.
constexpr std::size_t kLongestLine = 4094;
/// Read from the answer at once.
constexpr std::size_t kPieceBytes = 2048;

/// A package manager's way to list what is installed.
struct PackageManager {
    const char* program;
    const char* list;
    const char* base_names; ///< makes the list's lines names without versions
};

constexpr PackageManager kRpm = {"rpm", "rpm -qa", "awk -F '-[0-9]' '{print $1}'"};
/// dpkg also lists packages that were removed and left settings behind.
constexpr PackageManager kDpkg = {"dpkg-query", "dpkg-query -W -f '${Package} ${db:Status-Status}\\n'",
                                  "awk '$2 !~ /^(not-installed|half-installed|config-files)$/ {print $1}'"};

bool is_program(const std::string& file)
{
    struct stat status = {};
    return ::stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(file.c_str(), X_OK) == 0;
}

std::string command_search_path()
{
    if (const char* path = std::getenv("PATH")) {
        return path;
    }
    std::string standard(::confstr(_CS_PATH, nullptr, 0), '\0');
    ::confstr(_CS_PATH, standard.data(), standard.size());
    return standard.c_str(); // without the terminator, which was counted
}

/// An empty folder of the search path is the working directory.
bool is_on_search_path(const char* program)
{
    const std::string folders = command_search_path() + ":";
    for (std::size_t begin = 0; begin < folders.size();) {
        const std::size_t end = folders.find(':', begin);
        const std::string folder = folders.substr(begin, end - begin);
        if (is_program((folder.empty() ? "." : folder) + "/" + program)) {
            return true;
        }
        begin = end + 1;
    }
    return false;
}

const PackageManager& package_manager()
{
    return !is_on_search_path(kRpm.program) && is_on_search_path(kDpkg.program) ? kDpkg : kRpm;
}

bool is_refused(std::string_view name)
{
    return name.find_first_of(kRefused) != std::string_view::npos;
}

/// False for what no line of a package list can be.
bool could_be_listed(std::string_view name)
{
    return !name.empty() && name.size() <= kLongestLine && name.find('\n') == std::string_view::npos;
}

bool means_itself(std::string_view name)
{
    return name.front() != '-' && name.find_first_not_of(kPlain) == std::string_view::npos;
}

std::string query_for(std::string_view name, const PackageManager& manager)
{
    std::string command = std::string(manager.list) + " | ";
    if (means_itself(name)) {
        command.append("grep ").append(name).append(" | ");
    }
    return command + manager.base_names;
}

/// All that @answer brings; absent where it cannot be read to its end.
std::optional<std::string> whole_text(std::FILE* answer)
{
    std::string text;
    char piece[kPieceBytes];
    for (;;) {
        const ssize_t length = ::read(::fileno(answer), piece, sizeof piece);
        if (length == 0) {
            return text;
        }
        if (length < 0 && errno != EINTR) {
            return std::nullopt;
        }
        text.append(piece, length < 0 ? 0 : static_cast<std::size_t>(length));
    }
}

/// A line without its end may be the beginning of another.
bool has_whole_line(const std::string& text, std::string_view line)
{
    std::string wanted = "\n";
    wanted.append(line).append("\n");
    return ("\n" + text).find(wanted) != std::string::npos;
}

int is_installed(const char* function, std::string_view name)
{
    const std::string command = query_for(name, package_manager());
    const Pipe answer(::popen(command.c_str(), "re"));
    if (!answer) {
        const int cause = errno;
        log_error(kSource, function, "%s: popen is error, cmd = [%s]", function, command.c_str());
        errno = cause;
        return -1;
    }
    const std::optional<std::string> names = whole_text(answer.get());
    if (!names) {
        return -1;
    }
    return has_whole_line(*names, name) ? 1 : 0;
}

int check_package(const char* function, const char* name)
{
    if (name == nullptr) {
        return -1;
    }
    if (is_refused(name)) {
        log_error(kSource, function, "%s:The pkgname is invalid, pkgname=[%s]", function, name);
        return -1;
    }
    return could_be_listed(name) ? is_installed(function, name) : 0;
}

} // namespace

} // namespace tresk::netctl

using namespace tresk;

TRESK_EXPORT int check_pkg_is_install(const char* pkgname)
{
    return at_edge(-1, [&] { return netctl::check_package("check_pkg_is_install", pkgname); });
}

TRESK_EXPORT int check_program_is_exist(const char* name)
{
    return name != nullptr && ::access(name, F_OK) == 0 ? 1 : 0;
}
