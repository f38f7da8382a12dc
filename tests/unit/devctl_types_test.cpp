// SPDX-License-Identifier: LGPL-2.1-or-later
#include "devctl/device_types.h"
#include "tests/unit/devctl_scene.h"

#include <limits>
#include <map>
#include <utility>

namespace tresk::test {

namespace {

using Pair = std::pair<std::uint32_t, std::uint32_t>;

/// Every library type that the scene knows, by the scene's classes and subtypes.
const std::map<std::int64_t, Pair> kForth = {
    {2, {1, 1}},  {3, {1, 2}},   {13, {1, 3}},  {14, {1, 4}},  {4, {1, 5}},   {19, {1, 6}},
    {20, {1, 7}}, {11, {1, 8}},  {15, {1, 9}},  {16, {1, 10}}, {23, {1, 11}},

    {9, {2, 1}},  {21, {2, 2}},  {22, {2, 3}},  {24, {2, 5}},  {25, {2, 5}},  {29, {2, 6}},
    {28, {2, 9}}, {8, {2, 10}},  {7, {2, 11}},  {6, {2, 12}},  {30, {2, 13}}, {31, {2, 14}},
    {5, {2, 15}}, {42, {2, 16}}, {43, {2, 17}},

    {12, {3, 2}}, {27, {3, 6}},  {10, {3, 13}}, {26, {3, 13}},
};

/// Every pair of the scene's that this library knows.
const std::map<Pair, std::int32_t> kBack = {
    {{1, 1}, 2},   {{1, 2}, 3},   {{1, 3}, 13},  {{1, 4}, 14},  {{1, 5}, 4},   {{1, 6}, 19},  {{1, 7}, 20},

    {{2, 1}, 9},   {{2, 2}, 21},  {{2, 3}, 22},  {{2, 5}, 24},  {{2, 6}, 29},  {{2, 7}, 25},  {{2, 9}, 28},
    {{2, 10}, 8},  {{2, 11}, 7},  {{2, 12}, 6},  {{2, 13}, 30}, {{2, 14}, 31}, {{2, 15}, 5},  {{2, 16}, 42},
    {{2, 17}, 43},

    {{3, 1}, 7},   {{3, 2}, 8},   {{3, 3}, 9},   {{3, 4}, 10},  {{3, 5}, 11},  {{3, 6}, 12},  {{3, 7}, 3},
    {{3, 8}, 6},   {{3, 9}, 13},  {{3, 10}, 14}, {{3, 11}, 15}, {{3, 12}, 16}, {{3, 13}, 26}, {{3, 14}, 7},
    {{3, 15}, 17}, {{3, 16}, 18}, {{3, 17}, 19}, {{3, 18}, 20}, {{3, 19}, 21},
};

std::string complaint(std::uint32_t device_class, std::uint32_t subtype)
{
    const std::map<std::uint32_t, std::string> words = {{1, "interface "}, {2, "device "}, {3, "usb "}};
    const bool known = words.contains(device_class);
    return "failed to convert from invalid scene devctl " + (known ? words.at(device_class) : "") + "type " +
           std::to_string(static_cast<std::int32_t>(known ? subtype : device_class)) + "\n";
}

class DeviceTypes : public FrameworkTest {};

TEST_F(DeviceTypes, AreTheScenesByOneTable)
{
    for (std::int64_t dtype = 0; dtype <= 300; ++dtype) {
        const std::optional<devctl::SceneType> type = devctl::scene_type(dtype);
        ASSERT_EQ(type.has_value(), kForth.contains(dtype)) << dtype;
        if (type) {
            EXPECT_EQ(Pair(type->device_class, type->subtype), kForth.at(dtype)) << dtype;
        }
    }
    expect_nothing_logged();
}

TEST_F(DeviceTypes, OutsideOfAllNumbersAreNoneOfTheScenes)
{
    for (const std::int64_t dtype : {std::int64_t{-1}, std::int64_t{std::numeric_limits<std::int32_t>::min()},
                                     std::int64_t{std::numeric_limits<std::int32_t>::max()},
                                     std::int64_t{std::numeric_limits<std::uint32_t>::max()}}) {
        EXPECT_FALSE(devctl::scene_type(dtype).has_value()) << dtype;
    }
}

class ScenesClass : public FrameworkTest, public ::testing::WithParamInterface<std::uint32_t> {};

INSTANTIATE_TEST_SUITE_P(Classes, ScenesClass, ::testing::Range(0U, 6U));

TEST_P(ScenesClass, HasItsLibraryTypesByAnotherTable)
{
    for (std::uint32_t subtype = 0; subtype <= 300; ++subtype) {
        framework().reset();
        const std::int32_t dtype = devctl::library_type("f", {GetParam(), subtype});
        const auto known = kBack.find({GetParam(), subtype});
        if (known != kBack.end()) {
            EXPECT_EQ(dtype, known->second) << subtype;
            expect_nothing_logged();
        } else {
            EXPECT_EQ(dtype, -1) << subtype;
            expect_logged("f", complaint(GetParam(), subtype));
        }
    }
}

TEST_F(DeviceTypes, OfUnheardOfNumbersAreLoggedAsSignedOnes)
{
    EXPECT_EQ(devctl::library_type("f", {2, 0xFFFFFFFFU}), -1);
    expect_logged("f", "failed to convert from invalid scene devctl device type -1\n");
    framework().reset();
    EXPECT_EQ(devctl::library_type("f", {0x80000000U, 1}), -1);
    expect_logged("f", "failed to convert from invalid scene devctl type -2147483648\n");
}

} // namespace

} // namespace tresk::test
