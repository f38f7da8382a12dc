// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/e2e/policy_generator.h"

#include "common/handles.h"
#include "tresk_extend.h"

#include <algorithm>
#include <utility>

namespace tresk::test {

namespace {

constexpr std::size_t kMostEntries = 6;
constexpr std::size_t kMostPadding = 9000;

const std::vector<std::string> kOddPaths = {
    "",
    "relative",
    "/opt/../opt/a",
    "/opt//b",
    "/opt/c/",
    "/opt/&#9;t",
    "/opt/&lt;x&gt;&amp;",
    "/opt/\xc3\xbc",
    "/opt/&unknown;",
    std::string(4094, '/') + "x",
    std::string(4095, '/') + "x",
    std::string(5000, 'p'),
    "/opt/0",
    "/opt/1",
};

const std::vector<std::string> kOddNumbers = {"",
                                              "01",
                                              " 1 ",
                                              "+2",
                                              "x",
                                              "1x",
                                              "2147483648",
                                              "-2147483649",
                                              "99999999999999999999",
                                              "0x1",
                                              "\n3\n",
                                              "1<!-- c -->2",
                                              "<![CDATA[4]]>",
                                              "<b>5</b>"};

const std::vector<std::string> kOddParts = {
    "<!-- a comment -->", "<?an instruction?>",       "<unknown/>", "text", "<![CDATA[more text]]>", "&amp;",
    "&unknown;",          "<x:unknown>y</x:unknown>",
};

const std::vector<std::string> kDamage = {
    "<",    ">",   "&",    "\"",         "/",  std::string(1, '\0'), "\xff", "\x80",
    "\xc3", "]]>", "<!--", "<ppro_node", "</", "<tresk_node pkg=\"", "=",    " "};

} // namespace

struct PolicyGenerator::Element {
    std::string name;
    /// Values as they are written between quotes.
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<std::string> children;
};

std::size_t PolicyGenerator::below(std::size_t limit)
{
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
}

bool PolicyGenerator::often()
{
    return below(2) == 0;
}

bool PolicyGenerator::seldom()
{
    return below(12) == 0;
}

bool PolicyGenerator::oddly()
{
    return origin_ != Origin::Service && seldom();
}

const std::string& PolicyGenerator::one_of(const std::vector<std::string>& words)
{
    return words[below(words.size())];
}

/// No two numbers have the same path in a policy of the service's.
std::string PolicyGenerator::path(std::size_t number)
{
    return oddly() ? one_of(kOddPaths) : "/opt/" + std::to_string(number);
}

std::string PolicyGenerator::number()
{
    return oddly() ? one_of(kOddNumbers) : std::to_string(below(4));
}

std::string PolicyGenerator::hash(const std::string& usual)
{
    if (oddly()) {
        return one_of(
            {"", "short", std::string(64, 'a'), std::string(70, 'b'), usual + " ", "<!-- -->" + usual});
    }
    return usual;
}

void PolicyGenerator::add_odd_parts(Element& element)
{
    while (oddly()) {
        const auto at = static_cast<std::ptrdiff_t>(below(element.children.size() + 1));
        element.children.insert(element.children.begin() + at, one_of(kOddParts));
    }
    if (oddly() && !element.children.empty()) {
        element.children.push_back(one_of(element.children));
    }
    if (oddly() && !element.children.empty()) {
        element.children.erase(element.children.begin() +
                               static_cast<std::ptrdiff_t>(below(element.children.size())));
    }
    if (oddly()) {
        std::ranges::shuffle(element.children, random_);
    }
    if (oddly()) {
        element.attributes.emplace_back("unknown", "x");
    }
    if (oddly()) {
        std::ranges::shuffle(element.attributes, random_);
    }
    if (oddly() && !element.attributes.empty()) {
        element.attributes.pop_back();
    }
    if (oddly()) {
        element.attributes.emplace_back("xmlns", "urn:x");
    }
    if (oddly()) {
        element.name = one_of({"unknown", "x:" + element.name});
    }
}

/// @root: a root of another name is no policy at all, so it seldom has one
std::string PolicyGenerator::written(const Element& element, bool root)
{
    Element odd = element;
    add_odd_parts(odd);
    if (root && often()) {
        odd.name = element.name;
    }
    std::string text = "<" + odd.name;
    for (const auto& [name, value] : odd.attributes) {
        text += (oddly() ? "\n\t" : " ") + name + "=\"" + value + "\"";
    }
    if (odd.children.empty() && often()) {
        return text + "/>";
    }
    text += ">";
    const std::string gap = often() ? "" : "\n  ";
    for (const std::string& child : odd.children) {
        text += gap + child;
    }
    return text + gap + "</" + odd.name + ">";
}

std::string PolicyGenerator::damaged(std::string text)
{
    for (std::size_t left = 1 + below(3); left > 0 && !text.empty(); --left) {
        const std::size_t at = below(text.size());
        const std::size_t length = std::min(below(30), text.size() - at);
        switch (below(5)) {
        case 0:
            text.resize(at);
            break;
        case 1:
            text.erase(at, length);
            break;
        case 2:
            text.insert(at, one_of(kDamage));
            break;
        case 3:
            text.insert(at, text.substr(at, length));
            break;
        default:
            text.replace(at, 1, one_of(kDamage));
        }
    }
    return text;
}

/// A parser reads in pieces of some thousand bytes: a comment before all else moves what stands at their
/// ends.
GeneratedPolicy PolicyGenerator::finished(const Element& root, std::size_t entries)
{
    std::string text = often() ? "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" : "";
    if (seldom()) {
        text += "<!--" + std::string(below(kMostPadding), '.') + "-->\n";
    }
    text += written(root, true) + (often() ? "\n" : "");
    return {origin_ == Origin::Damage ? damaged(text) : text, entries};
}

GeneratedPolicy PolicyGenerator::ppro()
{
    Element root{"ppro_root", {}, {}};
    const std::size_t entries = below(kMostEntries);
    for (std::size_t number_of_path = 0; number_of_path < entries; ++number_of_path) {
        const std::string name = path(number_of_path);
        Element node{"ppro_node", {{"path", name}}, {}};
        if (often()) {
            node.attributes.emplace_back("sm_status", oddly() ? number() : one_of({"0", "1"}));
        }
        if (often()) {
            node.attributes.emplace_back("data_source_name", one_of({"", "vendor", "x &amp; y"}));
        }
        const Malloced<char> usual(tresk_ppro_get_path_hash(name.c_str()));
        node.children = {"<hash>" + hash(usual.get()) + "</hash>", "<type>" + number() + "</type>"};
        root.children.push_back(written(node));
    }
    return finished(root, entries);
}

GeneratedPolicy PolicyGenerator::pblk()
{
    Element root{"pblk_root", {}, {}};
    const std::size_t entries = below(kMostEntries);
    for (std::size_t number_of_path = 0; number_of_path < entries; ++number_of_path) {
        const std::string name = path(number_of_path);
        const std::string type =
            oddly() ? one_of({"", "01", "x", "12345678"}) : one_of({"1", "2", "-3", "1234567"});
        Element node{
            "pblk_node",
            {{"path", name}, {"data_source_type", type}, {"data_source_name", one_of({"", "vendor"})}},
            {}};
        const Malloced<char> usual(tresk_pblk_get_path_hash(name.c_str()));
        node.children = {"<hash>" + hash(usual.get()) + "</hash>"};
        root.children.push_back(written(node));
    }
    return finished(root, entries);
}

PolicyGenerator::Element PolicyGenerator::program(std::size_t number_of_path, int uid, bool per_user)
{
    const std::string name = path(number_of_path);
    user_distinguish = per_user ? 1 : 0;
    const Malloced<char> usual(tresk_netctl_get_path_hash(name.c_str(), uid));
    Element node{"tresk_node", {{"path", name}}, {}};
    node.children = {"<type>" + number() + "</type>", "<hash>" + hash(usual.get()) + "</hash>"};
    if (often()) {
        node.children.push_back("<name>" + std::string(oddly() ? 300 : 9, 'n') + "</name>");
    }
    if (often()) {
        node.children.push_back("<ico>" + std::string(oddly() ? 5000 : 3, 'i') + "</ico>");
    }
    if (often()) {
        node.children.push_back("<desktop>" + std::string(oddly() ? 4096 : 0, 'd') + "</desktop>");
    }
    if (often()) {
        node.children.push_back("<server_type>" + number() + "</server_type>");
    }
    return node;
}

PolicyGenerator::Element PolicyGenerator::package(std::size_t number_of_package)
{
    const std::string name = oddly() ? one_of(kOddPaths) : "package" + std::to_string(number_of_package);
    Element node{"tresk_node", {{"pkg", name}}, {}};
    node.children = {"<type>" + number() + "</type>"};
    if (often()) {
        node.children.push_back("<ico>" + std::string(oddly() ? 5000 : 3, 'i') + "</ico>");
    }
    if (often()) {
        node.children.push_back("<desktop>entry</desktop>");
    }
    if (often()) {
        node.children.push_back("<server_type>" + number() + "</server_type>");
    }
    if (often()) {
        node.children.push_back("<path>" + (oddly() ? one_of({"", "/nobody/has/this"}) : "/bin/sh") +
                                "</path>");
    }
    return node;
}

GeneratedPolicy PolicyGenerator::netctl(bool packages)
{
    const bool per_user = often();
    // The programs' policy alone decides; this one says what that says where there is none.
    Element root{"tresk_root", {{"user_dist", per_user && !packages ? "1" : "0"}}, {}};
    std::size_t entries = 0;
    for (std::size_t user = 0; user < 3; ++user) {
        const int uid = static_cast<int>(user) * 1000;
        Element section{"tresk_user",
                        {{"userID", oddly() ? one_of({"", "0", "x", "4294967295"}) : std::to_string(uid)}},
                        {}};
        for (std::size_t left = below(kMostEntries / 2); left > 0; --left, ++entries) {
            section.children.push_back(
                written(packages ? package(entries) : program(entries, uid, per_user)));
        }
        root.children.push_back(written(section));
    }
    return finished(root, entries);
}

GeneratedPolicy PolicyGenerator::bwlist()
{
    Element root{"tresk_root", {}, {}};
    std::size_t entries = 0;
    for (const char* list : {"white", "black", "white"}) {
        Element section{"tresk_bwlist", {{"bw_value", oddly() ? one_of({"", "bwlist", "other"}) : list}}, {}};
        for (std::size_t left = below(3); left > 0; --left, ++entries) {
            const std::string type = oddly() ? one_of({"", "01", "x", "12345678"}) : one_of({"1", "2", "3"});
            section.children.push_back(written({"tresk_node",
                                                {{"rpm_name", "package" + std::to_string(entries)},
                                                 {"data_source_type", type},
                                                 {"data_source_name", one_of({"", "vendor"})}},
                                                {}}));
        }
        root.children.push_back(written(section));
    }
    return finished(root, entries);
}

} // namespace tresk::test
