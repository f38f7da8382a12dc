// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/kind.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace tresk::ctl {

namespace {

struct ShownText {
    std::string operator()(std::monostate /*unknown*/) const { return ""; }

    std::string operator()(bool yes) const { return yes ? "yes" : "no"; }

    std::string operator()(std::int64_t number) const { return std::to_string(number); }

    std::string operator()(const std::string& text) const { return text; }
};

} // namespace

std::string text_of(const Place& place)
{
    std::string text = place.file;
    if (place.line != 0) {
        text += ":" + std::to_string(place.line);
    }
    if (place.column != 0) {
        text += ":" + std::to_string(place.column);
    }
    return text;
}

std::string id_text(std::uint32_t id)
{
    char text[16];
    (void)std::snprintf(text, sizeof text, "%04x", id);
    return text;
}

std::uint32_t id_in(const std::string& text)
{
    return static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 16));
}

const Kind* find_kind(std::string_view name)
{
    const auto found = std::ranges::find(kinds(), name, [](const Kind* kind) { return kind->name; });
    return found == kinds().end() ? nullptr : *found;
}

std::size_t index_of(const Kind& kind, std::string_view field)
{
    const auto found = std::ranges::find(kind.fields, field, &Field::name);
    if (found == kind.fields.end()) {
        throw std::logic_error(std::string(kind.name) + " has no field " + std::string(field));
    }
    return static_cast<std::size_t>(found - kind.fields.begin());
}

const std::string& text_at(const Kind& kind, const Entry& entry, std::string_view field)
{
    static const std::string none;
    const auto* const text = std::get_if<std::string>(&entry.values[index_of(kind, field)]);
    return text == nullptr ? none : *text;
}

std::int64_t number_at(const Kind& kind, const Entry& entry, std::string_view field)
{
    const auto* const number = std::get_if<std::int64_t>(&entry.values[index_of(kind, field)]);
    return number == nullptr ? 0 : *number;
}

Row key_of(const Kind& kind, const Entry& entry)
{
    Row key;
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        if (kind.fields[field].role == Role::Key) {
            key.push_back(entry.values[field]);
        }
    }
    return key;
}

bool same_settings(const Kind& kind, const Entry& a, const Entry& b)
{
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        if (kind.fields[field].role == Role::Setting && a.values[field] != b.values[field]) {
            return false;
        }
    }
    return true;
}

std::size_t RowHash::operator()(const Row& row) const
{
    constexpr std::size_t factor = 31;
    std::size_t hash = row.size();
    for (const Value& value : row) {
        hash = hash * factor + std::hash<Value>()(value);
    }
    return hash;
}

EntryIndex::EntryIndex(const Kind& kind, std::span<const Entry> entries) : kind_(kind)
{
    by_key_.reserve(entries.size());
    for (const Entry& entry : entries) {
        by_key_.try_emplace(key_of(kind, entry), &entry);
    }
}

const Entry* EntryIndex::find(const Entry& wanted) const
{
    const auto found = by_key_.find(key_of(kind_, wanted));
    return found == by_key_.end() ? nullptr : found->second;
}

std::string shown(const Value& value)
{
    return std::visit(ShownText{}, value);
}

/// A key that has the value it has anyway says nothing.
std::string name_of(const Kind& kind, const Entry& entry)
{
    std::string name;
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        const bool plain = one.option != nullptr && one.standard == entry.values[field];
        if (one.role == Role::Key && !plain) {
            const std::string text = shown(entry.values[field]);
            name += (name.empty() ? "" : " ") +
                    (one.option == nullptr ? text : std::string(one.name) + "=" + text);
        }
    }
    return name;
}

} // namespace tresk::ctl
