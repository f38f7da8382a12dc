// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Failures on demand. The file is read at every call, so that a test changes it between two calls. A line
// names a method, or "*" for all, and what happens to it:
//
//   METHOD error NAME [MESSAGE]    a D-Bus error; without a MESSAGE the error carries no body
//   METHOD delay MILLISECONDS      the call is worked on, or fails by another line, only after that time
//   METHOD reply TUPLE             that reply (GVariant text), whatever the method's own type; no work is
//   done METHOD silent                  no answer at all METHOD die                     the service ends at
//   once, without an answer
//
// Delays add up; of the other kinds the first line that matches holds. Empty lines and lines that begin with
// "#" are comments.
#ifndef TRESK_STANDIN_SERVICE_FAULTS_H
#define TRESK_STANDIN_SERVICE_FAULTS_H

#include "standin/service/glib_handles.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tresk::service {

struct Fault {
    enum class Kind { kNone, kError, kReply, kSilence, kDeath };

    Kind kind = Kind::kNone;
    unsigned delay_ms = 0;
    /// kError: the name, and the message if there is one.
    std::string error;
    std::optional<std::string> message;
    /// kReply: the whole tuple.
    Variant reply;
};

/// A line that says nothing known. Such a file fails every call, so that no test passes by a misspelt fault.
class BadFault : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What the lines of @text do to @method; throws BadFault.
Fault fault_for(std::string_view text, std::string_view method);

} // namespace tresk::service

#endif
