// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/policy_files.h"
#include "tests/threads/call_parts.h"

namespace tresk::test {

namespace {

void make_files()
{
    for (const Program& program : kPrograms) {
        write_file(program.path, kContent);
    }
    for (const char* name : {"first", "second", "third"}) {
        write_file(std::string(kFolder) + "/" + name, "");
    }
    write_file("/etc/tresk/ppro/ppro.conf", "action=stop\n");
    write_file("/etc/tresk/ppro/ppro_blacklist", std::string(kKeptProgram.path) + "\n");
}

/// Every program has a stored hash from now on.
bool store_hashes()
{
    return std::all_of(std::begin(kPrograms), std::end(kPrograms), [](const Program& program) {
        return Malloced<char>(tresk_calc_file_hash_value(program.path)) != nullptr;
    });
}

bool add_programs_and_packages()
{
    const char* path = kKeptProgram.path;
    const char* package = kPackages[0];
    return tresk_ppro_add_zdk(path, 1, 0, kKeptSource) == 0 &&
           tresk_pblk_add_zdk(copy(path).data(), kSourceType, kKeptSource) == 0 &&
           tresk_netctl_ext_add(kUser, path, 1, "name", "icon", "desktop", 1) == 0 &&
           tresk_netctl_pkg_add(kUser, package, 1, "icon", "desktop", 1) == 0 &&
           tresk_bwlist_add_zdk("white", package, kSourceType, kKeptSource) == 0;
}

bool add_devices()
{
    return tresk_devctl_add_perm(kKeptDeviceType, 0, 0, 0, 0, nullptr, nullptr, 1) == 0 &&
           tresk_devctl_add_perm(0, 0, kKeptProduct, kKeptVendor, 0, nullptr, nullptr, 1) == 0 &&
           tresk_devctl_wireless_ctl_add(kNetworks[0]) == 0 && insert_seen_device() == 0;
}

} // namespace

/// Once in a sandbox: a second time, all of it is there.
bool prepare_policies()
{
    constexpr char prepared[] = "/data/prepared";
    if (read_file(prepared)) {
        return true;
    }
    make_files();
    const bool done = store_hashes() && add_programs_and_packages() && add_devices();
    if (done) {
        write_file(prepared, "");
    }
    return done;
}

} // namespace tresk::test
