// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The service's methods, called in this process as its dispatcher calls them, in folders of the test's own.
#ifndef TRESK_TESTS_CRASH_SERVICE_OPERATIONS_H
#define TRESK_TESTS_CRASH_SERVICE_OPERATIONS_H

#include "standin/service/method.h"

#include <string>

namespace tresk::test {

/// One call.
struct ServiceEdit {
    const char* test; ///< the test's name
    const char* word; ///< the object
    const char* method;
    const char* arguments; ///< a tuple in GVariant text form
    const char*
        before; ///< the call that made the old state, of the same object; null for a state of no files
    const char* before_arguments;
    bool several_files = false;
};

inline std::ostream& operator<<(std::ostream& out, const ServiceEdit& edit)
{
    return out << edit.test;
}

/// Calls the method; whether it answered with a number that is no refusal.
bool call_method(const service::Folders& folders, const std::string& word, const std::string& method,
                 const std::string& arguments);

} // namespace tresk::test

#endif
