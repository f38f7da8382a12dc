// SPDX-License-Identifier: LGPL-2.1-or-later
//
// An edit's result mixes three speakers: the service (its answer), the scene library (its code, which is then
// said on standard output) and the library itself (-1, whose reason only the framework's log has).
#include "treskctl/edit.h"

#include "tresk_extend.h"
#include "treskctl/printable.h"
#include "treskctl/service_answer.h"

#include <filesystem>
#include <system_error>

namespace tresk::ctl {

namespace {

constexpr int kFailedSomehow = -1;

/// What is known of a failure that the library tells only as -1.
Failure untold_failure(Run& run, const std::string& path, const std::string& source)
{
    if (!is_utf8(path) || !is_utf8(source)) {
        return not_utf8();
    }
    std::error_code why;
    if (std::filesystem::status(path, why).type() == std::filesystem::file_type::not_found) {
        return {Cause::NoAnswer, "failed; there is no such file", kFailedSomehow, {}};
    }
    return failure_without_reason(run);
}

} // namespace

Failure failure_of_edit(Run& run, const Heard<int>& answer, const std::string& path,
                        const std::string& source)
{
    if (!answer.said.output.empty()) {
        return {Cause::Scene,
                "the framework's scene library failed with code " + std::to_string(answer.result) +
                    "; the service was not asked",
                answer.result,
                {}};
    }
    return answer.result == kFailedSomehow ? untold_failure(run, path, source)
                                           : *failure_of_change(answer.result);
}

} // namespace tresk::ctl
