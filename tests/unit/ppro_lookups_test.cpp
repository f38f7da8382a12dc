// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The look-ups by hash. What looks odd here is what the kernel notifications rely on.
#include "tests/unit/ppro_files.h"

#include <climits>

namespace tresk::test {

namespace {

std::string sm_node(std::string_view path, std::string_view hash)
{
    return node(path, hash, "1", "sm_status=\"1\"");
}

/// Children in an order of the test's own.
std::string holding(std::string_view path, std::string_view children)
{
    return "<ppro_node path=\"" + std::string(path) + "\">" + std::string(children) + "</ppro_node>";
}

std::optional<Record> beside(const char* hash)
{
    return one(tresk_ppro_read_node_with_hash_zdk(hash, 0, ""));
}

class PproNodeWithHash : public PproFilesTest {};

TEST_F(PproNodeWithHash, PassesOverTheEntryThatCarriesIt)
{
    write_policy(node("/a", "h", "1"));
    EXPECT_EQ(beside("h"), std::nullopt);
}

TEST_F(PproNodeWithHash, GivesTheFirstEntryThatCarriesAnother)
{
    write_policy(node("/a", "h", "1") + node("/b", "g", "2") + node("/c", "i", "3"));
    EXPECT_EQ(beside("h"), (Record{"/b", "g", 2}));
    EXPECT_EQ(beside("g"), (Record{"/a", "h", 1}));
    EXPECT_EQ(beside(""), (Record{"/a", "h", 1}));
}

TEST_F(PproNodeWithHash, PassesOverNodesWhoseFirstChildIsNoHash)
{
    for (const char* first :
         {"<type>1</type>", "\n", "<!--h-->", "<?hash h?>", "<![CDATA[h]]>", "<other/>"}) {
        write_policy(holding("/a", std::string(first) + "<hash>g</hash><type>1</type>"));
        EXPECT_EQ(beside("h"), std::nullopt) << first;
    }
}

TEST_F(PproNodeWithHash, GoesOnPastAnythingBehindTheHash)
{
    write_policy(holding("/a", "<hash>g</hash>\n<!--c--><other/><?p?>text<type>1</type>"));
    EXPECT_EQ(beside("h"), (Record{"/a", "g", 1}));
}

TEST_F(PproNodeWithHash, PassesOverANodeThatComesToTheHashLater)
{
    write_policy(holding("/a", "<hash>g</hash><type>1</type><hash>h</hash>") + node("/b", "i", "2"));
    EXPECT_EQ(beside("h"), (Record{"/b", "i", 2}));
}

TEST_F(PproNodeWithHash, PassesOverANodeThatBeginsWithTheHash)
{
    write_policy(holding("/a", "<hash>h</hash><hash>g</hash><type>1</type>"));
    EXPECT_EQ(beside("h"), std::nullopt);
}

TEST_F(PproNodeWithHash, GivesTheLastHashAndType)
{
    write_policy(holding("/a", "<hash>g</hash><type>1</type><hash>i</hash><type>2</type>"));
    EXPECT_EQ(beside("h"), (Record{"/a", "i", 2}));
}

TEST_F(PproNodeWithHash, EndsAtANodeWithoutType)
{
    write_policy(holding("/a", "<hash>g</hash>") + node("/b", "i", "2"));
    EXPECT_EQ(beside("h"), std::nullopt);
}

TEST_F(PproNodeWithHash, PassesOverANodeWithoutChildren)
{
    write_policy(holding("/a", "") + node("/b", "i", "2"));
    EXPECT_EQ(beside("h"), (Record{"/b", "i", 2}));
}

TEST_F(PproNodeWithHash, PassesOverWhatTheFilterHides)
{
    write_policy(sm_node("/a", "g") + node("/b", "g", "2", "data_source_name=\"s\"") + node("/c", "g", "3"));
    EXPECT_EQ(beside("h"), (Record{"/c", "g", 3}));
    EXPECT_EQ(one(tresk_ppro_read_node_with_hash_zdk("h", 1, "")), (Record{"/a", "g", 1}));
    EXPECT_EQ(one(tresk_ppro_read_node_with_hash_zdk("h", 0, "s")), (Record{"/b", "g", 2}));
}

TEST_F(PproNodeWithHash, ComparesTheWholeHashAndCutsItInTheRecord)
{
    const std::string start(64, 'f');
    write_policy(node("/a", start + "tail", "1"));
    EXPECT_EQ(beside(start.c_str()), (Record{"/a", start, 1}));
    EXPECT_EQ(beside((start + "tail").c_str()), std::nullopt);
}

TEST_F(PproNodeWithHash, LeavesAPathOutThatDoesNotFit)
{
    write_policy(node("/" + std::string(4095, 'p'), "g", "1") + node("/b", "i", "2"));
    EXPECT_EQ(beside("h"), (Record{"/b", "i", 2}));
}

TEST_F(PproNodeWithHash, OfNullIsNullWithoutOpeningThePolicy)
{
    EXPECT_EQ(tresk_ppro_read_node_with_hash_zdk(nullptr, 0, ""), nullptr);
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
}

TEST_F(PproNodeWithHash, CreatesTheMissingPolicyAndFails)
{
    EXPECT_EQ(beside("h"), std::nullopt);
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
}

TEST_F(PproNodeWithHash, NamesTheRootItWantsWhereItFindsAnother)
{
    write_file(kPolicyFile, "<r>" + node("/a", "g", "1") + "</r>");
    EXPECT_EQ(beside("h"), std::nullopt);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].subject, "tresk_ppro_read_node_with_hash_zdk");
    EXPECT_EQ(framework().logs[0].text,
              "tresk_ppro_read_node_with_hash_zdk: document of the wrong type, root node != ppro_root\n");
}

class PproCheckInSm : public PproFilesTest {};

TEST_F(PproCheckInSm, FindsAnEntryOfTheSmSide)
{
    write_policy(node("/a", "g", "1") + sm_node("/b", "h"));
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), 0);
    EXPECT_EQ(tresk_ppro_check_in_sm("g"), -1);
    EXPECT_EQ(tresk_ppro_check_in_sm("i"), -1);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PproCheckInSm, GoesOnPastAnOrdinaryEntryOfTheHash)
{
    write_policy(node("/a", "h", "1") + sm_node("/b", "h"));
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), 0);
}

TEST_F(PproCheckInSm, TakesAnyElementOfTheRoot)
{
    write_policy("<anything path=\"/a\" sm_status=\"2\"><hash>h</hash><type>1</type></anything>");
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), 0);
}

TEST_F(PproCheckInSm, WantsThePathFirst)
{
    write_policy("<ppro_node sm_status=\"1\" path=\"/a\"><hash>h</hash><type>1</type></ppro_node>");
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), -1);
}

TEST_F(PproCheckInSm, WantsThePathWritten)
{
    write_file(kPolicyFile,
               "<!DOCTYPE ppro_root [<!ATTLIST ppro_node path CDATA \"/a\" sm_status CDATA \"1\">]>"
               "<ppro_root><ppro_node><hash>h</hash><type>1</type></ppro_node></ppro_root>");
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), -1);
}

TEST_F(PproCheckInSm, WantsAHashAndAType)
{
    write_policy("<ppro_node path=\"/a\" sm_status=\"1\"><hash>h</hash></ppro_node>");
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), -1);
}

TEST_F(PproCheckInSm, ComparesTheLastHashWhole)
{
    const std::string start(64, 'f');
    write_policy("<ppro_node path=\"/a\" sm_status=\"1\"><type>1</type><hash>h</hash><hash>" + start +
                 "tail</hash></ppro_node>");
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), -1);
    EXPECT_EQ(tresk_ppro_check_in_sm(start.c_str()), -1);
    EXPECT_EQ(tresk_ppro_check_in_sm((start + "tail").c_str()), 0);
}

TEST_F(PproCheckInSm, FindsNothingInAnEmptyPolicy)
{
    write_policy("");
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), -1);
}

TEST_F(PproCheckInSm, OfNullFailsWithoutOpeningThePolicy)
{
    EXPECT_EQ(tresk_ppro_check_in_sm(nullptr), -1);
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
}

TEST_F(PproCheckInSm, CreatesTheMissingPolicyAndFails)
{
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), -1);
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
}

TEST_F(PproCheckInSm, NamesTheRootItWantsWhereItFindsAnother)
{
    write_file(kPolicyFile, "<r>" + sm_node("/a", "h") + "</r>");
    EXPECT_EQ(tresk_ppro_check_in_sm("h"), -1);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].text,
              "tresk_ppro_check_in_sm: document of the wrong type, root node != ppro_root\n");
}

class PproCountOfHash : public PproFilesTest {
  protected:
    /// What a counter that starts at @start holds after the count, which must succeed.
    static int counted(int start, const char* hash = "h")
    {
        EXPECT_EQ(tresk_ppro_get_same_node_by_hash(hash, &start), 0);
        return start;
    }
};

TEST_F(PproCountOfHash, LooksFromZeroAtTheFirstNodeAlone)
{
    write_policy(node("/a", "h", "1") + node("/b", "h", "1") + node("/c", "h", "1"));
    EXPECT_EQ(counted(0), 1);
    EXPECT_EQ(counted(0, "g"), 0);
}

TEST_F(PproCountOfHash, TakesABlankForTheFirstNode)
{
    write_policy("\n" + node("/a", "h", "1"));
    EXPECT_EQ(counted(0), 0);
}

TEST_F(PproCountOfHash, GoesOnOnlyWhileTheCounterIsAboveTwo)
{
    write_policy(node("/a", "h", "1") + node("/b", "g", "1") + node("/c", "h", "1"));
    EXPECT_EQ(counted(1), 2);
    EXPECT_EQ(counted(2), 4);
    EXPECT_EQ(counted(3), 5);
    EXPECT_EQ(counted(-5), -4);
}

TEST_F(PproCountOfHash, StopsAtTwoWhereTheFirstNodeCarriesAnotherHash)
{
    write_policy(node("/b", "g", "1") + node("/a", "h", "1"));
    EXPECT_EQ(counted(2), 2);
    EXPECT_EQ(counted(3), 4);
}

TEST_F(PproCountOfHash, WantsTheHashAsFirstChild)
{
    write_policy(holding("/a", "<type>1</type><hash>h</hash>") + holding("/a", "\n<hash>h</hash>") +
                 holding("/a", "<!--c--><hash>h</hash>") + holding("/a", "") +
                 holding("/a", "<hash>h</hash>"));
    EXPECT_EQ(counted(10), 11);
}

TEST_F(PproCountOfHash, AsksForNoPathAndNoType)
{
    write_policy("<ppro_node><hash>h</hash></ppro_node><other><hash>h</hash></other>");
    EXPECT_EQ(counted(10), 11);
}

TEST_F(PproCountOfHash, ComparesTheFirstHashWhole)
{
    write_policy(holding("/a", "<hash>h</hash><hash>g</hash>") + holding("/a", "<hash>hh</hash>"));
    EXPECT_EQ(counted(10), 11);
    EXPECT_EQ(counted(10, "g"), 10);
    EXPECT_EQ(counted(10, ""), 10);
}

TEST_F(PproCountOfHash, StaysAtTheLargestInteger)
{
    write_policy(node("/a", "h", "1") + node("/b", "h", "1"));
    EXPECT_EQ(counted(INT_MAX), INT_MAX);
    EXPECT_EQ(counted(INT_MIN), INT_MIN + 1);
}

TEST_F(PproCountOfHash, LeavesTheCounterInAnEmptyPolicy)
{
    write_policy("");
    EXPECT_EQ(counted(3), 3);
}

TEST_F(PproCountOfHash, FailsOnNullWithoutOpeningThePolicy)
{
    int count = kUnwritten;
    EXPECT_EQ(tresk_ppro_get_same_node_by_hash(nullptr, &count), -1);
    EXPECT_EQ(tresk_ppro_get_same_node_by_hash("h", nullptr), -1);
    EXPECT_EQ(count, kUnwritten);
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
}

TEST_F(PproCountOfHash, CreatesTheMissingPolicyAndFails)
{
    int count = kUnwritten;
    EXPECT_EQ(tresk_ppro_get_same_node_by_hash("h", &count), -1);
    EXPECT_EQ(count, kUnwritten);
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
}

TEST_F(PproCountOfHash, NamesTheNodeWhereItFindsAnotherRoot)
{
    write_file(kPolicyFile, "<ppro_node>" + node("/a", "h", "1") + "</ppro_node>");
    int count = kUnwritten;
    EXPECT_EQ(tresk_ppro_get_same_node_by_hash("h", &count), -1);
    EXPECT_EQ(count, kUnwritten);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, 3);
    EXPECT_EQ(framework().logs[0].subject, "tresk_ppro_get_same_node_by_hash");
    EXPECT_EQ(framework().logs[0].source, "tresk_ppro");
    EXPECT_EQ(framework().logs[0].text,
              "tresk_ppro_get_same_node_by_hash: document of the wrong type, root node != ppro_node\n");
}

} // namespace

} // namespace tresk::test
