// SPDX-License-Identifier: LGPL-2.1-or-later
//
// tresk-sandbox: runs a command against the development stand-in of the framework.
#include "standin/sandbox/failure.h"
#include "standin/sandbox/guard.h"
#include "standin/sandbox/options.h"

#include <exception>
#include <iostream>
#include <variant>

int main(int argc, char** argv)
{
    using namespace tresk::standin;
    try {
        const auto parsed = parse_options(argc, argv);
        const auto* const options = std::get_if<Options>(&parsed);
        return options != nullptr ? run_guarded(*options) : std::get<int>(parsed);
    } catch (const std::exception& failure) {
        std::cerr << "tresk-sandbox: " << failure.what() << "\n";
        return SANDBOX_FAILED;
    }
}
