// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/policy_parser.h"

#include <libxml/xmlerror.h>

#include <cerrno>
#include <new>

namespace tresk {

namespace {

/// Recovery also "recovers" a document for whose rest there was no memory, and such a document hides entries.
/// The parser does not always say so (a name that found no memory is a missing name to it); errno does.
bool ran_out_of_memory(const xmlParserCtxt* parser)
{
    const xmlError* last = xmlGetLastError();
    return errno == ENOMEM || parser->errNo == XML_ERR_NO_MEMORY ||
           (last != nullptr && last->code == XML_ERR_NO_MEMORY);
}

} // namespace

void start_parser()
{
    static const bool started = (xmlInitParser(), true);
    static_cast<void>(started);
}

XmlParser new_parser()
{
    XmlParser parser(xmlNewParserCtxt());
    if (!parser) {
        throw std::bad_alloc();
    }
    return parser;
}

XmlDocument recover(xmlParserCtxt* parser, const char* file)
{
    errno = 0;
    XmlDocument document(xmlCtxtReadFile(parser, file, "UTF-8", XML_PARSE_RECOVER));
    if (ran_out_of_memory(parser)) {
        throw std::bad_alloc();
    }
    return document;
}

} // namespace tresk
