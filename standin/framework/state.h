// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The state directory of the development framework (TRESK_STANDIN_STATE): small text files through which the
// stand-in service, the stand-in libraries and a test tell each other things. Everything is read afresh at
// each call, so that a change takes effect at once and nothing is kept between calls.
#ifndef TRESK_STANDIN_FRAMEWORK_STATE_H
#define TRESK_STANDIN_FRAMEWORK_STATE_H

#include <map>
#include <optional>
#include <string>

namespace tresk::standin {

/// The state directory, or nothing where none is set.
std::optional<std::string> state_directory();

/// The whole content of a file, or nothing with errno set.
std::optional<std::string> read_file(const std::string& path);

/// The whole content of file @name of the state directory, or nothing where there is none.
std::optional<std::string> read_state(const std::string& name);

/// A state file of lines "KEY INTEGER". Lines of another form, and lines beginning with "#", are left out;
/// of a repeated key the last line counts.
std::map<std::string, int> read_state_numbers(const std::string& name);

} // namespace tresk::standin

#endif
