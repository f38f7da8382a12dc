// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A listing is written while its policy is read, one entry at a time. It has to say what a listing of the
// policy that is read as a whole says, to the byte, and where there is more to say it has to leave that to
// the other.
#include "common/handles.h"
#include "tests/e2e/policy_generator.h"
#include "tests/support/temp_dir.h"
#include "treskctl/output.h"
#include "treskctl/policy/entry_options.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/listing.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tresk::ctl {

namespace {

using test::GeneratedPolicy;
using test::Origin;
using test::PolicyGenerator;
using test::TempDir;
using test::write_file;

using Json = nlohmann::ordered_json;

// --- forms ---

/// How a listing may be wanted.
std::vector<Settings> all_settings(const Kind& kind)
{
    std::vector<Settings> all(9);
    all[1].legend = false;
    all[2].colour = true;
    all[3].form = Form::JsonPretty;
    all[4].form = Form::JsonShort;
    all[5].columns = {kind.fields.back().name, kind.fields.front().name, kind.fields.back().name};
    all[6] = all[5];
    all[6].form = Form::JsonPretty;
    all[7].bare_field = kind.fields.back().name;
    all[8] = all[7];
    all[8].null_separated = true;
    return all;
}

std::string written_by(const Tables& tables, const Settings& settings)
{
    std::string text;
    const TextSink out = [&text](std::string_view piece) { text += piece; };
    const auto failure = settings.json()               ? write_json("kind list", tables, {}, settings, out)
                         : settings.bare_field.empty() ? write_for_people(tables, settings, out)
                                                       : write_bare(tables, settings, out);
    EXPECT_FALSE(failure.has_value());
    return text;
}

// --- JSON, piece by piece ---

/// The same as one document, which the JSON library writes as a whole.
std::string whole_document(const std::string& command, const Tables& tables,
                           const std::optional<Value>& changed, const Settings& settings)
{
    Json document = head_of(command);
    if (changed) {
        document["changed"] = std::get<bool>(*changed);
    }
    for (const Table* table : tables) {
        Json& rows = document[table->name] = Json::array();
        for (const Row& row : table->rows) {
            Json& object = rows.emplace_back(Json::object());
            for (std::size_t field = 0; field < row.size(); ++field) {
                const std::string& key = table->fields[field];
                if (const auto* text = std::get_if<std::string>(&row[field])) {
                    add_text(object, key, *text);
                } else if (const auto* number = std::get_if<std::int64_t>(&row[field])) {
                    object[key] = *number;
                } else if (const auto* yes = std::get_if<bool>(&row[field])) {
                    object[key] = *yes;
                } else {
                    object[key] = nullptr;
                }
            }
        }
    }
    return written(document, settings);
}

const std::string kOddTexts[] = {"",
                                 "plain",
                                 "\"quoted\" \\ and / {\n}\n  ]",
                                 std::string("\0\x01\x1b[31m\t\r\n\x7f", 11),
                                 "caf\xc3\xa9 \xe2\x80\xae \xe2\x80\xa8 \xf0\x9f\x98\x80",
                                 "\xff not UTF-8 \xc3",
                                 "\n",
                                 "}",
                                 std::string(70000, 'x')};

std::vector<Row> rows_of_all_values()
{
    std::vector<Row> rows;
    for (const std::string& text : kOddTexts) {
        rows.push_back({text, Value(), true, std::int64_t{-1}});
        rows.push_back({Value(), text, false, std::int64_t{9007199254740993}});
    }
    return rows;
}

class JsonPiecesTest : public ::testing::TestWithParam<Form> {
  protected:
    static void expect_whole(const std::string& command, const std::vector<Table>& tables,
                             const std::optional<Value>& changed = {})
    {
        Settings settings;
        settings.form = GetParam();
        Tables all;
        for (const Table& table : tables) {
            all.push_back(&table);
        }
        std::string text;
        EXPECT_FALSE(
            write_json(command, all, changed, settings, [&text](std::string_view piece) { text += piece; }));
        EXPECT_EQ(text, whole_document(command, all, changed, settings));
        EXPECT_TRUE(Json::accept(text));
    }
};

TEST_P(JsonPiecesTest, AreOneDocumentWithoutTables)
{
    expect_whole("", {});
    expect_whole("ppro list", {});
    expect_whole("ppro add", {}, true);
    for (const std::string& text : kOddTexts) {
        expect_whole(text, {});
    }
}

TEST_P(JsonPiecesTest, AreOneDocumentWithEmptyTables)
{
    expect_whole("a", {{"none", {"x"}, {}}});
    expect_whole("a", {{"none", {"x"}, {}}, {"none either", {}, {}}}, false);
}

TEST_P(JsonPiecesTest, AreOneDocumentWithAllValues)
{
    const Table values{"values", {"a", "b \"c\"", "d", "e"}, rows_of_all_values()};
    expect_whole("a", {values});
    expect_whole("a",
                 {{"none", {"x"}, {}}, values, {"rows of nothing", {}, {{}, {}}}, {"one", {"x"}, {{true}}}});
}

INSTANTIATE_TEST_SUITE_P(Of, JsonPiecesTest, ::testing::Values(Form::JsonPretty, Form::JsonShort),
                         [](const auto& instance) {
                             return instance.param == Form::JsonPretty ? "ManyLines" : "OneLine";
                         });

// --- listings ---

/// What listing a policy comes to.
enum class Way {
    Streamed, ///< one entry at a time
    Whole,    ///< there is more to tell than entries
};

void PrintTo(Way way, std::ostream* stream)
{
    *stream << (way == Way::Streamed ? "streamed" : "whole");
}

class ListingTest : public ::testing::Test {
  protected:
    [[nodiscard]] std::string root() const { return folder_.path().string(); }

    void put(const Kind& kind, const std::string& text) const { write_file(root() + kind.file, text); }

    /// Compares listings of what is below the root in all forms.
    Way list(const Kind& kind, const EntryWords& words = {}) const
    {
        const Reading reading = kind.read(root());
        const EntryFilter filter(kind, words);
        Table whole{"entries", {}, {}};
        for (const Field& field : kind.fields) {
            whole.fields.emplace_back(field.name);
        }
        Table streamed = whole;
        for (const Entry& entry : reading.entries) {
            if (filter.matches(entry)) {
                whole.rows.push_back(entry.values);
            }
        }
        Way way = Way::Whole;
        for (Settings settings : all_settings(kind)) {
            settings.root = root();
            streamed.source = open_listing(kind, filter, settings);
            if (!streamed.source) {
                EXPECT_EQ(way, Way::Whole) << "not all forms go the same way";
                continue;
            }
            way = Way::Streamed;
            EXPECT_FALSE(reading.failure || reading.damage);
            EXPECT_EQ(written_by({&streamed}, settings), written_by({&whole}, settings));
            EXPECT_EQ(written_by({&streamed}, settings), written_by({&whole}, settings)) << "the second time";
        }
        if (way == Way::Streamed) {
            EXPECT_EQ(open_listing(kind, filter, {.root = root()})->count(), whole.rows.size());
        }
        return way;
    }

    TempDir folder_;
};

GeneratedPolicy generated(const Kind& kind, PolicyGenerator& generator)
{
    return &kind == &ppro_kind()     ? generator.ppro()
           : &kind == &pblk_kind()   ? generator.pblk()
           : &kind == &bwlist_kind() ? generator.bwlist()
                                     : generator.netctl(&kind == &pkg_kind());
}

std::vector<const Kind*> kinds_in_files()
{
    return {&ppro_kind(), &pblk_kind(), &netctl_kind(), &pkg_kind(), &bwlist_kind()};
}

TEST_F(ListingTest, OfAnyPolicySaysWhatItIsReadAsAWhole)
{
    constexpr unsigned policies = 60;
    for (const Origin origin : {Origin::Service, Origin::Hand, Origin::Damage}) {
        for (const Kind* kind : kinds_in_files()) {
            unsigned streamed = 0;
            for (unsigned seed = 0; seed < policies && !HasFailure(); ++seed) {
                PolicyGenerator generator(seed, origin);
                const GeneratedPolicy policy = generated(*kind, generator);
                SCOPED_TRACE(testing::Message() << kind->name << ", seed " << seed << ":\n"
                                                << policy.text.substr(0, 3000));
                put(*kind, policy.text);
                streamed += list(*kind) == Way::Streamed ? 1 : 0;
            }
            const unsigned least = origin == Origin::Service ? policies : 1;
            EXPECT_GE(streamed, least) << kind->name;
        }
    }
}

/// A policy of process protection.
struct Case {
    const char* name;
    const char* text;
    Way way;
};

#define ENTRY "<ppro_node path=\"/a\"><hash>b</hash><type>1</type></ppro_node>"
#define POLICY(content) "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<ppro_root>" content "</ppro_root>\n"

constexpr Case kCases[] = {
    {"NoEntries", POLICY(""), Way::Streamed},
    {"ARootThatEndsAtOnce", "<ppro_root/>", Way::Streamed},
    {"OneEntry", POLICY(ENTRY), Way::Streamed},
    {"NoDeclaration", "<ppro_root>" ENTRY "</ppro_root>", Way::Streamed},
    {"Comments", "<!-- a --><ppro_root><!-- b -->" ENTRY "<!-- c -->" ENTRY "</ppro_root><!-- d -->",
     Way::Streamed},
    {"Instructions", POLICY("<?a b?>" ENTRY "<?c?>"), Way::Streamed},
    {"TextBetweenEntries",
     POLICY("one" ENTRY "two<!-- a -->three" ENTRY "four&amp;five<![CDATA[six]]>" ENTRY "seven"),
     Way::Streamed},
    {"OtherElementsBetween", POLICY("<x>" ENTRY "</x>" ENTRY "<x/><y><z>1</z></y>" ENTRY), Way::Streamed},
    {"EntriesInAnEntry",
     POLICY("<ppro_node path=\"/a\"><hash>b</hash><type>1</type>" ENTRY "</ppro_node>" ENTRY), Way::Streamed},
    {"MissingChildren",
     POLICY("<ppro_node path=\"/a\"><hash>b</hash></ppro_node><ppro_node path=\"/b\"/>" ENTRY),
     Way::Streamed},
    {"UnknownParts", POLICY("<ppro_node path=\"/a\" x=\"y\">z<hash>b</hash><x/><type>1</type></ppro_node>"),
     Way::Streamed},
    {"RepeatedChildren",
     POLICY("<ppro_node path=\"/a\"><hash>b</hash><type>1</type><type>2</type><hash>c</hash></ppro_node>"),
     Way::Streamed},
    {"ElementsInChildren",
     POLICY("<ppro_node path=\"/a\"><hash>b<x>c</x>d</hash><type><y>1</y>2</type></ppro_node>"),
     Way::Streamed},
    {"SectionsAndReferences",
     POLICY(
         "<ppro_node path=\"/&lt;&#233;&#x20AC;&quot;\"><hash><![CDATA[<b>]]>&amp;&#65;</hash><type>1</type>"
         "</ppro_node>"),
     Way::Streamed},
    {"TextBeyondAscii",
     POLICY("<ppro_node "
            "path=\"/caf\xc3\xa9/\xf0\x9f\x98\x80\"><hash>\xe2\x80\xae</hash><type>1</type></ppro_node>"),
     Way::Streamed},
    {"BlanksInTexts",
     POLICY("<ppro_node path=\" /a\tb&#10;c \"><hash>\n b \n</hash><type>\n 1 </type></ppro_node>"),
     Way::Streamed},
    {"ANumberThatIsNone", POLICY("<ppro_node path=\"/a\"><hash>b</hash><type>x</type></ppro_node>"),
     Way::Streamed},
    {"NamesOfOtherSpaces",
     POLICY("<p:ppro_node xmlns:p=\"u\" p:path=\"/a\"><hash "
            "xmlns=\"v\">b</hash><type>1</type></p:ppro_node>" ENTRY),
     Way::Streamed},
    // The parser complains, and there is nothing to repair.
    {"AnUnknownPrefix", POLICY("<p:ppro_node path=\"/a\"><hash>b</hash><type>1</type></p:ppro_node>" ENTRY),
     Way::Streamed},
    {"OneIdentifierTwice", POLICY("<x xml:id=\"a\"/><x xml:id=\"a\"/>" ENTRY), Way::Streamed},
    {"AnotherRoot", "<pblk_root>" ENTRY "</pblk_root>", Way::Whole},
    {"ADocumentType", "<!DOCTYPE ppro_root>\n<ppro_root>" ENTRY "</ppro_root>", Way::Whole},
    {"ADocumentTypeWithEntities",
     "<!DOCTYPE ppro_root [<!ENTITY e \"1\">]><ppro_root>" ENTRY "&e;</ppro_root>", Way::Whole},
    {"AnUnknownEntity", POLICY(ENTRY "&e;" ENTRY), Way::Whole},
    {"NoEnd", "<ppro_root>" ENTRY ENTRY, Way::Whole},
    {"NoEndOfAnEntry", "<ppro_root>" ENTRY "<ppro_node path=\"/b\"><hash>b</hash><type>1</type>", Way::Whole},
    {"TheWrongEnd", "<ppro_root>" ENTRY "<ppro_node path=\"/b\"></x>" ENTRY "</ppro_root>", Way::Whole},
    {"MoreBehindTheEnd", "<ppro_root>" ENTRY "</ppro_root>x", Way::Whole},
    {"OneAttributeTwice", POLICY(ENTRY "<ppro_node path=\"/b\" path=\"/c\"/>" ENTRY), Way::Whole},
    {"NotUtf8", POLICY(ENTRY "<ppro_node path=\"/\xff\"><hash>b</hash><type>1</type></ppro_node>" ENTRY),
     Way::Whole},
    {"AControlCharacter", POLICY(ENTRY "\x01" ENTRY), Way::Whole},
    {"AnotherEncodingThatIsNotUsed",
     "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><ppro_root><ppro_node "
     "path=\"/\xc3\xa9\"><hash>b</hash><type>1</type></ppro_node></ppro_root>",
     Way::Streamed},
    {"AnotherEncoding",
     "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><ppro_root><ppro_node "
     "path=\"/\xe9\"><hash>b</hash><type>1</type></ppro_node></ppro_root>",
     Way::Whole},
    {"UnknownEncoding",
     "<?xml version=\"1.0\" encoding=\"x-none\"?><ppro_root><ppro_node "
     "path=\"/\xc3\xa9\"><hash>b</hash><type>1</type></ppro_node></ppro_root>",
     Way::Whole},
    {"WideEncoding",
     "<?xml version=\"1.0\" encoding=\"UTF-16\"?><ppro_root><ppro_node "
     "path=\"/a\"><hash>b</hash><type>1</type></ppro_node></ppro_root>",
     Way::Streamed},
    {"AMark", "\xef\xbb\xbf<ppro_root>" ENTRY "</ppro_root>", Way::Whole},
    {"BlanksBefore", "\n<ppro_root>" ENTRY "</ppro_root>", Way::Whole},
    {"NothingButBlanks", " \n", Way::Whole},
    {"Nothing", "", Way::Whole},
    {"NoXml", "x", Way::Whole},
};

void PrintTo(const Case& one, std::ostream* stream)
{
    *stream << one.name;
}

class ListedCaseTest : public ListingTest, public ::testing::WithParamInterface<Case> {};

TEST_P(ListedCaseTest, SaysWhatItIsReadAsAWhole)
{
    put(ppro_kind(), GetParam().text);
    EXPECT_EQ(list(ppro_kind()), GetParam().way);
}

INSTANTIATE_TEST_SUITE_P(Of, ListedCaseTest, ::testing::ValuesIn(kCases),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(ListingTest, HasTheEntriesOfAllGroups)
{
    const std::string program = "<tresk_node path=\"/a\"><type>1</type><hash>b</hash></tresk_node>";
    for (const char* setting : {"0", "1", "x"}) {
        put(netctl_kind(), std::string("<tresk_root user_dist=\"") + setting + "\">" + program +
                               "<tresk_user userID=\"0\">" + program + "text" + program +
                               "</tresk_user><tresk_user userID=\"1000\">" + program + "</tresk_user><x>" +
                               program + "</x><tresk_user>" + program +
                               "</tresk_user><tresk_user userID=\"0\">" + program +
                               "</tresk_user><tresk_user x=\"\" userID=\"7\">" + program +
                               "</tresk_user><tresk_user userID=\"-1\"><y>" + program + "</y>" + program +
                               "</tresk_user></tresk_root>");
        put(pkg_kind(),
            "<tresk_root user_dist=\"0\"><tresk_user userID=\"1000\"><tresk_node pkg=\"a\"><type>1</type>"
            "<path>/nobody/has/this</path></tresk_node></tresk_user></tresk_root>");
        EXPECT_EQ(list(netctl_kind()), Way::Streamed);
        EXPECT_EQ(list(pkg_kind()), Way::Streamed);
        EntryWords words;
        words.fields["uid"] = "1000";
        EXPECT_EQ(list(netctl_kind(), words), Way::Streamed);
        EXPECT_EQ(list(pkg_kind(), words), Way::Streamed);
    }
}

/// The programs' file decides on users also where it is damaged or of another kind.
TEST_F(ListingTest, OfPackagesHasTheUsersThatTheProgramsFileTells)
{
    put(pkg_kind(),
        "<tresk_root><tresk_user userID=\"1000\"><tresk_node pkg=\"a\"><type>1</type></tresk_node>"
        "</tresk_user></tresk_root>");
    for (const char* programs :
         {"", "x", "<tresk_root user_dist=\"1\"", "<tresk_root user_dist=\"1\">",
          "<tresk_root user_dist=\"1\"/>x", "<other user_dist=\"1\"/>",
          "<!DOCTYPE a><tresk_root user_dist=\"1\"/>", "<tresk_root x=\"\" user_dist=\"1\"/>",
          "<tresk_root user_dist=\"1\" user_dist=\"0\"/>"}) {
        SCOPED_TRACE(programs);
        put(netctl_kind(), programs);
        EXPECT_EQ(list(pkg_kind()), Way::Streamed);
    }
    std::filesystem::remove(root() + netctl_kind().file);
    EXPECT_EQ(list(pkg_kind()), Way::Streamed);
}

TEST_F(ListingTest, HasTheEntriesThatAreAskedFor)
{
    put(ppro_kind(),
        POLICY(ENTRY
               "<ppro_node path=\"/long/path\" sm_status=\"1\"><hash>b</hash><type>2</type></ppro_node>"));
    for (const auto& [field, value] : {std::pair("path", "/a"), std::pair("path", "/b"),
                                       std::pair("type", "2"), std::pair("owner", "sm")}) {
        EntryWords words;
        words.fields[field] = value;
        EXPECT_EQ(list(ppro_kind(), words), Way::Streamed) << field;
    }
}

TEST_F(ListingTest, IsLeftToTheWholeReadingWhereThereIsNoFileOfText)
{
    const std::string file = root() + ppro_kind().file;
    EXPECT_EQ(list(ppro_kind()), Way::Whole) << "no file";
    std::filesystem::create_directories(file);
    EXPECT_EQ(list(ppro_kind()), Way::Whole) << "a folder";
    std::filesystem::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(open_listing(ppro_kind(), {ppro_kind(), {}}, {.root = root()}), nullptr) << "a pipe";
    EXPECT_EQ(open_listing(device_kind(), {device_kind(), {}}, {.root = root()}), nullptr)
        << "no file at all";
}

/// In the way that editors and the service put a new file in the place of the old one.
TEST_F(ListingTest, IsOfTheFileThatWasOpenedWhereAnotherOneTakesItsPlace)
{
    put(ppro_kind(), POLICY(ENTRY));
    const auto listing = open_listing(ppro_kind(), {ppro_kind(), {}}, {.root = root()});
    ASSERT_NE(listing, nullptr);
    const std::string file = root() + ppro_kind().file;
    write_file(file + ".new", POLICY(""));
    std::filesystem::rename(file + ".new", file);
    std::size_t rows = 0;
    EXPECT_FALSE(listing->each([&rows](const Row& /*row*/) { ++rows; }));
    EXPECT_EQ(rows, 1U);
}

TEST_F(ListingTest, TellsThatTheFileWasWrittenToMeanwhile)
{
    put(ppro_kind(), POLICY(ENTRY));
    const auto listing = open_listing(ppro_kind(), {ppro_kind(), {}}, {.root = root()});
    ASSERT_NE(listing, nullptr);
    std::ofstream(root() + ppro_kind().file, std::ios::trunc) << POLICY("");
    const auto failure = listing->each([](const Row& /*row*/) {});
    ASSERT_TRUE(failure.has_value());
    EXPECT_EQ(failure->cause, Cause::Policy);
    EXPECT_EQ(failure->subject, root() + ppro_kind().file);
}

// --- memory ---

#ifdef TRESK_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

/// The most memory that a process ever had, while it runs; nothing when it has none any more.
std::optional<std::size_t> peak_bytes_of(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        std::size_t kib = 0;
        if (word == "VmHWM:" && status >> kib) {
            return kib * 1024;
        }
    }
    return std::nullopt;
}

/// The same of a program that writes more than a pipe holds: it is asked before each piece is taken. (What
/// the system tells of a process that has ended counts the memory of the one that started it.)
std::size_t peak_bytes(std::vector<std::string> words)
{
    constexpr int pipe_bytes = 4096;
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const Descriptor output(ends[0]);
    Descriptor input(ends[1]);
    EXPECT_GE(::fcntl(input.get(), F_SETPIPE_SZ, pipe_bytes), 0);
    std::vector<char*> arguments;
    std::ranges::transform(words, std::back_inserter(arguments),
                           [](std::string& word) { return word.data(); });
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input.get(), STDOUT_FILENO);
    pid_t process = 0;
    EXPECT_EQ(::posix_spawn(&process, arguments.front(), &actions, nullptr, arguments.data(), environ), 0);
    ::posix_spawn_file_actions_destroy(&actions);
    input = Descriptor();
    std::size_t peak = 0;
    std::array<char, 65536> piece{};
    pollfd readable{output.get(), POLLIN, 0};
    do {
        ::poll(&readable, 1, -1);
        peak = std::max(peak, peak_bytes_of(process).value_or(0));
    } while (::read(output.get(), piece.data(), piece.size()) > 0);
    int status = -1;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
    EXPECT_GT(peak, 0U);
    return peak;
}

std::string policy_of(std::size_t entries)
{
    std::string text = "<tresk_root><tresk_bwlist bw_value=\"white\">\n";
    for (std::size_t entry = 0; entry < entries; ++entry) {
        text += "<tresk_node rpm_name=\"package" + std::to_string(entry) +
                "\" data_source_type=\"1\" data_source_name=\"\"/>\n";
    }
    return text + "</tresk_bwlist></tresk_root>\n";
}

TEST_F(ListingTest, TakesNoMoreMemoryForMoreEntries)
{
    if (kSanitized) {
        GTEST_SKIP() << "a sanitizer keeps what was released";
    }
    constexpr std::size_t few = 1000;
    constexpr std::size_t many = 50000;
    constexpr std::size_t most_bytes_an_entry = 64;
    for (const std::vector<std::string>& form : {std::vector<std::string>{}, {"--json"}}) {
        std::vector<std::string> words = {TRESKCTL_PROGRAM, "bwlist", "list", "--root", root()};
        words.insert(words.end(), form.begin(), form.end());
        put(bwlist_kind(), policy_of(few));
        const std::size_t least = peak_bytes(words);
        put(bwlist_kind(), policy_of(many));
        EXPECT_LE(peak_bytes(words), least + (many - few) * most_bytes_an_entry)
            << "beyond " << least << " bytes; " << (form.empty() ? "for people" : form.front());
    }
}

} // namespace

} // namespace tresk::ctl
