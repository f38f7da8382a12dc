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

/// The failure of status code @code, which the table knows.
Failure status_failure(int code);

/// The failure of a text that the library refuses to send.
Failure not_utf8();

/// Judges a query's answer: a status code is a failure, all else is a value.
std::optional<Failure> failure_of_query(int answer);

/// Judges a change's answer: 0 is done, all else is a failure.
std::optional<Failure> failure_of_change(int answer);

/// For a call of which only the failure is known: what asking the service for something harmless tells.
Failure failure_without_reason(Run& run);

/// Asks the service for something harmless: nothing when it answers.
std::optional<Failure> probe_service(Run& run);

/// Performs one change and adds @row to the table "results" when the service did it.
template <class Call>
void change(Run& run, std::vector<std::string> fields, Row row, Call call)
{
    Table& results = run.table("results", std::move(fields));
    if (auto failure = failure_of_change(run.ask(call))) {
        run.fail(std::move(*failure));
    } else {
        results.rows.push_back(std::move(row));
    }
}

/// A query's answer as a field: nothing, and a failure about @subject, where it is a status code.
Value value_or_failure(Run& run, int answer, const std::string& subject);

} // namespace tresk::ctl

#endif
