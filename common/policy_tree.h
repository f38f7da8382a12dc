// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The source of node values that reads every document: libxml2's document tree.
//
// Turns nodes of the tree into plain values. Texts are views into the tree where they stand
// there in one piece, else copies that the reader owns.
//
// A hostile document can define entities that expand without end, so a text with entities is measured before
// libxml2 is asked for it; all entities together may expand to as much as the parser allows one text.
#ifndef TRESK_COMMON_POLICY_TREE_H
#define TRESK_COMMON_POLICY_TREE_H

#include "common/policy_node.h"
#include "common/policy_walk.h"
#include "common/xml_handles.h"

#include <cstddef>
#include <vector>

namespace tresk {

class PolicyTreeReader {
  public:
    /// @document must outlive the reader.
    explicit PolicyTreeReader(xmlDoc* document) noexcept : document_(document) {}

    /// The values of @node, valid until the next call.
    const PolicyNode& read(xmlNode* node);

    /// The same without the node's children.
    const PolicyNode& read_head(xmlNode* node);

  private:
    void read_attributes(xmlNode* element);
    void read_declared_attributes(xmlNode* element);
    void read_children(const xmlNode* element);
    NodeText attribute_value(const xmlAttr* attribute);
    NodeText element_text(const xmlNode* element);
    NodeText keep(XmlText text);
    bool affordable(const xmlNode* first);
    bool spend_on(const xmlNode* siblings, std::size_t depth);

    xmlDoc* document_;
    PolicyNode node_;
    std::vector<XmlText> owned_;
    std::size_t expansion_left_ = 10'000'000; ///< bytes and entity references still allowed
};

/// Walks the tree of @file in @reader's hands; a root of another name than @root is wrong. Any document will
/// do, and libxml2's last-error state is left as the parser left it.
Walked walk_tree(const char* file, const char* root, const PolicyWalk& reader);

} // namespace tresk

#endif
