// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What could stand where a command line is still being typed: commands and options of the parser's table,
// words of closed sets, and the values of the entries that the machine has.
#ifndef TRESK_TRESKCTL_REFERENCE_PROPOSALS_H
#define TRESK_TRESKCTL_REFERENCE_PROPOSALS_H

#include <CLI/App.hpp>

#include <string>
#include <vector>

namespace tresk::ctl {

struct Proposal {
    /// All of the word, also what was typed of it.
    std::string word;
    std::string about;
};

struct Proposals {
    std::vector<Proposal> words;
    /// Whether the shell is to propose names of its file system beside.
    bool files = false;
    bool directories = false;
};

/// @words: behind "treskctl"; the last one is being typed, and may be empty. Reads policy files, and asks
/// nobody.
Proposals propose(const CLI::App& root, const std::vector<std::string>& words);

} // namespace tresk::ctl

#endif
