// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A library call and its text from one list of arguments, so that what a dry run shows is what would be
// called.
#ifndef TRESK_TRESKCTL_POLICY_CALL_TEXT_H
#define TRESK_TRESKCTL_POLICY_CALL_TEXT_H

#include "treskctl/policy/kind.h"

#include <concepts>
#include <cstddef>
#include <string>
#include <utility>

namespace tresk::ctl {

/// @text as C writes it, in quotes.
std::string c_literal(std::string_view text);

inline std::string argument_text(const std::string& text)
{
    return c_literal(text);
}

/// No text.
inline std::string argument_text(std::nullptr_t)
{
    return "NULL";
}

template <std::integral Number>
std::string argument_text(Number number)
{
    return std::to_string(number);
}

/// What the library is given of an argument; some functions shorten a path where it stands.
template <std::integral Number>
Number as_argument(Number number)
{
    return number;
}

inline std::nullptr_t as_argument(std::nullptr_t none)
{
    return none;
}

inline char* as_argument(std::string& text)
{
    return text.data();
}

/// @function(@arguments...), later. The arguments are kept with the call.
template <class Function, class... Arguments>
LibraryCall call_of(const char* name, Function function, Arguments... arguments)
{
    std::string text;
    ((text += (text.empty() ? "" : ", ") + argument_text(arguments)), ...);
    return {std::string(name) + "(" + text + ")",
            [function, ... kept = std::move(arguments)]() mutable { return function(as_argument(kept)...); }};
}

/// The call of a function under its own name.
#define TRESKCTL_CALL(function, ...) ::tresk::ctl::call_of(#function, function __VA_OPT__(, ) __VA_ARGS__)

} // namespace tresk::ctl

#endif
