// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Lists of records from outside: one JSON object a line, as "jq -c" writes the rows of treskctl's own
// documents. A mistake in any line is wrong usage, found before anything is done.
#ifndef TRESK_TRESKCTL_JSON_LINES_H
#define TRESK_TRESKCTL_JSON_LINES_H

#include "treskctl/run.h"

#include <CLI/Option.hpp>
#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tresk::ctl {

/// One line's object. What throws, throws WrongUsage with the line's number.
class JsonLine {
  public:
    JsonLine(std::size_t number, std::string_view text);

    /// Throws unless every field has one of these names.
    void allow(std::initializer_list<std::string_view> names) const;

    /// A field that is null counts as absent.
    [[nodiscard]] bool has(const std::string& name) const;

    /// A whole number from @least to @most; throws when it is absent or something else.
    [[nodiscard]] std::int64_t integer(const std::string& name, std::int64_t least, std::int64_t most) const;

    /// A device's id, as a number or as hexadecimal text.
    [[nodiscard]] std::uint32_t id(const std::string& name) const;

    /// Copies a text to @room, which is zero-filled, and leaves a byte of it zero.
    void text(const std::string& name, std::span<char> room) const;

    [[noreturn]] void refuse(const std::string& message) const;

  private:
    [[nodiscard]] const nlohmann::json& field(const std::string& name) const;

    std::size_t number_;
    nlohmann::json object_;
};

/// Hexadecimal digits, with or without "0x"; nothing when the text is something else or does not fit.
std::optional<std::uint32_t> id_of(const std::string& text);

/// Adds "--from-file", which is required; @file lives as long as @command.
CLI::Option* add_lines_option(CLI::App& command, std::string& file);

/// The objects of @file; nothing, and a failure, when it cannot be read.
/// Lines of blanks are skipped.
std::optional<std::vector<JsonLine>> read_json_lines(Run& run, const std::string& file);

} // namespace tresk::ctl

#endif
