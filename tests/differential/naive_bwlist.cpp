// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/naive_xml.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

namespace tresk::test {

namespace {

constexpr char kFile[] = "/etc/tresk/bwlist/bwlist.xml";

/// What an entry must carry besides its package's name.
struct Source {
    std::string type;
    Text name;
};

PolicyKind kind()
{
    return {"tresk_root", "", "", nullptr, false};
}

bool is_entry(const Naive& naive, const xmlNode* node, const std::string& package, const Source* source)
{
    if (node->type != XML_ELEMENT_NODE || (naive.keeps(Rule::NodeName) && !is_element(node, "tresk_node"))) {
        return false;
    }
    const Text own = attribute(node, "rpm_name");
    if (!own || (*own != package && naive.keeps(Rule::PackageIsExact))) {
        return false;
    }
    if (source == nullptr) {
        return true;
    }
    const Text type = attribute(node, "data_source_type");
    const Text name = attribute(node, "data_source_name");
    const bool type_is = type == source->type || !naive.keeps(Rule::SourceTypeIsExact);
    const bool name_is = (name && name == source->name) || !naive.keeps(Rule::SourceNameIsExact);
    return type_is && name_is;
}

bool is_list(const Naive& naive, const xmlNode* node, const std::string& list)
{
    if (!is_element(node, "tresk_bwlist")) {
        return false;
    }
    const Text value = attribute(node, "bw_value");
    return value && (*value == list || !naive.keeps(Rule::ListNameIsExact));
}

int looked_up(Naive& naive, const std::string& list, const std::string& package, const Source* source)
{
    const NaiveDocument document(naive, kFile, kind(), "");
    if (document.root() == nullptr) {
        return 0;
    }
    for (xmlNode* group = document.root()->children; group != nullptr; group = group->next) {
        if (!is_list(naive, group, list)) {
            continue;
        }
        for (xmlNode* node = group->children; node != nullptr; node = node->next) {
            if (is_entry(naive, node, package, source)) {
                return 1;
            }
        }
        if (!naive.keeps(Rule::AllListsAreSearched)) {
            break;
        }
    }
    return 0;
}

bool error_stands()
{
    const xmlError* error = xmlGetLastError();
    return error != nullptr && error->code != 0;
}

int verdict(Naive& naive, const std::string& package)
{
    if (!naive.keeps(Rule::OldErrorEndsVerdict)) {
        xmlResetLastError();
    }
    xmlFreeDoc(xmlReadFile(kFile, "UTF-8", XML_PARSE_RECOVER));
    const bool checked = naive.keeps(Rule::ParseErrorEndsVerdict);
    if (error_stands() && checked) {
        return -1;
    }
    const int white = looked_up(naive, "white", package, nullptr);
    if (error_stands() && checked) {
        return -1;
    }
    const int black = looked_up(naive, "black", package, nullptr);
    if (error_stands() && checked) {
        return -1;
    }
    const bool on_white = white > 0 || !naive.keeps(Rule::VerdictNeedsWhite);
    const bool on_black = black != 0 && naive.keeps(Rule::VerdictNeedsNoBlack);
    return on_white && !on_black ? 2 : 3;
}

} // namespace

int naive_bwlist_unite(Naive& naive, const Text& list, const Text& package)
{
    if (!list || !package) {
        return 0;
    }
    if (!naive.keeps(Rule::SimpleLookupForgetsErrors) && error_stands()) {
        return 0;
    }
    return looked_up(naive, *list, *package, nullptr);
}

int naive_bwlist_independence(Naive& naive, const Text& list, const Text& package, int type, const Text& name)
{
    if (!list || !package) {
        return 0;
    }
    const std::string number = std::to_string(type);
    const Source source{naive.keeps(Rule::TypeTextIsCut) ? number.substr(0, 7) : number, name};
    return looked_up(naive, *list, *package, &source);
}

int naive_bwlist_select(Naive& naive, const Text& list, const Text& package, int mode, const Text& name)
{
    if (!list || !package) {
        return -1;
    }
    const Text source = name || !naive.keeps(Rule::NullSourceIsEmpty) ? name : Text("");
    if (mode != 3 || (*list != "bwlist" && !naive.keeps(Rule::ModeThreeIgnoresSource))) {
        return naive_bwlist_independence(naive, list, package, mode, source);
    }
    if (*list != "bwlist") {
        return naive_bwlist_unite(naive, list, package);
    }
    return verdict(naive, *package);
}

} // namespace tresk::test
