// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Options and limits that several objects share.
#ifndef TRESK_TRESKCTL_SHARED_OPTIONS_H
#define TRESK_TRESKCTL_SHARED_OPTIONS_H

#include <CLI/App.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tresk::ctl {

/// What the library sends of a text, in bytes. It cuts longer ones without a word, and a shortened path names
/// another file, so they are refused here.
inline constexpr std::size_t kLongestText = 4095;
inline constexpr std::size_t kLongestDisplayName = 254;

/// Refuses arguments of more bytes.
CLI::Validator at_most(std::size_t length_bytes);

/// Adds the argument @name, which is one of @words and required; @word lives as long as @command.
CLI::Option* add_choice(CLI::App& command, const std::string& name, std::string& word,
                        const std::vector<std::string>& words, const std::string& help);

/// Who asked for an entry.
struct Source {
    /// The library's own default.
    int type = 1;
    std::string name;
    /// Whether one of both was given.
    bool given = false;
};

/// Adds "--source-type" and "--source"; @source lives as long as @command. Returns the former.
CLI::Option* add_source_options(CLI::App& command, Source& source);

/// The user of that name or number; throws WrongUsage where there is none.
std::uint32_t user_id(const std::string& word);

/// Adds "--uid", a user's name or number; @uid, which lives as long as @command, becomes the caller's first.
CLI::Option* add_uid_option(CLI::App& command, std::uint32_t& uid);

} // namespace tresk::ctl

#endif
