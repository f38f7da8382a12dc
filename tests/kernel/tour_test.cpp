// SPDX-License-Identifier: LGPL-2.1-or-later
//
// treskctl in a virtual machine: a real bus, the stand-in service and a kernel that really is told.
#include "tests/e2e/program.h"
#include "tests/kernel/kernel_module.h"
#include "tests/support/child_process.h"
#include "tests/support/policy_files.h"
#include "tests/support/private_bus.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

namespace tresk::test {

namespace {

const std::string kProgram = "/usr/bin/cat";
const std::string kProgramHash = "96a6d84030f1670694e159f2826dca46e11020bd83672c01bb92c5d11f5402fa";

/// What treskctl ends with: see docs/treskctl.md.
constexpr int kNo = 1;
constexpr int kRefused = 5;
constexpr int kDisabled = 7;
constexpr int kUnreachable = 8;

class TourTest : public testing::Test {
  protected:
    void SetUp() override
    {
        for (const char* family : {"netctl", "ppro", "pblk", "bwlist", "db"}) {
            std::filesystem::remove_all(std::string("/etc/tresk/") + family);
            std::filesystem::create_directories(std::string("/etc/tresk/") + family);
        }
        bus_.use_as_system_bus();
        ::setenv("TRESK_STANDIN_STATE", state_.path().c_str(), 1);
        ::setenv("TRESK_STANDIN_LOG", (state_ / "framework.log").c_str(), 1);
        service_ = ChildProcess({.words = {TRESK_STANDIN_SERVICE_PROGRAM, "--ready-fd", "3"},
                                 .environment = {},
                                 .announce_fd = 3,
                                 .error_file = {}});
        ASSERT_EQ(service_.announcement(), "ready");
        load("protocol=26");
    }

    void TearDown() override { EXPECT_TRUE(!kernel_ || kernel_->unload()) << "a socket was left open"; }

    void load(const std::string& parameters)
    {
        kernel_.reset();
        kernel_.emplace(parameters);
    }

    void unload() { kernel_.reset(); }

    static Outcome treskctl(const Words& arguments, const std::string& input = "")
    {
        Words words = {TRESKCTL_PROGRAM};
        words.insert(words.end(), arguments.begin(), arguments.end());
        return run_program({.words = words, .environment = {}, .output_file = {}, .input = input});
    }

    /// The command succeeds and says nothing on standard error. What it printed.
    static std::string done(const Words& arguments, const std::string& input = "")
    {
        const Outcome outcome = treskctl(arguments, input);
        EXPECT_EQ(outcome.exit_status, 0) << testing::PrintToString(arguments) << outcome;
        EXPECT_EQ(outcome.error, "") << testing::PrintToString(arguments);
        return outcome.output;
    }

    /// The command ends with @status. What it printed, on standard error too.
    static std::string refused(int status, const Words& arguments)
    {
        const Outcome outcome = treskctl(arguments);
        EXPECT_EQ(outcome.exit_status, status) << testing::PrintToString(arguments) << outcome;
        return outcome.output + outcome.error;
    }

    static void expect_in(const std::string& text, const std::string& wanted)
    {
        EXPECT_NE(text.find(wanted), std::string::npos) << wanted << "\n  is not in\n" << text;
    }

    static void expect_in_file(const std::filesystem::path& file, const std::string& wanted)
    {
        expect_in(read_file(file).value_or("(no " + file.string() + ")"), wanted);
    }

    /// The kernel got one more message: of this type, with this payload and zeros behind it.
    void expect_told(std::uint16_t type, std::string payload)
    {
        const auto records = kernel_.value().records();
        ASSERT_EQ(records.size(), ++told_);
        const KernelRecord& last = records.back();
        EXPECT_EQ(last.protocol, 26);
        ASSERT_EQ(last.bytes.size(), 1016U);
        EXPECT_EQ(last.bytes.substr(0, 4), std::string("\xf8\x03\0\0", 4));
        EXPECT_EQ(last.bytes.substr(4, 2), (std::string{static_cast<char>(type), '\0'}));
        payload.resize(1000);
        EXPECT_EQ(last.bytes.substr(16), payload);
    }

    void expect_not_told() { EXPECT_EQ(kernel_.value().records().size(), told_); }

    const TempDir state_;
    const PrivateBus bus_;

  private:
    ChildProcess service_;
    std::optional<KernelModule> kernel_;
    std::size_t told_ = 0;
};

// --- the families ---

TEST_F(TourTest, ProcessProtection)
{
    done({"ppro", "add", kProgram, "--type", "1"});
    expect_in_file("/etc/tresk/ppro/ppro.xml", "path=\"" + kProgram + "\"");
    expect_in(done({"ppro", "list"}), kProgramHash);
    done({"notify", "ppro", kProgram, "--type", "9", "--value", "825307441"});
    expect_told(9, "1111" + kProgramHash);
    done({"ppro", "update", kProgram, "--type", "2"});
    expect_in_file("/etc/tresk/ppro/ppro.xml", "<type>2</type>");
    expect_in(done({"ppro", "update", kProgram, "--type", "2"}), "changed: no");
    done({"ppro", "remove", kProgram});
    EXPECT_EQ(read_file("/etc/tresk/ppro/ppro.xml").value_or("").find(kProgram), std::string::npos);
    done({"notify", "ppro", kProgram, "--type", "10", "--value", "825307441"});
    expect_told(10, "1111" + kProgramHash);
}

TEST_F(TourTest, EntryOfTheSmSideIsItsOwn)
{
    done({"ppro", "add", kProgram, "--type", "1", "--owner", "sm"});
    expect_in(refused(kRefused, {"notify", "ppro", kProgram, "--type", "9", "--value", "825307441"}),
              "the entry belongs to the \"sm\" side");
    expect_not_told();
    done({"notify", "ppro", kProgram, "--type", "9", "--value", "825307441", "--sm"});
    expect_told(9, "1111" + kProgramHash);
}

TEST_F(TourTest, NetworkControl)
{
    done({"netctl", "add", kProgram, "--type", "2", "--name", "Cat"});
    expect_in_file("/etc/tresk/netctl/netctl.xml", "<name>Cat</name>");
    expect_in_file(state_ / "scene/netctl", kProgram);
    done({"notify", "netctl", kProgram, "--type", "3", "--value", "825307441"});
    expect_told(3, "11115eb6514dc8ffd12bdb43e125fc55bc5933ecf9224e6bab22fed9c44478d0ce7c");
    done({"netctl", "user-distinct", "on"});
    done({"notify", "netctl", kProgram, "--uid", "1000", "--type", "3", "--value", "825307441"});
    expect_told(3, "1111b3cde5dcc0820e9400b485d514a7fcba02cfe0a70b25457bb0728375c35117d0");
}

TEST_F(TourTest, PackagesAndTheirLists)
{
    done({"pkg", "add", "coreutils", "--type", "1"});
    done({"pkg", "update", "coreutils", "--type", "1", "--path", kProgram});
    expect_in_file("/etc/tresk/netctl/netctl_pkg.xml", "<path>" + kProgram + "</path>");
    done({"bwlist", "add", "white", "coreutils"});
    expect_in(refused(kNo, {"bwlist", "verdict", "coreutils", "bash"}), "coreutils");
    expect_in_file("/etc/tresk/bwlist/bwlist.xml", "rpm_name=\"coreutils\"");
    expect_not_told();
}

TEST_F(TourTest, ProcessBlocking)
{
    done({"pblk", "add", kProgram, "--source-type", "5", "--source", "tour"});
    expect_in_file("/etc/tresk/pblk/pblk.xml", "data_source_name=\"tour\"");
    done({"notify", "pblk", kProgram, "--type", "19"});
    expect_told(19, kProgramHash);
    done({"notify", "pblk", kProgram, "--type", "20"}); // another source's: the kernel shall not forget it
    expect_not_told();
    done({"notify", "pblk", kProgram, "--type", "20", "--source-type", "5", "--source", "tour"});
    expect_told(20, kProgramHash);
}

TEST_F(TourTest, FileLabelsAndHashes)
{
    const TempDir files;
    const std::string file = files / "one";
    write_file(file, "one\n");
    done({"label", "protect", "readonly", "--recursive", files.path()});
    expect_in_file(state_ / "scene/filectl", files.path());
    done({"label", "identify", "secadm", file});
    expect_in_file(state_ / "scene/admctl_role_1", file);
    done({"label", "exec", "trusted", kProgram});
    expect_in_file(state_ / "scene/exectl_wlist", kProgram);
    const std::string hash = "2c8b08da5ce60398e1f19af0e5dccc744df274b826abe585eaba68c525434806"; // of "one\n"
    expect_in(done({"hash", "calc", file}), hash);
    expect_in(done({"hash", "show", file}), hash);
    done({"notify", "hash", hash, "--type", "7", "--value", "825307441"});
    expect_told(7, "1111" + hash);
}

TEST_F(TourTest, KernelModules)
{
    expect_in(done({"kmod", "name", TRESK_KERNEL_MODULE}), "tresk_test_kernel");
    done({"kmod", "protect", "--file", TRESK_KERNEL_MODULE});
    expect_in_file(state_ / "scene/kmodctl", "tresk_test_kernel");
    done({"notify", "kmod", "tresk_test_kernel", "--type", "9"});
    expect_told(9, "tresk_test_kernel");
    expect_in(refused(kRefused, {"notify", "kmod", "tresk_test_kernel", "--type", "8"}), "not sent");
    write_file(state_ / "kmod_sm", "tresk_test_kernel\n");
    refused(kRefused, {"notify", "kmod", "tresk_test_kernel", "--type", "9"});
    expect_not_told();
    done({"notify", "kmod", "tresk_test_kernel", "--type", "9", "--sm"});
    expect_told(9, "tresk_test_kernel");
}

TEST_F(TourTest, DevicesAndWirelessNetworks)
{
    done({"device", "add", "--vendor", "1d6b", "--product", "0002", "--usb-type", "3", "--perm", "1"});
    done({"device", "batch", "-f", "-"}, "{\"type\": 14, \"perm\": 1}\n");
    expect_in(done({"device", "list"}), "1d6b");
    expect_in_file(state_ / "scene/devctl_pvid", "0002 1d6b");
    done({"wireless", "add", "the office"});
    expect_in(done({"wireless", "list"}), "the office");
    done({"notify", "device", "--type", "12", "--data", "6b1d0200ff"});
    expect_told(12, std::string("\x6b\x1d\x02\0\xff", 5));
}

TEST_F(TourTest, SwitchesAndDocuments)
{
    done({"status", "set", "framework", "off"});
    expect_in(refused(kDisabled, {"ppro", "add", "/usr/bin/sed", "--type", "1"}),
              "the framework is disabled");
    done({"status", "set", "framework", "on"});
    const std::string wanted = state_ / "wanted.json";
    write_file(wanted, R"({"version": 1, "policy": {"ppro": [{"path": ")" + kProgram +
                           R"(", "type": 4}], "wireless": [{"name": "the office"}]}})");
    refused(kNo, {"diff", "machine", wanted});
    expect_in(done({"apply", wanted}), "changed: yes");
    done({"diff", "machine", wanted});
    expect_in(done({"apply", wanted}), "changed: no");
    expect_in(done({"explain", kProgram}), "ppro");
}

// --- the kernel as treskctl sees it ---

TEST_F(TourTest, DoctorFindsTheProtocolOfTheKernel)
{
    const Words doctor = {"doctor", "-o", "check,state,detail"};
    expect_in(treskctl(doctor).output, "netlink protocol 26");
    load("protocol=27");
    expect_in(treskctl(doctor).output, "netlink protocol 27");
    unload();
    const Outcome without = treskctl(doctor);
    expect_in(without.output, "no kernel module listens on netlink protocol 26 or 27");
    EXPECT_EQ(without.exit_status, kUnreachable);
}

TEST_F(TourTest, KernelThatDoesNotAnswerOrIsNotThereIsUnreachable)
{
    const Words notify = {"notify", "hash", kProgramHash, "--type", "7", "--value", "1"};
    load("protocol=26 silent=1");
    expect_in(refused(kUnreachable, notify), "the kernel module did not answer");
    unload();
    refused(kUnreachable, notify);
}

TEST_F(TourTest, RefusalOfTheKernelIsInTheFrameworksLog)
{
    load("protocol=27 answer=\"not allowed\"");
    done({"notify", "hash", kProgramHash, "--type", "7", "--value", "1"});
    expect_in_file(state_ / "framework.log", "Got response: not allowed");
}

} // namespace

} // namespace tresk::test
