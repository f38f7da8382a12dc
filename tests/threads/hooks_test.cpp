// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Two package managers' hooks, and a hook and an administrator, label files at the same time. Each call is
// one change of the scene: of two calls about the same files the end is that of one order or the other, and
// nothing of what only one of them is about is lost. TRESK_THREADS_MEETINGS has more rounds.
#include "tests/support/child_process.h"
#include "tests/support/policy_files.h"
#include "tests/threads/at_once.h"
#include "tests/threads/call_parts.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>
#include <system_error>
#include <thread>

namespace tresk::test {

namespace {

constexpr int kUsualMeetings = 20;
constexpr std::chrono::seconds kDeadline{120};
constexpr unsigned kFiles = 60;

using Files = std::set<std::string>;

/// The scene's list, which is a file of the stand-in's.
Files listed(const char* policy)
{
    const std::string file = std::string(std::getenv("TRESK_STANDIN_STATE")) + "/scene/" + policy;
    std::istringstream lines(read_file(file).value_or(""));
    return {std::istream_iterator<std::string>(lines), {}};
}

Files files_from(unsigned first, unsigned last)
{
    Files files;
    for (unsigned i = first; i < last; ++i) {
        files.insert("/data/hooks/file-" + std::to_string(i));
    }
    return files;
}

Files together(Files one, const Files& other)
{
    one.insert(other.begin(), other.end());
    return one;
}

Files without(Files one, const Files& other)
{
    std::erase_if(one, [&other](const std::string& file) { return other.contains(file); });
    return one;
}

// --- calls that label, each true when it returns what it should ---

Malloced<tresk_label_record> records_of(const Files& files, const char* label)
{
    auto records = zeroed<tresk_label_record>(files.size());
    tresk_label_record* record = records.get();
    for (const std::string& file : files) {
        std::strcpy(record->path, file.c_str());
        std::strcpy(record++->label, label);
    }
    return records;
}

bool label_as_hook(const Files& files)
{
    const auto records = zeroed<tresk_dpkg_label_record>(files.size());
    tresk_dpkg_label_record* record = records.get();
    for (const std::string& file : files) {
        std::strcpy(record++->path, file.c_str());
    }
    return tresk_exectl_multi_set_for_dpkg(records.get(), static_cast<int>(files.size())) == 0;
}

bool set_white_list(const Files& files, const char* label)
{
    return tresk_exectl_multi_set(records_of(files, label).get(), static_cast<int>(files.size())) == 0;
}

bool allow(const Files& files)
{
    return set_white_list(files, "trusted");
}

bool forbid(const Files& files)
{
    return set_white_list(files, "unknown");
}

bool set_protection(const Files& files, const char* label)
{
    const auto count = static_cast<int>(files.size());
    return tresk_protect_multi_set(records_of(files, label).get(), count) == count;
}

bool protect(const Files& files)
{
    return set_protection(files, "readonly");
}

bool unprotect(const Files& files)
{
    return set_protection(files, "none");
}

/// One call of the scene for each file.
bool protect_one_by_one(const Files& files)
{
    return std::all_of(files.begin(), files.end(), [](const std::string& file) {
        return tresk_protect_set(file.c_str(), "verify") == 0;
    });
}

bool label_one_by_one(const Files& files)
{
    return std::all_of(files.begin(), files.end(),
                       [](const std::string& file) { return tresk_label_set(file.c_str()) == 0; });
}

/// The administrator's command in the place of a call.
bool treskctl_label(const std::vector<std::string>& words, const Files& files)
{
    const char* program = TRESKCTL_PROGRAM;
    Command command{{program, "label"}, {}, 3, {}};
    command.words.insert(command.words.end(), words.begin(), words.end());
    command.words.insert(command.words.end(), files.begin(), files.end());
    command.error_file = "/data/treskctl.err";
    ChildProcess child(command);
    return child.wait() == Ending{.exit_status = 0};
}

bool protect_by_command(const Files& files)
{
    return treskctl_label({"protect", "readonly"}, files);
}

/// A call on some files.
struct Work {
    bool (*call)(const Files& files);
    Files files;
};

class HooksAtOnce : public ::testing::Test {
  protected:
    void SetUp() override
    {
        for (const std::string& file : files_from(0, kFiles)) {
            write_file(file, "");
        }
    }

    /// Both in processes of their own that begin together; both have to return what they should.
    static void meet(const Work& one, const Work& other)
    {
        void* const shared = ::mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(shared, MAP_FAILED);
        auto* const ready = new (shared) std::atomic<int>(0);
        const auto begin = [ready](const Work& work) {
            return start_child(kDeadline, [ready, &work] {
                ++*ready;
                while (*ready < 2) {
                    std::this_thread::yield();
                }
                return work.call(work.files) ? 0 : 1;
            });
        };
        const pid_t first = begin(one);
        const pid_t second = begin(other);
        EXPECT_EQ(ending_of_child(first), "");
        EXPECT_EQ(ending_of_child(second), "");
        ::munmap(shared, sizeof(std::atomic<int>));
    }

    static int meetings() { return number_from_environment("TRESK_THREADS_MEETINGS", kUsualMeetings); }

    /// In a process of its own, so that this one stays as it was started.
    static void alone(const Work& work)
    {
        ASSERT_EQ(ending_of_child(start_child(kDeadline, [&] { return work.call(work.files) ? 0 : 1; })), "");
    }

    const Files all_ = files_from(0, kFiles);
    const Files front_ = files_from(0, 40);
    const Files back_ = files_from(20, kFiles);
    const Files first_half_ = files_from(0, 30);
    const Files second_half_ = files_from(30, kFiles);
};

TEST_F(HooksAtOnce, LoseNothingOfWhatTheyLabelled)
{
    for (int meeting = 0; meeting < meetings(); ++meeting) {
        std::filesystem::remove(std::string(std::getenv("TRESK_STANDIN_STATE")) + "/scene/exectl_xattr");
        meet({label_as_hook, first_half_}, {label_as_hook, second_half_});
        EXPECT_EQ(listed("exectl_xattr"), all_);
        std::filesystem::remove(std::string(std::getenv("TRESK_STANDIN_STATE")) + "/scene/exectl_xattr");
        meet({label_as_hook, front_}, {label_one_by_one, back_});
        EXPECT_EQ(listed("exectl_xattr"), all_);
    }
}

TEST_F(HooksAtOnce, EndAsOneOfTheOrdersOfTwoWhiteLists)
{
    for (int meeting = 0; meeting < meetings(); ++meeting) {
        alone({forbid, all_});
        alone({allow, second_half_});
        meet({allow, front_}, {forbid, back_});
        const Files end = listed("exectl_wlist");
        const Files allowed_last = together(without(second_half_, back_), front_);
        const Files forbidden_last = without(together(second_half_, front_), back_);
        EXPECT_NE(allowed_last, forbidden_last);
        EXPECT_TRUE(end == allowed_last || end == forbidden_last) << end.size();
    }
}

TEST_F(HooksAtOnce, EndAsOneOfTheOrdersOfTwoProtections)
{
    for (int meeting = 0; meeting < meetings(); ++meeting) {
        alone({unprotect, all_});
        alone({protect, second_half_});
        meet({protect, front_}, {unprotect, back_});
        const Files end = listed("filectl");
        const Files protected_last = together(without(second_half_, back_), front_);
        const Files ended_last = without(together(second_half_, front_), back_);
        EXPECT_TRUE(end == protected_last || end == ended_last) << end.size();
    }
}

TEST_F(HooksAtOnce, LoseNothingOfWhatAnotherProtectsFileByFile)
{
    for (int meeting = 0; meeting < meetings(); ++meeting) {
        alone({unprotect, all_});
        meet({protect, first_half_}, {protect_one_by_one, second_half_});
        EXPECT_EQ(listed("filectl"), all_);
        meet({unprotect, first_half_}, {protect_one_by_one, second_half_});
        EXPECT_EQ(listed("filectl"), second_half_);
    }
}

TEST_F(HooksAtOnce, AndTheAdministratorsCommandLoseNothing)
{
    if (!std::filesystem::exists(TRESKCTL_PROGRAM)) {
        GTEST_SKIP() << "the command line is not built here";
    }
    for (int meeting = 0; meeting < std::max(meetings() / 5, 1); ++meeting) {
        alone({unprotect, all_});
        meet({protect_by_command, first_half_}, {protect, second_half_});
        EXPECT_EQ(listed("filectl"), all_);
        meet({protect_by_command, first_half_}, {unprotect, second_half_});
        EXPECT_EQ(listed("filectl"), first_half_);
    }
}

} // namespace

} // namespace tresk::test
