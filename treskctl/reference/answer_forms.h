// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The tables that each command writes, as documents have them: for the schema, for the manual, and for
// completing the names of columns.
#ifndef TRESK_TRESKCTL_REFERENCE_ANSWER_FORMS_H
#define TRESK_TRESKCTL_REFERENCE_ANSWER_FORMS_H

#include "treskctl/policy/kind.h"

#include <string>
#include <string_view>
#include <vector>

namespace tresk::ctl {

enum class AnswerType { Text, Integer, Boolean };

struct AnswerField {
    std::string name;
    AnswerType type = AnswerType::Text;
    /// Whether it may be null: not known, or not there.
    bool nullable = false;
    /// Of texts: all that there are; any where empty.
    std::vector<std::string> words = {};
    /// Whether there are rows without it: a dry run's have "call", and all others the field in its stead.
    bool optional = false;
};

struct AnswerTable {
    std::string name;
    std::vector<AnswerField> fields;
};

struct AnswerForm {
    std::vector<AnswerTable> tables;
    /// Whether it says "changed".
    bool is_change = false;
};

/// The table of commands that write a text, which only a document has.
inline constexpr std::string_view kTextsTable = "texts";

/// How documents have the field of an entry.
AnswerField answer_field_of(const Field& field);

/// What the command of that chain ("ppro add") writes; no tables where nothing is declared of it.
AnswerForm answer_form_of(const std::string& command);

} // namespace tresk::ctl

#endif
