// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The form in which a program's path is kept in a policy.
//
// Users' folders may live below "/data" and be bound to "/home" and "/root". Whoever looks an entry up on
// such a machine asks for the "/data/..." form, whatever form of the path it was given; whoever asks for a
// change sends the short form. So the service keeps the long form where, and only where, a lookup of the
// short form would be rewritten to it. The rewriting tests the first five characters alone: "/homework/x"
// becomes "/data/homework/x" on such a machine, there as here.
#ifndef TRESK_STANDIN_SERVICE_POLICY_PATH_H
#define TRESK_STANDIN_SERVICE_POLICY_PATH_H

#include <filesystem>
#include <string>

namespace tresk::service {

/// The form of @path that lookups use, on the machine whose root folder is @root ("/" but in tests).
std::string lookup_form(const std::string& path, const std::filesystem::path& root = "/");

/// lookup_form() of a path from a caller. Refuses what no policy can hold: an empty or relative path, one of
/// 4096 bytes or more in either form, and characters that XML has no way to write.
std::string policy_path(const std::string& path);

/// Refuses a text that holds characters which XML has no way to write.
void require_storable(const std::string& text);

/// The key of a path in a policy: the SHA-256 of its text as 64 lowercase hexadecimal digits.
std::string path_hash(const std::string& path);

} // namespace tresk::service

#endif
