// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/failure.h"

#include "treskctl/output.h"
#include "treskctl/printable.h"
#include "treskctl/status_codes.h"

#include <nlohmann/json.hpp>

#include <array>

namespace tresk::ctl {

namespace {

struct CauseRow {
    Cause cause;
    std::string_view word;
    int exit_status;
    std::string_view advice;
};

constexpr int kOther = 12;
constexpr std::string_view kLookAtLog =
    "The framework's log has the details; \"treskctl doctor\" looks for causes.";

constexpr std::array kCauses = {
    CauseRow{Cause::Usage, "usage", 2,
             R"("treskctl --help" and "treskctl OBJECT VERB --help" show what there is.)"},
    CauseRow{Cause::NotFound, "not_found", 3, "The object's \"list\" shows what there is."},
    CauseRow{Cause::Conflict, "conflict", 4,
             R"("update" changes an entry that is there; "show" tells what it is.)"},
    CauseRow{Cause::Refused, "refused", 5, "Ask as a user who may do this."},
    CauseRow{Cause::Cancelled, "cancelled", 6, "Nothing more was done; run it again to go on."},
    CauseRow{Cause::Disabled, "disabled", 7,
             "\"treskctl status set framework on\" switches the framework on."},
    CauseRow{Cause::Unreachable, "unreachable", 8,
             "\"treskctl doctor\" tells what does not answer, and why."},
    CauseRow{Cause::Policy, "policy", 9,
             "\"treskctl verify\" tells the line of a policy file that is wrong."},
    CauseRow{Cause::Partly, "partly", 10, "What was done is listed; run it again for the rest."},
    CauseRow{Cause::TimedOut, "timed_out", 11,
             "The service may still do what it was asked; look before trying again."},
    CauseRow{Cause::Status, "status", kOther, kLookAtLog},
    CauseRow{Cause::Answer, "answer", kOther, kLookAtLog},
    CauseRow{Cause::NoAnswer, "no_answer", kOther, kLookAtLog},
    CauseRow{Cause::Scene, "scene", kOther, kLookAtLog},
    CauseRow{Cause::Input, "input", kOther, "Look at the file's name, its permissions and its content."},
    CauseRow{Cause::Internal, "internal", kOther, ""},
};

constexpr std::array kExits = {
    ExitRow{0, "done, or the answer is yes"},
    ExitRow{kExitNo, "the answer is no, or there is a difference"},
    ExitRow{2, "wrong usage; nothing was done"},
    ExitRow{3, "not found"},
    ExitRow{4, "conflict: an entry is there already and other than wanted"},
    ExitRow{5, "refused: the caller may not do this"},
    ExitRow{6, "cancelled by the user"},
    ExitRow{7, "the framework is disabled"},
    ExitRow{8, "the service or the kernel module does not answer"},
    ExitRow{9, "a policy file cannot be read or is wrong"},
    ExitRow{10, "partly done: some failed"},
    ExitRow{11, "timed out"},
    ExitRow{kOther, "any other failure"},
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
    return failure.code ? find_status_code(*failure.code) : nullptr;
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

std::string_view advice_for(Cause cause)
{
    return row_of(cause).advice;
}

std::span<const ExitRow> exit_table()
{
    return kExits;
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
    object["advice"] = failure.advice.empty() ? std::string(advice_for(failure.cause)) : failure.advice;
    object["exit_status"] = exit_status_of(failure.cause);
    return object;
}

} // namespace tresk::ctl
