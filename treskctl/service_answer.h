// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the integers that the library returns mean, and what can be said where they do not say enough.
#ifndef TRESK_TRESKCTL_SERVICE_ANSWER_H
#define TRESK_TRESKCTL_SERVICE_ANSWER_H

#include "treskctl/run.h"

#include <optional>
#include <string>

namespace tresk::ctl {

/// A module that the service is known to have; asking for its state asks no user and changes nothing.
inline constexpr int kProbedModule = 3;

/// Judges a query's answer: a status code is a failure, all else is a value.
std::optional<Failure> failure_of_query(int answer);

/// What the library recorded of a call that failed.
Failure failure_of_record(const ErrorRecord& record);

/// Asks the service for something harmless: nothing when it answers.
std::optional<Failure> probe_service(Run& run);

/// A query's answer as a field: nothing, and a failure about @subject, where it is a status code.
Value value_or_failure(Run& run, int answer, const std::string& subject);

} // namespace tresk::ctl

#endif
