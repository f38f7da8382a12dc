// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/crash/small_disk.h"

#include <sched.h>
#include <sys/mount.h>

#include <string>

namespace tresk::test {

namespace {

/// In a mount namespace of this process's own, so that nobody else sees it and it ends with the process.
bool mount_at(const std::filesystem::path& folder, const char* size)
{
    return ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("tmpfs", folder.c_str(), "tmpfs", 0, ("size=" + std::string(size)).c_str()) == 0;
}

} // namespace

SmallDisk::SmallDisk(const char* size) : mounted_(mount_at(folder_.path(), size)) {}

SmallDisk::~SmallDisk()
{
    if (mounted_) {
        ::umount2(folder_.path().c_str(), MNT_DETACH);
    }
}

void SmallDisk::clear() const
{
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
        std::filesystem::remove_all(entry.path());
    }
}

} // namespace tresk::test
