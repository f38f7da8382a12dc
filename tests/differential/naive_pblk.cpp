// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/naive_xml.h"

namespace tresk::test {

namespace {

constexpr char kFile[] = "/etc/tresk/pblk/pblk.xml";

PolicyKind kind()
{
    return {"pblk_root", kFile, "<?xml version=\"1.0\"?>\n<pblk_root/>\n"};
}

bool is_node(const Naive& naive, const xmlNode* node)
{
    return node->type == XML_ELEMENT_NODE && (!naive.keeps(Rule::NodeName) || is_element(node, "pblk_node"));
}

std::string type_text(const Naive& naive, int type)
{
    const std::string text = std::to_string(type);
    return naive.keeps(Rule::TypeTextIsCut) ? text.substr(0, 7) : text;
}

/// The path of a node, wherever among its attributes it stands.
Text path_of(const Naive& naive, const xmlNode* node)
{
    if (!naive.keeps(Rule::OtherReadersTakeAnyPlace) && !is_first_attribute(naive, node, "path")) {
        return std::nullopt;
    }
    const Text path = attribute(node, "path");
    return path && fits(naive, *path) ? path : std::nullopt;
}

bool passes(const Naive& naive, const xmlNode* node, int type, const Text& name)
{
    const Text own_type = attribute(node, "data_source_type");
    const Text own_name = attribute(node, "data_source_name");
    const bool type_passes =
        own_type ? *own_type == type_text(naive, type) || !naive.keeps(Rule::SourceTypeIsExact)
                 : naive.keeps(Rule::MissingTypePasses);
    const bool name_passes = own_name ? own_name == name || !naive.keeps(Rule::SourceNameIsExact)
                                      : naive.keeps(Rule::MissingSourcePasses);
    return type_passes && name_passes;
}

bool carries(const Naive& naive, const xmlNode* node, int type, const Text& name)
{
    const Text own_type = attribute(node, "data_source_type");
    const Text own_name = attribute(node, "data_source_name");
    const bool type_is = own_type ? *own_type == type_text(naive, type) : !naive.keeps(Rule::ListNeedsType);
    const bool name_is = own_name ? own_name == name : !naive.keeps(Rule::ListNeedsSource);
    return type_is && name_is;
}

pblk_node_info record_of(const Naive& naive, const std::string& path, const std::string& hash)
{
    pblk_node_info record = {};
    copy_text(record.path, path, 4095);
    copy_text(record.hash, hash, naive.keeps(Rule::HashIsCut) ? 64 : 63);
    return record;
}

std::string lookup_key(const Naive& naive, const std::string& path, Binds binds)
{
    if (path.compare(0, 5, "/home") == 0 && binds.home && naive.keeps(Rule::HomeIsBelowData)) {
        return ("/data" + path).substr(0, 4096);
    }
    if (path.compare(0, 5, "/root") == 0 && binds.root && naive.keeps(Rule::RootIsBelowData)) {
        return ("/data" + path).substr(0, 4096);
    }
    return path.substr(0, 4096);
}

/// Whether the node has this hash among its own.
bool has_hash(const Naive& naive, xmlNode* node, const std::string& hash)
{
    if (!naive.keeps(Rule::FirstEqualHashCounts)) {
        return child_text(naive, node, "hash") == hash;
    }
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (is_child(naive, child, "hash") && text_of(naive, child) == hash) {
            return true;
        }
    }
    return false;
}

const char* said(const Naive& naive, const char* function)
{
    return naive.keeps(Rule::GeneralFormIsNamed) ? function : "a wrapper";
}

} // namespace

Listing<pblk_node_info> naive_pblk_all(Naive& naive, const std::string& file)
{
    const NaiveDocument document(naive, file, kind(), said(naive, "tresk_pblk_read_all_data_with_file"));
    if (document.root() == nullptr) {
        return {};
    }
    Listing<pblk_node_info> listing{true, {}};
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        if (!is_node(naive, node) || !is_first_attribute(naive, node, "path")) {
            continue;
        }
        const Text path = attribute(node, "path");
        const Text hash = child_text(naive, node, "hash");
        if (path && fits(naive, *path) && (hash || !naive.keeps(Rule::HashIsRequired))) {
            listing.records.push_back(record_of(naive, *path, hash.value_or("")));
        }
    }
    return listing;
}

Listing<pblk_node_info> naive_pblk_all_of_source(Naive& naive, const std::string& file, int type,
                                                 const Text& name)
{
    const NaiveDocument document(naive, file, kind(), said(naive, "tresk_pblk_read_all_data_with_file_zdk"));
    if (document.root() == nullptr) {
        return {};
    }
    Listing<pblk_node_info> listing{true, {}};
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        if (!is_node(naive, node) || !carries(naive, node, type, name)) {
            continue;
        }
        if (const Text path = path_of(naive, node)) {
            const Text hash =
                naive.keeps(Rule::ListLeavesHashEmpty) ? Text() : child_text(naive, node, "hash");
            listing.records.push_back(record_of(naive, *path, hash.value_or("")));
        }
    }
    return listing;
}

std::optional<pblk_node_info> naive_pblk_by_path(Naive& naive, const Text& path, Binds binds, int type,
                                                 const Text& name)
{
    if (!path) {
        return std::nullopt;
    }
    const std::string key = lookup_key(naive, *path, binds);
    const NaiveDocument document(naive, kFile, kind(), said(naive, "tresk_pblk_read_node_with_path_zdk"));
    if (document.root() == nullptr) {
        return std::nullopt;
    }
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        if (!is_node(naive, node) || path_of(naive, node) != key || !passes(naive, node, type, name)) {
            continue;
        }
        const Text hash = child_text(naive, node, "hash");
        if (hash || !naive.keeps(Rule::HashIsRequired)) {
            return record_of(naive, key, hash.value_or(""));
        }
    }
    return std::nullopt;
}

std::optional<pblk_node_info> naive_pblk_by_hash(Naive& naive, const Text& hash, int type, const Text& name)
{
    if (!hash) {
        return std::nullopt;
    }
    const NaiveDocument document(naive, kFile, kind(), "tresk_pblk_read_node_with_hash_zdk");
    if (document.root() == nullptr) {
        return std::nullopt;
    }
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        if (!is_node(naive, node) || !passes(naive, node, type, name)) {
            continue;
        }
        const Text path = path_of(naive, node);
        if (path && has_hash(naive, node, *hash)) {
            return record_of(naive, *path, *hash);
        }
    }
    return std::nullopt;
}

int naive_pblk_count(Naive& naive, const Text& hash, int* count)
{
    if (!hash || count == nullptr) {
        return -1;
    }
    const NaiveDocument document(naive, kFile, kind(), "tresk_pblk_get_same_node_by_hash");
    if (document.root() == nullptr) {
        return -1;
    }
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        if (is_node(naive, node) && child_text(naive, node, "hash") == hash) {
            *count = naive.keeps(Rule::CountAddsUp) ? *count + 1 : 1;
        }
        if (*count > 1 && naive.keeps(Rule::CountStopsAboveOne)) {
            break;
        }
    }
    return 0;
}

} // namespace tresk::test
