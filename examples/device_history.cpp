// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Lists the devices that were seen in the last 60 days, newest first. C++: the array has an owner, and the
// loop a range.
#include <tresk_extend.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

struct Free {
    void operator()(void *memory) const { std::free(memory); }
};

} // namespace

int main()
{
    int count = 0;
    const std::unique_ptr<tresk_device_record[], Free> records(device_record_get(&count));
    if (!records) {
        // The library gives the same answer when the database cannot be read: its log tells.
        std::puts("no device was seen");
        return 0;
    }
    for (const auto *record = records.get(); record != records.get() + count; ++record) {
        std::printf("%s  %04x:%04x  %s (%s)\n", record->time, record->third, record->fourth, record->text_1,
                    record->text_2);
    }
    return 0;
}
