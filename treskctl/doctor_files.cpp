// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The checks of "doctor" about files.
#include "treskctl/doctor_checks.h"
#include "treskctl/policy/judged_files.h"
#include "treskctl/policy/ppro_lists.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <set>

namespace tresk::ctl {

namespace {

constexpr const char* kFolder = "/etc/tresk";
constexpr mode_t kPermissions = 07777;

bool is_missing(const std::string& file)
{
    struct stat status = {};
    return ::stat(file.c_str(), &status) != 0 && errno == ENOENT;
}

/// Whether the caller is the reason why it cannot be read.
bool is_forbidden(const std::string& file)
{
    return ::faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES;
}

Check broken_file(const JudgedFile& file, const Failure& failure, const std::string& root)
{
    const char* const usual = is_forbidden(root + file.file)
                                  ? "Run as a user who may read it."
                                  : "Nothing is read of the file: correct it, or put a copy of it back.";
    return {file.file,       Health::Failed,
            failure.message, failure.advice.empty() ? usual : failure.advice,
            failure.cause,   failure.subject.value_or("")};
}

Check file_with_problems(const JudgedFile& file, const std::vector<Problem>& problems)
{
    const Problem& first = problems.front();
    std::string detail = first.text;
    if (problems.size() > 1) {
        detail += "; and " + std::to_string(problems.size() - 1) + " more";
    }
    return {file.file,         Health::Warning,
            std::move(detail), "\"treskctl verify " + file.object + "\" tells all of it.",
            Cause::Policy,     text_of(first.place)};
}

/// A file without which a question is not answered; where a policy's is missing, it has no entries.
struct NeededFile {
    std::string_view file;
    const char* question;
    const char* advice;
};

constexpr std::array kNeededFiles = {
    NeededFile{kPproSettings, "ppro action", "Put it back; a line \"action=...\" in it is the setting."},
    NeededFile{kPproBlacklist, "ppro blacklist",
               "Put it back, with one pattern a line; an empty file forbids nothing."},
};

Check missing_file(const JudgedFile& file)
{
    const auto* const needed = std::ranges::find(kNeededFiles, file.file, &NeededFile::file);
    if (needed == kNeededFiles.end()) {
        return {file.file, Health::Ok, "missing: there are no entries"};
    }
    return {file.file, Health::Warning,
            "missing: \"treskctl " + std::string(needed->question) + "\" fails without it", needed->advice};
}

/// What is judged line by line has no entries to count.
Check sound_file(const JudgedFile& file, const Reading& reading, const std::string& root)
{
    if (is_missing(root + file.file)) {
        return missing_file(file);
    }
    const std::size_t entries = reading.entries.size();
    return {file.file, Health::Ok, entries == 0 ? "read" : "read, entries: " + std::to_string(entries)};
}

Check check_file(Run& run, const JudgedFile& file)
{
    const std::string& root = run.settings().root;
    const Reading reading = run.ask([&] { return file.judge(root); });
    if (reading.failure) {
        return broken_file(file, *reading.failure, root);
    }
    if (reading.damage) {
        return broken_file(file, *reading.damage, root);
    }
    const std::vector<Problem> problems = problems_in(reading);
    return problems.empty() ? sound_file(file, reading, root) : file_with_problems(file, problems);
}

/// The files, and every folder on the way to them from the framework's own on; sorted.
std::set<std::string> places_to_guard()
{
    std::set<std::string> places = {kFolder};
    for (const JudgedFile& file : judged_files()) {
        places.insert(file.file);
        places.insert(std::filesystem::path(file.file).parent_path());
    }
    return places;
}

std::string octal(mode_t mode)
{
    char text[8];
    (void)std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & kPermissions));
    return text;
}

bool is_owned_by_another(const struct stat& status)
{
    return status.st_uid != 0 && status.st_uid != ::geteuid();
}

/// Why the file or folder is in danger; nothing where it is not, or not there.
std::optional<Check> danger(const std::string& place, const std::string& root)
{
    const std::string shown_place = root + place;
    struct stat status = {};
    if (::stat(shown_place.c_str(), &status) != 0) {
        return errno == ENOENT
                   ? std::nullopt
                   : std::optional(Check{"modes", Health::Failed, shown_place + ": " + std::strerror(errno),
                                         "Run as a user who may look at it.", Cause::Policy});
    }
    const std::string mode = shown_place + " has mode " + octal(status.st_mode);
    if ((status.st_mode & S_IWOTH) != 0) {
        return Check{"modes", Health::Failed, mode + ": everybody may change the policy",
                     "chmod o-w \"" + shown_place + "\", and look whether its content was changed.",
                     Cause::Policy};
    }
    if ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0) {
        return Check{"modes", Health::Warning,
                     mode + ": the group " + std::to_string(status.st_gid) + " may change the policy",
                     "chmod g-w \"" + shown_place + "\""};
    }
    if (is_owned_by_another(status)) {
        return Check{"modes", Health::Warning,
                     shown_place + " belongs to user " + std::to_string(status.st_uid) +
                         ", who may change the policy",
                     "chown root \"" + shown_place + "\""};
    }
    return std::nullopt;
}

} // namespace

void check_files(Run& run, Findings& findings)
{
    for (const JudgedFile& file : judged_files()) {
        findings.add(check_file(run, file));
    }
}

void check_modes(Run& run, Findings& findings)
{
    bool all_safe = true;
    for (const std::string& place : places_to_guard()) {
        if (const auto check = danger(place, run.settings().root)) {
            findings.add(*check);
            all_safe = false;
        }
    }
    if (all_safe) {
        findings.add({"modes", Health::Ok, "only those who may can change the files"});
    }
}

} // namespace tresk::ctl
