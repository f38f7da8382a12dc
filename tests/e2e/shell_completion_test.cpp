// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Completion in real shells on a real terminal.
#include "tests/e2e/terminal_session.h"
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <cstdlib>
#include <filesystem>

namespace tresk::test {

namespace {

struct ShellRow {
    const char* name;
    /// The file below its home that the shell reads first.
    const char* start_file;
    const char* start;
    std::vector<std::string> words;
};

void PrintTo(const ShellRow& shell, std::ostream* stream)
{
    *stream << shell.name;
}

const ShellRow kShellRows[] = {
    {"Bash",
     "bashrc",
     "PS1='ready> '\nbind 'set bell-style none'\nsource <(treskctl completion bash)\n",
     {"bash", "--noprofile", "--rcfile", "bashrc"}},
    {"BashWithTheDistributionsCompletion",
     "bashrc",
     "PS1='ready> '\nbind 'set bell-style none'\nsource /usr/share/bash-completion/bash_completion\n",
     {"bash", "--noprofile", "--rcfile", "bashrc"}},
    {"Zsh",
     ".zshrc",
     "PROMPT='ready> '\nunsetopt BEEP\nautoload -Uz compinit\ncompinit -u -D\nsource <(treskctl completion "
     "zsh)\n",
     {"zsh"}},
    {"Fish",
     ".config/fish/config.fish",
     "function fish_prompt; printf 'ready> '; end\nset -g fish_greeting\nset -g fish_autosuggestion_enabled "
     "0\n"
     "treskctl completion fish | source\n",
     {"fish"}},
};

class ShellCompletionTest : public TreskctlTest, public ::testing::WithParamInterface<ShellRow> {
  protected:
    void SetUp() override
    {
        TreskctlTest::SetUp();
        const std::string folder = std::filesystem::path(TRESKCTL_PROGRAM).parent_path().string();
        write_file(home_ / GetParam().start_file, GetParam().start);
        // Where the installed file lies for the distribution's own completion.
        write_file(home_ / ".local/share/bash-completion/completions/treskctl",
                   treskctl({"completion", "bash"}).output);
        words_ = {"env",
                  "--chdir=" + home_.path().string(),
                  "HOME=" + home_.path().string(),
                  "LC_ALL=C.UTF-8",
                  "PATH=" + folder + ":" + std::getenv("PATH"),
                  "TERM=screen"};
        words_.insert(words_.end(), GetParam().words.begin(), GetParam().words.end());
    }

    void block(const std::string& path) const
    {
        write_file(
            "/etc/tresk/pblk/pblk.xml",
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<pblk_root><pblk_node path=\"" + path +
                "\" data_source_type=\"1\" data_source_name=\"\"><hash>a</hash></pblk_node></pblk_root>\n");
    }

    /// A file of that name in a folder of the test's own.
    [[nodiscard]] std::string file(const std::string& name) const
    {
        write_file(home_ / name, "");
        return (home_ / name).string();
    }

    /// Types @line, and completes it.
    static void complete(const TerminalSession& terminal, const std::string& line)
    {
        ASSERT_TRUE(terminal.shows("ready>")) << terminal.screen();
        terminal.type(line);
        ASSERT_TRUE(terminal.shows(line)) << terminal.screen();
        terminal.press("Tab");
    }

    std::vector<std::string> words_;

  private:
    TempDir home_;
};

TEST_P(ShellCompletionTest, CompletesAVerb)
{
    const TerminalSession terminal(words_);
    complete(terminal, "treskctl ppro sh");
    EXPECT_TRUE(terminal.shows("treskctl ppro show")) << terminal.screen();
}

TEST_P(ShellCompletionTest, CompletesAnEntryOfThePolicyThatIsThenRemoved)
{
    block("/usr/bin/head");
    const TerminalSession terminal(words_);
    complete(terminal, "treskctl pblk remove /usr/b");
    EXPECT_TRUE(terminal.shows("treskctl pblk remove /usr/bin/head")) << terminal.screen();
    terminal.press("Enter");
    EXPECT_TRUE(terminal.shows("changed: yes")) << terminal.screen();
}

TEST_P(ShellCompletionTest, ANameWithBlanksAndSignsArrivesAsOneWord)
{
    block("/opt/a b$c&apos;d");
    const TerminalSession terminal(words_);
    complete(terminal, "treskctl pblk check --no-legend /opt/a");
    ASSERT_TRUE(terminal.shows("/opt/a\\ b\\$c\\'d")) << terminal.screen();
    terminal.press("Enter");
    EXPECT_TRUE(terminal.shows("yes  /opt/a b$c'd")) << terminal.screen();
}

TEST_P(ShellCompletionTest, CompletesAValueBehindAnEqualsSign)
{
    const TerminalSession terminal(words_);
    complete(terminal, "treskctl status --json=sh");
    EXPECT_TRUE(terminal.shows("treskctl status --json=short")) << terminal.screen();
}

TEST_P(ShellCompletionTest, CompletesNamesOfFiles)
{
    const TerminalSession terminal(words_);
    complete(terminal, "treskctl pblk add " + file("program").substr(0, file("program").size() - 3));
    EXPECT_TRUE(terminal.shows("treskctl pblk add " + file("program"))) << terminal.screen();
}

TEST_P(ShellCompletionTest, CompletesNamesOfFilesBehindAnEqualsSign)
{
    const TerminalSession terminal(words_);
    complete(terminal,
             "treskctl pblk add --from-file=" + file("program").substr(0, file("program").size() - 3));
    EXPECT_TRUE(terminal.shows("treskctl pblk add --from-file=" + file("program"))) << terminal.screen();
}

INSTANTIATE_TEST_SUITE_P(Shells, ShellCompletionTest, ::testing::ValuesIn(kShellRows),
                         [](const auto& parameter) { return parameter.param.name; });

} // namespace

} // namespace tresk::test
