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

/// Refuses a path that no policy can hold: one that is empty or relative, of 4096 bytes or more, or with
/// characters that XML has no way to write.
void require_path(const std::string& path);

/// lookup_form() of a path from a caller. Refuses what require_path() refuses, of either form.
std::string policy_path(const std::string& path);

/// Refuses a text that holds characters which XML has no way to write.
void require_storable(const std::string& text);

/// Refuses a text that does not fit a reader's field: what require_storable() refuses, and 4096 bytes or
/// more.
void require_field(const std::string& text);

} // namespace tresk::service

#endif
