// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/framework.h"
#include "common/handles.h"
#include "tests/standin/framework_scene.h"

#include <array>
#include <optional>

namespace {

using FrameworkStatus = tresk::test::FrameworkScene;

std::optional<std::string> version()
{
    char* text = nullptr;
    EXPECT_EQ(tresk_version_get(2, &text), 0);
    const tresk::Malloced<char> owner{text};
    return text == nullptr ? std::nullopt : std::optional<std::string>{text};
}

TEST_F(FrameworkStatus, IsEnabledByDefault)
{
    EXPECT_EQ(tresk_is_disabled(), 0);
}

TEST_F(FrameworkStatus, IsDisabledByAStatusOfZero)
{
    write("status", "0\n");
    EXPECT_EQ(tresk_is_disabled(), 1);
    write("status", "1\n");
    EXPECT_EQ(tresk_is_disabled(), 0);
}

TEST_F(FrameworkStatus, HasEveryFunctionOnButTheOneThatNeedsHardware)
{
    EXPECT_EQ(tresk_get_func_status(5), 1);
    EXPECT_EQ(tresk_get_func_status(8), 0);
}

TEST_F(FrameworkStatus, TellsWhatTheServiceWroteDown)
{
    write("func_status", "5 0\n8 1\n10 2\n");
    EXPECT_EQ(tresk_get_func_status(5), 0);
    EXPECT_EQ(tresk_get_func_status(8), 1);
    EXPECT_EQ(tresk_get_func_status(10), 2);
    EXPECT_EQ(tresk_get_func_status(4), 1);
}

TEST_F(FrameworkStatus, WorksWithoutAStateDirectory)
{
    ::unsetenv("TRESK_STANDIN_STATE");
    EXPECT_EQ(tresk_is_disabled(), 0);
    EXPECT_EQ(tresk_get_func_status(0), 1);
    EXPECT_EQ(version(), "5.10");
}

TEST_F(FrameworkStatus, TakesTheVersionFromTheEnvironmentThenFromTheFile)
{
    write("version", "4.1\n");
    EXPECT_EQ(version(), "4.1");
    ::setenv("TRESK_STANDIN_VERSION", "4.2-x", 1);
    EXPECT_EQ(version(), "4.2-x");
    ::unsetenv("TRESK_STANDIN_VERSION");
}

TEST_F(FrameworkStatus, KnowsNoVersionWhereItsTextIsEmpty)
{
    write("version", "");
    EXPECT_EQ(version(), std::nullopt);
}

TEST_F(FrameworkStatus, DigestsATextWithSm3)
{
    std::array<unsigned char, 32> digest{};
    ASSERT_EQ(tresk_sm3_file_path("abc", 3, digest.data()), 0);
    // The standard's own example.
    constexpr std::array<unsigned char, 32> EXPECTED{
        0x66, 0xc7, 0xf0, 0xf4, 0x62, 0xee, 0xed, 0xd9, 0xd1, 0xf2, 0xd4, 0x6b, 0xdc, 0x10, 0xe4, 0xe2,
        0x41, 0x67, 0xc4, 0x87, 0x5c, 0xf2, 0xf7, 0xa2, 0x29, 0x7d, 0xa0, 0x2b, 0x8f, 0x4b, 0xa8, 0xe0};
    EXPECT_EQ(digest, EXPECTED);
    EXPECT_EQ(tresk_sm3_file_path(nullptr, 0, digest.data()), -1);
}

} // namespace
