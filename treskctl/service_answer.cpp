// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/service_answer.h"

#include "tresk_extend.h"
#include "treskctl/status_codes.h"

#include <cerrno>
#include <cstring>

namespace tresk::ctl {

namespace {

/// How the library's record begins for a path that cannot be made absolute.
constexpr std::string_view kUnresolved = "faile to get absolute path";

/// What the service says to an ordinary caller about an entry of the "sm" side.
constexpr std::string_view kSmData = "sm data";

constexpr const char* kArgumentAdvice =
    "Look at the values: the service takes texts in UTF-8, absolute paths, and its own numbers.";

/// Better advice than the cause's, which is about the caller's own files; empty where there is none.
std::string advice_on(const ErrorRecord& record)
{
    switch (record.code) {
    case TRESK_ERROR_INVALID_ARGUMENT:
        return kArgumentAdvice;
    case TRESK_ERROR_DATABASE:
    case TRESK_ERROR_CONFIGURATION:
        return "The service's log tells which of its files it could not use; \"treskctl verify\" looks at "
               "the policies.";
    case TRESK_ERROR_AUTHORISATION:
        return record.text.find(kSmData) == std::string::npos
                   ? ""
                   : "Ask as the \"sm\" side, with --owner sm or --sm.";
    default:
        return "";
    }
}

std::string trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos
               ? ""
               : std::string(text.substr(begin, text.find_last_not_of(blanks) + 1 - begin));
}

} // namespace

std::optional<Failure> failure_of_query(int answer)
{
    const StatusCode* status = find_status_code(answer);
    return status == nullptr
               ? std::nullopt
               : std::optional(Failure{status->cause, std::string(status->meaning), answer, {}, {}});
}

Failure failure_of_record(const ErrorRecord& record)
{
    const StatusCode* status = find_status_code(record.code);
    if (status == nullptr) {
        return {Cause::Answer, "failed with code " + std::to_string(record.code), record.code, {}, {}};
    }
    if (record.text.starts_with(kUnresolved) &&
        record.text.find(std::strerror(EACCES)) != std::string::npos) {
        return {Cause::Refused, "permission denied", {}, {}, "Ask as a user who may look at the file."};
    }
    if (record.text.starts_with(kUnresolved)) {
        return {Cause::NotFound,
                "there is no such file",
                {},
                {},
                "Paths are resolved, so the file has to exist; an empty one will do for an entry whose own "
                "is gone."};
    }
    // The library's own refusal; a service that refuses has its own words.
    if (record.code == TRESK_ERROR_INVALID_ARGUMENT && record.text == std::strerror(EINVAL)) {
        return {status->cause,
                "a text is not UTF-8, which alone can be sent",
                record.code,
                {},
                "The service was not asked."};
    }
    std::string message(status->meaning);
    if (const std::string reason = trimmed(record.text); !reason.empty()) {
        message += ": " + reason;
    }
    return {status->cause, std::move(message), record.code, {}, advice_on(record)};
}

std::optional<Failure> probe_service(Run& run)
{
    return failure_of_query(run.ask([] { return getModuleStatus_dbus(kProbedModule); }));
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
