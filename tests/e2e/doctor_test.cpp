// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "doctor": what it finds of everything that the framework depends on, and what it says then.
#include "common/handles.h"
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"
#include "tests/support/private_bus.h"
#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

namespace tresk::test {

namespace {

using nlohmann::json;

constexpr const char* kSettings = "/etc/tresk/ppro/ppro.conf";
constexpr const char* kBlacklist = "/etc/tresk/ppro/ppro_blacklist";

constexpr const char* kSilent = "com.meron.tresk is on the bus and does not answer";

/// Takes connections, and says nothing on them.
class SilentSocket {
  public:
    SilentSocket() : file_((folder_.path() / "bus").string())
    {
        sockaddr_un place{};
        place.sun_family = AF_UNIX;
        EXPECT_LT(file_.copy(place.sun_path, sizeof place.sun_path - 1), sizeof place.sun_path);
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
        EXPECT_EQ(::listen(socket_.get(), 1), 0);
    }

    [[nodiscard]] std::string address() const { return "unix:path=" + file_; }

  private:
    TempDir folder_;
    std::string file_;
    Descriptor socket_{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

class DoctorTest : public TreskctlTest {
  protected:
    /// A machine on which all is well.
    void SetUp() override
    {
        TreskctlTest::SetUp();
        write_file(kSettings, "action=1\n");
        write_file(kBlacklist, "/usr/bin/forbidden\n");
    }

    /// Runs it and keeps the rows.
    void examine(const Words& options = {})
    {
        Words words = {"doctor", "--json"};
        words.insert(words.end(), options.begin(), options.end());
        take(treskctl(words));
    }

    void take(const Outcome& outcome)
    {
        outcome_ = outcome;
        checks_ = parsed(outcome.output)["checks"];
    }

    /// The first row of that name.
    json check(const std::string& name)
    {
        for (const json& row : checks_) {
            if (row["check"] == name) {
                return row;
            }
        }
        ADD_FAILURE() << "no check of " << name << " in " << checks_;
        return {{"check", name}, {"state", ""}, {"detail", ""}, {"advice", ""}};
    }

    std::string state(const std::string& name) { return check(name)["state"]; }

    std::string detail(const std::string& name) { return check(name)["detail"]; }

    std::string advice(const std::string& name)
    {
        const json row = check(name);
        return row["advice"].is_null() ? "" : row["advice"].get<std::string>();
    }

    Outcome outcome_;
    json checks_;
};

TEST_F(DoctorTest, FindsNothingWhereAllIsWell)
{
    examine();
    EXPECT_EQ(outcome_.exit_status, 0) << outcome_;
    EXPECT_EQ(outcome_.error, "");
    EXPECT_GT(checks_.size(), 20);
    for (const json& row : checks_) {
        EXPECT_EQ(row["state"], "ok") << row;
        EXPECT_TRUE(row["advice"].is_null()) << row;
    }
}

TEST_F(DoctorTest, LooksAtEverything)
{
    examine();
    for (const char* name :
         {"bus", "service", "framework", "function exectl", "function pblk", "/etc/tresk/ppro/ppro.xml",
          "/etc/tresk/ppro/ppro.conf", "/etc/tresk/ppro/ppro_blacklist", "/etc/tresk/netctl/netctl.xml",
          "/etc/tresk/netctl/netctl_pkg.xml", "/etc/tresk/pblk/pblk.xml", "/etc/tresk/bwlist/bwlist.xml",
          "/etc/tresk/db/whlist.db", "modes", "kernel", "version netctl", "version ppro", "version pblk"}) {
        EXPECT_EQ(state(name), "ok");
    }
}

TEST_F(DoctorTest, IsATableForPeople)
{
    const Outcome outcome = treskctl({"doctor", "-o", "check,state,advice"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.output.find("CHECK                             STATE  ADVICE\n"
                                  "bus                               ok     -\n"
                                  "service                           ok     -\n"),
              0)
        << outcome;
}

TEST_F(DoctorTest, FindsThatThereIsNoBus)
{
    take(treskctl_without_bus({"doctor", "--json"}));
    EXPECT_EQ(outcome_.exit_status, 8);
    EXPECT_EQ(state("bus"), "failed");
    EXPECT_EQ(detail("bus").find("no connection to unix:path=/nobody/listens: "), 0) << detail("bus");
    EXPECT_EQ(state("service"), "failed");
    EXPECT_EQ(detail("service"), "not to be reached without a bus");
    EXPECT_EQ(advice("service"), "Mend first what the check \"bus\" tells.");
    const json failures = parsed(outcome_.error);
    for (const json& error : failures["errors"]) {
        EXPECT_EQ(error["advice"].get<std::string>().find("doctor"), std::string::npos) << error;
    }
    EXPECT_EQ(parsed(outcome_.error)["errors"][0]["subject"], "bus");
}

TEST_F(DoctorTest, FindsThatTheServiceIsNotThere)
{
    const PrivateBus bus;
    bus.use_as_system_bus();
    examine();
    EXPECT_EQ(outcome_.exit_status, 8);
    EXPECT_EQ(state("bus"), "ok");
    EXPECT_EQ(state("service"), "failed");
    EXPECT_EQ(detail("service"), "com.meron.tresk is not on the bus");
    EXPECT_NE(advice("service"), "");
}

TEST_F(DoctorTest, FindsThatTheServiceAnswersNonsense)
{
    write_state("service-faults", "getModuleStatus reply ('text',)\n");
    examine();
    EXPECT_EQ(outcome_.exit_status, 8);
    EXPECT_EQ(detail("service"), kSilent);
}

TEST_F(DoctorTest, ARefusalIsAnAnswer)
{
    refuse("getModuleStatus", "MERON.TRESK.AUTH.FAILED");
    examine();
    EXPECT_EQ(outcome_.exit_status, 0);
    EXPECT_EQ(state("service"), "warning");
}

TEST_F(DoctorTest, DoesNotWaitWithoutEndForASilentService)
{
    write_state("service-faults", "* silent\n");
    const auto begin = std::chrono::steady_clock::now();
    examine();
    const auto lasted = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(lasted, std::chrono::seconds(5));
    EXPECT_LT(lasted, std::chrono::seconds(15));
    EXPECT_EQ(outcome_.exit_status, 8) << outcome_;
    EXPECT_EQ(state("service"), "failed");
    EXPECT_EQ(detail("service"), kSilent);
    EXPECT_NE(advice("service"), "");
    EXPECT_EQ(parsed(outcome_.error)["errors"][0]["subject"], "service");
    for (const char* name : {"bus", "framework", kSettings, "modes", "kernel", "version pblk"}) {
        EXPECT_EQ(state(name), "ok");
    }
    EXPECT_THAT(treskctl({"doctor", "--help"}).output, ::testing::HasSubstr("5 seconds"));
}

TEST_F(DoctorTest, AGivenTimeEndsTheWaitingForASilentServiceAndAllElseIsShown)
{
    write_state("service-faults", "* silent\n");
    examine({"--timeout", "1"});
    EXPECT_EQ(outcome_.exit_status, 11) << outcome_;
    EXPECT_EQ(state("service"), "failed");
    EXPECT_EQ(detail("service"), kSilent);
    EXPECT_EQ(checks_[0]["check"], "bus");
    EXPECT_EQ(checks_[1]["check"], "service");
    for (const char* name : {"bus", "framework", kSettings, "modes", "kernel", "version pblk"}) {
        EXPECT_EQ(state(name), "ok");
    }
}

TEST_F(DoctorTest, AGivenTimeHoldsAlsoWhereItIsLonger)
{
    write_state("service-faults", "* silent\n");
    const auto begin = std::chrono::steady_clock::now();
    examine({"--timeout", "6500ms"});
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(6500));
    EXPECT_EQ(outcome_.exit_status, 11) << outcome_;
}

TEST_F(DoctorTest, DoesNotWaitWithoutEndForABusThatIsSilent)
{
    const SilentSocket bus;
    ASSERT_EQ(::setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().c_str(), 1), 0);
    examine();
    EXPECT_EQ(outcome_.exit_status, 8) << outcome_;
    EXPECT_EQ(detail("bus"), "no connection to " + bus.address() + ": it does not answer");
    EXPECT_EQ(detail("service"), "not to be reached without a bus");
    EXPECT_EQ(state("kernel"), "ok");
}

TEST_F(DoctorTest, FindsThatTheFrameworkIsOff)
{
    write_state("status", "0\n");
    examine();
    EXPECT_EQ(outcome_.exit_status, 7);
    EXPECT_EQ(state("framework"), "failed");
    EXPECT_EQ(advice("framework"), "\"treskctl status set framework on\"");
}

TEST_F(DoctorTest, WarnsOfFunctionsThatAreOff)
{
    write_state("func_status", "5 0\n");
    examine();
    EXPECT_EQ(outcome_.exit_status, 0);
    EXPECT_EQ(state("function ppro"), "warning");
    EXPECT_EQ(advice("function ppro"), "\"treskctl status set ppro on\", unless it is off on purpose.");
    EXPECT_EQ(state("function pblk"), "ok");
}

TEST_F(DoctorTest, CountsEntries)
{
    ASSERT_EQ(treskctl({"ppro", "add", "--type", "1", kProgram}).exit_status, 0);
    examine();
    EXPECT_EQ(detail(kPolicy), "read, entries: 1");
    EXPECT_EQ(detail("/etc/tresk/pblk/pblk.xml"), "missing: there are no entries");
}

TEST_F(DoctorTest, WarnsOfWhatVerifyFinds)
{
    write_policy("<ppro_root>\n<a/><b/><c/></ppro_root>");
    examine();
    EXPECT_EQ(outcome_.exit_status, 0);
    EXPECT_EQ(state(kPolicy), "warning");
    EXPECT_EQ(detail(kPolicy), "/etc/tresk/ppro/ppro.xml:2:1: the element <a> is overlooked; and 2 more");
    EXPECT_EQ(advice(kPolicy), "\"treskctl verify ppro\" tells all of it.");
}

TEST_F(DoctorTest, FindsAPolicyThatCannotBeRead)
{
    write_policy("<other/>");
    examine();
    EXPECT_EQ(outcome_.exit_status, 9);
    EXPECT_EQ(state(kPolicy), "failed");
    EXPECT_EQ(detail(kPolicy),
              "/etc/tresk/ppro/ppro.xml:1:1: the file is no policy: its root is not \"ppro_root\"");
    EXPECT_EQ(treskctl({"doctor"}).error.find("treskctl: doctor: /etc/tresk/ppro/ppro.xml:1:1: the file is"),
              0);
}

TEST_F(DoctorTest, FindsAPolicyThatIsDamaged)
{
    write_policy("<ppro_root><ppro_node path=\"/a\"><hash>a</hash><type>1</type></ppro_node>");
    examine();
    EXPECT_EQ(outcome_.exit_status, 9);
    EXPECT_EQ(state(kPolicy), "failed");
}

TEST_F(DoctorTest, WhoMayNotReadAPolicyIsToldSo)
{
    write_policy("<ppro_root/>");
    for (const char* file : {kPolicy, kBlacklist}) {
        ASSERT_EQ(::chmod(file, 0), 0);
    }
    // The tests' user may read everything, as long as it has the right to.
    take(run_program(
        {{"/usr/bin/setpriv", "--inh-caps=-all", "--bounding-set=-all", TRESKCTL_PROGRAM, "doctor", "--json"},
         {},
         {}}));
    EXPECT_EQ(outcome_.exit_status, 9) << outcome_;
    EXPECT_EQ(detail(kPolicy), "cannot read the policy: Permission denied");
    EXPECT_EQ(advice(kPolicy), "Run as a user who may read it.");
    EXPECT_EQ(detail(kBlacklist), "cannot be read: Permission denied");
    EXPECT_EQ(advice(kBlacklist), "Run as a user who may read it.");
    const json error = parsed(outcome_.error)["errors"][0];
    EXPECT_EQ(error["subject"], kPolicy);
    EXPECT_EQ(error["message"], "cannot read the policy: Permission denied");
}

TEST_F(DoctorTest, WarnsOfMissingFilesWithoutWhichQuestionsFail)
{
    ASSERT_TRUE(std::filesystem::remove(kSettings));
    ASSERT_TRUE(std::filesystem::remove(kBlacklist));
    examine();
    EXPECT_EQ(outcome_.exit_status, 0);
    EXPECT_EQ(state(kSettings), "warning");
    EXPECT_EQ(detail(kSettings), "missing: \"treskctl ppro action\" fails without it");
    EXPECT_NE(advice(kSettings), "");
    EXPECT_EQ(state(kBlacklist), "warning");
    EXPECT_EQ(detail(kBlacklist), "missing: \"treskctl ppro blacklist\" fails without it");
    EXPECT_NE(advice(kBlacklist), "");
    EXPECT_EQ(treskctl({"ppro", "action"}).exit_status, 9);
    EXPECT_EQ(treskctl({"ppro", "blacklist", "/a"}).exit_status, 9);
}

TEST_F(DoctorTest, AnEmptyBlacklistForbidsNothing)
{
    write_file(kBlacklist, "");
    examine();
    EXPECT_EQ(state(kBlacklist), "ok");
    EXPECT_EQ(treskctl({"ppro", "blacklist", "/a"}).exit_status, 1);
}

TEST_F(DoctorTest, FindsADamagedDatabase)
{
    write_file("/etc/tresk/db/whlist.db", "no database");
    examine();
    EXPECT_EQ(outcome_.exit_status, 9);
    EXPECT_EQ(state("/etc/tresk/db/whlist.db"), "failed");
}

TEST_F(DoctorTest, FindsAPolicyThatEverybodyMayWrite)
{
    write_policy("<ppro_root/>");
    ASSERT_EQ(::chmod(kPolicy, 0666), 0);
    examine();
    EXPECT_EQ(outcome_.exit_status, 9);
    EXPECT_EQ(state("modes"), "failed");
    EXPECT_EQ(detail("modes"), "/etc/tresk/ppro/ppro.xml has mode 0666: everybody may change the policy");
    EXPECT_EQ(advice("modes"),
              "chmod o-w \"/etc/tresk/ppro/ppro.xml\", and look whether its content was changed.");
}

TEST_F(DoctorTest, FindsAFolderThatEverybodyMayWrite)
{
    std::filesystem::create_directories("/etc/tresk/pblk");
    ASSERT_EQ(::chmod("/etc/tresk/pblk", 0777), 0);
    examine();
    EXPECT_EQ(outcome_.exit_status, 9);
    EXPECT_EQ(detail("modes"), "/etc/tresk/pblk has mode 0777: everybody may change the policy");
}

TEST_F(DoctorTest, FindsAKernelWithoutTheModule)
{
    ASSERT_EQ(::setenv("TRESK_STANDIN_KERNEL_PROTOCOL", "none", 1), 0);
    examine();
    EXPECT_EQ(outcome_.exit_status, 8);
    EXPECT_EQ(detail("kernel"), "no kernel module listens on netlink protocol 26 or 27");
}

TEST_F(DoctorTest, KnowsBothProtocolsOfTheModule)
{
    examine();
    EXPECT_EQ(detail("kernel"), "netlink protocol 27");
    ASSERT_EQ(::setenv("TRESK_STANDIN_KERNEL_PROTOCOL", "26", 1), 0);
    examine();
    EXPECT_EQ(detail("kernel"), "netlink protocol 26");
}

TEST_F(DoctorTest, FindsVersionsThatAreTooOld)
{
    write_state("version", "4.10\n");
    examine();
    EXPECT_EQ(outcome_.exit_status, 5);
    EXPECT_EQ(state("version ppro"), "failed");
    EXPECT_EQ(detail("version ppro"), "4.10 is older than 4.2: the kernel module is told of no changes");
}

TEST_F(DoctorTest, WarnsOfVersionsThatAreUnknown)
{
    write_state("version", "");
    examine();
    EXPECT_EQ(outcome_.exit_status, 0);
    EXPECT_EQ(state("version netctl"), "warning");
}

TEST_F(DoctorTest, TheFirstCheckThatFailedGivesTheStatus)
{
    write_state("status", "0\n");
    write_policy("<other/>");
    examine();
    EXPECT_EQ(outcome_.exit_status, 7);
    EXPECT_EQ(parsed(outcome_.error)["errors"].size(), 2);
}

TEST_F(DoctorTest, LooksAtFilesAloneBelowAnotherRoot)
{
    const std::string root = state_file("root");
    write_file(root + kPolicy, "<other/>");
    ASSERT_EQ(::chmod((root + kPolicy).c_str(), 0602), 0);
    examine({"--root", root});
    EXPECT_EQ(outcome_.exit_status, 9);
    EXPECT_EQ(detail(kPolicy).find(root + kPolicy), 0);
    EXPECT_EQ(detail("modes").find(root + kPolicy), 0);
    for (const json& row : checks_) {
        EXPECT_NE(row["check"], "bus");
        EXPECT_NE(row["check"], "kernel");
    }
}

TEST_F(DoctorTest, ChangesNothing)
{
    examine();
    EXPECT_FALSE(std::filesystem::exists(kPolicy));
    EXPECT_FALSE(std::filesystem::exists("/etc/tresk/db/whlist.db"));
    EXPECT_EQ(read_state("kernel.log"), "");
    EXPECT_TRUE(service_was_asked("getModuleStatus (3,)"));
}

} // namespace

} // namespace tresk::test
