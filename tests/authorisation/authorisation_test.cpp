// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Allowed, refused and cancelled, decided by a real polkitd for three users, as the library's callers meet
// them: every method of the service, by way of the function that calls it. A method without a row fails.
//
// The running scene is not the service's: functions that change it do so before they ask, and it stays
// changed when the service refuses. Their rows say so.
#include "common/handles.h"
#include "standin/service/families.h"
#include "tests/authorisation/caller.h"
#include "tests/support/child_process.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"
#include "tresk_extend.h"

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace tresk::test {

namespace {

namespace fs = std::filesystem;
using service::Access;

const char* const kProgram = "/usr/bin/env";
const char* const kOther = "/usr/bin/id";
const char* const kMissing = "/no/such/file";
constexpr int kUser = 0;

// The users whom rules/ tells apart.
constexpr const char* kAllowed = "daemon";
constexpr const char* kRefused = "bin";
constexpr const char* kAsked = "nobody";

// --- the table ---

std::string shown(int number)
{
    return std::to_string(number);
}

std::string length_of(char* text)
{
    const Malloced<char> owner(text);
    return owner ? std::to_string(std::strlen(owner.get())) : "none";
}

std::string length_of_first(char** texts)
{
    const Malloced<char*> owner(texts);
    return owner ? length_of(*owner) : "none";
}

std::string both_of_defender()
{
    int first = -1;
    int second = -1;
    const int result = getSecurityStatusForVexDefender(&first, &second);
    return shown(result) + " " + shown(first) + " " + shown(second);
}

std::string path_of_program()
{
    return kProgram;
}

int record_a_device()
{
    const Malloced<tresk_device_record> record(
        static_cast<tresk_device_record*>(std::calloc(1, sizeof(tresk_device_record))));
    std::strcpy(record->time, "2024-05-06 07:08:09");
    return tresk_devctl_xdg_insert_record(record.get(), 1);
}

/// The general call, which every function of the library uses: its error code is the service's refusal.
int lowest_call()
{
    int error_code = 0;
    GVariant* reply =
        process_dbus_method("/conf", "com.meron.tresk.conf", "tresk_conf_add", nullptr, &error_code);
    if (reply != nullptr) {
        g_variant_unref(reply);
    }
    return error_code;
}

/// What a function returns when it was not authorised.
struct Failure {
    const char* refused;
    const char* cancelled;
};

constexpr Failure kCode{"-1001", "-1002"};
/// The code is in the framework's error record alone.
constexpr Failure kRecordAlone{"-1", "-1"};
constexpr Failure kNull{"none", "none"};
/// The same, by functions that programs know never to fail.
constexpr Failure kZero{"0", "0"};

struct Row {
    const char* word;
    const char* method;
    std::function<std::string()> call;
    const char* allowed;
    Failure failure;
    /// The policy of the running scene that the function changes before it asks the service; else null.
    const char* scene = nullptr;
};

/// An administrator's day, in order: what is removed was added before.
const std::vector<Row>& asking()
{
    static const std::vector<Row> rows{
        {"conf", "tresk_conf_add", [] { return shown(lowest_call()); }, "0", kCode},
        {"conf", "tresk_conf_add", [] { return shown(tresk_conf_add()); }, "0", kCode},
        {"conf", "tresk_conf_set", [] { return shown(tresk_conf_set("entry", 1)); }, "0", kCode},
        {"conf", "tresk_conf_remove", [] { return shown(tresk_conf_remove()); }, "0", kCode},
        {"xattr", "tresk_xattr_set_status", [] { return shown(tresk_setstatus(1)); }, "0", kCode},
        {"xattr", "tresk_xattr_set_func_status", [] { return shown(tresk_set_func_status(5, 1)); }, "0",
         kCode},
        {"xattr", "tresk_xattr_calc_hash_by_path",
         [] { return length_of(tresk_calc_file_hash_value(kProgram)); }, "64", kNull},
        {"xattr", "tresk_xattr_calc_multi_file_hash_value",
         [] { return length_of_first(tresk_calc_multi_file_hash_value(&kOther, 1)); }, "64", kNull},
        {"module", "setModuleStatus", [] { return shown(setModuleStatus_dbus(1, 1, 1, 2, 1)); }, "0", kCode},
        {"module", "setModuleStatusReboot",
         [] { return shown(setModuleStatusReboot_dbus(1, 2, 1, 1, 1, 1)); }, "0", kCode},
        {"module", "setSecurityForVexDefender", [] { return shown(setSecurityForVexDefender(2, 1)); }, "0",
         kZero},
        {"module", "setSecurityForVexDefenderReboot",
         [] { return shown(setSecurityForVexDefenderReboot(1, 2, 1)); }, "0", kZero},
        {"module", "setSelinuxPolicy", [] { return shown(setSelinuxPolicy("targeted")); }, "0", kCode},
        {"module", "processctrlPolkitForSetModuleStatus",
         [] { return shown(processctrlPolkitForSetModuleStatus_dbus(3, 1)); }, "0", kCode},
        {"ppro", "tresk_ppro_add_zdk", [] { return shown(tresk_ppro_add_zdk(kProgram, 1, 0, "")); }, "0",
         kRecordAlone, "taskctl"},
        {"ppro", "tresk_ppro_update_zdk", [] { return shown(tresk_ppro_update_zdk(kProgram, 2, 0, "")); },
         "0", kRecordAlone},
        {"ppro", "tresk_ppro_update", [] { return shown(tresk_ppro_update_internal(kProgram, 3, 0)); }, "0",
         kRecordAlone},
        {"ppro", "tresk_ppro_update_sm", [] { return shown(tresk_ppro_update_internal(kProgram, 4, 1)); },
         "0", kRecordAlone},
        {"ppro", "tresk_ppro_remove_zdk", [] { return shown(tresk_ppro_remove_zdk(kProgram, 0, "")); }, "0",
         kRecordAlone, "taskctl"},
        {"ppro", "tresk_ppro_add_zdk", [] { return shown(tresk_ppro_add(kProgram, 1)); }, "0", kRecordAlone,
         "taskctl"},
        {"ppro", "tresk_ppro_remove", [] { return shown(tresk_ppro_remove_internal(kProgram, 0)); }, "0",
         kRecordAlone},
        {"ppro", "tresk_ppro_add_zdk", [] { return shown(tresk_ppro_add_sm(kOther, 1)); }, "0", kRecordAlone,
         "taskctl"},
        {"ppro", "tresk_ppro_remove_sm", [] { return shown(tresk_ppro_remove_internal(kOther, 1)); }, "0",
         kRecordAlone},
        {"netctl", "tresk_netctl_set_user_distinguish",
         [] { return shown(tresk_netctl_set_user_distinguish(1)); }, "0", kRecordAlone},
        {"netctl", "tresk_netctl_add",
         [] { return shown(tresk_netctl_add(kUser, kProgram, 2, "n", "i", 0)); }, "0", kRecordAlone,
         "netctl"},
        {"netctl", "tresk_netctl_update",
         [] { return shown(tresk_netctl_update(kUser, kProgram, 2, "new", "i", 0)); }, "0", kRecordAlone},
        {"netctl", "tresk_netctl_ext_update",
         [] { return shown(tresk_netctl_ext_update(kUser, kProgram, 2, "n", "i", "d", 0)); }, "0",
         kRecordAlone},
        {"netctl", "tresk_netctl_remove", [] { return shown(tresk_netctl_remove(kUser, kProgram)); }, "0",
         kRecordAlone, "netctl"},
        {"netctl", "tresk_netctl_ext_add",
         [] { return shown(tresk_netctl_ext_add(kUser, kProgram, 2, "n", "i", "d", 0)); }, "0", kRecordAlone,
         "netctl"},
        {"netctl", "tresk_netctl_pkg_add",
         [] { return shown(tresk_netctl_pkg_add(kUser, "package", 2, "i", "d", 0)); }, "0", kRecordAlone,
         "netctl_pkg"},
        {"netctl", "tresk_netctl_pkg_update",
         [] { return shown(tresk_netctl_pkg_update(kUser, "package", 2, "new", "d", 0)); }, "0",
         kRecordAlone},
        {"netctl", "tresk_netctl_pkg_path_update",
         [] { return shown(tresk_netctl_pkg_path_update(kUser, "package", kProgram, 2, "i", "d", 0)); }, "0",
         kRecordAlone},
        {"netctl", "tresk_netctl_pkg_remove", [] { return shown(tresk_netctl_pkg_remove(kUser, "package")); },
         "0", kRecordAlone, "netctl_pkg"},
        {"pblk", "tresk_pblk_add_zdk",
         [] { return shown(tresk_pblk_add_zdk(path_of_program().data(), 5, "source")); }, "0", kRecordAlone,
         "pblkctl"},
        {"pblk", "tresk_pblk_remove_zdk",
         [] { return shown(tresk_pblk_remove_zdk(path_of_program().data(), 5, "source")); }, "0",
         kRecordAlone, "pblkctl"},
        {"bwlist", "tresk_bwlist_add_zdk",
         [] { return shown(tresk_bwlist_add_zdk("white", "package", 1, "")); }, "0", kCode},
        {"bwlist", "tresk_bwlist_del_zdk",
         [] { return shown(tresk_bwlist_del_zdk("white", "package", 1, "")); }, "0", kCode},
        {"bwlist", "tresk_bwlist_set_root_distinguish_zdk",
         [] { return shown(tresk_bwlist_set_root_distinguish_zdk(1, 1, "")); }, "0", kCode},
        {"bwlist", "tresk_bwlist_clear_policy_zdk",
         [] { return shown(tresk_bwlist_clear_policy_zdk(1, "")); }, "0", kCode},
        {"devctl", "tresk_devctl_insert_record", [] { return shown(record_a_device()); }, "0", kRecordAlone},
    };
    return rows;
}

/// What changes nothing needs no authorisation: these methods, and no others.
const std::vector<Row>& open_to_all()
{
    static const std::vector<Row> rows{
        {"xattr", "tresk_xattr_get_file_hash_value",
         [] { return length_of(tresk_get_file_hash_value(kProgram)); }, "64", kNull},
        {"xattr", "tresk_xattr_get_multi_file_hash_value",
         [] { return length_of_first(tresk_get_multi_file_hash_value(&kProgram, 1)); }, "64", kNull},
        {"xattr", "tresk_check_user_valid_with_pam",
         [] { return shown(tresk_check_user_valid("nobody", "nothing")); }, "1", kCode},
        {"xattr", "tresk_xattr_protect_check_kmod_in_sm", [] { return shown(check_kmod_in_sm("module")); },
         "1", kRecordAlone},
        {"module", "getModuleStatus", [] { return shown(getModuleStatus_dbus(3)); }, "1", kCode},
        {"module", "getModuleRealStatus", [] { return shown(getCurModuleStatus_dbus(3)); }, "1", kCode},
        {"module", "getCurSecurityStatusForVexDefender",
         [] { return shown(getCurSecurityStatusForVexDefender()); }, "1", kCode},
        {"module", "getSecurityStatusForVexDefender", both_of_defender, "1 1 1", kCode},
        {"module", "checkSecuritySwitchReboot", [] { return shown(checkSecuritySwitchReboot_dbus(0)); }, "1",
         kCode},
        {"module", "checkSetModuleStatusReboot", [] { return shown(checkSetModuleStatusReboot_dbus(3, 0)); },
         "1", kCode},
        {"netflow", "tresk_netflow_perm_check", [] { return shown(tresk_netflow_perm_check()); }, "0", kCode},
        {"ppro", "tresk_get_pid_by_path", [] { return shown(tresk_get_pid_by_path(kMissing)); }, "-1", kCode},
        {"bwlist", "tresk_bwlist_get_root_distinguish_zdk",
         [] { return shown(tresk_bwlist_get_root_distinguish_zdk(1, "")); }, "0", kRecordAlone},
    };
    return rows;
}

using Names = std::set<std::string>;

Names methods_of(const std::vector<Row>& rows)
{
    Names names;
    for (const Row& row : rows) {
        names.insert(std::string(row.word) + "." + row.method);
    }
    return names;
}

Names methods_of_service(Access access)
{
    Names names;
    for (const service::MethodTable& table : service::method_tables()) {
        for (const service::Method& method : table.methods) {
            if (method.access == access) {
                names.insert(std::string(table.word) + "." + method.name);
            }
        }
    }
    return names;
}

// --- the machine ---

fs::path state_folder()
{
    const char* folder = std::getenv("TRESK_STANDIN_STATE");
    return folder == nullptr ? "" : folder;
}

/// Every policy file and every file of the scene's and the service's state, byte by byte. The records of what
/// was asked are no state.
using Snapshot = std::map<std::string, std::string>;

bool is_record(const fs::path& file)
{
    return file.extension() == ".err" || file.extension() == ".log" || file.extension() == ".lock";
}

Snapshot snapshot()
{
    Snapshot files;
    for (const fs::path& folder : {fs::path("/etc/tresk"), state_folder()}) {
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file() && !is_record(entry.path())) {
                files[entry.path()] = read_file(entry.path()).value_or("(unreadable)");
            }
        }
    }
    return files;
}

Names differences(const Snapshot& before, const Snapshot& after)
{
    Names names;
    for (const auto& [one, other] : {std::pair(&before, &after), std::pair(&after, &before)}) {
        for (const auto& [file, content] : *one) {
            const auto found = other->find(file);
            if (found == other->end() || found->second != content) {
                names.insert(file);
            }
        }
    }
    return names;
}

void restore(const std::string& file, const Snapshot& snapshot)
{
    const auto content = snapshot.find(file);
    if (content == snapshot.end()) {
        fs::remove(file);
    } else {
        write_file(file, content->second);
    }
}

/// What a file gained since the last look.
class Tail {
  public:
    explicit Tail(fs::path file) : file_(std::move(file)), seen_(content().size()) {}

    std::string news()
    {
        const std::string text = content();
        const std::string gained = text.substr(std::min(seen_, text.size()));
        seen_ = text.size();
        return gained;
    }

  private:
    [[nodiscard]] std::string content() const { return read_file(file_).value_or(""); }

    fs::path file_;
    std::size_t seen_;
};

using Lines = std::vector<std::string>;

Lines lines_with(const std::string& beginning, const std::string& text)
{
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(beginning)) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::string question(const Row& row, const char* user)
{
    return std::string("asked com.meron.tresk.") + row.word + " " + row.method + " by " + user;
}

class Authorisation : public ::testing::Test {
  protected:
    void SetUp() override
    {
        ASSERT_NE(std::getenv("TRESK_STANDIN_POLKIT_PID"), nullptr) << "needs the sandbox's --polkit";
        // The scene's libraries work in the caller's process, whoever that is.
        fs::create_directories(state_folder() / "scene");
        for (const fs::path& folder : {state_folder(), state_folder() / "scene"}) {
            fs::permissions(folder, fs::perms::all);
        }
        share(state_folder() / "framework.log");
        for (const Row& row : asking()) {
            if (row.scene != nullptr) {
                share(state_folder() / "scene" / (std::string(row.scene) + ".lock"));
            }
        }
    }

    /// Makes an empty file that every caller may write.
    static void share(const fs::path& file)
    {
        write_file(file, "");
        fs::permissions(file, fs::perms{0666});
    }

    /// An agent of @caller's, which closes every dialogue.
    [[nodiscard]] static ChildProcess agent_for(const Caller& caller)
    {
        ChildProcess agent({.words = {TRESK_CANCELLING_AGENT, std::to_string(caller.process()), dialogues()},
                            .environment = {},
                            .announce_fd = 3,
                            .error_file = {}});
        EXPECT_EQ(agent.announcement(), "ready");
        return agent;
    }

    [[nodiscard]] static std::string dialogues() { return state_folder() / "dialogues.log"; }
};

std::string call_asking(std::size_t number)
{
    return asking().at(number).call();
}

std::string call_open(std::size_t number)
{
    return open_to_all().at(number).call();
}

TEST_F(Authorisation, OfEveryMethodOfTheServiceHasARow)
{
    EXPECT_EQ(methods_of(asking()), methods_of_service(Access::kAuthorised));
    EXPECT_EQ(methods_of(open_to_all()), methods_of_service(Access::kOpen));
}

TEST_F(Authorisation, KnowsAnActionForEveryObjectThatAsks)
{
    Names expected;
    for (const Row& row : asking()) {
        expected.insert(std::string("com.meron.tresk.") + row.word);
    }
    Names known;
    const Handle<FILE, ::pclose> answer(::popen("pkaction", "re"));
    for (char line[256]; std::fgets(line, sizeof line, answer.get()) != nullptr;) {
        known.insert(std::string(line, std::strcspn(line, "\n")));
    }
    EXPECT_EQ(known, expected);
}

/// How a caller who was not authorised finds it.
struct Denial {
    const char* user;
    const char* Failure::*failure;
    const char* record;
};

constexpr Denial kRefusal{kRefused, &Failure::refused, "error code=-1001 subject=- text=not authorised"};
constexpr Denial kCancellation{kAsked, &Failure::cancelled,
                               "error code=-1002 subject=- text=authentication was cancelled"};

/// Files that an unauthorised call changed: the scene's own, where the function comes to the scene first.
Names changed_before_asking(const Row& row)
{
    return row.scene == nullptr ? Names{} : Names{state_folder() / "scene" / row.scene};
}

void expect_denied(Caller& caller, std::size_t number, const Denial& denial)
{
    const Row& row = asking()[number];
    SCOPED_TRACE(std::string(row.method) + " by " + denial.user);
    Tail framework(state_folder() / "framework.log");
    Tail polkit(state_folder() / "polkit.err");
    const Snapshot before = snapshot();
    EXPECT_EQ(caller.call(number), row.failure.*denial.failure);
    EXPECT_EQ(lines_with("error ", framework.news()), Lines{denial.record});
    EXPECT_EQ(lines_with("asked ", polkit.news()), Lines{question(row, denial.user)});
    const Names changed = differences(before, snapshot());
    EXPECT_EQ(changed, changed_before_asking(row));
    for (const std::string& file : changed) {
        restore(file, before);
    }
}

/// The question for the module switch is the one method that asks and changes nothing.
bool only_asks(const Row& row)
{
    return std::string(row.method) == "processctrlPolkitForSetModuleStatus";
}

void expect_done(Caller& caller, std::size_t number)
{
    const Row& row = asking()[number];
    SCOPED_TRACE(std::string(row.method) + " by " + kAllowed);
    Tail framework(state_folder() / "framework.log");
    Tail polkit(state_folder() / "polkit.err");
    EXPECT_EQ(caller.call(number), row.allowed);
    EXPECT_EQ(lines_with("error ", framework.news()), Lines{});
    EXPECT_EQ(lines_with("asked ", polkit.news()), Lines{question(row, kAllowed)});
}

TEST_F(Authorisation, ReachesTheCallerOfEveryChangeAsAllowedRefusedAndCancelled)
{
    Caller refused(kRefused, call_asking);
    Caller cancelling(kAsked, call_asking);
    Caller allowed(kAllowed, call_asking);
    const ChildProcess agent = agent_for(cancelling);
    Tail shown_dialogues(dialogues());
    for (std::size_t number = 0; number < asking().size(); ++number) {
        expect_denied(refused, number, kRefusal);
        expect_denied(cancelling, number, kCancellation);
        EXPECT_EQ(shown_dialogues.news(), std::string("com.meron.tresk.") + asking()[number].word + "\n");
        expect_done(allowed, number);
    }
}

TEST_F(Authorisation, OfAChangeIsWhatKeepsItFromHappening)
{
    Caller allowed(kAllowed, call_asking);
    Names changing;
    for (std::size_t number = 0; number < asking().size(); ++number) {
        const Snapshot before = snapshot();
        allowed.call(number);
        if (!differences(before, snapshot()).empty()) {
            changing.insert(asking()[number].method);
        }
    }
    for (const Row& row : asking()) {
        // Clearing what the row before it emptied changes nothing more.
        EXPECT_TRUE(changing.contains(row.method) || only_asks(row)) << row.method;
    }
}

TEST_F(Authorisation, IsNotAskedForWhereNothingChanges)
{
    Caller storing(kAllowed, [](std::size_t) { return length_of(tresk_calc_file_hash_value(kProgram)); });
    Caller refused(kRefused, call_open);
    ASSERT_EQ(storing.call(0), "64");
    Tail framework(state_folder() / "framework.log");
    Tail polkit(state_folder() / "polkit.err");
    const Snapshot before = snapshot();
    for (std::size_t number = 0; number < open_to_all().size(); ++number) {
        EXPECT_EQ(refused.call(number), open_to_all()[number].allowed) << open_to_all()[number].method;
    }
    EXPECT_EQ(lines_with("asked ", polkit.news()), Lines{});
    EXPECT_EQ(lines_with("error ", framework.news()), Lines{});
    EXPECT_EQ(differences(before, snapshot()), Names{});
}

TEST_F(Authorisation, RefusedWithoutAnAgentIsARefusalToo)
{
    Caller asked(kAsked, call_asking);
    EXPECT_EQ(asked.call(0), "-1001");
}

/// Copies the command line, and the libraries that it loads, to where every user may read them: a working
/// tree may lie below a closed directory.
std::string open_program(const fs::path& folder)
{
    fs::permissions(folder, fs::perms{0755});
    const fs::path program = folder / "treskctl";
    fs::copy_file(TRESKCTL_PROGRAM, program);
    fs::copy_file(TRESK_LIBRARY, folder / fs::path(TRESK_LIBRARY).filename());
    std::istringstream folders(std::getenv("LD_LIBRARY_PATH"));
    for (std::string libraries; std::getline(folders, libraries, ':');) {
        if (fs::is_directory(libraries)) {
            fs::copy(libraries, folder, fs::copy_options::recursive | fs::copy_options::skip_existing);
        }
    }
    ::setenv("LD_LIBRARY_PATH", folder.c_str(), 1);
    return program;
}

TEST_F(Authorisation, IsAnExitStatusOfTheCommandLine)
{
    const TempDir folder;
    const std::vector<std::string> command{open_program(folder.path()), "conf", "add"};
    Caller refused(kRefused, call_asking);
    EXPECT_EQ(refused.become(command), 5);
    Caller cancelling(kAsked, call_asking);
    const ChildProcess agent = agent_for(cancelling);
    EXPECT_EQ(cancelling.become(command), 6);
    Caller allowed(kAllowed, call_asking);
    EXPECT_EQ(allowed.become(command), 0);
}

TEST_F(Authorisation, WithoutPolkitIsRefusedToEverybody)
{
    Caller allowed(kAllowed, call_asking);
    ASSERT_EQ(allowed.call(1), "0");
    ::kill(std::stoi(std::getenv("TRESK_STANDIN_POLKIT_PID")), SIGKILL);
    const Snapshot before = snapshot();
    for (std::size_t number = 0; number < asking().size(); ++number) {
        const Row& row = asking()[number];
        // The others would not come as far as the service: there is nothing in the scene that they could
        // remove.
        if (row.scene == nullptr) {
            EXPECT_EQ(allowed.call(number), row.failure.refused) << row.method;
        }
    }
    Names changed = differences(before, snapshot());
    std::erase_if(changed,
                  [](const std::string& file) { return fs::path(file).parent_path().filename() == "scene"; });
    EXPECT_EQ(changed, Names{});
}

} // namespace

} // namespace tresk::test
