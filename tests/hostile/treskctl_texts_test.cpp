// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Hostile texts through the command line's arguments, lists and policy files: whatever comes of a run, it
// starts and writes nothing of theirs, and no byte of theirs reaches a terminal as a command or as a line of
// its own. A command without a row fails.
#include "tests/hostile/expected_programs.h"
#include "tests/hostile/hostile_texts.h"
#include "tests/hostile/watched.h"
#include "tests/support/policy_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace tresk::test {

namespace {

namespace fs = std::filesystem;

#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

/// A command, and the words behind it, one line each; "%" is where the text goes, and "-" in a word's place
/// is a list on standard input.
struct Row {
    const char* command;
    std::vector<const char*> arguments;
};

const std::vector<Row>& rows()
{
    static const std::vector<Row> table{
        {"apply", {"%", "-"}},
        {"bwlist list", {"--source-name %", "-o %", "-g %"}},
        {"bwlist show", {"white %", "% package"}},
        {"bwlist check", {"white %", "white -f -"}},
        {"bwlist add", {"white %", "% package", "white package --source-name %", "white -f -"}},
        {"bwlist remove", {"white %", "% package", "white -f -"}},
        {"bwlist clear", {"-y --source-name %"}},
        {"bwlist verdict", {"%"}},
        {"bwlist distinct", {"% on", "on --source-name %"}},
        {"bwlist clear-source", {"-y %", "-y --source-name %"}},
        {"completion", {"%"}},
        {"conf add", {"%"}},
        {"conf remove", {"%"}},
        {"conf set", {"% 1", "name %"}},
        {"device list", {"--type %"}},
        {"device show", {"--vendor %"}},
        {"device check", {"--product %"}},
        {"device add", {"--vendor 1 --product 2 --perm 1 --serial %", "--type % --perm 1"}},
        {"device set", {"--vendor 1 --product 2 --perm 1 --serial %"}},
        {"device update", {"--vendor 1 --product 2 --perm 5 --serial %"}},
        {"device remove", {"--vendor 1 --product 2 --perm 1 --serial %"}},
        {"device clear", {"-y --vendor %"}},
        {"device batch", {"%", "-f -", "-"}},
        {"device sm add", {"% 1 1"}},
        {"device sm remove", {"% 1 1"}},
        {"device history", {"%"}},
        {"device history-add", {"%", "-f -", "-"}},
        {"diff", {"%", "machine %", "-"}},
        {"doctor", {"--timeout %"}},
        {"explain", {"%"}},
        {"export", {"%", "--root %"}},
        {"hash calc", {"%", "-f -", "-0 -f -", "-f %"}},
        {"hash show", {"%", "-f -"}},
        {"kmod protect", {"%", "-f -", "--file %"}},
        {"kmod unprotect", {"%", "-f -", "--file %"}},
        {"kmod name", {"%"}},
        {"kmod owner", {"%"}},
        {"label protect", {"readonly %", "% /usr/bin/env", "readonly -f -", "readonly -r %"}},
        {"label identify", {"secadm %", "% /usr/bin/env"}},
        {"label exec", {"trusted %", "% /usr/bin/env", "trusted -f -"}},
        {"label xattr", {"%", "-f -"}},
        {"label clear", {"-y %"}},
        {"label number", {"%"}},
        {"manual", {"%"}},
        {"module list", {"%"}},
        {"module show", {"%"}},
        {"module set", {"1 1 1 1 %"}},
        {"module set-reboot", {"1 1 1 1 1 %"}},
        {"module selinux", {"%"}},
        {"module check-reboot", {"3 %"}},
        {"module authorise", {"3 %"}},
        {"module security show", {"%"}},
        {"module security set", {"1 %"}},
        {"module security set-reboot", {"1 1 %"}},
        {"module security check-reboot", {"%"}},
        {"netctl list", {"--uid %"}},
        {"netctl show", {"%", "/usr/bin/env --uid %"}},
        {"netctl check", {"%", "-f -"}},
        {"netctl add",
         {"% --type 1", "/usr/bin/env --type 1 --name %", "/usr/bin/env --type 1 --ico %",
          "/usr/bin/env --type 1 --desktop %", "--type 1 -f -"}},
        {"netctl set", {"% --type 1"}},
        {"netctl update", {"% --name %"}},
        {"netctl remove", {"%", "-f -"}},
        {"netctl clear", {"-y --uid %"}},
        {"netctl hash", {"%"}},
        {"netctl user-distinct", {"%"}},
        {"netctl permission", {"%"}},
        {"notify ppro", {"--type 9 %"}},
        {"notify netctl", {"--type 9 %"}},
        {"notify pblk", {"--type 9 %"}},
        {"notify hash", {"--type 9 %"}},
        {"notify kmod", {"--type 9 %"}},
        {"notify device", {"--type 9 %"}},
        {"pblk list", {"--source-name %"}},
        {"pblk show", {"%"}},
        {"pblk check", {"%", "-f -"}},
        {"pblk add", {"%", "/usr/bin/env --source-name %", "-f -", "-0 -f -"}},
        {"pblk remove", {"%", "-f -"}},
        {"pblk clear", {"-y --source-name %"}},
        {"pblk hash", {"%"}},
        {"pkg list", {"--uid %"}},
        {"pkg show", {"%"}},
        {"pkg check", {"%"}},
        {"pkg add", {"% --type 1", "package --type 1 --ico %", "package --type 1 --path %", "--type 1 -f -"}},
        {"pkg set", {"% --type 1"}},
        {"pkg update", {"% --type 2"}},
        {"pkg remove", {"%"}},
        {"pkg clear", {"-y --uid %"}},
        {"pkg installed", {"%"}},
        {"ppro list", {"--source %", "-o %", "--root %"}},
        {"ppro show", {"%", "-f -"}},
        {"ppro check", {"%", "-f -"}},
        {"ppro add", {"% --type 1", "/usr/bin/env --type 1 --source %", "--type 1 -f -", "-n % --type 1"}},
        {"ppro set", {"% --type 1"}},
        {"ppro update", {"% --type 2"}},
        {"ppro remove", {"%", "-f -"}},
        {"ppro clear", {"-y --source %"}},
        {"ppro hash", {"%"}},
        {"ppro action", {"%"}},
        {"ppro blacklist", {"%"}},
        {"ppro pid", {"%"}},
        {"schema", {"%"}},
        {"status", {"%"}},
        {"status list", {"%"}},
        {"status show", {"%"}},
        {"status check", {"%"}},
        {"status set", {"% on"}},
        {"user check", {"%", "% -"}},
        {"verify", {"%"}},
        {"wireless list", {"-g %"}},
        {"wireless show", {"%"}},
        {"wireless check", {"%"}},
        {"wireless add", {"%", "-f -"}},
        {"wireless remove", {"%"}},
        {"wireless clear", {"-y %"}},
    };
    return table;
}

// --- running it ---

constexpr const char* kOutput = "/data/output";
constexpr const char* kErrors = "/data/errors";
constexpr const char* kInput = "/data/input";
constexpr const char* kWorkingFolder = "/data/files";

void redirect(const char* file, int stream, int flags)
{
    ::dup2(::open(file, flags | O_CLOEXEC, 0600), stream);
}

[[noreturn]] void become_treskctl(Words words)
{
    redirect(kInput, STDIN_FILENO, O_RDONLY);
    redirect(kOutput, STDOUT_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    redirect(kErrors, STDERR_FILENO, O_WRONLY | O_CREAT | O_TRUNC);
    fs::current_path(kWorkingFolder);
    ::setenv("PATH", kTools, 1);
    become(std::move(words));
}

std::string state_folder()
{
    return std::getenv("TRESK_STANDIN_STATE");
}

/// What is written in the process itself: the log, the scene, its own output, and policies that are missing.
bool is_expected_file(const std::string& file)
{
    static const std::regex expected(
        "/data/(output|errors)|/etc/tresk/(ppro/ppro|netctl/netctl|netctl/netctl_pkg|pblk/pblk)\\.xml[^/]*|" +
        state_folder() + "/(framework\\.log|scene(/[a-z0-9_]+(\\.lock|\\.new)?)?)");
    return std::regex_match(file, expected);
}

/// Line feeds apart, nothing that a terminal obeys, and no text that began a line of its own.
void expect_harmless_text(const std::string& text, const std::string& what)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const bool obeyed = std::any_of(line.begin(), line.end(), [](char byte) {
            return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
        });
        EXPECT_FALSE(obeyed) << what << "\n" << line;
        EXPECT_FALSE(line.starts_with(kForged)) << what << "\n" << line;
        // The C1 control characters and the marks that turn a line around, as UTF-8, and bytes that are none.
        EXPECT_EQ(line.find("\xc2\x9b"), std::string::npos) << what;
        EXPECT_EQ(line.find("\xe2\x80\xae"), std::string::npos) << what;
        EXPECT_EQ(line.find('\xff'), std::string::npos) << what;
    }
}

int expect_harmless(const Words& arguments, const std::string& what)
{
    Words words{TRESKCTL_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const Watched watched = watch([&] { become_treskctl(words); });
    // An exit status of the manual's, no signal and no sanitizer.
    EXPECT_GE(watched.status, 0) << what << read_file(kErrors).value_or("");
    EXPECT_LE(watched.status, 12) << what << read_file(kErrors).value_or("");
    for (const Words& program : watched.programs) {
        EXPECT_TRUE(program == words || is_expected_program(program)) << what << ": " << program.front();
    }
    for (const std::string& file : watched.written) {
        EXPECT_TRUE(is_expected_file(file)) << what << ": " << file;
    }
    EXPECT_EQ(watched.connections, std::set<int>{}) << what;
    expect_harmless_text(read_file(kOutput).value_or(""), what);
    expect_harmless_text(read_file(kErrors).value_or(""), what);
    return watched.status;
}

class HostileTextsInTreskctl : public ::testing::Test {
  protected:
    void SetUp() override
    {
        make_tools();
        fs::create_directories(kWorkingFolder);
        write_file(kInput, "");
    }

    void TearDown() override
    {
        EXPECT_TRUE(fs::is_empty(kWorkingFolder));
        for (const char* folder : {"/", "/etc", "/tmp", "/data"}) {
            EXPECT_FALSE(fs::exists(fs::path(folder) / kTrap)) << folder;
        }
    }
};

// --- the table ---

TEST_F(HostileTextsInTreskctl, HaveARowForEveryCommand)
{
    const Watched watched = watch([] { become_treskctl({TRESKCTL_PROGRAM, "schema"}); });
    ASSERT_EQ(watched.status, 0);
    const auto schema = nlohmann::json::parse(read_file(kOutput).value());
    std::set<std::string> commands;
    for (const auto& command : schema["$defs"]["output"]["properties"]["command"]["enum"]) {
        if (!command.is_null()) {
            commands.insert(command.get<std::string>());
        }
    }
    std::set<std::string> table;
    for (const Row& row : rows()) {
        table.insert(row.command);
    }
    EXPECT_EQ(table, commands);
}

Words words_of(const std::string& line, const std::string& text)
{
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(word == "%" ? text : word);
    }
    return words;
}

/// All in one: what one character does, it does beside the others too.
std::string joined(const std::vector<std::string>& names)
{
    std::string text = "/";
    for (const HostileText& hostile : hostile_texts()) {
        if (std::find(names.begin(), names.end(), hostile.name) != names.end()) {
            text += hostile.text;
        }
    }
    return text;
}

struct Attack {
    const char* name;
    std::string text;
    std::vector<const char*> forms;
};

std::vector<Attack> attacks()
{
    std::vector<Attack> table{
        {"texts",
         joined({"shell", "line feeds", "terminal", "format", "markup", "no UTF-8", "every byte"}),
         {"", "--json"}}};
    if (!kSanitized) {
        table.push_back({"long", joined({"64 KiB"}) + "/../../hostile-trap", {""}});
    }
    return table;
}

TEST_F(HostileTextsInTreskctl, AsArgumentsAndInListsStayTexts)
{
    std::string list;
    for (const HostileText& hostile : hostile_texts()) {
        list += hostile.text + "\n";
    }
    write_file(kInput, list);
    for (const Row& row : rows()) {
        for (const char* arguments : row.arguments) {
            for (const Attack& attack : attacks()) {
                for (const char* form : attack.forms) {
                    const std::string line = std::string(row.command) + " " + arguments + " " + form;
                    expect_harmless(words_of(line, attack.text), line + ", " + attack.name);
                }
            }
        }
    }
}

} // namespace

} // namespace tresk::test
