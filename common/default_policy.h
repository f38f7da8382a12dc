// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The empty policy file that a reader leaves behind where it found none, so that the next read succeeds.
#ifndef TRESK_COMMON_DEFAULT_POLICY_H
#define TRESK_COMMON_DEFAULT_POLICY_H

namespace tresk {

/// Writes a document holding only the empty element @root to @file, mode 0644, whole or not at all. Only a
/// missing or an empty file is filled; a missing directory is not made. Failures are silent: the read that
/// led here fails in any case.
void create_default_policy(const char* file, const char* root);

} // namespace tresk

#endif
