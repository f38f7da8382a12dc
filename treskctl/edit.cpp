// SPDX-License-Identifier: LGPL-2.1-or-later
//
// An edit's result mixes three speakers: the service (its answer), the scene library (its code, which is then
// said on standard output) and the library itself (-1, whose reason only the framework's log has).
#include "treskctl/edit.h"

#include "treskctl/printable.h"
#include "treskctl/service_answer.h"

#include <algorithm>

namespace tresk::ctl {

Failure failure_of_edit(Run& run, const Heard<int>& answer, std::initializer_list<std::string_view> texts)
{
    if (!answer.said.output.empty()) {
        return {Cause::Scene,
                "the framework's scene library failed with code " + std::to_string(answer.result) +
                    "; the service was not asked",
                answer.result,
                {}};
    }
    if (answer.result != kFailedSomehow) {
        return *failure_of_change(answer.result);
    }
    return std::ranges::all_of(texts, is_utf8) ? failure_without_reason(run) : not_utf8();
}

} // namespace tresk::ctl
