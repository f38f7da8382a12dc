// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One XML policy file: load, change the tree, save whole. What the service does not know in a file (comments,
// other elements, other attributes) is kept. Documents are written without indentation, in UTF-8.
#ifndef TRESK_STANDIN_SERVICE_POLICY_FILE_H
#define TRESK_STANDIN_SERVICE_POLICY_FILE_H

#include <libxml/tree.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tresk::service {

struct FreeDocument {
    void operator()(xmlDoc* document) const noexcept { xmlFreeDoc(document); }
};

/// Texts under the names of attributes or of elements, in the order of the document.
using NamedTexts = std::vector<std::pair<const char*, std::string>>;

class PolicyFile {
  public:
    /// Loads the file; one that is missing or empty is a root element alone. A file that is not whole, or
    /// whose root has another name, is refused, so that no change ever replaces it.
    PolicyFile(std::filesystem::path file, const char* root_name);

    [[nodiscard]] xmlNode* root() const noexcept;

    /// Replaces the file atomically.
    void save() const;

  private:
    std::filesystem::path file_;
    std::unique_ptr<xmlDoc, FreeDocument> document_;
};

/// The child elements of that name, in document order.
std::vector<xmlNode*> child_elements(const xmlNode* parent, const char* name);

/// The attribute's text, or nothing when the element has no such attribute.
std::optional<std::string> attribute_of(const xmlNode* element, const char* name);

/// Whether the element's first attribute has that name. Readers of a policy see no other elements.
bool begins_with_attribute(const xmlNode* element, const char* name);

/// Adds an element after the parent's last child, with the attributes in the order given.
xmlNode* add_element(xmlNode* parent, const char* name, const NamedTexts& attributes);

/// Adds an element that holds only text; for an empty text an element without content.
void add_text_element(xmlNode* parent, const char* name, const std::string& text);

/// Gives every child element of that name the text; adds one when there is none.
void set_text_element(xmlNode* parent, const char* name, const std::string& text);

/// set_text_element() of each text.
void set_text_elements(xmlNode* parent, const NamedTexts& texts);

/// Gives the attribute the text and the first place among the element's attributes.
void set_first_attribute(xmlNode* element, const char* name, const std::string& text);

/// Takes the element out of its document and destroys it.
void remove_element(xmlNode* element);

} // namespace tresk::service

#endif
