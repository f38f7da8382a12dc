// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A scene library that holds some device policies and networks, for tests in which memory runs out: it gives
// copies, and says so where it has no memory for one.
#ifndef TRESK_TESTS_SUPPORT_HELD_DEVICES_H
#define TRESK_TESTS_SUPPORT_HELD_DEVICES_H

#include "tests/support/framework_double.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>

namespace tresk::test {

inline type_record held_types[] = {{2, 1, 5}, {3, 13, 1}, {1, 1, 2}};
inline pvid_record held_products[] = {{7, 3, 4, "", 2, ""}, {8, 5, 6, "", 1, ""}};
inline netcard_record held_networks[] = {{"home", 1}, {"office", 1}};

/// Whether the scene library gave its products when it was last asked: a listing of all lacks them else.
inline bool products_given = false;

/// A copy of @records for the library to free; a count of -1 where there is no memory for it.
template <class Record, std::size_t N>
Record* given(const Record (&records)[N], int* count)
{
    auto* copy = static_cast<Record*>(std::malloc(sizeof(records)));
    *count = copy == nullptr ? -1 : static_cast<int>(N);
    if (copy != nullptr) {
        std::copy(std::begin(records), std::end(records), copy);
    }
    return copy;
}

/// Has the framework's double answer with them.
inline void hold_policies()
{
    framework().device_types = [](int* count) { return given(held_types, count); };
    framework().device_pvids = [](int* count) {
        pvid_record* records = given(held_products, count);
        products_given = records != nullptr;
        return records;
    };
    framework().wireless_networks = [](int* count) {
        *count = static_cast<int>(std::size(held_networks));
        return held_networks;
    };
}

} // namespace tresk::test

#endif
