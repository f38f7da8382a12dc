// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What reads a module file, with its first, second, third... request for memory refused. libkmod's context is
// opened beforehand: what it leaves behind where it finds no memory for one depends on its configuration.
#include "common/handles.h"
#include "tests/support/failing_memory.h"
#include "tests/support/framework_double.h"
#include "tests/unit/kmod_files.h"
#include "tresk_extend.h"

#include <libkmod.h>

#include <climits>
#include <cstring>
#include <string>

namespace tresk::test {

namespace {

/// Found before memory runs out.
const std::string kPlain = plain_module();
const std::string kXz = module_file("packed.ko.xz");
const std::string kZstd = module_file("packed.ko.zst");

/// Lent to every call that asks for a context; null: each gets its own.
kmod_ctx*& lent_context()
{
    static kmod_ctx* context = nullptr;
    return context;
}

Outcome read_name(const std::string& path)
{
    char* name = get_kmod_name_from_ko(path.c_str());
    return {name == nullptr, name != nullptr && std::strcmp(name, "real_name") == 0, name};
}

Outcome of_change(int result)
{
    const auto& told = framework().scene_calls;
    return {result < 0, result == 0 && told.size() == 1 && told[0].argument == "real_name", nullptr};
}

const WatchedCall kFunctions[] = {
    {"ReadName", [] { return read_name(kPlain); }, 0},
    {"ReadNameOfXz", [] { return read_name(kXz); }, 0},
    {"ReadNameOfZstd", [] { return read_name(kZstd); }, 0},
    {"Add", [] { return of_change(add_to_kmod_protect(kPlain.c_str())); }, 0},
    {"Remove", [] { return of_change(remove_from_kmod_protect(kPlain.c_str())); }, 0},
};

class KmodWithoutMemory : public FrameworkTest, public ::testing::WithParamInterface<WatchedCall> {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        lent_context() = ::kmod_new(nullptr, nullptr);
        ASSERT_NE(lent_context(), nullptr);
    }

    void TearDown() override
    {
        EXPECT_EQ(::kmod_unref(lent_context()), nullptr) << "somebody still holds the context";
        lent_context() = nullptr;
    }
};

INSTANTIATE_TEST_SUITE_P(Functions, KmodWithoutMemory, ::testing::ValuesIn(kFunctions),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(KmodWithoutMemory, FailsOrDoesItsWorkAtEachRefusal)
{
    EXPECT_GT(refuse_each(GetParam(), false), 0);
}

TEST_P(KmodWithoutMemory, FailsOrDoesItsWorkWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(GetParam(), true), 0);
}

TEST_F(FrameworkTest, KmodContextFailsOrIsOpenedAtEachRefusal)
{
    const WatchedCall whole = {"ReadNameFromTheStart", [] { return read_name(kPlain); }, LONG_MAX};
    EXPECT_GT(refuse_each(whole, false), 0);
    EXPECT_GT(refuse_each(whole, true), 0);
}

} // namespace

} // namespace tresk::test

using namespace tresk::test;

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

kmod_ctx* __real_kmod_new(const char* folder, const char* const* configuration);
kmod_ctx* __wrap_kmod_new(const char* folder, const char* const* configuration);

kmod_ctx* __wrap_kmod_new(const char* folder, const char* const* configuration)
{
    return lent_context() != nullptr ? ::kmod_ref(lent_context()) : __real_kmod_new(folder, configuration);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
