// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/fake_pipeline.h"

#include "fuzz/support/target.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

namespace tresk::fuzz {

FakePipeline& fake_pipeline()
{
    static FakePipeline pipeline;
    return pipeline;
}

} // namespace tresk::fuzz

using namespace tresk::fuzz;

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

std::FILE* __wrap_popen(const char* command, const char* mode);
int __wrap_pclose(std::FILE* stream);

std::FILE* __wrap_popen(const char* command, const char* /*mode*/)
{
    FakePipeline& pipeline = fake_pipeline();
    pipeline.command = command;
    ++pipeline.runs;
    const int memory = ::memfd_create("answer", MFD_CLOEXEC);
    const std::string& answer = pipeline.answer;
    TRESK_REQUIRE(memory >= 0);
    TRESK_REQUIRE(::write(memory, answer.data(), answer.size()) == static_cast<ssize_t>(answer.size()));
    TRESK_REQUIRE(::lseek(memory, 0, SEEK_SET) == 0);
    return ::fdopen(memory, "r");
}

int __wrap_pclose(std::FILE* stream)
{
    return std::fclose(stream);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
