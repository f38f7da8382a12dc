// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/pblk_files.h"

#include <climits>

namespace tresk::test {

namespace {

class PblkCountOfHash : public PblkFilesTest {
  protected:
    /// Counts the hash "h" from @start.
    static int counted(int start = 0)
    {
        int count = start;
        EXPECT_EQ(tresk_pblk_get_same_node_by_hash("h", &count), 0);
        return count;
    }
};

std::string times(int number, const std::string& text)
{
    std::string all;
    for (int i = 0; i < number; ++i) {
        all += text;
    }
    return all;
}

TEST_F(PblkCountOfHash, FindsEntriesAnywhereInThePolicy)
{
    write_policy(node("/b", "g") + "\n" + node("/a", "h") + "<!-- c -->");
    EXPECT_EQ(counted(), 1);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PblkCountOfHash, EndsOnceItIsAboveOne)
{
    write_policy(times(3, node("/a", "h")));
    EXPECT_EQ(counted(), 2);
    write_policy(node("/b", "g") + node("/a", "h") + "\n" + times(5, node("/a", "h")));
    EXPECT_EQ(counted(), 2);
}

TEST_F(PblkCountOfHash, AddsToTheCounter)
{
    write_policy(times(4, node("/a", "h")));
    EXPECT_EQ(counted(1), 2);
    EXPECT_EQ(counted(-1), 2);
    EXPECT_EQ(counted(-10), -6);
}

TEST_F(PblkCountOfHash, LooksAtTheFirstNodeAloneWhereTheCounterIsAboveOne)
{
    write_policy(times(3, node("/a", "h")));
    EXPECT_EQ(counted(2), 3);
    EXPECT_EQ(counted(7), 8);
    write_policy("\n" + node("/a", "h"));
    EXPECT_EQ(counted(2), 2);
}

TEST_F(PblkCountOfHash, StaysAtTheLargestInteger)
{
    write_policy(node("/a", "h"));
    EXPECT_EQ(counted(INT_MAX), INT_MAX);
    EXPECT_EQ(counted(INT_MIN), INT_MIN + 1);
}

TEST_F(PblkCountOfHash, TakesTheLastHashOfANodeOnce)
{
    write_policy("<pblk_node><hash>h</hash><hash>h</hash></pblk_node>"
                 "<pblk_node><hash>h</hash><hash>g</hash></pblk_node>");
    EXPECT_EQ(counted(), 1);
}

TEST_F(PblkCountOfHash, AsksForNoPathAndNoSource)
{
    write_policy("<pblk_node><hash>h</hash></pblk_node>" +
                 node("/a", "h", R"(data_source_type="9" data_source_name="x")"));
    EXPECT_EQ(counted(), 2);
}

TEST_F(PblkCountOfHash, ComparesTheHashWhole)
{
    const std::string start(64, 'f');
    write_policy(node("/a", start + "tail"));
    int count = 0;
    EXPECT_EQ(tresk_pblk_get_same_node_by_hash(start.c_str(), &count), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(tresk_pblk_get_same_node_by_hash((start + "tail").c_str(), &count), 0);
    EXPECT_EQ(count, 1);
}

TEST_F(PblkCountOfHash, LeavesTheCounterInAnEmptyPolicy)
{
    write_policy("");
    EXPECT_EQ(counted(5), 5);
}

TEST_F(PblkCountOfHash, FailsOnNullWithoutOpeningThePolicy)
{
    int count = kUnwritten;
    EXPECT_EQ(tresk_pblk_get_same_node_by_hash(nullptr, &count), -1);
    EXPECT_EQ(tresk_pblk_get_same_node_by_hash("h", nullptr), -1);
    EXPECT_EQ(count, kUnwritten);
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PblkCountOfHash, CreatesTheMissingPolicyAndFails)
{
    int count = kUnwritten;
    EXPECT_EQ(tresk_pblk_get_same_node_by_hash("h", &count), -1);
    EXPECT_EQ(count, kUnwritten);
    EXPECT_EQ(read_file(kPolicyFile), kEmptyPolicy);
    EXPECT_EQ(counted(), 0);
}

TEST_F(PblkCountOfHash, NamesTheRootItWantsWhereItFindsAnother)
{
    write_file(kPolicyFile, "<r>" + node("/a", "h") + "</r>");
    int count = kUnwritten;
    EXPECT_EQ(tresk_pblk_get_same_node_by_hash("h", &count), -1);
    EXPECT_EQ(count, kUnwritten);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].subject, "tresk_pblk_get_same_node_by_hash");
    EXPECT_EQ(framework().logs[0].source, "tresk_pblk");
    EXPECT_EQ(framework().logs[0].text,
              "tresk_pblk_get_same_node_by_hash: document of the wrong type, root node != pblk_root\n");
}

} // namespace

} // namespace tresk::test
