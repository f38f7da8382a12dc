// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_COMMON_SOURCE_TYPE_H
#define TRESK_COMMON_SOURCE_TYPE_H

#include <array>
#include <cstdio>

namespace tresk {

/// The type of a data source as the policies write it: a decimal number of at most seven characters. A longer
/// one is cut, so 12345678 finds what 1234567 finds.
using SourceTypeText = std::array<char, 8>;

inline SourceTypeText source_type_text(int type) noexcept
{
    SourceTypeText text{};
    (void)std::snprintf(text.data(), text.size(), "%d", type);
    return text;
}

} // namespace tresk

#endif
