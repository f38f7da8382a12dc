// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/service_answer.h"

#include "tresk_extend.h"
#include "treskctl/status_codes.h"

namespace tresk::ctl {

Failure status_failure(int code)
{
    return {Cause::Status, std::string(find_status_code(code)->meaning), code, {}};
}

Failure not_utf8()
{
    Failure failure = status_failure(TRESK_ERROR_INVALID_ARGUMENT);
    failure.message += ": the service takes only UTF-8";
    return failure;
}

std::optional<Failure> failure_of_query(int answer)
{
    return find_status_code(answer) == nullptr ? std::nullopt : std::optional(status_failure(answer));
}

std::optional<Failure> failure_of_change(int answer)
{
    if (answer == TRESK_SUCCESS) {
        return std::nullopt;
    }
    if (auto failure = failure_of_query(answer)) {
        return failure;
    }
    return Failure{Cause::Answer, "the service answered " + std::to_string(answer), answer, {}};
}

std::optional<Failure> probe_service(Run& run)
{
    return failure_of_query(run.ask([] { return getModuleStatus_dbus(kProbedModule); }));
}

Failure failure_without_reason(Run& run)
{
    if (auto probed = probe_service(run)) {
        probed->message = "no answer, and a status query fails too: " + probed->message;
        return *probed;
    }
    return {Cause::NoAnswer, "the service refused; the framework's log has the reason", -1, {}};
}

Value value_or_failure(Run& run, int answer, const std::string& subject)
{
    auto failure = failure_of_query(answer);
    if (!failure) {
        return answer;
    }
    failure->subject = subject;
    run.fail(std::move(*failure));
    return {};
}

} // namespace tresk::ctl
