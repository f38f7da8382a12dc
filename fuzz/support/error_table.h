// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What an error of the service means, said a second time.
#ifndef TRESK_FUZZ_SUPPORT_ERROR_TABLE_H
#define TRESK_FUZZ_SUPPORT_ERROR_TABLE_H

#include <string_view>

namespace tresk::fuzz {

/// True where the error's message is a subject and a text.
bool has_subject(std::string_view name);

int code_of_error(std::string_view name);

/// True when the error says something of its own.
bool says_something(std::string_view message);

} // namespace tresk::fuzz

#endif
