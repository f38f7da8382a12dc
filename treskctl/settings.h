// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the options of treskctl itself say, which stand anywhere in the line and mean the same to every
// command.
#ifndef TRESK_TRESKCTL_SETTINGS_H
#define TRESK_TRESKCTL_SETTINGS_H

#include <CLI/App.hpp>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tresk::ctl {

/// How results are written.
enum class Form { People, JsonPretty, JsonShort };

struct Settings {
    Form form = Form::People;
    /// Whether tables have a header, and changes a last line that says whether there was one.
    bool legend = true;
    /// The columns to show, in this order; all where empty.
    std::vector<std::string> columns;
    /// The one field whose bare values are to be written; none where empty.
    std::string bare_field;
    /// Texts that are read from files, and bare values that are written, end in NUL instead of a line feed.
    bool null_separated = false;
    bool colour = false;
    /// Tell the calls of a change and make none.
    bool dry_run = false;
    /// A change that finds things as they are wanted is a failure.
    bool strict = false;
    /// Do not ask before many entries are deleted.
    bool assume_yes = false;
    std::optional<std::chrono::milliseconds> timeout;
    /// In front of the policy files' names, for what only reads; empty for this machine's own.
    std::string root;

    [[nodiscard]] bool json() const { return form != Form::People; }
};

/// Adds the options; @settings lives as long as @app.
void add_settings(CLI::App& app, Settings& settings);

} // namespace tresk::ctl

#endif
