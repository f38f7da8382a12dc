// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the rows' calls find on the machine: policy files, the devices' database, the package tools.
#ifndef TRESK_TESTS_FAULTS_POLICIES_H
#define TRESK_TESTS_FAULTS_POLICIES_H

namespace tresk::test {

inline constexpr char kPproFile[] = "/etc/tresk/ppro/ppro.xml";
inline constexpr char kPblkFile[] = "/etc/tresk/pblk/pblk.xml";
inline constexpr char kNetctlFile[] = "/etc/tresk/netctl/netctl.xml";
inline constexpr char kPackagesFile[] = "/etc/tresk/netctl/netctl_pkg.xml";
/// The source of the entries "/a", "/b" and "/c", too long for a text that holds it within itself.
inline constexpr char kSource[] = "a long source, past any small text";

/// Writes all of it. The sandbox's alone.
void write_policies();

/// Takes the policy files away whose readers make an empty one.
void remove_policies();

/// Whether those files are, each for itself, missing or the whole empty policy, and nothing else lies beside
/// them; with @leftovers a file that could not be removed may.
bool policies_are_whole_or_missing(bool leftovers);

} // namespace tresk::test

#endif
