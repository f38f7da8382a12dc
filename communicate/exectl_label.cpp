// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/edge.h"
#include "tresk_extend.h"

#include <string_view>

namespace tresk {

namespace {

/// What the kernel module calls an execution label.
struct LabelType {
    std::string_view label;
    int type;
};

/// Stands for all labels that the kernel module has no number for.
constexpr int kOtherLabel = 5;

constexpr LabelType kLabelTypes[] = {
    {"verified", 1}, {"original", 2}, {"mesoft", 3}, {"trusted", 4}, {"parent", 6}, {"script", 7},
};

int type_of(std::string_view label)
{
    for (const LabelType& row : kLabelTypes) {
        if (row.label == label) {
            return row.type;
        }
    }
    return kOtherLabel;
}

} // namespace

} // namespace tresk

using namespace tresk;

TRESK_EXPORT int tresk_convert_exectl_label_to_label_type(const char* label)
{
    return at_edge(kOtherLabel, [&] { return label == nullptr ? kOtherLabel : type_of(label); });
}
