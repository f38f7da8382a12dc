// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/naive_xml.h"

#include <cstring>

namespace tresk::test {

namespace {

constexpr char kFile[] = "/etc/tresk/ppro/ppro.xml";

PolicyKind kind()
{
    return {"ppro_root", kFile, "<?xml version=\"1.0\"?>\n<ppro_root/>\n"};
}

/// The path of a node that the readers of records look at.
Text eligible_path(const Naive& naive, xmlNode* node)
{
    if (node->type != XML_ELEMENT_NODE || (naive.keeps(Rule::NodeName) && !is_element(node, "ppro_node"))) {
        return std::nullopt;
    }
    if (!is_first_attribute(naive, node, "path")) {
        return std::nullopt;
    }
    const Text path = attribute(node, "path");
    return path && fits(naive, *path) ? path : std::nullopt;
}

bool passes_numeric(const Naive& naive, const xmlNode* node, int mode)
{
    if (mode != 0 && naive.keeps(Rule::SmModeShowsAll)) {
        return true;
    }
    if (!naive.keeps(Rule::OrdinaryModeHides)) {
        return true;
    }
    const Text owner = attribute(node, "sm_status");
    if (!owner) {
        return true;
    }
    return naive.keeps(Rule::OwnerIsNumber) ? number(naive, *owner) == 0 : *owner == "0";
}

bool passes_mode(const Naive& naive, const xmlNode* node, int mode)
{
    const Text owner = attribute(node, "sm_status");
    if (!owner) {
        return mode == 0 || !naive.keeps(Rule::MissingModeIsZero);
    }
    return naive.keeps(Rule::ModeIsExactText) ? *owner == std::to_string(mode)
                                              : number(naive, *owner) == mode;
}

bool passes_source(const Naive& naive, const xmlNode* node, const Text& source)
{
    if (!naive.keeps(Rule::SourceIsExact)) {
        return true;
    }
    const Text own = attribute(node, "data_source_name");
    if (!own && !source) {
        return naive.keeps(Rule::MissingSourceIsNull);
    }
    if (!own) {
        return source->empty() && naive.keeps(Rule::MissingSourceIsEmpty);
    }
    if (!source) {
        return own->empty() && !naive.keeps(Rule::EmptySourceIsNotNull);
    }
    return *own == *source;
}

bool passes_exact(const Naive& naive, const xmlNode* node, int mode, const Text& source)
{
    return passes_mode(naive, node, mode) && passes_source(naive, node, source);
}

std::optional<ppro_node_info> record_of(const Naive& naive, const std::string& path, const Text& hash,
                                        const Text& type)
{
    if ((!hash && naive.keeps(Rule::HashIsRequired)) || (!type && naive.keeps(Rule::TypeIsRequired))) {
        return std::nullopt;
    }
    ppro_node_info record = {};
    copy_text(record.path, path, 4095);
    copy_text(record.hash, hash.value_or(""), naive.keeps(Rule::HashIsCut) ? 64 : 63);
    record.type = number(naive, type.value_or(""));
    return record;
}

std::optional<ppro_node_info> record_of_children(const Naive& naive, xmlNode* node, const std::string& path)
{
    return record_of(naive, path, child_text(naive, node, "hash"), child_text(naive, node, "type"));
}

/// The key under which a path is looked up; nothing when it cannot be made absolute.
Text lookup_key(Naive& naive, const std::string& path, const Text& absolute, int failure, Binds binds)
{
    const std::string text = std::string("faile to get absolute path: ") + std::strerror(failure);
    if (!absolute) {
        naive.logs.push_back(text);
        if (naive.keeps(Rule::PathFailureIsRecorded)) {
            naive.errors.push_back("-1011 " + path + " " + text);
        }
        return std::nullopt;
    }
    const std::string& start = naive.keeps(Rule::PathIsMadeAbsolute) ? *absolute : path;
    std::string key = start;
    if (start.compare(0, 5, "/home") == 0 && binds.home && naive.keeps(Rule::HomeIsBelowData)) {
        key = "/data" + start;
    } else if (start.compare(0, 5, "/root") == 0 && binds.root && naive.keeps(Rule::RootIsBelowData)) {
        key = "/data" + start;
    }
    return key.substr(0, 4096);
}

enum class Step { Abandon, GoOn };

/// What has been seen of a node while its children are walked.
struct Walk {
    Text hash;
    Text type;
};

Step after_child(const Naive& naive, Walk& walk, xmlNode* child, const std::string& hash)
{
    if (is_child(naive, child, "hash")) {
        walk.hash = text_of(naive, child);
    }
    if (is_child(naive, child, "type")) {
        walk.type = text_of(naive, child);
    }
    if (!walk.hash && naive.keeps(Rule::FirstChildIsHash)) {
        return Step::Abandon;
    }
    const bool equal = walk.hash && *walk.hash == hash;
    return equal && naive.keeps(Rule::EqualHashIsPassedOver) ? Step::Abandon : Step::GoOn;
}

/// Whether the children ended without the node being abandoned.
bool walked_through(const Naive& naive, xmlNode* node, const std::string& hash, Walk& walk)
{
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (after_child(naive, walk, child, hash) == Step::Abandon) {
            return false;
        }
    }
    return walk.hash.has_value();
}

bool is_owned(const Naive& naive, xmlNode* node, const std::string& hash)
{
    if (node->type != XML_ELEMENT_NODE || !is_first_attribute(naive, node, "path")) {
        return false;
    }
    if (!naive.keeps(Rule::OwnershipIgnoresName) && !is_element(node, "ppro_node")) {
        return false;
    }
    if (!attribute(node, "path") || node->children == nullptr) {
        return false;
    }
    const Text own = child_text(naive, node, "hash");
    const Text type = child_text(naive, node, "type");
    if (!own || (!type && naive.keeps(Rule::OwnershipNeedsType)) || *own != hash) {
        return false;
    }
    return !passes_numeric(naive, node, 0) || !naive.keeps(Rule::OwnedOnlyBySm);
}

bool is_counted(const Naive& naive, xmlNode* node, const std::string& hash)
{
    if (node->type != XML_ELEMENT_NODE || (naive.keeps(Rule::NodeName) && !is_element(node, "ppro_node"))) {
        return false;
    }
    if (!naive.keeps(Rule::CountedHashIsFirstChild)) {
        return child_text(naive, node, "hash") == hash;
    }
    xmlNode* first = node->children;
    return first != nullptr && is_child(naive, first, "hash") && text_of(naive, first) == hash;
}

const char* said(const Naive& naive, const char* function)
{
    return naive.keeps(Rule::GeneralFormIsNamed) ? function : "a wrapper";
}

} // namespace

Listing<ppro_node_info> naive_ppro_all(Naive& naive, const std::string& file, int mode)
{
    const NaiveDocument document(naive, file, kind(),
                                 said(naive, "tresk_ppro_read_all_data_with_file_internal"));
    if (document.root() == nullptr) {
        return {};
    }
    Listing<ppro_node_info> listing{true, {}};
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        const Text path = eligible_path(naive, node);
        if (!path || !passes_numeric(naive, node, mode)) {
            continue;
        }
        if (const auto record = record_of_children(naive, node, *path)) {
            listing.records.push_back(*record);
        }
    }
    return listing;
}

Listing<ppro_node_info> naive_ppro_all_exact(Naive& naive, const std::string& file, int mode,
                                             const Text& source)
{
    const NaiveDocument document(naive, file, kind(), said(naive, "tresk_ppro_read_all_data_with_file_zdk"));
    if (document.root() == nullptr) {
        return {};
    }
    Listing<ppro_node_info> listing{true, {}};
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        const Text path = eligible_path(naive, node);
        if (!path || !passes_exact(naive, node, mode, source)) {
            continue;
        }
        if (const auto record = record_of_children(naive, node, *path)) {
            listing.records.push_back(*record);
        }
    }
    return listing;
}

std::optional<ppro_node_info> naive_ppro_by_path(Naive& naive, const std::string& path, const Text& absolute,
                                                 int failure, Binds binds, int mode)
{
    const Text key = lookup_key(naive, path, absolute, failure, binds);
    if (!key) {
        return std::nullopt;
    }
    const NaiveDocument document(naive, kFile, kind(),
                                 said(naive, "tresk_ppro_read_node_with_path_internal"));
    if (document.root() == nullptr) {
        return std::nullopt;
    }
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        const Text own = eligible_path(naive, node);
        if (!own || *own != *key || node->children == nullptr) {
            continue;
        }
        const auto record = record_of_children(naive, node, *own);
        if (record && passes_numeric(naive, node, mode)) {
            return record;
        }
        if (!naive.keeps(Rule::NumericSearchGoesOn)) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

std::optional<ppro_node_info> naive_ppro_by_path_exact(Naive& naive, const std::string& path,
                                                       const Text& absolute, int failure, Binds binds,
                                                       int mode, const Text& source)
{
    const Text key = lookup_key(naive, path, absolute, failure, binds);
    if (!key) {
        return std::nullopt;
    }
    const NaiveDocument document(naive, kFile, kind(), "tresk_ppro_read_node_with_path_zdk");
    if (document.root() == nullptr) {
        return std::nullopt;
    }
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        const Text own = eligible_path(naive, node);
        if (!own || *own != *key || !passes_exact(naive, node, mode, source)) {
            continue;
        }
        const auto record = record_of_children(naive, node, *own);
        if (record || naive.keeps(Rule::ExactSearchStops)) {
            return record;
        }
    }
    return std::nullopt;
}

std::optional<ppro_node_info> naive_ppro_by_hash(Naive& naive, const Text& hash, int mode, const Text& source)
{
    if (!hash) {
        return std::nullopt;
    }
    const NaiveDocument document(naive, kFile, kind(), "tresk_ppro_read_node_with_hash_zdk");
    if (document.root() == nullptr) {
        return std::nullopt;
    }
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        const Text path = eligible_path(naive, node);
        Walk walk;
        if (!path || !passes_exact(naive, node, mode, source) || !walked_through(naive, node, *hash, walk)) {
            continue;
        }
        if (walk.type) {
            return record_of(naive, *path, walk.hash, walk.type);
        }
        if (naive.keeps(Rule::MissingTypeEndsSearch)) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

int naive_ppro_owned_by_sm(Naive& naive, const Text& hash)
{
    if (!hash) {
        return -1;
    }
    const NaiveDocument document(naive, kFile, kind(), "tresk_ppro_check_in_sm");
    if (document.root() == nullptr) {
        return -1;
    }
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        if (is_owned(naive, node, *hash)) {
            return 0;
        }
    }
    return -1;
}

int naive_ppro_count(Naive& naive, const Text& hash, int* count)
{
    if (!hash || count == nullptr) {
        return -1;
    }
    PolicyKind counted = kind();
    counted.said = naive.keeps(Rule::CountNamesNodeInLog) ? "ppro_node" : nullptr;
    const NaiveDocument document(naive, kFile, counted, "tresk_ppro_get_same_node_by_hash");
    if (document.root() == nullptr) {
        return -1;
    }
    for (xmlNode* node = document.root()->children; node != nullptr; node = node->next) {
        if (is_counted(naive, node, *hash)) {
            *count = naive.keeps(Rule::CountAddsUp) ? *count + 1 : 1;
        }
        if (*count <= 2 && naive.keeps(Rule::CountStopsAtTwo)) {
            break;
        }
    }
    return 0;
}

} // namespace tresk::test
