// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The framework's own libraries as a test sees them: every function of common/framework.h, answering what the
// test scripted and recording what it was told. Nothing of the stand-in libraries is linked beside it.
#ifndef TRESK_TESTS_SUPPORT_FRAMEWORK_DOUBLE_H
#define TRESK_TESTS_SUPPORT_FRAMEWORK_DOUBLE_H

#include "common/framework.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tresk::test {

/// One diagnostic. The older logging call has neither source nor line.
struct LogLine {
    bool old_call = false;
    int level = 0;
    std::optional<std::string> subject;
    std::string source;
    int line = 0;
    std::string format;
    std::string text; ///< the format with its arguments filled in
};

/// One error record; absent members were null.
struct ErrorRecord {
    int code = 0;
    std::optional<std::string> subject;
    std::optional<std::string> format;
    std::optional<std::string> text;
};

/// One call of a scene function, its arguments joined by single blanks; of a list its elements and then their
/// number, of device records their number alone.
struct SceneCall {
    std::string function;
    std::string argument;
    bool operator==(const SceneCall&) const = default;
};

std::ostream& operator<<(std::ostream& out, const LogLine& line);
std::ostream& operator<<(std::ostream& out, const ErrorRecord& record);
std::ostream& operator<<(std::ostream& out, const SceneCall& call);

/// What the framework's functions answer and what they were told. Scripted before the calls begin; recording
/// is locked, so that several threads may call at once.
///
/// The logging functions leave a wrong errno behind: code that needs errno after a diagnostic keeps it.
struct FrameworkDouble {
    FrameworkDouble();

    std::vector<LogLine> logs;
    std::vector<ErrorRecord> errors;
    std::vector<SceneCall> scene_calls;
    /// The bytes of the device records of each call that took some, in order.
    std::vector<std::string> scene_bytes;
    /// "scene NAME", "log" and "error" in the order in which they came, and what others note().
    std::vector<std::string> order;

    /// Scene functions' answers by "FUNCTION ARGUMENT" as in scene_calls, else by "FUNCTION"; 0 where there
    /// is neither.
    std::map<std::string, int> scene_results;
    /// What the scene's getters return: malloc'd, and the caller's. By default null, with the count
    /// untouched.
    std::function<char**(int*)> protected_files;
    std::function<type_record*(int*)> device_types;
    std::function<pvid_record*(int*)> device_pvids;
    std::function<netcard_record*(int*)> wireless_networks;
    /// By default the path itself, with the working directory in front of a relative one; missing files are
    /// fine.
    std::function<char*(const char*)> get_absolute_path;
    std::function<int(const char*, const char*)> path_is_mount_bind;   ///< 0 by default
    std::function<int(const char*, const char*)> path_is_same;         ///< 0 by default
    std::function<int(const char*)> path_is_dir;                       ///< 0 by default
    std::function<std::vector<std::string>(const char*)> paths_in_dir; ///< none by default: a null list
    std::function<int(int, char**)> version_get; ///< leaves the text null and returns 0 by default
    /// Leaves the digest and returns 0 by default.
    std::function<int(const char*, std::size_t, unsigned char*)> sm3_file_path;
    std::map<int, int> func_status; ///< by function index; 0 where there is none
    int disabled = 0;

    /// Appends @text to the order of events.
    void note(const std::string& text);
    /// Back to the defaults, with nothing recorded.
    void reset();
};

/// The one of this process.
FrameworkDouble& framework();

/// A malloc'd array of malloc'd copies, as the framework hands lists out; null for none.
char** malloced_list(const std::vector<std::string>& texts);

/// What a getter of device records returns: a malloc'd copy of @records, null for none, their number.
template <class Record>
std::function<Record*(int*)> records_getter(std::vector<Record> records)
{
    return [records = std::move(records)](int* count) -> Record* {
        *count = static_cast<int>(records.size());
        if (records.empty()) {
            return nullptr;
        }
        auto* copy = static_cast<Record*>(std::malloc(records.size() * sizeof(Record)));
        std::copy(records.begin(), records.end(), copy);
        return copy;
    };
}

/// A test that starts with the framework's defaults and nothing recorded.
class FrameworkTest : public ::testing::Test {
  protected:
    void SetUp() override { framework().reset(); }
};

} // namespace tresk::test

#endif
