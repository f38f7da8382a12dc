// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/memory_watch.h"

namespace tresk::test {

bool memory_is_watched()
{
    return false;
}

Blocks allocated_blocks()
{
    return {};
}

void begin_refusing(long /*nth*/, bool /*stays*/, Requests /*whose*/, Refusals& refusals)
{
    refusals = {};
}

bool end_refusing()
{
    return false;
}

} // namespace tresk::test
