// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The empty policy file that a reader leaves behind where it found none, so that the next read succeeds.
#ifndef TRESK_COMMON_DEFAULT_POLICY_H
#define TRESK_COMMON_DEFAULT_POLICY_H

namespace tresk {

/// What an empty policy holds: its root element, with one attribute where there is a name for it.
struct EmptyPolicy {
    const char* root;
    const char* attribute = nullptr;
    const char* value = nullptr;
};

/// Writes a document holding only the root of @policy to @file, mode 0644, whole or not at all. Only a
/// missing or an empty file is filled; a missing directory is not made. Failures are silent: the read that
/// led here fails in any case.
void create_default_policy(const char* file, const EmptyPolicy& policy);

} // namespace tresk

#endif
