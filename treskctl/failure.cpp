// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/failure.h"

#include "treskctl/output.h"
#include "treskctl/printable.h"
#include "treskctl/status_codes.h"

#include <nlohmann/json.hpp>

#include <array>

namespace tresk::ctl {

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

struct CauseRow {
    Cause cause;
    std::string_view word;
    int exit_status;
};

constexpr std::array kCauses = {
    CauseRow{Cause::Usage, "usage", kWrongUsage},   CauseRow{Cause::Status, "status", kFailed},
    CauseRow{Cause::Answer, "answer", kFailed},     CauseRow{Cause::NoAnswer, "no_answer", kFailed},
    CauseRow{Cause::Scene, "scene", kFailed},       CauseRow{Cause::Kernel, "kernel", kFailed},
    CauseRow{Cause::Refused, "refused", kFailed},   CauseRow{Cause::NotFound, "not_found", kFailed},
    CauseRow{Cause::Policy, "policy", kFailed},     CauseRow{Cause::Input, "input", kFailed},
    CauseRow{Cause::Internal, "internal", kFailed},
};

constexpr bool rows_stand_in_order()
{
    for (std::size_t index = 0; index < kCauses.size(); ++index) {
        if (kCauses[index].cause != static_cast<Cause>(index)) {
            return false;
        }
    }
    return true;
}

static_assert(rows_stand_in_order());

const CauseRow& row_of(Cause cause)
{
    return kCauses[static_cast<std::size_t>(cause)];
}

/// Only a code of the framework has a name: the scene library's numbers are its own.
const StatusCode* named_code(const Failure& failure)
{
    return failure.cause == Cause::Status && failure.code ? find_status_code(*failure.code) : nullptr;
}

} // namespace

std::string_view word_of(Cause cause)
{
    return row_of(cause).word;
}

int exit_status_of(Cause cause)
{
    return row_of(cause).exit_status;
}

std::string line_of(const std::string& command, const Failure& failure)
{
    std::string line = command.empty() ? "" : command + ": ";
    if (failure.subject) {
        line += printable(*failure.subject) + ": ";
    }
    line += printable(failure.message);
    if (const StatusCode* code = named_code(failure)) {
        line += " (" + std::string(code->name) + ", " + std::to_string(code->code) + ")";
    }
    return line;
}

nlohmann::ordered_json object_of(const Failure& failure)
{
    nlohmann::ordered_json object = {{"cause", word_of(failure.cause)}, {"subject", nullptr}};
    if (failure.subject) {
        add_text(object, "subject", *failure.subject);
    }
    const StatusCode* code = named_code(failure);
    object["code"] = failure.code ? nlohmann::ordered_json(*failure.code) : nullptr;
    object["name"] = code != nullptr ? nlohmann::ordered_json(code->name) : nullptr;
    add_text(object, "message", failure.message);
    return object;
}

} // namespace tresk::ctl
