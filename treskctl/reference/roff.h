// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A manual page in the formatter's language.
#ifndef TRESK_TRESKCTL_REFERENCE_ROFF_H
#define TRESK_TRESKCTL_REFERENCE_ROFF_H

#include <string>
#include <string_view>

namespace tresk::ctl {

/// @text as it stands, whatever the formatter would make of its characters.
std::string roff_text(std::string_view text);

/// The same; what stands between two backquotes is set in bold.
std::string roff_marked(std::string_view text);

std::string roff_bold(std::string_view text);
std::string roff_italic(std::string_view text);

/// Takes parts that the functions above made.
class RoffPage {
  public:
    RoffPage(const std::string& name, const std::string& section, const std::string& source,
             const std::string& manual);

    void section(std::string_view title);
    void subsection(std::string_view title);
    void paragraph(const std::string& text);
    /// A paragraph that hangs below what it explains.
    void item(const std::string& term, const std::string& text);
    /// Lines that are not filled.
    void example(const std::string& lines);

    [[nodiscard]] const std::string& text() const { return text_; }

  private:
    std::string text_;
};

} // namespace tresk::ctl

#endif
