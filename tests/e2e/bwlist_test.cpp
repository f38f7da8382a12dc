// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "bwlist": packages on the black and white lists.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <gmock/gmock.h>

#include <filesystem>

namespace tresk::test {

namespace {

using nlohmann::json;
using ::testing::HasSubstr;

const std::string kBwlist = "/etc/tresk/bwlist/bwlist.xml";

const std::string kLists = R"(<tresk_root>
<tresk_bwlist bw_value="white"><tresk_node rpm_name="good" data_source_type="5" data_source_name="vendor"/>
<tresk_node rpm_name="both" data_source_type="1" data_source_name=""/></tresk_bwlist>
<tresk_bwlist bw_value="black"><tresk_node rpm_name="both" data_source_type="1" data_source_name=""/>
<tresk_node rpm_name="three" data_source_type="3" data_source_name="x"/></tresk_bwlist>
</tresk_root>
)";

class BwlistTest : public TreskctlTest {
  protected:
    static void write_lists(const std::string& content) { write_file(kBwlist, content); }
};

TEST_F(BwlistTest, AddPutsPackagesOnAList)
{
    EXPECT_EQ(treskctl({"bwlist", "add", "white", "bash", "dash"}),
              succeeded("RESULT  PACKAGE\nlisted  bash\nlisted  dash\n"));
    EXPECT_TRUE(service_was_asked("tresk_bwlist_add_zdk ('white', 'bash', 1, '')"));
    EXPECT_TRUE(service_was_asked("tresk_bwlist_add_zdk ('white', 'dash', 1, '')"));
    EXPECT_EQ(treskctl({"bwlist", "lookup", "white", "bash", "zsh"}),
              succeeded("LISTED  PACKAGE\nyes     bash\nno      zsh\n"));
}

TEST_F(BwlistTest, RemoveTakesThePackageOfThatSourceOffTheList)
{
    treskctl({"bwlist", "add", "black", "bash", "--source-type", "7", "--source", "x"});
    EXPECT_EQ(treskctl({"bwlist", "remove", "black", "bash"}),
              failed("treskctl: bwlist remove: bash: the service answered -3\n"));
    EXPECT_EQ(treskctl({"bwlist", "remove", "black", "bash", "--source-type", "7", "--source", "x"}),
              succeeded("RESULT    PACKAGE\nunlisted  bash\n"));
    EXPECT_TRUE(service_was_asked("tresk_bwlist_del_zdk ('black', 'bash', 7, 'x')"));
}

TEST_F(BwlistTest, ARefusalHasItsStatusCode)
{
    refuse("tresk_bwlist_add_zdk", "MERON.TRESK.CANCEL.AUTH");
    EXPECT_EQ(treskctl({"bwlist", "add", "white", "bash"}),
              failed("treskctl: bwlist add: bash: authorisation cancelled (TRESK_ERROR_CANCELLED, -1002)\n"));
}

TEST_F(BwlistTest, AnAnswerOfMinusOneIsTheServicesOwn)
{
    write_state("service-faults", "tresk_bwlist_add_zdk reply (-1,)\n");
    EXPECT_EQ(treskctl({"bwlist", "add", "white", "bash"}),
              failed("treskctl: bwlist add: bash: the service answered -1\n"));
}

TEST_F(BwlistTest, TextsThatAreNotUtf8AreRefusedWithTheReason)
{
    const std::string reason = "an argument was refused: the service takes only UTF-8 "
                               "(TRESK_ERROR_INVALID_ARGUMENT, -1007)\n";
    EXPECT_EQ(treskctl({"bwlist", "add", "white", "a\xff"}),
              failed("treskctl: bwlist add: a\\xff: " + reason));
    EXPECT_EQ(treskctl({"bwlist", "remove", "white", "bash", "--source", "\xff"}),
              failed("treskctl: bwlist remove: bash: " + reason));
    EXPECT_EQ(treskctl({"bwlist", "distinct", "--source", "\xff"}),
              failed("treskctl: bwlist distinct: " + reason));
}

TEST_F(BwlistTest, APackageNameThatIsTooLongIsWrongUsage)
{
    const Outcome outcome = treskctl({"bwlist", "add", "white", std::string(10000, 'x')});
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: PACKAGE: longer than 4095 bytes\n"));
}

TEST_F(BwlistTest, LookupWithASourceFindsOnlyThatSources)
{
    write_lists(kLists);
    EXPECT_EQ(
        treskctl({"bwlist", "lookup", "white", "good", "both", "--source-type", "5", "--source", "vendor"}),
        succeeded("LISTED  PACKAGE\nyes     good\nno      both\n"));
}

TEST_F(BwlistTest, ThreeIsASourcesTypeLikeOthers)
{
    write_lists(kLists);
    EXPECT_EQ(treskctl({"bwlist", "lookup", "black", "both", "three", "--source-type", "3", "--source", "x"}),
              succeeded("LISTED  PACKAGE\nno      both\nyes     three\n"));
}

TEST_F(BwlistTest, LookupInBothListsTellsWhatIsOnTheWhiteOneAlone)
{
    write_lists(kLists);
    EXPECT_EQ(parsed(treskctl({"bwlist", "lookup", "bwlist", "good", "both", "none", "--json"}).output),
              json::parse(R"({"version": 1, "command": "bwlist lookup", "packages": [
                  {"white_only": true, "package": "good"},
                  {"white_only": false, "package": "both"},
                  {"white_only": false, "package": "none"}]})"));
}

TEST_F(BwlistTest, LookupInBothListsTakesNoSource)
{
    EXPECT_EQ(treskctl({"bwlist", "lookup", "bwlist", "good", "--source", "x"}),
              (Outcome{2, "",
                       "treskctl: LIST: bwlist excludes --source and --source-type\n"
                       "Run \"treskctl --help\" or \"treskctl COMMAND --help\".\n"}));
}

TEST_F(BwlistTest, AMissingPolicyHasNoPackagesOnOneListAndIsAFailureForBoth)
{
    const Outcome answer = treskctl({"bwlist", "lookup", "white", "good"});
    EXPECT_EQ(answer.exit_status, 0);
    EXPECT_EQ(answer.output, "LISTED  PACKAGE\nno      good\n");
    const Outcome outcome = treskctl({"bwlist", "lookup", "bwlist", "good"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: bwlist lookup: /etc/tresk/bwlist/bwlist.xml: cannot read "
                                         "the policy: No such file or directory\n"));
}

TEST_F(BwlistTest, APolicyThatCannotBeOpenedIsNotTakenForAnEmptyOne)
{
    std::filesystem::create_directories("/etc/tresk/bwlist");
    std::filesystem::create_symlink(kBwlist, kBwlist);
    const Outcome outcome = treskctl({"bwlist", "lookup", "white", "good"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: bwlist lookup: /etc/tresk/bwlist/bwlist.xml: cannot read "
                                         "the policy: Too many levels of symbolic links\n"));
}

TEST_F(BwlistTest, APolicyThatIsBrokenIsAFailureForBothLists)
{
    write_lists("<tresk_root><tresk_bwlist bw_value=\"white\">");
    const Outcome outcome = treskctl({"bwlist", "lookup", "bwlist", "good", "--json"});
    EXPECT_EQ(outcome.exit_status, 1);
    EXPECT_EQ(parsed(outcome.output)["packages"], json::array());
    const json error = parsed(outcome.error)["errors"][0];
    EXPECT_EQ(error["cause"], "policy");
    EXPECT_EQ(error["subject"], kBwlist);
    EXPECT_EQ(error["message"], "the lists could not be read");
}

TEST_F(BwlistTest, ClearTakesAllPackagesOfASourceOffTheLists)
{
    write_lists(kLists);
    EXPECT_EQ(treskctl({"bwlist", "clear", "--source-type", "1"}),
              succeeded("LISTS    SOURCE TYPE  SOURCE\ncleared  1            \"\"\n"));
    EXPECT_TRUE(service_was_asked("tresk_bwlist_clear_policy_zdk (1, '')"));
    EXPECT_EQ(treskctl({"bwlist", "lookup", "black", "both", "three"}),
              succeeded("LISTED  PACKAGE\nno      both\nyes     three\n"));
}

TEST_F(BwlistTest, ARefusedClearHasItsStatusCode)
{
    write_state("status", "0\n");
    EXPECT_EQ(treskctl({"bwlist", "clear", "--source-type", "1"}),
              failed("treskctl: bwlist clear: the framework is disabled (TRESK_ERROR_DISABLED, -1003)\n"));
}

TEST_F(BwlistTest, DistinctIsSetAndShownForASource)
{
    EXPECT_EQ(treskctl({"bwlist", "distinct", "1", "--source-type", "5", "--source", "vendor"}),
              succeeded("VALUE  SOURCE TYPE  SOURCE\n1      5            vendor\n"));
    EXPECT_TRUE(service_was_asked("tresk_bwlist_set_root_distinguish_zdk (1, 5, 'vendor')"));
    EXPECT_EQ(
        parsed(treskctl({"bwlist", "distinct", "--source-type", "5", "--source", "vendor", "--json"}).output),
        json::parse(R"({"version": 1, "command": "bwlist distinct",
                  "distinctions": [{"value": 1, "source_type": 5, "source": "vendor"}]})"));
    EXPECT_EQ(treskctl({"bwlist", "distinct"}),
              succeeded("VALUE  SOURCE TYPE  SOURCE\n0      1            \"\"\n"));
}

TEST_F(BwlistTest, DistinctWithoutAServiceIsAFailure)
{
    EXPECT_EQ(treskctl_without_bus({"bwlist", "distinct"}),
              failed("treskctl: bwlist distinct: the service could not be reached, or failed for an unknown "
                     "reason (TRESK_ERROR_SERVICE, -1011)\n"));
}

} // namespace

} // namespace tresk::test
