// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/policy_file.h"

#include "standin/service/atomic_file.h"
#include "standin/service/method.h"

#include <libxml/parser.h>

#include <climits>
#include <new>

namespace tresk::service {

namespace {

/// xmlFree is a variable, so it cannot be a template argument.
struct FreeXml {
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};

using XmlText = std::unique_ptr<xmlChar, FreeXml>;
using Document = std::unique_ptr<xmlDoc, FreeDocument>;

const xmlChar* xml(const char* text)
{
    return reinterpret_cast<const xmlChar*>(text);
}

const char* plain(const xmlChar* text)
{
    return reinterpret_cast<const char*>(text);
}

/// libxml2 answers null only when no memory is left.
template <class T>
T* made(T* result)
{
    if (result == nullptr) {
        throw std::bad_alloc();
    }
    return result;
}

Document new_document(const char* root_name)
{
    Document document(made(xmlNewDoc(xml("1.0"))));
    xmlDocSetRootElement(document.get(),
                         made(xmlNewDocNode(document.get(), nullptr, xml(root_name), nullptr)));
    return document;
}

Document parse(const std::filesystem::path& file, const std::string& content)
{
    if (content.size() > INT_MAX) {
        throw Refusal(error_name::kDatabase, file.string() + ": too large");
    }
    constexpr int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    Document document(
        xmlReadMemory(content.data(), static_cast<int>(content.size()), file.c_str(), "UTF-8", options));
    if (!document) {
        throw Refusal(error_name::kDatabase, file.string() + ": not a whole XML document, left as it is");
    }
    return document;
}

void require_root(const std::filesystem::path& file, xmlDoc* document, const char* root_name)
{
    const xmlNode* root = xmlDocGetRootElement(document);
    if (root == nullptr || xmlStrcmp(root->name, xml(root_name)) != 0) {
        throw Refusal(error_name::kDatabase, file.string() + ": the root is not " + root_name);
    }
}

} // namespace

PolicyFile::PolicyFile(std::filesystem::path file, const char* root_name) : file_(std::move(file))
{
    const std::string content = read_whole(file_).value_or("");
    document_ = content.empty() ? new_document(root_name) : parse(file_, content);
    require_root(file_, document_.get(), root_name);
}

xmlNode* PolicyFile::root() const noexcept
{
    return xmlDocGetRootElement(document_.get());
}

void PolicyFile::save() const
{
    xmlChar* bytes = nullptr;
    int length = 0;
    xmlDocDumpMemoryEnc(document_.get(), &bytes, &length, "UTF-8");
    const XmlText owner(made(bytes));
    write_whole(file_, std::string_view(plain(bytes), static_cast<std::size_t>(length)));
}

std::vector<xmlNode*> child_elements(const xmlNode* parent, const char* name)
{
    std::vector<xmlNode*> elements;
    for (xmlNode* child = parent->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && xmlStrcmp(child->name, xml(name)) == 0) {
            elements.push_back(child);
        }
    }
    return elements;
}

std::optional<std::string> attribute_of(const xmlNode* element, const char* name)
{
    const XmlText text(xmlGetNoNsProp(element, xml(name)));
    return text ? std::optional<std::string>(plain(text.get())) : std::nullopt;
}

bool begins_with_attribute(const xmlNode* element, const char* name)
{
    return element->properties != nullptr && xmlStrcmp(element->properties->name, xml(name)) == 0;
}

xmlNode* add_element(xmlNode* parent, const char* name, const NamedTexts& attributes)
{
    xmlNode* element = made(xmlNewChild(parent, nullptr, xml(name), nullptr));
    for (const auto& [key, value] : attributes) {
        made(xmlNewProp(element, xml(key), xml(value.c_str())));
    }
    return element;
}

void add_text_element(xmlNode* parent, const char* name, const std::string& text)
{
    made(xmlNewTextChild(parent, nullptr, xml(name), text.empty() ? nullptr : xml(text.c_str())));
}

void set_text_element(xmlNode* parent, const char* name, const std::string& text)
{
    const std::vector<xmlNode*> elements = child_elements(parent, name);
    for (xmlNode* element : elements) {
        xmlNodeSetContent(element, nullptr);
        xmlNodeAddContent(element, xml(text.c_str()));
    }
    if (elements.empty()) {
        add_text_element(parent, name, text);
    }
}

void set_text_elements(xmlNode* parent, const NamedTexts& texts)
{
    for (const auto& [name, text] : texts) {
        set_text_element(parent, name, text);
    }
}

void set_first_attribute(xmlNode* element, const char* name, const std::string& text)
{
    xmlAttr* attribute = made(xmlSetProp(element, xml(name), xml(text.c_str())));
    if (attribute->prev == nullptr) {
        return;
    }
    attribute->prev->next = attribute->next;
    if (attribute->next != nullptr) {
        attribute->next->prev = attribute->prev;
    }
    attribute->prev = nullptr;
    attribute->next = element->properties;
    element->properties->prev = attribute;
    element->properties = attribute;
}

void remove_element(xmlNode* element)
{
    xmlUnlinkNode(element);
    xmlFreeNode(element);
}

} // namespace tresk::service
