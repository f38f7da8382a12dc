// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The manual page: it can be formatted, it is complete, and its examples do what it says.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/temp_dir.h"
#include "treskctl/failure.h"
#include "treskctl/reference/examples.h"
#include "treskctl/status_codes.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <regex>

namespace tresk::test {

namespace {

using ::testing::HasSubstr;

class ManualTest : public TreskctlTest {
  protected:
    static std::string page() { return treskctl({"manual"}).output; }

    /// What a reader of @page sees, and what the formatter complains about.
    static Outcome formatted(const std::string& page)
    {
        const TempDir folder;
        write_file(folder / "page", page);
        // The last two: no colours, and a width at which no usage line is broken.
        return run_program(
            {{"/usr/bin/groff", "-ww", "-man", "-Tutf8", "-P-cbou", "-rLL=1000n", (folder / "page").string()},
             {},
             {}});
    }

    static std::string text() { return formatted(page()).output; }

    /// Runs a line of a shell that finds treskctl, in a folder of the test's own.
    [[nodiscard]] Outcome shell(const std::string& line) const
    {
        const std::string programs = std::filesystem::path(TRESKCTL_PROGRAM).parent_path().string();
        return run_program({{"/usr/bin/env", "--chdir=" + folder_.path().string(), "bash", "-c", line},
                            {{"PATH", programs + ":" + std::getenv("PATH")}},
                            {}});
    }

  private:
    TempDir folder_;
};

TEST_F(ManualTest, TheFormatterHasNothingToSay)
{
    const Outcome outcome = formatted(page());
    EXPECT_EQ(outcome.exit_status, 0);
    EXPECT_EQ(outcome.error, "");
}

TEST_F(ManualTest, TheFormatterWouldSayWhatIsWrong)
{
    EXPECT_NE(formatted(page() + ".TP\nterm\n.bogus\n").error, "");
}

TEST_F(ManualTest, EveryCommandOfTheSchemaHasItsUsage)
{
    const std::string page = text();
    const auto schema = parsed(treskctl({"schema"}).output);
    const auto& commands = schema["$defs"]["output"]["properties"]["command"]["enum"];
    ASSERT_GT(commands.size(), 50U);
    for (const auto& command : commands) {
        if (!command.is_null()) {
            EXPECT_THAT(page, HasSubstr("treskctl " + command.get<std::string>()));
        }
    }
}

TEST_F(ManualTest, WhatPrintsTheManualAndTheSchemaIsInManualAndHelp)
{
    const std::string page = text();
    const std::string help = treskctl({"--help"}).output;
    for (const char* command : {"manual", "schema"}) {
        EXPECT_THAT(page, HasSubstr(std::string("\n       treskctl ") + command + "\n"));
        EXPECT_THAT(help, HasSubstr(std::string("\n  ") + command + " "));
    }
}

TEST_F(ManualTest, OnlyColumnsThatCanBeChosenAreCalledColumns)
{
    const std::string page = text();
    EXPECT_THAT(page, HasSubstr("Columns: switch, state, about. Further tables: service (answers)."));
    EXPECT_EQ(treskctl({"status", "-o", "about"}).exit_status, 0);
    EXPECT_EQ(treskctl({"status", "-o", "answers"}).exit_status, 2);
}

TEST_F(ManualTest, ColumnsOfADryRunAreMarked)
{
    const std::string page = text();
    EXPECT_THAT(page, HasSubstr("Columns: result, changed, call (with -n), source_type, source, path."));
    EXPECT_THAT(page, HasSubstr("result (without -n), call (with -n)."));
    EXPECT_THAT(page,
                HasSubstr("Columns: switch, state; of a change: changed, switch, state, call (with -n)."));
    EXPECT_FALSE(std::regex_search(page, std::regex("Columns: [^.\n]*\\bcall\\b(?! \\(with -n\\))")));
    EXPECT_EQ(treskctl({"pblk", "add", "/usr/bin/cat", "-o", "call"}).exit_status, 2);
    EXPECT_EQ(treskctl({"-n", "pblk", "add", "/usr/bin/cat", "-o", "call"}).exit_status, 0);
}

TEST_F(ManualTest, ArgumentsThatAreWrittenAlikeAreTold)
{
    EXPECT_THAT(text(), HasSubstr("FILE|DIR|machine (first)"));
    EXPECT_THAT(text(), HasSubstr("FILE|DIR|machine (second)"));
}

TEST_F(ManualTest, TellsHowLongDoctorWaits)
{
    EXPECT_THAT(text(),
                HasSubstr("Without --timeout the bus, and then the service, have 5 seconds to answer."));
}

TEST_F(ManualTest, EveryOptionOfEveryCommandIsExplained)
{
    const std::string page = text();
    const std::string help = treskctl({"--help-all"}).output;
    const std::regex option("--[a-z][a-z-]+");
    for (std::sregex_iterator found(help.begin(), help.end(), option), end; found != end; ++found) {
        EXPECT_THAT(page, HasSubstr(found->str()));
    }
}

TEST_F(ManualTest, EveryExitStatusAndEveryStatusCodeIsThere)
{
    const std::string page = text();
    for (const auto& row : ctl::exit_table()) {
        EXPECT_TRUE(std::regex_search(page, std::regex("\n +" + std::to_string(row.status) + " +[A-Z]")))
            << row.status;
    }
    for (const auto& code : ctl::status_codes()) {
        EXPECT_THAT(page, HasSubstr(std::string(code.name) + " (" + std::to_string(code.code) + ")"));
    }
}

TEST_F(ManualTest, EveryExampleDoesWhatItSays)
{
    ASSERT_FALSE(ctl::examples().empty());
    for (const ctl::Example& example : ctl::examples()) {
        const Outcome outcome = shell(std::string(example.command));
        EXPECT_EQ(outcome.exit_status, example.exit_status) << example.command << "\n" << outcome;
        EXPECT_THAT(text(), HasSubstr("$ " + std::string(example.command)));
    }
}

TEST_F(ManualTest, IsADocumentForWhoAsksForOne)
{
    EXPECT_EQ(parsed(treskctl({"manual", "--json"}).output)["texts"][0]["text"], page());
}

} // namespace

} // namespace tresk::test
