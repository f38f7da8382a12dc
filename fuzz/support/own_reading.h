// SPDX-License-Identifier: LGPL-2.1-or-later
//
// treskctl's own reading of a policy, held against the library's: as texts, since their records differ.
#ifndef TRESK_FUZZ_SUPPORT_OWN_READING_H
#define TRESK_FUZZ_SUPPORT_OWN_READING_H

#include "fuzz/support/policy_place.h"
#include "treskctl/policy/kind.h"

#include <string>
#include <vector>

namespace tresk::fuzz {

/// The texts of the entries that @choose takes, in their order.
template <class Describe, class Choose>
std::vector<std::string> told(const ctl::Reading& reading, Describe describe, Choose choose)
{
    std::vector<std::string> texts;
    for (const ctl::Entry& entry : reading.entries) {
        if (choose(entry)) {
            texts.push_back(describe(entry));
        }
    }
    return texts;
}

/// The texts of a library's records.
template <class Record, class Describe>
std::vector<std::string> told(const Listing<Record>& listing, Describe describe)
{
    std::vector<std::string> texts;
    for (const Record& record : listing.records) {
        texts.push_back(describe(record));
    }
    return texts;
}

/// The parts with a sign between them that no text of a document can hold.
inline std::string joined(std::initializer_list<std::string> parts)
{
    std::string text;
    for (const std::string& part : parts) {
        text += part + '\1';
    }
    return text;
}

/// What is missing reads as "unknown" in records, and as an empty text to treskctl.
inline std::string optional_text(const std::string& text)
{
    return text == "unknown" ? "" : text;
}

} // namespace tresk::fuzz

#endif
