// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What a piece of code writes to the standard streams, byte for byte, whoever writes it: printf, GLib, a
// child.
#ifndef TRESK_TESTS_SUPPORT_CAPTURE_H
#define TRESK_TESTS_SUPPORT_CAPTURE_H

#include <functional>
#include <string>

namespace tresk::test {

std::string captured_stdout(const std::function<void()>& body);
std::string captured_stderr(const std::function<void()>& body);

} // namespace tresk::test

#endif
