// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A target under libFuzzer, whose names these are.
#include "fuzz/support/target.h"

extern "C" {

int LLVMFuzzerInitialize(int* count, char*** words);
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerInitialize(int* /*count*/, char*** /*words*/)
{
    tresk::fuzz::set_up();
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tresk::fuzz::run({reinterpret_cast<const char*>(data), size});
    return 0;
}

} // extern "C"
