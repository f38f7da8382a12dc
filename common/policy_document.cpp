// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/policy_document.h"

#include "common/policy_tree.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <cerrno>
#include <cstring>
#include <new>

namespace tresk {

namespace {

/// True when the last parse failed because the file is missing, unreadable or empty. Releases after the 2.9
/// series report a missing file by other codes of the input/output domain.
bool nothing_to_parse()
{
    const xmlError* error = xmlGetLastError();
    return error != nullptr && (error->code == XML_IO_LOAD_ERROR || error->code == XML_ERR_DOCUMENT_EMPTY ||
                                error->domain == XML_FROM_IO);
}

/// Before every first use: the parser's library makes its shared state at its first call, and two threads
/// whose first calls meet would each make one.
void start_parser()
{
    static const bool started = (xmlInitParser(), true);
    static_cast<void>(started);
}

using XmlParser = Handle<xmlParserCtxt, ::xmlFreeParserCtxt>;

/// Recovery also "recovers" a document for whose rest there was no memory, and such a document hides entries.
/// The parser does not always say so (a name that found no memory is a missing name to it); errno does.
bool ran_out_of_memory(const xmlParserCtxt* parser)
{
    const xmlError* last = xmlGetLastError();
    return errno == ENOMEM || parser->errNo == XML_ERR_NO_MEMORY ||
           (last != nullptr && last->code == XML_ERR_NO_MEMORY);
}

XmlDocument recover(const char* file)
{
    const XmlParser parser(xmlNewParserCtxt());
    if (!parser) {
        throw std::bad_alloc();
    }
    errno = 0;
    XmlDocument document(xmlCtxtReadFile(parser.get(), file, "UTF-8", XML_PARSE_RECOVER));
    if (ran_out_of_memory(parser.get())) {
        throw std::bad_alloc();
    }
    return document;
}

XmlDocument parse(const PolicyFormat& format, const char* file)
{
    start_parser();
    xmlResetLastError();
    XmlDocument document = recover(file);
    if (!document && format.create_default != nullptr && nothing_to_parse()) {
        format.create_default(file);
    }
    return document;
}

XmlDocument open_policy(const PolicyFormat& format, const char* file, const char* function,
                        const char* expected)
{
    XmlDocument document = parse(format, file);
    const xmlNode* root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root == nullptr) {
        return nullptr;
    }
    if (std::strcmp(from_xml(root->name), format.root) != 0) {
        if (format.wrong_root != nullptr) {
            log_error(format.source, function, format.wrong_root, function,
                      expected == nullptr ? format.root : expected);
        }
        return nullptr;
    }
    return document;
}

Walk visit_children(PolicyTreeReader& reader, const xmlNode* parent,
                    const std::function<Walk(const PolicyNode&)>& visit)
{
    for (xmlNode* node = parent->children; node != nullptr; node = node->next) {
        if (visit(reader.read(node)) == Walk::stop) {
            return Walk::stop;
        }
    }
    return Walk::on;
}

} // namespace

class PolicyDocument::Tree {
  public:
    explicit Tree(XmlDocument document) : document_(std::move(document)) {}

    [[nodiscard]] xmlDoc* get() const noexcept { return document_.get(); }

  private:
    XmlDocument document_;
};

PolicyDocument::PolicyDocument(const PolicyFormat& format, const char* file, const char* function,
                               const char* expected)
{
    if (XmlDocument document = open_policy(format, file, function, expected)) {
        tree_ = std::make_unique<Tree>(std::move(document));
    }
}

PolicyDocument::~PolicyDocument() = default;

PolicyDocument::operator bool() const noexcept
{
    return tree_ != nullptr;
}

bool xml_error_is_left()
{
    start_parser();
    const xmlError* error = xmlGetLastError();
    return error != nullptr && error->code != XML_ERR_OK;
}

bool reads_without_error(const char* file)
{
    start_parser();
    const XmlDocument document = recover(file);
    return !xml_error_is_left();
}

void PolicyDocument::for_each_node(const std::function<Walk(const PolicyNode&)>& visit) const
{
    PolicyTreeReader reader(tree_->get());
    visit_children(reader, xmlDocGetRootElement(tree_->get()), visit);
}

void PolicyDocument::for_each_grouped_node(const std::function<Group(const PolicyNode&)>& head,
                                           const std::function<Walk(const PolicyNode&)>& visit) const
{
    PolicyTreeReader reader(tree_->get());
    for (xmlNode* group = xmlFirstElementChild(xmlDocGetRootElement(tree_->get())); group != nullptr;
         group = xmlNextElementSibling(group)) {
        const Group answer = head(reader.read_head(group));
        if (answer == Group::stop) {
            return;
        }
        if (answer == Group::enter && visit_children(reader, group, visit) == Walk::stop) {
            return;
        }
    }
}

std::optional<std::string> PolicyDocument::first_root_attribute(std::string_view name) const
{
    PolicyTreeReader reader(tree_->get());
    const PolicyNode& root = reader.read_head(xmlDocGetRootElement(tree_->get()));
    const NodeText value = root.first_attribute(name);
    return value ? std::optional<std::string>(*value) : std::nullopt;
}

} // namespace tresk
