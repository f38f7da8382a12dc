// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The one way to start libxml2's parser on a policy file, whatever is made of what it finds.
#ifndef TRESK_COMMON_POLICY_PARSER_H
#define TRESK_COMMON_POLICY_PARSER_H

#include "common/xml_handles.h"

namespace tresk {

/// Before every first use: the parser's library makes its shared state at its first call, and two threads
/// whose first calls meet would each make one.
void start_parser();

/// A new parser, which builds a tree unless its handlers are replaced.
XmlParser new_parser();

/// Parses @file in recovery mode; null where not even that gives a tree. Throws where memory ran out.
XmlDocument recover(xmlParserCtxt* parser, const char* file);

} // namespace tresk

#endif
