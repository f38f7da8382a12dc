// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/xml_error.h"

#include "common/policy_parser.h"

#include <libxml/xmlerror.h>

namespace tresk {

bool xml_error_is_left()
{
    start_parser();
    const xmlError* error = xmlGetLastError();
    return error != nullptr && error->code != XML_ERR_OK;
}

} // namespace tresk
