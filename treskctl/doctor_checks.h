// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What "doctor" looks at, one thing a check. No check changes anything.
#ifndef TRESK_TRESKCTL_DOCTOR_CHECKS_H
#define TRESK_TRESKCTL_DOCTOR_CHECKS_H

#include "treskctl/run.h"

#include <chrono>
#include <string>
#include <vector>

namespace tresk::ctl {

/// How long the bus, and then the service, may take for an answer where the caller gave no time.
inline constexpr std::chrono::seconds kPatience{5};

enum class Health { Ok, Warning, Failed };

struct Check {
    std::string name;
    Health health = Health::Ok;
    std::string detail;
    /// What to do about it; empty where nothing is to be done.
    std::string advice{};
    /// Of a check that failed.
    Cause cause = Cause::Internal;
    /// Where the detail is found, if the name does not say it.
    std::string place{};
};

using Checks = std::vector<Check>;

/// What was found so far, which is told even where the run ends before everything was looked at.
class Findings {
  public:
    explicit Findings(Run& run);

    /// Behind what was added before.
    void add(const Check& check);

    /// In front of all that is added, in place of what stood there.
    void put_first(const Checks& checks);

    /// Everything was looked at: what failed fails the run.
    void conclude();

  private:
    Run& run_;
    Table& table_;
    Checks first_;
    Checks others_;
};

/// The system bus, and the framework's service on it.
void check_service(Run& run, Findings& findings);

/// The framework's switch, which has to be on, and its functions', of which one may be off on purpose.
void check_switches(Run& run, Findings& findings);

/// The policy files and others: whether the library reads them, and reads all of them.
void check_files(Run& run, Findings& findings);

/// Who may write the files and folders.
void check_modes(Run& run, Findings& findings);

/// The way to the kernel module.
void check_kernel(Run& run, Findings& findings);

/// The framework's versions, on which notifications to the kernel module depend.
void check_versions(Run& run, Findings& findings);

} // namespace tresk::ctl

#endif
