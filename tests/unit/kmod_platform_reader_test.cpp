// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A module's name where the platform's libkmod reads it itself: this program stands for such a platform.
#include "kmod/module_file.h"
#include "tests/support/capture.h"
#include "tests/support/framework_double.h"
#include "tests/unit/kmod_files.h"
#include "tresk_extend.h"

#include <libkmod.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace tresk::test {

namespace {

struct Platform {
    int result = 0;
    std::string name = "the_platforms";

    int calls = 0;
    std::string path;
    bool fixed_arguments = false;
    bool zeroed = false;
};

Platform& platform()
{
    static Platform value;
    return value;
}

class PlatformReaderTest : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        platform() = {};
    }

    std::string read(const char* path)
    {
        return captured_stderr([&] { name_.reset(get_kmod_name_from_ko(path)); });
    }

    Malloced<char> name_;
};

TEST_F(PlatformReaderTest, IsTheOneThatIsAsked)
{
    EXPECT_EQ(module_name_reader(), dnx_kmod_module_get_module_name);
    EXPECT_EQ(read(plain_module().c_str()), "");
    EXPECT_STREQ(name_.get(), "the_platforms");
    EXPECT_EQ(platform().calls, 1);
}

TEST_F(PlatformReaderTest, IsGivenTheModuleAndAnEmptyBuffer)
{
    read(plain_module().c_str());
    EXPECT_EQ(platform().path, plain_module());
    EXPECT_TRUE(platform().fixed_arguments);
    EXPECT_TRUE(platform().zeroed);
}

TEST_F(PlatformReaderTest, EveryNegativeResultIsAFailure)
{
    for (const int result : {-1, -22, -2147483647 - 1}) {
        platform().result = result;
        EXPECT_EQ(read(plain_module().c_str()), no_name_line(plain_module()));
        EXPECT_EQ(name_, nullptr);
    }
}

TEST_F(PlatformReaderTest, PositiveResultIsSuccess)
{
    platform().result = 13;
    EXPECT_EQ(read(plain_module().c_str()), "");
    EXPECT_STREQ(name_.get(), "the_platforms");
}

TEST_F(PlatformReaderTest, NameWithoutEndIsAFailure)
{
    platform().name = std::string(1024, 'n');
    EXPECT_EQ(read(plain_module().c_str()), no_name_line(plain_module()));
    EXPECT_EQ(name_, nullptr);
}

TEST_F(PlatformReaderTest, LongestNameIsTaken)
{
    platform().name = std::string(1023, 'n');
    EXPECT_EQ(read(plain_module().c_str()), "");
    EXPECT_EQ(name_.get(), std::string(1023, 'n'));
}

TEST_F(PlatformReaderTest, IsNotAskedAboutAMissingFile)
{
    EXPECT_EQ(read("/no/such.ko"), no_module_line("/no/such.ko"));
    EXPECT_EQ(platform().calls, 0);
}

TEST_F(PlatformReaderTest, ItsNameIsProtectedAndUnprotected)
{
    EXPECT_EQ(add_to_kmod_protect(plain_module().c_str()), 0);
    EXPECT_EQ(remove_from_kmod_protect(plain_module().c_str()), 0);
    EXPECT_EQ(framework().scene_calls,
              (std::vector<SceneCall>{{"tresk_scene_kmodctl_add_by_name", "the_platforms"},
                                      {"tresk_scene_kmodctl_remove_by_name", "the_platforms"}}));
}

TEST_F(PlatformReaderTest, ItsFailureFailsTheChange)
{
    platform().result = -1;
    int result = 0;
    EXPECT_EQ(captured_stderr([&] { result = add_to_kmod_protect(plain_module().c_str()); }),
              no_name_line(plain_module()) + "get kmod name failed\n");
    EXPECT_EQ(result, -2);
    EXPECT_TRUE(framework().scene_calls.empty());
}

// The other reader is there all the same, with the same result where it has one.
TEST_F(PlatformReaderTest, NameEntryIsReadWhereItIsAskedItself)
{
    const Handle<kmod_ctx, ::kmod_unref> context(::kmod_new(nullptr, nullptr));
    kmod_module* opened = nullptr;
    ASSERT_EQ(::kmod_module_new_from_path(context.get(), plain_module().c_str(), &opened), 0);
    const Handle<kmod_module, ::kmod_module_unref> module(opened);
    char name[kModuleNameBytes] = {};
    EXPECT_EQ(read_name_entry(module.get(), nullptr, 0, name), 0);
    EXPECT_STREQ(name, "real_name");
    EXPECT_EQ(platform().calls, 0);
}

} // namespace

} // namespace tresk::test

using namespace tresk::test;

int dnx_kmod_module_get_module_name(const kmod_module* module, const void* null, int zero, char* name)
{
    Platform& told = platform();
    ++told.calls;
    told.path = ::kmod_module_get_path(module);
    told.fixed_arguments = null == nullptr && zero == 0;
    told.zeroed = std::all_of(name, name + 1024, [](char byte) { return byte == '\0'; });
    std::memcpy(name, told.name.data(), told.name.size());
    return told.result;
}
