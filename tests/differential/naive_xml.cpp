// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/naive_xml.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <limits>

namespace tresk::test {

namespace {

const xmlChar* xml(const char* text)
{
    return reinterpret_cast<const xmlChar*>(text);
}

std::string taken(xmlChar* text)
{
    const std::string copy = text == nullptr ? "" : reinterpret_cast<const char*>(text);
    xmlFree(text);
    return copy;
}

bool may_be_created(const Naive& naive, const std::string& file)
{
    struct stat status = {};
    if (::stat(file.c_str(), &status) != 0) {
        return naive.keeps(Rule::MissingFileIsCreated);
    }
    if (status.st_size == 0) {
        return naive.keeps(Rule::EmptyFileIsFilled);
    }
    return !naive.keeps(Rule::OtherFilesAreKept);
}

void create(const Naive& naive, const PolicyKind& kind)
{
    const xmlError* error = xmlGetLastError();
    const bool load_error =
        error != nullptr && (error->domain == XML_FROM_IO || error->code == XML_IO_LOAD_ERROR);
    const bool empty = error != nullptr && error->code == XML_ERR_DOCUMENT_EMPTY;
    if (kind.created.empty() || (!load_error && !empty) || !may_be_created(naive, kind.created)) {
        return;
    }
    std::ofstream(kind.created, std::ios::binary) << kind.content;
    ::chmod(kind.created.c_str(), 0644);
}

std::string direct_text(const xmlNode* element)
{
    std::string text;
    for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
        if (child->type == XML_TEXT_NODE) {
            text += reinterpret_cast<const char*>(child->content);
        }
    }
    return text;
}

std::string with_comments(const xmlNode* element)
{
    std::string text;
    for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
        if (child->type == XML_COMMENT_NODE || child->type == XML_PI_NODE) {
            text += child->content == nullptr ? "" : reinterpret_cast<const char*>(child->content);
        }
    }
    return text;
}

} // namespace

const char* name_of(Rule rule)
{
    static const char* const names[] = {
#define TRESK_RULE_NAME(name) #name,
        TRESK_DIFFERENTIAL_RULES(TRESK_RULE_NAME)
#undef TRESK_RULE_NAME
    };
    return names[static_cast<std::size_t>(rule)];
}

NaiveDocument::NaiveDocument(Naive& naive, const std::string& file, const PolicyKind& kind,
                             const char* function)
{
    xmlResetLastError();
    document_ =
        xmlReadFile(file.c_str(), "UTF-8", naive.keeps(Rule::DamageIsRecovered) ? XML_PARSE_RECOVER : 0);
    if (document_ == nullptr) {
        create(naive, kind);
        return;
    }
    xmlNode* root = xmlDocGetRootElement(document_);
    if (root == nullptr) {
        return;
    }
    if (naive.keeps(Rule::RootName) &&
        std::strcmp(reinterpret_cast<const char*>(root->name), kind.root) != 0) {
        if (kind.logs && naive.keeps(Rule::WrongRootIsLogged)) {
            naive.logs.push_back(std::string(function) + ": document of the wrong type, root node != " +
                                 (kind.said == nullptr ? kind.root : kind.said) + "\n");
        }
        return;
    }
    root_ = root;
}

bool is_element(const xmlNode* node, const char* name)
{
    return node->type == XML_ELEMENT_NODE && xmlStrcmp(node->name, xml(name)) == 0;
}

bool is_child(const Naive& naive, const xmlNode* child, const char* name)
{
    if (!naive.keeps(Rule::ElementsOnly)) {
        return child->name != nullptr && xmlStrcmp(child->name, xml(name)) == 0;
    }
    return is_element(child, name);
}

Text attribute(const xmlNode* node, const char* name)
{
    xmlChar* value = xmlGetProp(node, xml(name));
    if (value == nullptr) {
        return std::nullopt;
    }
    return taken(value);
}

bool is_first_attribute(const Naive& naive, const xmlNode* node, const char* name)
{
    if (!naive.keeps(Rule::FirstAttribute)) {
        return true;
    }
    return node->properties != nullptr && xmlStrcmp(node->properties->name, xml(name)) == 0;
}

std::string text_of(const Naive& naive, xmlNode* element)
{
    if (!naive.keeps(Rule::AllTextBelow)) {
        return direct_text(element);
    }
    return taken(xmlNodeGetContent(element)) +
           (naive.keeps(Rule::CommentsAreNoText) ? std::string() : with_comments(element));
}

Text child_text(const Naive& naive, xmlNode* node, const char* name)
{
    Text text;
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        if (!is_child(naive, child, name)) {
            continue;
        }
        if (child->children == nullptr && !naive.keeps(Rule::EmptyElementIsPresent)) {
            continue;
        }
        text = text_of(naive, child);
        if (!naive.keeps(Rule::LastChildCounts)) {
            break;
        }
    }
    return text;
}

std::int32_t number(const Naive& naive, const std::string& text)
{
    const long value = std::strtol(text.c_str(), nullptr, naive.keeps(Rule::NumbersAreDecimal) ? 10 : 0);
    if (!naive.keeps(Rule::NumbersAreCut)) {
        const long most = std::numeric_limits<std::int32_t>::max();
        const long least = std::numeric_limits<std::int32_t>::min();
        return static_cast<std::int32_t>(value > most ? most : value < least ? least : value);
    }
    return static_cast<std::int32_t>(value);
}

bool fits(const Naive& naive, const std::string& identity)
{
    return identity.size() <= 4095 || !naive.keeps(Rule::LongIdentityIsLeftOut);
}

} // namespace tresk::test
