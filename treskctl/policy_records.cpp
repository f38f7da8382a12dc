// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy_records.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace tresk::ctl {

bool is_to_be_made(const Policy& policy)
{
    struct stat file {};

    return ::stat(policy.file, &file) == 0 ? file.st_size == 0 : errno == ENOENT;
}

Failure failure_of_reading(const Policy& policy)
{
    const Descriptor file(::open(policy.file, O_RDONLY | O_CLOEXEC));
    return {Cause::Policy,
            file ? policy.complaint : std::string("cannot read the policy: ") + std::strerror(errno),
            {},
            policy.file};
}

} // namespace tresk::ctl
