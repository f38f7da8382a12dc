// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Which reader sees which node: one table for all of them. Both policies hold the row's users, so that a row
// shows where the readers of programs and of packages differ.
#include "tests/unit/netctl_files.h"

#include <set>

namespace tresk::test {

namespace {

using Readers = std::set<std::string>;

Readers that(const std::function<bool(const Reader&)>& chosen)
{
    Readers names;
    for (const Reader& reader : readers_that(chosen)) {
        names.insert(reader.name);
    }
    return names;
}

const Readers kNone;
const Readers kEvery = that([](const Reader&) { return true; });
const Readers kOfPackages = that([](const Reader& reader) { return reader.of_packages(); });
const Readers kAllButPackageArrays =
    that([](const Reader& reader) { return !reader.of_packages() || reader.single; });

Readers that_see_an_entry()
{
    return that([](const Reader& reader) {
        const Listing listing = reader.read({reader.policy, kUid, kName});
        return listing.names() == std::vector<std::string>{kName};
    });
}

struct Row {
    const char* name;
    std::string users;
    Readers readers;
};

std::ostream& operator<<(std::ostream& out, const Row& row)
{
    return out << row.name;
}

constexpr char kHashAndType[] = "<hash>h</hash><type>2</type>";

std::string holding(std::string_view children)
{
    return user(node_with(kName, children));
}

/// A node whose start tag has this between its brackets.
std::string starting(const std::string& tag, const std::string& element = "tresk_node")
{
    return user("<" + tag + ">" + kHashAndType + "</" + element + ">");
}

std::vector<Row> with_children()
{
    return {
        {"Complete", user(node(kName)), kEvery},
        {"HashAndType", holding(kHashAndType), kEvery},
        {"NoType", holding("<hash>h</hash>"), kNone},
        {"NoHash", holding("<type>2</type>"), kOfPackages},
        {"NoChildren", holding(""), kNone},
        {"BlanksOnly", holding("\n  \n"), kNone},
        {"EmptyType", holding("<hash>h</hash><type/>"), kEvery},
        {"EmptyHash", holding("<hash></hash><type>2</type>"), kEvery},
        {"UnknownChildren", holding("<colour/><type>2</type><hash>h</hash><shape>s</shape>"), kEvery},
        {"TextsAndComments", holding("\n a <!-- c --><hash>h</hash><?type 1?>\n<type>2</type>\n"), kEvery},
        {"TypeAsInstructionOnly", holding("<hash>h</hash><?type 2?>"), kNone},
        {"TypeInOtherCase", holding("<hash>h</hash><Type>2</Type>"), kNone},
        {"TypeDeeper", holding("<hash>h</hash><deep><type>2</type></deep>"), kNone},
        {"NamespacedChildren", holding(R"(<x:hash xmlns:x="u">h</x:hash><x:type xmlns:x="u">2</x:type>)"),
         kEvery},
    };
}

std::vector<Row> with_programs()
{
    return {
        {"ExistingProgram", holding("<hash>h</hash><type>2</type><path>/etc/tresk</path>"), kEvery},
        {"MissingProgram", holding("<path>/no/such/file</path><hash>h</hash><type>2</type>"),
         kAllButPackageArrays},
        {"FirstOfTwoProgramsMissing",
         holding("<path>/no/such/file</path><path>/</path><hash>h</hash><type>2</type>"),
         kAllButPackageArrays},
        {"LastOfTwoProgramsMissing",
         holding("<hash>h</hash><type>2</type><path>/</path><path>/no/such/file</path>"),
         kAllButPackageArrays},
        {"EmptyProgram", holding("<path/><hash>h</hash><type>2</type>"), kAllButPackageArrays},
        {"MissingProgramDeeper",
         holding("<deep><path>/no/such/file</path></deep><hash>h</hash><type>2</type>"), kEvery},
        {"MissingProgramInAComment", holding("<!--<path>/no/such/file</path>--><hash>h</hash><type>2</type>"),
         kEvery},
        {"ProgramOfMissingFolderName", holding("<path>/etc/tresk/.</path><hash>h</hash><type>2</type>"),
         kEvery},
    };
}

std::vector<Row> shaped()
{
    return {
        {"NameFirst", starting(R"(tresk_node @name="/usr/bin/a" other="1")"), kEvery},
        {"NameSecond", starting(R"(tresk_node other="1" @name="/usr/bin/a")"), kNone},
        {"NoName", starting("tresk_node"), kNone},
        {"NameInOtherCase", starting(R"(tresk_node Path="/usr/bin/a" Pkg="/usr/bin/a")"), kNone},
        {"PathOnly", starting(R"(tresk_node path="/usr/bin/a")"),
         that([](const Reader& reader) { return !reader.of_packages(); })},
        {"PkgOnly", starting(R"(tresk_node pkg="/usr/bin/a")"), kOfPackages},
        {"NamespaceDeclarationBeforeName", starting(R"(tresk_node xmlns:x="u" @name="/usr/bin/a")"), kEvery},
        {"OtherElement", starting(R"(other @name="/usr/bin/a")", "other"), kNone},
        {"ElementInOtherCase", starting(R"(TRESK_NODE @name="/usr/bin/a")", "TRESK_NODE"), kNone},
        {"Nested", user("<tresk_node>" + node(kName) + "</tresk_node>"), kNone},
        {"InAComment", user("<!--" + node(kName) + "-->"), kNone},
        {"AfterTextsAndComments", "\n<!-- c -->" + user("text<!-- c -->" + node(kName)), kEvery},
        {"BelowTheRoot", node(kName), kNone},
    };
}

/// A user element that starts like this.
std::string user_starting(const std::string& tag, const std::string& element = "tresk_user")
{
    return "<" + tag + ">" + node(kName) + "</" + element + ">";
}

std::vector<Row> of_users()
{
    return {
        {"UserIdFirst", user_starting(R"(tresk_user userID="1" other="1")"), kEvery},
        {"UserIdSecond", user_starting(R"(tresk_user other="1" userID="1000")"), kNone},
        {"NoUserId", user_starting("tresk_user"), kNone},
        {"UserIdInOtherCase", user_starting(R"(tresk_user userid="1000")"), kNone},
        {"EmptyUserId", user_starting(R"(tresk_user userID="")"), kEvery},
        {"UserIdNoNumber", user_starting(R"(tresk_user userID="root")"), kEvery},
        {"OtherUserElement", user_starting(R"(other userID="1000")", "other"), kNone},
        {"UserElementInOtherCase", user_starting(R"(Tresk_user userID="1000")", "Tresk_user"), kNone},
        {"NestedUser", "<tresk_user userID=\"1\">" + user(node(kName)) + "</tresk_user>", kNone},
        {"UserDeeper", "<deep>" + user(node(kName)) + "</deep>", kNone},
    };
}

class NetctlVisibility : public NetctlFilesTest, public ::testing::WithParamInterface<Row> {};

TEST_P(NetctlVisibility, IsThatOfItsRow)
{
    write_policies(GetParam().users);
    EXPECT_EQ(that_see_an_entry(), GetParam().readers);
    EXPECT_TRUE(framework().order.empty());
}

INSTANTIATE_TEST_SUITE_P(Children, NetctlVisibility, ::testing::ValuesIn(with_children()), by_name);
INSTANTIATE_TEST_SUITE_P(Programs, NetctlVisibility, ::testing::ValuesIn(with_programs()), by_name);
INSTANTIATE_TEST_SUITE_P(Nodes, NetctlVisibility, ::testing::ValuesIn(shaped()), by_name);
INSTANTIATE_TEST_SUITE_P(Users, NetctlVisibility, ::testing::ValuesIn(of_users()), by_name);

} // namespace

} // namespace tresk::test
