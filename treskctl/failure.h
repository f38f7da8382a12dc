// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What went wrong, told to people as a line and to programs as an object.
#ifndef TRESK_TRESKCTL_FAILURE_H
#define TRESK_TRESKCTL_FAILURE_H

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace tresk::ctl {

/// The kinds of failure that a program may want to tell apart.
enum class Cause {
    Usage,    ///< the command line is wrong; nothing was done
    Status,   ///< the framework's own status code is known
    Answer,   ///< the service answered a number that is no status code
    NoAnswer, ///< the library only tells that it failed
    Scene,    ///< the scene library refused before the service was asked
    Kernel,   ///< the kernel module was not told
    Refused,  ///< the library found that the caller may not do this
    NotFound, ///< there is no such entry
    Policy,   ///< a policy or settings file could not be read
    Input,    ///< a file or standard input that the command was given could not be read
    Internal, ///< treskctl itself could not go on
};

/// The cause's word in JSON documents.
std::string_view word_of(Cause cause);
/// The process's exit status for the cause.
int exit_status_of(Cause cause);

struct Failure {
    Cause cause = Cause::Internal;
    std::string message;
    /// The number that the library returned, where it says anything.
    std::optional<int> code;
    /// What the failure is about, where the command is about more than one thing; any bytes.
    std::optional<std::string> subject;
};

/// "COMMAND: SUBJECT: MESSAGE (NAME, CODE)", escaped, without a line end. @command may be empty.
std::string line_of(const std::string& command, const Failure& failure);

/// {"cause", "subject", "code", "name", "message"}; null where there is none.
nlohmann::ordered_json object_of(const Failure& failure);

} // namespace tresk::ctl

#endif
