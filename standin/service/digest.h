// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The keys of policy entries, and the hashes of files: digests as 64 lowercase hexadecimal digits.
#ifndef TRESK_STANDIN_SERVICE_DIGEST_H
#define TRESK_STANDIN_SERVICE_DIGEST_H

#include <optional>
#include <string>

namespace tresk::service {

/// The number of digits of every digest.
inline constexpr std::size_t kDigestDigits = 64;

/// The key of process protection and process blocking.
std::string sha256_of(const std::string& text);

/// The SHA-256 of everything that can still be read from @descriptor, or nothing, with errno set.
std::optional<std::string> sha256_of_content(int descriptor);

/// The key of network control.
std::string sm3_of(const std::string& text);

} // namespace tresk::service

#endif
