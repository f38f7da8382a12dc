// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The source of node values that reads ordinary documents: libxml2's parser tells what it finds, and no tree
// is built. A fraction of the tree's time, and memory for one node at a time.
#ifndef TRESK_COMMON_POLICY_EVENTS_H
#define TRESK_COMMON_POLICY_EVENTS_H

#include "common/policy_walk.h"

namespace tresk {

/// Walks @file in @reader's hands while it is parsed; a root of another name than @root is wrong. The whole
/// file is parsed, also behind the end of the walk, since any of it may be unusual:
///  - anything that libxml2 has to say, be it a warning,
///  - a document type, an entity of its own, a CDATA section, a namespace, a declared encoding other than
///    UTF-8,
///  - sizes that are no policy's: a node with more than 64 KiB of text or 1000 parts, a text of a megabyte,
///    200 elements within each other, 8 MiB of short texts (where a tree might run into the parser's bounds).
/// libxml2 must have no error to report before; after an unusual document that is so again.
Walked walk_events(const char* file, const char* root, const PolicyWalk& reader);

} // namespace tresk

#endif
