// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/policy_tree.h"

#include "common/policy_parser.h"

#include <libxml/valid.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

namespace tresk {

namespace {

/// Entities nested deeper than this are no policy; the parser itself allows 40 when it expands them.
constexpr std::size_t kDeepestEntity = 40;

NodeKind kind_of(const xmlNode* node) noexcept
{
    switch (node->type) {
    case XML_ELEMENT_NODE:
        return NodeKind::element;
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
        return NodeKind::text;
    case XML_COMMENT_NODE:
        return NodeKind::comment;
    case XML_PI_NODE:
        return NodeKind::instruction;
    default:
        return NodeKind::other;
    }
}

std::string_view view_of(const xmlChar* text) noexcept
{
    return text == nullptr ? std::string_view() : std::string_view(from_xml(text));
}

/// What stands as a name in nodes of other kinds says nothing.
std::string_view element_name(const xmlNode* node) noexcept
{
    return node->type == XML_ELEMENT_NODE ? view_of(node->name) : std::string_view();
}

/// True when the text below an element or attribute with these children is one piece, or nothing.
bool is_plain(const xmlNode* children) noexcept
{
    return children == nullptr || (children->next == nullptr && kind_of(children) == NodeKind::text);
}

std::string_view plain_text(const xmlNode* children) noexcept
{
    return children == nullptr ? std::string_view("") : view_of(children->content);
}

/// libxml2 goes on without the pieces of a text that found no memory; errno, cleared before, tells.
void require_memory()
{
    if (errno == ENOMEM) {
        throw std::bad_alloc();
    }
}

Walk walk_children(PolicyTreeReader& tree, const xmlNode* parent, const PolicyWalk& reader)
{
    for (xmlNode* node = parent->children; node != nullptr; node = node->next) {
        if (reader.node(tree.read(node)) == Walk::stop) {
            return Walk::stop;
        }
    }
    return Walk::on;
}

void walk_groups(PolicyTreeReader& tree, xmlNode* root, const PolicyWalk& reader)
{
    for (xmlNode* group = xmlFirstElementChild(root); group != nullptr;
         group = xmlNextElementSibling(group)) {
        const Group answer = reader.group(tree.read_head(group));
        if (answer == Group::stop ||
            (answer == Group::enter && walk_children(tree, group, reader) == Walk::stop)) {
            return;
        }
    }
}

} // namespace

Walked walk_tree(const char* file, const char* root, const PolicyWalk& reader)
{
    const XmlDocument document = recover(new_parser().get(), file);
    if (!document) {
        return Walked::no_document;
    }
    xmlNode* top = xmlDocGetRootElement(document.get());
    if (top == nullptr) {
        return Walked::no_root;
    }
    if (std::strcmp(from_xml(top->name), root) != 0) {
        return Walked::wrong_root;
    }
    // The root's entities are none of the nodes': what these may expand to is counted by a reader of their
    // own.
    reader.begin(PolicyTreeReader(document.get()).read_head(top));
    PolicyTreeReader tree(document.get());
    if (reader.group) {
        walk_groups(tree, top, reader);
    } else {
        walk_children(tree, top, reader);
    }
    return Walked::done;
}

const PolicyNode& PolicyTreeReader::read(xmlNode* node)
{
    read_head(node);
    if (node_.kind == NodeKind::element) {
        read_children(node);
    }
    return node_;
}

const PolicyNode& PolicyTreeReader::read_head(xmlNode* node)
{
    owned_.clear();
    node_.attributes.clear();
    node_.children.clear();
    node_.kind = kind_of(node);
    node_.name = element_name(node);
    if (node_.kind == NodeKind::element) {
        read_attributes(node);
    }
    return node_;
}

void PolicyTreeReader::read_attributes(xmlNode* element)
{
    for (const xmlAttr* one = element->properties; one != nullptr; one = one->next) {
        node_.attributes.push_back({view_of(one->name), attribute_value(one), true});
    }
    if (document_->intSubset != nullptr) {
        read_declared_attributes(element);
    }
}

/// libxml2's look-ups by name also see the defaults of the document type. It is asked for each of them as if
/// by name, so that a written attribute comes first.
void PolicyTreeReader::read_declared_attributes(xmlNode* element)
{
    const xmlElement* declared = xmlGetDtdElementDesc(document_->intSubset, element->name);
    const xmlAttribute* one = declared == nullptr ? nullptr : declared->attributes;
    for (; one != nullptr; one = one->nexth) {
        if (one->defaultValue != nullptr && !node_.attribute(view_of(one->name))) {
            node_.attributes.push_back({view_of(one->name), view_of(one->defaultValue), false});
        }
    }
}

void PolicyTreeReader::read_children(const xmlNode* element)
{
    for (const xmlNode* child = element->children; child != nullptr; child = child->next) {
        const NodeKind kind = kind_of(child);
        node_.children.push_back(
            {kind, element_name(child), kind == NodeKind::element ? element_text(child) : NodeText("")});
    }
}

NodeText PolicyTreeReader::attribute_value(const xmlAttr* attribute)
{
    if (is_plain(attribute->children)) {
        return plain_text(attribute->children);
    }
    if (!affordable(attribute->children)) {
        return std::nullopt;
    }
    errno = 0;
    XmlText text(xmlNodeListGetString(document_, attribute->children, 1));
    require_memory();
    return text ? keep(std::move(text)) : NodeText(""); // none: entities that are not defined
}

NodeText PolicyTreeReader::element_text(const xmlNode* element)
{
    if (is_plain(element->children)) {
        return plain_text(element->children);
    }
    if (!affordable(element->children)) {
        return std::nullopt;
    }
    errno = 0;
    XmlText text(xmlNodeGetContent(element));
    require_memory();
    if (!text) {
        throw std::bad_alloc();
    }
    return keep(std::move(text));
}

NodeText PolicyTreeReader::keep(XmlText text)
{
    owned_.push_back(std::move(text));
    return view_of(owned_.back().get());
}

bool PolicyTreeReader::affordable(const xmlNode* first)
{
    return spend_on(first, 0);
}

/// Walks what a text of these nodes would be made of; false once it would cost more than is left.
bool PolicyTreeReader::spend_on(const xmlNode* siblings, std::size_t depth)
{
    for (const xmlNode* node = siblings; node != nullptr; node = node->next) {
        if (node->type == XML_ENTITY_REF_NODE) {
            if (depth >= kDeepestEntity || expansion_left_ == 0) {
                return false;
            }
            --expansion_left_;
            const xmlEntity* entity = xmlGetDocEntity(document_, node->name);
            if (entity != nullptr && !spend_on(entity->children, depth + 1)) {
                return false;
            }
        } else if (node->content != nullptr && depth > 0) {
            const std::size_t length = std::strlen(from_xml(node->content));
            if (length > expansion_left_) {
                return false;
            }
            expansion_left_ -= length;
        } else if (node->type == XML_ELEMENT_NODE && !spend_on(node->children, depth)) {
            return false;
        }
    }
    return true;
}

} // namespace tresk
