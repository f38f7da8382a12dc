// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The part of "device" about the devices that were seen. What the numbers and texts of a record mean is the
// framework service's affair; they are shown and sent in the record's order.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/json_lines.h"
#include "treskctl/policy/device_database.h"
#include "treskctl/policy/kind.h"
#include "treskctl/policy/object_commands.h"
#include "treskctl/simple_change.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <utility>

namespace tresk::ctl {

namespace {

template <std::size_t size>
std::string text_of(const char (&field)[size])
{
    return {field, ::strnlen(field, size)};
}

Row row_of(const tresk_device_record& record)
{
    return {record.first,           record.second,          id_text(record.third), id_text(record.fourth),
            text_of(record.text_1), text_of(record.text_2), text_of(record.time),  text_of(record.text_3)};
}

/// The library tells a database that it cannot read from an empty one in its log alone, and makes one where
/// there is none: then no device was seen.
void show_history(Run& run)
{
    Table& table =
        run.table("devices", {"first", "second", "id_1", "id_2", "text_1", "text_2", "time", "text_3"});
    if (::access(kDeviceDatabase, F_OK) != 0 && errno == ENOENT) {
        return;
    }
    if (auto failure = judge_device_database(kDeviceDatabase).failure) {
        run.fail(std::move(*failure));
        return;
    }
    int count = 0;
    const Malloced<tresk_device_record> records(run.ask([&] { return device_record_get(&count); }));
    for (const tresk_device_record& record :
         std::span(records.get(), records ? static_cast<std::size_t>(count) : 0)) {
        table.rows.push_back(row_of(record));
    }
}

std::int32_t number(const JsonLine& line, const char* name)
{
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(line.integer(name, Limits::min(), Limits::max()));
}

tresk_device_record record_of(const JsonLine& line)
{
    line.allow({"first", "second", "id_1", "id_2", "text_1", "text_2", "time", "text_3"});
    tresk_device_record record{};
    record.first = number(line, "first");
    record.second = number(line, "second");
    record.third = line.id("id_1");
    record.fourth = line.id("id_2");
    line.text("text_1", record.text_1);
    line.text("text_2", record.text_2);
    line.text("time", record.time);
    line.text("text_3", record.text_3);
    return record;
}

void add_history(Run& run, const std::string& file)
{
    SimpleChanges results(run, {"result", "devices"});
    const auto lines = read_json_lines(run, file);
    if (!lines) {
        return;
    }
    std::vector<tresk_device_record> records;
    std::ranges::transform(*lines, std::back_inserter(records), record_of);
    const int count = static_cast<int>(records.size());
    results.make({"recorded", count},
                 {"tresk_devctl_xdg_insert_record({" + std::to_string(count) + " records}, " +
                      std::to_string(count) + ")",
                  [&] { return count == 0 ? 0 : tresk_devctl_xdg_insert_record(records.data(), count); }});
}

} // namespace

void add_device_history(CLI::App& device, Run& run)
{
    add_command(device, run, "history", "Show the devices that were seen in the last 60 days",
                [&run] { show_history(run); });
    const auto file = std::make_shared<std::string>();
    add_lines_option(*add_command(device, run, "history-add", "Have the service record devices",
                                  [&run, file] { add_history(run, *file); }),
                     *file);
}

} // namespace tresk::ctl
