// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_scene_c: device policies by type, by product and vendor id, and by wireless network. A record is
// kept as a line of all its fields, its text last, so that the text may hold blanks:
//
//   devctl_type       CLASS SUBTYPE PERM
//   devctl_pvid       USB-TYPE PRODUCT VENDOR PERM SERIAL     (the ids hexadecimal)
//   devctl_netcard    PERM NAME
//
// Records that differ in the permission alone are two. The bytes that a record does not use are not kept.
#include "common/edge.h"
#include "common/framework.h"
#include "common/handles.h"
#include "standin/framework/c_array.h"
#include "standin/framework/scene_store.h"

#include <sanitizer/lsan_interface.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// There only where a sanitizer is.
#pragma weak __lsan_ignore_object

namespace {

using tresk::Malloced;

constexpr int FAILED = -1;
constexpr int PRESENT_ALREADY = -100;
constexpr int NOT_PRESENT = -3;

template <class Record>
constexpr const char* POLICY = nullptr;
template <>
constexpr const char* POLICY<type_record> = "devctl_type";
template <>
constexpr const char* POLICY<pvid_record> = "devctl_pvid";
template <>
constexpr const char* POLICY<netcard_record> = "devctl_netcard";

// --- a record and its line: walk() tells a writer or a reader the fields in the line's order ---

template <class Line>
void walk(Line& line, type_record& record)
{
    line.decimal(record.device_class);
    line.decimal(record.subtype);
    line.decimal(record.perm);
}

template <class Line>
void walk(Line& line, pvid_record& record)
{
    line.decimal(record.usb_type);
    line.hexadecimal(record.product_id);
    line.hexadecimal(record.vendor_id);
    line.decimal(record.perm);
    line.text(record.serial);
}

template <class Line>
void walk(Line& line, netcard_record& record)
{
    line.decimal(record.perm);
    line.text(record.name);
}

class LineWriter {
  public:
    void decimal(std::uint32_t number) { append(std::to_string(number)); }

    void hexadecimal(std::uint32_t number)
    {
        std::array<char, 2 * sizeof number + 1> digits{};
        std::snprintf(digits.data(), digits.size(), "%04x", number);
        append(digits.data());
    }

    /// The field up to its NUL, or all of it where there is none.
    void text(std::span<const char> field) { append({field.data(), ::strnlen(field.data(), field.size())}); }

    [[nodiscard]] const std::string& line() const { return line_; }

  private:
    void append(std::string_view field)
    {
        line_ += line_.empty() ? "" : " ";
        line_ += field;
    }

    std::string line_;
};

class LineReader {
  public:
    explicit LineReader(std::string_view line) : rest_(line) {}

    void decimal(std::uint32_t& number) { read_number(number, 10); }

    void hexadecimal(std::uint32_t& number) { read_number(number, 16); }

    /// All that is left of the line, into a field of zeros.
    void text(std::span<char> field)
    {
        readable_ = readable_ && rest_.size() <= field.size();
        std::ranges::copy(rest_.substr(0, field.size()), field.begin());
        rest_ = {};
    }

    /// Whether the line held these fields and no more.
    [[nodiscard]] bool succeeded() const { return readable_ && rest_.empty(); }

  private:
    void read_number(std::uint32_t& number, int base)
    {
        const char* const line_end = rest_.data() + rest_.size();
        const auto [end, failure] = std::from_chars(rest_.data(), line_end, number, base);
        readable_ = readable_ && failure == std::errc{} && (end == line_end || *end == ' ');
        rest_ = end == line_end ? std::string_view{} : std::string_view{end + 1, line_end};
    }

    std::string_view rest_;
    bool readable_ = true;
};

template <class Record>
std::string line_of(Record record)
{
    LineWriter writer;
    walk(writer, record);
    return writer.line();
}

template <class Record>
bool read_line(std::string_view line, Record& record)
{
    LineReader reader{line};
    walk(reader, record);
    return reader.succeeded();
}

// --- changes ---

struct Change {
    int (*store)(const char* function, const char* policy, tresk_standin_scene_batch batch);
    /// The answer when not one of the records changes anything.
    int unchanged;
};

constexpr Change ADDITION{tresk_standin_scene_add_all, PRESENT_ALREADY};
constexpr Change REMOVAL{tresk_standin_scene_remove_all, NOT_PRESENT};

/// What the store refuses of texts (a null array, a negative count) it refuses of records.
template <class Record>
int change_records(const Change& change, const char* function, const Record* records, int count) noexcept
{
    return tresk::at_edge(FAILED, [&] {
        const auto readable = records == nullptr ? 0 : static_cast<std::size_t>(std::max(count, 0));
        std::vector<std::string> lines;
        std::ranges::transform(std::span{records, readable}, std::back_inserter(lines), line_of<Record>);
        std::vector<const char*> texts;
        std::ranges::transform(lines, std::back_inserter(texts), &std::string::c_str);
        return change.store(function, POLICY<Record>,
                            {records == nullptr ? nullptr : texts.data(), count, change.unchanged});
    });
}

// --- listings ---

using TextArray = tresk::Handle<char*, tresk::standin::free_c_array>;

/// The records of @lines; null when memory ran out or a line is none of a record.
template <class Record>
Malloced<Record> records_of(std::span<char* const> lines)
{
    // One more than asked for: an array of no records is no null pointer.
    Malloced<Record> records{static_cast<Record*>(std::calloc(lines.size() + 1, sizeof(Record)))};
    if (!records) {
        return nullptr;
    }
    Record* record = records.get();
    const bool readable =
        std::ranges::all_of(lines, [&](const char* line) { return read_line(line, *record++); });
    if (!readable) {
        records.reset();
    }
    return records;
}

/// All records of the policy. On failure null, and *@count is negative or a fault's code.
template <class Record>
Record* list_records(const char* function, int* count) noexcept
{
    return tresk::at_edge<Record*>(nullptr, [&]() -> Record* {
        if (count == nullptr) {
            return nullptr;
        }
        *count = FAILED;
        const TextArray lines{tresk_standin_scene_list(function, POLICY<Record>, count)};
        if (!lines) {
            return nullptr;
        }
        auto records = records_of<Record>({lines.get(), static_cast<std::size_t>(*count)});
        *count = records ? *count : FAILED;
        return records.release();
    });
}

} // namespace

TRESK_EXPORT int tresk_scene_add_devctl_by_type(type_record* records, int count)
{
    return change_records(ADDITION, __func__, records, count);
}

TRESK_EXPORT int tresk_scene_remove_devctl_by_type(type_record* records, int count)
{
    return change_records(REMOVAL, __func__, records, count);
}

TRESK_EXPORT int tresk_scene_add_devctl_by_pvid(pvid_record* records, int count)
{
    return change_records(ADDITION, __func__, records, count);
}

TRESK_EXPORT int tresk_scene_remove_devctl_by_pvid(pvid_record* records, int count)
{
    return change_records(REMOVAL, __func__, records, count);
}

TRESK_EXPORT int tresk_scene_add_devctl_by_netcard_name(netcard_record* records, int count)
{
    return change_records(ADDITION, __func__, records, count);
}

TRESK_EXPORT int tresk_scene_remove_devctl_by_netcard_name(netcard_record* records, int count)
{
    return change_records(REMOVAL, __func__, records, count);
}

TRESK_EXPORT type_record* tresk_scene_get_devctl_all_types(int* count)
{
    return list_records<type_record>(__func__, count);
}

TRESK_EXPORT pvid_record* tresk_scene_get_devctl_all_pvid(int* count)
{
    return list_records<pvid_record>(__func__, count);
}

/// The library leaves this array alone, so a leak sanitizer in the process has to be told that it may.
TRESK_EXPORT netcard_record* tresk_scene_get_devctl_netcard(int* count)
{
    auto* const records = list_records<netcard_record>(__func__, count);
    if (__lsan_ignore_object != nullptr && records != nullptr) {
        __lsan_ignore_object(records);
    }
    return records;
}
