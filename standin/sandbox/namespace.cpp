// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/sandbox/namespace.h"

#include "common/handles.h"
#include "standin/sandbox/failure.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <string>

namespace tresk::standin {

namespace {

void write_map(const std::string& file, const std::string& content)
{
    const Descriptor map{::open(file.c_str(), O_WRONLY | O_CLOEXEC)};
    if (!map || ::write(map.get(), content.data(), content.size()) < 0) {
        fail_with_errno(file);
    }
}

void enter_user_namespace()
{
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    require(::unshare(CLONE_NEWUSER | CLONE_NEWNS),
            "no mount namespace: neither the superuser nor user namespaces allowed");
    write_map("/proc/self/setgroups", "deny");
    write_map("/proc/self/uid_map", user + " " + user + " 1\n");
    write_map("/proc/self/gid_map", group + " " + group + " 1\n");
}

int stop_propagation()
{
    return ::mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr);
}

/// The root of a plain chroot is no mount point, so propagation cannot be changed there. Entering the own
/// namespace anew leads to its real root; from there it can, and then the way goes back into the chroot.
void stop_propagation_from_chroot()
{
    const Descriptor root{::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)};
    const Descriptor working_directory{::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)};
    const Descriptor mounts{::open("/proc/self/ns/mnt", O_RDONLY | O_CLOEXEC)};
    require(mounts.get(), "/proc/self/ns/mnt");
    require(::setns(mounts.get(), CLONE_NEWNS), "leave the chroot");
    require(stop_propagation(), "make the mounts private");
    require(::fchdir(root.get()), "return to the chroot");
    require(::chroot("."), "return to the chroot");
    require(::fchdir(working_directory.get()), "return to the working directory");
}

} // namespace

void enter_mount_namespace()
{
    if (::unshare(CLONE_NEWNS) != 0) {
        if (errno != EPERM) {
            fail_with_errno("no mount namespace");
        }
        enter_user_namespace();
    }
    if (stop_propagation() != 0) {
        if (errno != EINVAL) {
            fail_with_errno("make the mounts private");
        }
        stop_propagation_from_chroot();
    }
}

} // namespace tresk::standin
