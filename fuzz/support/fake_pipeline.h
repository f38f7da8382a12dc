// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Pipelines, in their place by the linker (see CMakeLists.txt): nothing is run, the command is kept, and its
// output is what the input says.
#ifndef TRESK_FUZZ_SUPPORT_FAKE_PIPELINE_H
#define TRESK_FUZZ_SUPPORT_FAKE_PIPELINE_H

#include <string>

namespace tresk::fuzz {

struct FakePipeline {
    std::string command;
    int runs = 0;
    std::string answer;
};

FakePipeline& fake_pipeline();

} // namespace tresk::fuzz

#endif
