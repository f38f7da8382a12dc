// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/roff.h"

namespace tresk::ctl {

namespace {

/// What the formatter would turn into another sign, or into a command.
std::string_view escape_of(char letter)
{
    switch (letter) {
    case '\\':
        return "\\e";
    case '-':
        return "\\-";
    case '\'':
        return "\\(aq";
    case '"':
        return "\\(dq";
    case '^':
        return "\\(ha";
    case '~':
        return "\\(ti";
    case '`':
        return "\\(ga";
    default:
        return "";
    }
}

/// A line that begins with a point would be a command.
std::string line_of(const std::string& text)
{
    return (text.starts_with('.') ? "\\&" : "") + text + "\n";
}

} // namespace

std::string roff_text(std::string_view text)
{
    std::string result;
    for (const char letter : text) {
        const std::string_view escape = escape_of(letter);
        result += escape.empty() ? std::string_view(&letter, 1) : escape;
    }
    return result;
}

std::string roff_marked(std::string_view text)
{
    std::string result;
    for (bool bold = false;; bold = !bold) {
        const std::size_t mark = text.find('`');
        const std::string_view part = text.substr(0, mark);
        result += bold ? roff_bold(part) : roff_text(part);
        if (mark == std::string_view::npos) {
            return result;
        }
        text.remove_prefix(mark + 1);
    }
}

std::string roff_bold(std::string_view text)
{
    return "\\fB" + roff_text(text) + "\\fP";
}

std::string roff_italic(std::string_view text)
{
    return "\\fI" + roff_text(text) + "\\fP";
}

RoffPage::RoffPage(const std::string& name, const std::string& section, const std::string& source,
                   const std::string& manual)
    : text_(".TH " + name + " " + section + " \"\" \"" + source + "\" \"" + manual + "\"\n.nh\n.ad l\n")
{
}

void RoffPage::section(std::string_view title)
{
    text_ += ".SH " + roff_text(title) + "\n";
}

void RoffPage::subsection(std::string_view title)
{
    text_ += ".SS " + roff_text(title) + "\n";
}

void RoffPage::paragraph(const std::string& text)
{
    text_ += ".PP\n" + line_of(text);
}

void RoffPage::item(const std::string& term, const std::string& text)
{
    text_ += ".TP\n" + line_of(term) + line_of(text);
}

void RoffPage::example(const std::string& lines)
{
    text_ += ".PP\n.RS\n.nf\n" + line_of(lines) + ".fi\n.RE\n";
}

} // namespace tresk::ctl
