// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The part of "device" about the devices that were seen. What the numbers and texts of a record mean is the
// framework service's affair; they are shown and sent in the record's order.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/device.h"
#include "treskctl/json_lines.h"
#include "treskctl/service_answer.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>

namespace tresk::ctl {

namespace {

constexpr const char* kDatabase = "/etc/tresk/db/whlist.db";

template <std::size_t size>
std::string text_of(const char (&field)[size])
{
    return {field, ::strnlen(field, size)};
}

Row row_of(const tresk_device_record& record)
{
    return {record.first,           record.second,          DeviceId{record.third}, DeviceId{record.fourth},
            text_of(record.text_1), text_of(record.text_2), text_of(record.time),   text_of(record.text_3)};
}

/// The library would make an empty database where there is none.
void show_history(Run& run)
{
    Table& table =
        run.table("devices", {"first", "second", "id_1", "id_2", "text_1", "text_2", "time", "text_3"});
    if (::access(kDatabase, R_OK) != 0) {
        run.fail({Cause::Policy, std::string("cannot be read: ") + std::strerror(errno), {}, kDatabase});
        return;
    }
    const auto records = device_records(run, device_record_get);
    for (const tresk_device_record& record : records.all()) {
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
    Table& results = run.table("results", {"result", "devices"});
    const auto lines = read_json_lines(run, file);
    if (!lines) {
        return;
    }
    std::vector<tresk_device_record> records;
    std::ranges::transform(*lines, std::back_inserter(records), record_of);
    const int count = static_cast<int>(records.size());
    const int answer =
        count == 0 ? 0 : run.ask([&] { return tresk_devctl_xdg_insert_record(records.data(), count); });
    if (answer == -1) {
        run.fail(failure_without_reason(run));
    } else if (auto failure = failure_of_change(answer)) {
        run.fail(std::move(*failure));
    } else {
        results.rows.push_back({"recorded", count});
    }
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
