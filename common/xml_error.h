// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_COMMON_XML_ERROR_H
#define TRESK_COMMON_XML_ERROR_H

namespace tresk {

/// True when libxml2 has an error to report on this thread, from whatever work.
bool xml_error_is_left();

} // namespace tresk

#endif
