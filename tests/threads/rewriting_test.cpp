// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Eight threads and eight processes read while the service rewrites the policy, edit after edit over the bus.
// The states of a policy are numbered: the edits are made in one fixed order, so that each number stands for
// one content, and a content that is none of them, half an old and half a new one, is noticed. A reader also
// has to see a state of its own time: none older than the last that was complete when it began, none newer
// than the last that was begun when it ended. The policies are larger than what a parser reads at once.
//
// TRESK_THREADS_EDITS has more edits.
#include "tests/support/capture.h"
#include "tests/threads/at_once.h"
#include "tests/threads/call_parts.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <new>
#include <system_error>
#include <thread>

namespace tresk::test {

namespace {

constexpr unsigned kReaders = 8; ///< threads, and as many processes
constexpr int kUsualEdits = 30;
constexpr std::chrono::seconds kDeadline{300};

constexpr int kReadersNiceness = 10;

constexpr unsigned kEntries = 8;
/// Control types and numbers that the edits count with begin here: smaller ones are the scene's too.
constexpr int kFirstType = 10;

/// Where the readers and the one who edits meet, in memory that all of them share.
struct Meeting {
    std::atomic<unsigned> begun = 0; ///< number of the newest state that may be there
    std::atomic<unsigned> complete = 0;
    std::atomic<bool> over = false;
    std::atomic<unsigned> readings = 0;
    std::atomic<unsigned> ready = 0;
};

/// A name of twelve hundred bytes; below kFolderOfEntries a program's path.
std::string long_name(unsigned entry)
{
    std::string name;
    for (int part = 0; part < 6; ++part) {
        name += "/" + std::string(200, 'd');
    }
    return name + "/" + std::to_string(entry);
}

std::string path_of(unsigned entry)
{
    return "/data/rewritten" + long_name(entry);
}

void make_programs()
{
    for (unsigned entry = 0; entry < kEntries; ++entry) {
        const std::filesystem::path path = path_of(entry);
        std::filesystem::create_directories(path.parent_path());
        std::ofstream file(path);
    }
}

constexpr char kFailed[] = "failed";

// --- what a policy is in its states, and what a reader saw of it, both as text ---

/// Edit after edit changes the type of one entry, one entry after the other: entry @entry's type in a state.
int type_in(unsigned state, unsigned entry)
{
    return kFirstType + static_cast<int>((state + kEntries - 1 - entry) / kEntries);
}

std::string types_in(unsigned state, unsigned /*reader*/)
{
    std::string text;
    for (unsigned entry = 0; entry < kEntries; ++entry) {
        text += " " + std::to_string(type_in(state, entry));
    }
    return text;
}

/// Edit after edit adds one entry, and then takes away one after the other: whether an entry is there.
bool is_present_in(unsigned state, unsigned entry)
{
    const unsigned step = state % (2 * kEntries);
    return step <= kEntries ? entry < step : entry >= step - kEntries;
}

bool adds(unsigned state)
{
    return state % (2 * kEntries) < kEntries;
}

std::string entries_in(unsigned state, unsigned /*reader*/)
{
    std::string text;
    for (unsigned entry = 0; entry < kEntries; ++entry) {
        text += is_present_in(state, entry) ? " " + std::to_string(entry) : "";
    }
    return text;
}

/// Of a reader who asks for one entry alone.
unsigned entry_of(unsigned reader)
{
    return reader % kEntries;
}

std::string presence_in(unsigned state, unsigned reader)
{
    return is_present_in(state, entry_of(reader)) ? "1" : "0";
}

std::string number_in(unsigned state, unsigned /*reader*/)
{
    return std::to_string(state);
}

template <class Record, class Show>
std::string records_shown(const Malloced<Record>& records, std::size_t count, Show show)
{
    std::string text;
    for (const Record& record : std::span<const Record>(records.get(), records ? count : 0)) {
        text += " " + show(record);
    }
    return text;
}

template <class Record>
std::string type_shown(const Record& record)
{
    return std::to_string(record.type);
}

// --- the policies ---

struct Rewriting {
    const char* name;
    bool (*prepare)();
    /// Makes the state after @state; true when the service did so.
    bool (*edit)(unsigned state);
    std::string (*read)(unsigned reader);
    std::string (*expected)(unsigned state, unsigned reader);
    /// Whether a reading may fail while the policy is being written, which the library then logs.
    bool may_fail = false;
};

bool for_each_entry(bool (*work)(unsigned entry))
{
    bool done = true;
    for (unsigned entry = 0; entry < kEntries; ++entry) {
        done = done && work(entry);
    }
    return done;
}

bool make_protections()
{
    return for_each_entry([](unsigned entry) {
        return tresk_ppro_add_zdk(path_of(entry).c_str(), kFirstType, 0, kSource) == 0;
    });
}

bool edit_protection(unsigned state)
{
    const unsigned entry = state % kEntries;
    return tresk_ppro_update_zdk(path_of(entry).c_str(), type_in(state + 1, entry), 0, kSource) == 0;
}

std::string read_protections(unsigned reader)
{
    int count = 0;
    const Malloced<ppro_node_info> records(reader % 2 == 0
                                               ? tresk_ppro_read_all_data(&count)
                                               : tresk_ppro_read_all_data_zdk(&count, 0, kSource));
    return records_shown(records, static_cast<std::size_t>(count), type_shown<ppro_node_info>);
}

bool make_controls()
{
    return for_each_entry([](unsigned entry) {
        return tresk_netctl_ext_add(kUser, path_of(entry).c_str(), kFirstType, "name", "icon", "desktop",
                                    1) == 0;
    });
}

bool edit_control(unsigned state)
{
    const unsigned entry = state % kEntries;
    return tresk_netctl_ext_update(kUser, path_of(entry).c_str(), type_in(state + 1, entry), "name", "icon",
                                   "desktop", 1) == 0;
}

std::string read_controls(unsigned reader)
{
    if (reader % 2 == 0) {
        std::uint32_t count = 0;
        const Malloced<netctl_node_data> records(tresk_netctl_read_all_data(&count));
        return records_shown(records, count, type_shown<netctl_node_data>);
    }
    std::int32_t count = 0;
    const Malloced<netctl_ext_node_info> records(tresk_netctl_ext_read_all_data_with_uid(kUser, &count));
    return records_shown(records, static_cast<std::size_t>(count), type_shown<netctl_ext_node_info>);
}

bool make_package_rules()
{
    return for_each_entry([](unsigned entry) {
        return tresk_netctl_pkg_add(kUser, long_name(entry).c_str(), kFirstType, "icon", "desktop", 1) == 0;
    });
}

bool edit_package_rule(unsigned state)
{
    const unsigned entry = state % kEntries;
    return tresk_netctl_pkg_update(kUser, long_name(entry).c_str(), type_in(state + 1, entry), "icon",
                                   "desktop", 1) == 0;
}

std::string read_package_rules(unsigned /*reader*/)
{
    std::uint32_t count = 0;
    const Malloced<netctl_pkg_node_info> records(tresk_netctl_pkg_read_all_data_with_uid(kUser, &count));
    return records_shown(records, count, type_shown<netctl_pkg_node_info>);
}

/// The policy is there, and empty.
bool make_empty_blocking()
{
    return tresk_pblk_add_zdk(path_of(0).data(), kSourceType, kSource) == 0 &&
           tresk_pblk_remove_zdk(path_of(0).data(), kSourceType, kSource) == 0;
}

bool edit_blocking(unsigned state)
{
    std::string path = path_of(state % kEntries);
    return (adds(state) ? tresk_pblk_add_zdk(path.data(), kSourceType, kSource)
                        : tresk_pblk_remove_zdk(path.data(), kSourceType, kSource)) == 0;
}

/// The entry's number is its path's end. A failure leaves the count alone.
std::string read_blocking(unsigned reader)
{
    int count = -1;
    const Malloced<pblk_node_info> records(reader % 2 == 0
                                               ? tresk_pblk_read_all_data(&count)
                                               : tresk_pblk_read_all_data_zdk(kSourceType, kSource, &count));
    return count < 0
               ? "failed"
               : records_shown(records, static_cast<std::size_t>(count), [](const pblk_node_info& record) {
                     return std::string(1, record.path[std::strlen(record.path) - 1]);
                 });
}

bool make_empty_lists()
{
    return tresk_bwlist_add_zdk("white", long_name(0).c_str(), 1, kSource) == 0 &&
           tresk_bwlist_del_zdk("white", long_name(0).c_str(), 1, kSource) == 0;
}

bool edit_list(unsigned state)
{
    const std::string package = long_name(state % kEntries);
    return (adds(state) ? tresk_bwlist_add_zdk("white", package.c_str(), 1, kSource)
                        : tresk_bwlist_del_zdk("white", package.c_str(), 1, kSource)) == 0;
}

std::string look_up_in_list(unsigned reader)
{
    return std::to_string(_bwlist_unite_select_by_rpm_name("white", long_name(entry_of(reader)).c_str()));
}

/// The database is there, with one device of another time.
bool make_device_history()
{
    return insert_seen_device() == 0;
}

bool insert_device(unsigned /*state*/)
{
    return insert_seen_device() == 0;
}

/// One device more than edits. A database that is just being written is locked, and its reader does not wait.
std::string count_devices(unsigned /*reader*/)
{
    int count = 0;
    const Malloced<tresk_device_record> records(device_record_get(&count));
    return records ? std::to_string(count - 1) : kFailed;
}

constexpr Rewriting kRewritings[] = {
    {"ProcessProtection", make_protections, edit_protection, read_protections, types_in},
    {"NetworkControl", make_controls, edit_control, read_controls, types_in},
    {"NetworkControlOfPackages", make_package_rules, edit_package_rule, read_package_rules, types_in},
    {"ProcessBlocking", make_empty_blocking, edit_blocking, read_blocking, entries_in},
    {"PackageLists", make_empty_lists, edit_list, look_up_in_list, presence_in},
    {"DeviceHistory", make_device_history, insert_device, count_devices, number_in, true},
};

/// Whether @seen is a state that was there between the two.
bool is_state_between(const Rewriting& policy, const std::string& seen, unsigned reader, unsigned first,
                      unsigned last)
{
    for (unsigned state = first; state <= last; ++state) {
        if (policy.expected(state, reader) == seen) {
            return true;
        }
    }
    return false;
}

/// Readers of a database that never pause keep its writer waiting until it gives up, so they read once a
/// state.
void wait_for_change(const Rewriting& policy, const Meeting& meeting, unsigned seen)
{
    while (policy.may_fail && meeting.begun == seen && !meeting.over) {
        std::this_thread::yield();
    }
}

/// Reads until the edits are over; the number of readings that saw no state of their time. Sixteen of these
/// would keep a small machine from everything else, the service too, so they step back.
int read_on(const Rewriting& policy, unsigned reader, Meeting& meeting)
{
    int wrong = 0;
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::syscall(SYS_gettid)), kReadersNiceness);
    ++meeting.ready;
    do {
        const unsigned first = meeting.complete;
        const std::string seen = policy.read(reader);
        const unsigned last = meeting.begun;
        // A failure is none where nothing was being written.
        const bool failed_while_written = policy.may_fail && seen == kFailed && first != last;
        if (!failed_while_written && !is_state_between(policy, seen, reader, first, last)) {
            ++wrong;
            (void)std::fprintf(stderr, "reader %u saw \"%s\" in states %u to %u\n", reader, seen.c_str(),
                               first, last);
        }
        if (!failed_while_written) {
            ++meeting.readings;
            wait_for_change(policy, meeting, last);
        }
    } while (!meeting.over);
    return wrong;
}

class SharedMeeting {
  public:
    SharedMeeting()
        : memory_(::mmap(nullptr, sizeof(Meeting), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (memory_ == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "mmap");
        }
        meeting_ = new (memory_) Meeting;
    }

    ~SharedMeeting() { ::munmap(memory_, sizeof(Meeting)); }

    SharedMeeting(const SharedMeeting&) = delete;
    SharedMeeting& operator=(const SharedMeeting&) = delete;

    Meeting& operator*() const { return *meeting_; }

    Meeting* operator->() const { return meeting_; }

  private:
    void* memory_;
    Meeting* meeting_ = nullptr;
};

class RewrittenPolicy : public ::testing::TestWithParam<Rewriting> {
  protected:
    /// Makes the edits one after the other, each when there was a reading since the one before; the number of
    /// those that the service did not make.
    static int make_edits(Meeting& meeting, unsigned edits)
    {
        int refused = 0;
        while (meeting.ready < 2 * kReaders) {
            std::this_thread::yield();
        }
        for (unsigned state = 0; state < edits; ++state) {
            const unsigned readings = meeting.readings;
            meeting.begun = state + 1;
            refused += GetParam().edit(state) ? 0 : 1;
            meeting.complete = state + 1;
            while (meeting.readings == readings) {
                std::this_thread::yield();
            }
        }
        meeting.over = true;
        return refused;
    }
};

TEST_P(RewrittenPolicy, IsSeenInAStateOfItsTimeByThreadsAndProcesses)
{
    const Rewriting& policy = GetParam();
    const auto edits = static_cast<unsigned>(number_from_environment("TRESK_THREADS_EDITS", kUsualEdits));
    make_programs();
    ASSERT_EQ(ending_of_child(start_child(kDeadline, [&] { return policy.prepare() ? 0 : 1; })), "");

    const SharedMeeting meeting;
    std::array<pid_t, kReaders> processes{};
    for (unsigned reader = 0; reader < kReaders; ++reader) {
        processes[reader] =
            start_child(kDeadline, [&] { return read_on(policy, kReaders + reader, *meeting) == 0 ? 0 : 1; });
    }
    std::atomic<int> wrong = 0;
    int refused = -1;
    run_at_once(kReaders + 1, kDeadline, [&](int number, Doing& doing) {
        if (number == 0) {
            doing = "editing";
            refused = make_edits(*meeting, edits);
        } else {
            doing = "reading";
            wrong += read_on(policy, static_cast<unsigned>(number - 1), *meeting);
        }
    });
    for (const pid_t process : processes) {
        EXPECT_EQ(ending_of_child(process), "");
    }
    EXPECT_EQ(refused, 0);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(meeting->complete, edits);
    EXPECT_GE(meeting->readings, edits);
    EXPECT_TRUE(is_state_between(policy, policy.read(0), 0, edits, edits)) << policy.read(0);
}

INSTANTIATE_TEST_SUITE_P(Of, RewrittenPolicy, ::testing::ValuesIn(kRewritings),
                         [](const auto& policy) { return policy.param.name; });

/// What the test above goes by: states differ from their neighbours, and a mixture of two is none.
TEST(NumberedStates, TellAMixtureFromAState)
{
    const Rewriting& protection = kRewritings[0];
    const std::string half_old_half_new = " 12 11 11 10 10 10 10 10";
    EXPECT_FALSE(is_state_between(protection, half_old_half_new, 0, 0, 100));
    EXPECT_TRUE(is_state_between(protection, types_in(9, 0), 0, 9, 9));
    EXPECT_FALSE(is_state_between(protection, types_in(9, 0), 0, 10, 20));
    EXPECT_FALSE(is_state_between(protection, types_in(9, 0), 0, 0, 8));
    EXPECT_FALSE(is_state_between(protection, "", 0, 0, 100));
    for (unsigned state = 0; state < 4 * kEntries; ++state) {
        EXPECT_NE(types_in(state, 0), types_in(state + 1, 0));
        EXPECT_NE(entries_in(state, 0), entries_in(state + 1, 0));
    }
}

} // namespace

} // namespace tresk::test
