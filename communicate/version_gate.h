// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A kernel module before framework version 4.2 does not understand every family's messages.
#ifndef TRESK_COMMUNICATE_VERSION_GATE_H
#define TRESK_COMMUNICATE_VERSION_GATE_H

namespace tresk {

/// What the families' gates differ in.
struct VersionGate {
    int kind;            ///< the framework's number of the family's version
    const char* refusal; ///< log text
};

inline constexpr VersionGate kNetctlVersionGate = {
    2, "current kernel version not support netctl function, please update kernel version\n"};
inline constexpr VersionGate kPproVersionGate = {
    6, "current kernel version not support ppro function, please update kernel version\n"};
inline constexpr VersionGate kPblkVersionGate = {
    8, "current kernel version not support pblk function, please update kernel version\n"};

/// Whether the leading number of a version text is below 4.2. It is a number and no list of counters: 4.10 is
/// below, and a text without a number counts as 0.
bool is_too_old(const char* version) noexcept;

/// Asks the framework for its version and logs the refusal on behalf of @function where it is too old. An
/// unknown version passes.
bool passes(const VersionGate& gate, const char* function);

} // namespace tresk

#endif
