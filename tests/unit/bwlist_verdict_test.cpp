// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The verdict of the white and the black list together, and the errors of libxml2 that it fails on.
#include "tests/unit/bwlist_files.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace tresk::test {

namespace {

/// The reading of a file, counted from 1, before which the policy is damaged; 0 for none.
int damaged_reading = 0;
int readings = 0;

class BwlistVerdict : public BwlistFilesTest {
  protected:
    static int verdict(const char* package = "a", const char* source = "s")
    {
        return tresk_bwlist_select_by_rpm_name_zdk("bwlist", package, 3, source);
    }

    /// Leaves an error of libxml2 behind on this thread.
    static void fail_to_parse()
    {
        EXPECT_EQ(xmlReadMemory("<", 1, nullptr, nullptr, XML_PARSE_NOERROR), nullptr);
        ASSERT_NE(xmlGetLastError(), nullptr);
        ASSERT_NE(xmlGetLastError()->code, XML_ERR_OK);
    }
};

TEST_F(BwlistVerdict, OfAWhiteListedPackageIsTwo)
{
    write_policy(list_of("black", entry("b")) + list_of("white", entry("a")));
    EXPECT_EQ(verdict(), 2);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(BwlistVerdict, OfABlackListedPackageIsThree)
{
    write_policy(list_of("black", entry("a")) + list_of("white", entry("b")));
    EXPECT_EQ(verdict(), 3);
}

TEST_F(BwlistVerdict, OfAPackageOnBothListsIsThree)
{
    write_policy(list_of("black", entry("a")) + list_of("white", entry("a")));
    EXPECT_EQ(verdict(), 3);
}

TEST_F(BwlistVerdict, OfAPackageOnNeitherListIsThree)
{
    write_policy(list_of("black", entry("b")) + list_of("white", entry("c")) + list_of("other", entry("a")));
    EXPECT_EQ(verdict(), 3);
    write_policy("");
    EXPECT_EQ(verdict(), 3);
}

TEST_F(BwlistVerdict, DoesNotLookAtAListOfItsOwnName)
{
    write_policy(list_of("bwlist", entry("a")));
    EXPECT_EQ(verdict(), 3);
}

TEST_F(BwlistVerdict, TakesEntriesOfAnySource)
{
    write_policy(list_of("white", entry_with("a", R"(data_source_type="9" data_source_name="x")")));
    EXPECT_EQ(verdict("a", "s"), 2);
    EXPECT_EQ(verdict("a", nullptr), 2);
}

TEST_F(BwlistVerdict, FailsWhereTheFileIsDamagedBetweenItsReadings)
{
    for (const int reading : {1, 2, 3}) {
        write_policy(list_of("white", entry("a")));
        readings = 0;
        damaged_reading = reading;
        EXPECT_EQ(verdict(), -1) << reading;
        damaged_reading = 0;
        EXPECT_EQ(readings, reading + 1); // what is damaged is read as a tree as well
        xmlResetLastError();
    }
    write_policy(list_of("white", entry("a")));
    EXPECT_EQ(verdict(), 2);
}

TEST_F(BwlistVerdict, IsThatOfTheModeThreeAlone)
{
    write_policy(list_of("bwlist", entry("a")) + list_of("white", entry("a")));
    EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("bwlist", "a", 1, "s"), 1);
    EXPECT_EQ(tresk_bwlist_select_by_rpm_name_zdk("bwlist", "a", 2, "s"), 0);
}

TEST_F(BwlistVerdict, OfNullIsMinusOneWithoutReadingTheFile)
{
    EXPECT_EQ(verdict(nullptr), -1);
    EXPECT_TRUE(xmlGetLastError() == nullptr || xmlGetLastError()->code == XML_ERR_OK) << "a file was missed";
}

TEST_F(BwlistVerdict, FailsWhereTheFileIsMissing)
{
    EXPECT_EQ(verdict(), -1);
    EXPECT_EQ(read_file(kPolicyFile), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(BwlistVerdict, FailsWhereTheFileIsEmptyOrDamaged)
{
    for (const std::string& content :
         {std::string(), std::string("garbage"), "<tresk_root>" + list_of("white", entry("a")),
          "<tresk_root>" + list_of("white", entry("a")) + "<x></tresk_root>"}) {
        xmlResetLastError();
        write_file(kPolicyFile, content);
        EXPECT_EQ(verdict(), -1) << content;
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(BwlistVerdict, IsThreeWhereTheRootIsAnother)
{
    write_file(kPolicyFile, "<other>" + list_of("white", entry("a")) + "</other>");
    EXPECT_EQ(verdict(), 3);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(BwlistVerdict, FailsOnAnErrorThatTheLookUpsForgive)
{
    write_policy(list_of("white", entry("a")) + "<x:undeclared/>");
    EXPECT_EQ(_bwlist_unite_select_by_rpm_name("white", "a"), 1);
    xmlResetLastError();
    EXPECT_EQ(verdict(), -1);
}

TEST_F(BwlistVerdict, FailsOnAnErrorOfEarlierWork)
{
    write_policy(list_of("white", entry("a")));
    fail_to_parse();
    EXPECT_EQ(verdict(), -1);
    EXPECT_EQ(verdict(), -1) << "the failure leaves the error as it was";
}

TEST_F(BwlistVerdict, FailsOnTheErrorThatAReaderLeft)
{
    write_policy(list_of("white", entry("a")));
    int count = 0;
    EXPECT_EQ(tresk_ppro_read_all_data_zdk(&count, 0, ""), nullptr); // there is no such policy
    EXPECT_EQ(verdict(), -1);
}

TEST_F(BwlistVerdict, StandsAgainOnceTheErrorIsReset)
{
    write_policy(list_of("white", entry("a")));
    fail_to_parse();
    xmlResetLastError();
    EXPECT_EQ(verdict(), 2);
    fail_to_parse();
    EXPECT_EQ(_bwlist_unite_select_by_rpm_name("white", "a"), 1); // resets it
    EXPECT_EQ(verdict(), 2);
}

TEST_F(BwlistVerdict, DoesNotCareForTheErrorsOfOtherThreads)
{
    write_policy(list_of("white", entry("a")));
    fail_to_parse();
    int of_other_thread = 0;
    std::thread([&of_other_thread] { of_other_thread = verdict(); }).join();
    EXPECT_EQ(of_other_thread, 2);
    EXPECT_EQ(verdict(), -1);
}

TEST_F(BwlistVerdict, IsNoSurpriseWhileTheFileIsReplaced)
{
    write_policy(list_of("white", entry("a")));
    std::atomic<bool> done = false;
    std::thread writer([&done] {
        while (!done) {
            write_file("/etc/tresk/bwlist/new.xml",
                       "<tresk_root>" + list_of("white", entry("a")) + "</tresk_root>");
            std::filesystem::rename("/etc/tresk/bwlist/new.xml", kPolicyFile);
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(verdict(), 2);
    }
    done = true;
    writer.join();
}

void note_reading()
{
    if (++readings == damaged_reading) {
        write_file(kPolicyFile, "<tresk_root><tresk_bwlist bw_value=\"white\"><");
    }
}

} // namespace

} // namespace tresk::test

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

xmlDoc* __real_xmlCtxtReadFile(xmlParserCtxt* parser, const char* file, const char* encoding, int options);
xmlDoc* __wrap_xmlCtxtReadFile(xmlParserCtxt* parser, const char* file, const char* encoding, int options);

xmlDoc* __wrap_xmlCtxtReadFile(xmlParserCtxt* parser, const char* file, const char* encoding, int options)
{
    tresk::test::note_reading();
    return __real_xmlCtxtReadFile(parser, file, encoding, options);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
