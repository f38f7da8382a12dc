// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "hash": hashes that the service computes and stores.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"
#include "tests/support/temp_dir.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string kHashOfNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
const std::string kHashOfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string kHeader = "HASH" + std::string(62, ' ') + "PATH\n";
const std::string kNoHash = ": no hash; the framework's log has the reason where there is one\n";

class HashTest : public TreskctlTest {
  protected:
    void SetUp() override
    {
        TreskctlTest::SetUp();
        write_file(empty_, "");
        write_file(abc_, "abc");
    }

    [[nodiscard]] std::string both_rows() const
    {
        return kHeader + kHashOfNothing + "  " + empty_ + "\n" + kHashOfAbc + "  " + abc_ + "\n";
    }

    /// Stored hashes of "/opt/0" and so on, and the paths as a list.
    static std::string store(int count)
    {
        std::string stored;
        std::string list;
        for (int number = 0; number < count; ++number) {
            const std::string path = "/opt/" + std::to_string(number);
            stored += kHashOfAbc + " " + path + "\n";
            list += path + "\n";
        }
        write_state("file_hashes", stored);
        return list;
    }

    TempDir folder_;
    std::string empty_ = folder_ / "empty";
    std::string abc_ = folder_ / "abc";
};

TEST_F(HashTest, CalcComputesOneHash)
{
    EXPECT_EQ(treskctl({"hash", "calc", abc_}), succeeded(kHeader + kHashOfAbc + "  " + abc_ + "\n"));
    EXPECT_TRUE(service_was_asked("tresk_xattr_calc_hash_by_path ('" + abc_ + "',)"));
}

TEST_F(HashTest, CalcComputesMoreHashesInOneCall)
{
    EXPECT_EQ(treskctl({"hash", "calc", empty_, abc_}), succeeded(both_rows()));
    EXPECT_TRUE(
        service_was_asked("tresk_xattr_calc_multi_file_hash_value (['" + empty_ + "', '" + abc_ + "'],)"));
}

TEST_F(HashTest, ShowTellsWhatIsStored)
{
    treskctl({"hash", "calc", empty_, abc_});
    write_file(abc_, "changed");
    EXPECT_EQ(treskctl({"hash", "show", empty_, abc_}), succeeded(both_rows()));
    EXPECT_EQ(treskctl({"hash", "show", abc_}), succeeded(kHeader + kHashOfAbc + "  " + abc_ + "\n"));
}

TEST_F(HashTest, APathWithoutAHashIsAFailureOfThatPath)
{
    EXPECT_EQ(treskctl({"hash", "show", abc_}), failed("treskctl: hash show: " + abc_ + kNoHash));
    EXPECT_EQ(
        treskctl({"hash", "calc", "/no/such", abc_}),
        (Outcome{1, kHeader + kHashOfAbc + "  " + abc_ + "\n", "treskctl: hash calc: /no/such" + kNoHash}));
}

TEST_F(HashTest, RelativePathsAreSentAbsolute)
{
    std::filesystem::current_path(folder_.path());
    EXPECT_EQ(treskctl({"hash", "calc", "abc"}), succeeded(kHeader + kHashOfAbc + "  abc\n"));
    EXPECT_EQ(treskctl({"hash", "calc", "abc", "empty"}).exit_status, 0);
}

TEST_F(HashTest, ALongListGoesInParts)
{
    const std::string list = store(600);
    const Outcome outcome = treskctl_with_input(list, {"hash", "show", "-f", "-", "--json"});
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.error, "");
    const auto hashes = parsed(outcome.output)["hashes"];
    ASSERT_EQ(hashes.size(), 600U);
    EXPECT_EQ(hashes[599]["path"], "/opt/599");
    EXPECT_EQ(hashes[599]["hash"], kHashOfAbc);
}

TEST_F(HashTest, APathThatIsNotUtf8IsRefusedAloneAndInAList)
{
    const std::string reason = "an argument was refused: the service takes only UTF-8 "
                               "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n";
    EXPECT_EQ(treskctl({"hash", "calc", "/a\xff"}), failed("treskctl: hash calc: /a\\xff: " + reason));
    EXPECT_EQ(treskctl({"hash", "calc", "/a\xff", empty_, abc_}),
              (Outcome{1, both_rows(), "treskctl: hash calc: /a\\xff: " + reason}));
}

TEST_F(HashTest, AListThatIsRefusedIsAskedForPathByPath)
{
    refuse("tresk_xattr_calc_multi_file_hash_value", "MERON.TRESK.FILE.ATTR.ERR");
    EXPECT_EQ(treskctl({"hash", "calc", empty_, abc_}), succeeded(both_rows()));
}

TEST_F(HashTest, AServiceThatIsNotThereIsOneFailureWhateverTheList)
{
    const Outcome outcome = treskctl_without_bus({"hash", "calc", empty_, abc_});
    EXPECT_EQ(outcome,
              failed("treskctl: hash calc: the service could not be reached, or failed for an unknown reason "
                     "(TRESK_ERROR_SERVICE, -1011)\n"));
}

TEST_F(HashTest, ALongWaitIsShownOnATerminalAlone)
{
    const std::string list = folder_ / "list";
    write_file(list, store(300));
    write_state("service-faults", "tresk_xattr_get_multi_file_hash_value delay 1100\n");
    const Screen screen = run_at_terminal({TRESKCTL_PROGRAM, "hash", "show", "-f", list}, "", "");
    EXPECT_EQ(screen.exit_status, 0);
    EXPECT_THAT(screen.text, HasSubstr("\r\033[K[#########################.....] 256 of 300\r\033[KHASH"));
}

TEST_F(HashTest, AShortWaitShowsNothing)
{
    const Screen screen = run_at_terminal({TRESKCTL_PROGRAM, "hash", "calc", empty_, abc_}, "", "");
    EXPECT_EQ(screen.exit_status, 0);
    EXPECT_THAT(screen.text, Not(HasSubstr("\033")));
}

} // namespace

} // namespace tresk::test
