// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What went wrong, told to people as a line and to programs as an object.
#ifndef TRESK_TRESKCTL_FAILURE_H
#define TRESK_TRESKCTL_FAILURE_H

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tresk::ctl {

/// Why something failed. Each has one exit status; several may share the last one, "other".
enum class Cause {
    Usage,       ///< the command line is wrong; nothing was done
    NotFound,    ///< there is no such entry, file or process
    Conflict,    ///< an entry is there already, and other than wanted
    Refused,     ///< the caller may not do this
    Cancelled,   ///< the user cancelled the authorisation, or the run
    Disabled,    ///< the framework is switched off
    Unreachable, ///< the service or the kernel module gave no answer
    Policy,      ///< a policy or settings file could not be read, or is not what it should be
    Partly,      ///< some was done and some was not
    TimedOut,    ///< the time that was given ran out
    Status,      ///< another of the framework's status codes
    Answer,      ///< the service answered a number that is no status code
    NoAnswer,    ///< the library only tells that it failed
    Scene,       ///< the scene library failed before the service was asked
    Input,       ///< a file or standard input that the command was given could not be used
    Internal,    ///< treskctl itself could not go on
};

/// The exit status of a run that answered a question with "no", or found a difference.
inline constexpr int kExitNo = 1;

/// The cause's word in JSON documents.
std::string_view word_of(Cause cause);
/// The process's exit status for the cause.
int exit_status_of(Cause cause);
/// One line on what to do about it; may be empty.
std::string_view advice_for(Cause cause);

/// The exit statuses and what they mean, for the manual.
struct ExitRow {
    int status;
    std::string_view meaning;
};

std::span<const ExitRow> exit_table();

/// A wrong command line that is only found out while the command runs, before it has changed anything.
class WrongUsage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Failure {
    Cause cause = Cause::Internal;
    std::string message;
    /// The number that the library returned, where it says anything.
    std::optional<int> code;
    /// What the failure is about, where the command is about more than one thing; any bytes.
    std::optional<std::string> subject;
    /// Better advice than its cause's.
    std::string advice{};
};

/// "COMMAND: SUBJECT: MESSAGE (NAME, CODE)", escaped, without a line end. @command may be empty.
std::string line_of(const std::string& command, const Failure& failure);

/// {"cause", "subject", "code", "name", "message"}; null where there is none.
nlohmann::ordered_json object_of(const Failure& failure);

} // namespace tresk::ctl

#endif
