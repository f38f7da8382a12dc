// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Owners for libxml2's resources.
#ifndef TRESK_COMMON_XML_HANDLES_H
#define TRESK_COMMON_XML_HANDLES_H

#include "common/handles.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlmemory.h>

namespace tresk {

using XmlDocument = Handle<xmlDoc, ::xmlFreeDoc>;
using XmlParser = Handle<xmlParserCtxt, ::xmlFreeParserCtxt>;

/// xmlFree is a variable, not a function.
struct FreeXmlText {
    void operator()(xmlChar* text) const noexcept { xmlFree(text); }
};

using XmlText = std::unique_ptr<xmlChar, FreeXmlText>;

inline const char* from_xml(const xmlChar* text) noexcept
{
    return reinterpret_cast<const char*>(text);
}

inline const xmlChar* to_xml(const char* text) noexcept
{
    return reinterpret_cast<const xmlChar*>(text);
}

} // namespace tresk

#endif
