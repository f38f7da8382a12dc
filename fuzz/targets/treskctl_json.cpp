// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is a document in JSON, as "apply" reads it.
#include "fuzz/support/document_check.h"
#include "fuzz/support/target.h"

namespace tresk::fuzz {

void set_up() {}

void run(std::string_view input)
{
    check_document(std::string(input), "input.json");
}

} // namespace tresk::fuzz
