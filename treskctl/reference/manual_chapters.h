// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the manual says beside the commands. Between backquotes stands what is typed or printed as it is.
#ifndef TRESK_TRESKCTL_REFERENCE_MANUAL_CHAPTERS_H
#define TRESK_TRESKCTL_REFERENCE_MANUAL_CHAPTERS_H

#include <span>
#include <string_view>

namespace tresk::ctl {

struct Paragraph {
    /// What the paragraph explains; empty for one that stands by itself.
    std::string_view term;
    std::string_view text;
};

struct Chapter {
    std::string_view title;
    std::span<const Paragraph> paragraphs;
};

/// In front of the commands.
const Chapter& description();

/// Behind them.
std::span<const Chapter> chapters();

/// In front of what entries of each kind consist of.
const Chapter& document_chapter();

/// Files beside those of the policies.
std::span<const Paragraph> other_files();

std::span<const Paragraph> environment();

} // namespace tresk::ctl

#endif
