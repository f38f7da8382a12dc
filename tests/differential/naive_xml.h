// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the naive readers have in common: opening a policy, attributes, the texts of children, fields.
#ifndef TRESK_TESTS_DIFFERENTIAL_NAIVE_XML_H
#define TRESK_TESTS_DIFFERENTIAL_NAIVE_XML_H

#include "tests/differential/naive.h"

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace tresk::test {

/// A policy file and how it is spoken of.
struct PolicyKind {
    const char* root;
    std::string created;        ///< the file that a failed reading creates; empty for none
    std::string content;        ///< and what it holds then
    const char* said = nullptr; ///< the root's name in the log line's end; null for the constant text
    bool logs = true;
};

/// An open document, null when it could not be read.
class NaiveDocument {
  public:
    NaiveDocument(Naive& naive, const std::string& file, const PolicyKind& kind, const char* function);

    ~NaiveDocument() { xmlFreeDoc(document_); }

    NaiveDocument(const NaiveDocument&) = delete;
    NaiveDocument& operator=(const NaiveDocument&) = delete;
    NaiveDocument(NaiveDocument&&) = delete;
    NaiveDocument& operator=(NaiveDocument&&) = delete;

    [[nodiscard]] xmlNode* root() const { return root_; }

  private:
    xmlDoc* document_ = nullptr;
    xmlNode* root_ = nullptr;
};

bool is_element(const xmlNode* node, const char* name);
/// A child of a node that carries one of the policy's own names.
bool is_child(const Naive& naive, const xmlNode* child, const char* name);
Text attribute(const xmlNode* node, const char* name);
bool is_first_attribute(const Naive& naive, const xmlNode* node, const char* name);
/// All text below an element.
std::string text_of(const Naive& naive, xmlNode* element);
/// The text of the node's last child element of this name.
Text child_text(const Naive& naive, xmlNode* node, const char* name);
std::int32_t number(const Naive& naive, const std::string& text);

/// Copies at most @limit bytes.
template <std::size_t size>
void copy_text(char (&field)[size], const std::string& text, std::size_t limit)
{
    std::memset(field, 0, size);
    std::memcpy(field, text.data(), text.size() < limit ? text.size() : limit);
}

/// Whether a path or package fits its field.
bool fits(const Naive& naive, const std::string& identity);

} // namespace tresk::test

#endif
