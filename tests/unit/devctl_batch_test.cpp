// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/unit/devctl_scene.h"

#include <climits>

namespace tresk::test {

namespace {

using Calls = std::vector<Told>;
using Policies = std::vector<tresk_device_policy>;

constexpr char kFunction[] = "tresk_devctl_batch_add_perm";

/// A policy whose fields that do not matter hold what no other field holds.
tresk_device_policy policy(std::int32_t dtype, std::uint32_t dpid, std::uint32_t dvid, std::int32_t dperm,
                           std::uint32_t utype, const std::string& serial)
{
    tresk_device_policy made;
    std::memset(&made, 0xEE, sizeof(made));
    made.dtype = dtype;
    made.dpid = dpid;
    made.dvid = dvid;
    made.dperm = dperm;
    made.utype = utype;
    std::memcpy(made.serial, field(serial, sizeof(made.serial)).data(), sizeof(made.serial));
    return made;
}

tresk_device_policy of_type(std::int32_t dtype, std::int32_t dperm)
{
    return policy(dtype, 0, 0, dperm, 0, "");
}

tresk_device_policy of_product(std::uint32_t dpid, std::uint32_t dvid, std::int32_t dperm)
{
    return policy(0, dpid, dvid, dperm, 6, "Q");
}

int add(const Policies& policies)
{
    return tresk_devctl_batch_add_perm(policies.data(), static_cast<int>(policies.size()));
}

/// What the scene is told, in its two steps.
Calls both(const std::string& types, const std::string& products)
{
    return {{"add_devctl_by_type", types}, {"add_devctl_by_pvid", products}};
}

class DeviceBatch : public FrameworkTest {};

TEST_F(DeviceBatch, IsRefusedWithoutElements)
{
    const tresk_device_policy one = of_type(2, 1);
    for (const int count : {0, -1, INT_MIN}) {
        framework().reset();
        EXPECT_EQ(tresk_devctl_batch_add_perm(&one, count), -1);
        expect_logged(kFunction, "tresk_devctl_batch_add_perm: data is null or count is negative: " +
                                     std::to_string(count) + "\n");
        EXPECT_TRUE(told_to_scene().empty());
    }
}

TEST_F(DeviceBatch, IsRefusedWhereItIsNull)
{
    EXPECT_EQ(tresk_devctl_batch_add_perm(nullptr, 3), -1);
    expect_logged(kFunction, "tresk_devctl_batch_add_perm: data is null or count is negative: 3\n");
    EXPECT_TRUE(told_to_scene().empty());
}

TEST_F(DeviceBatch, AddsItsTypesAndThenNoProducts)
{
    EXPECT_EQ(add({of_type(2, 1), of_type(43, 5), of_type(10, -1)}), 0);
    EXPECT_EQ(told_to_scene(),
              both(type_bytes(1, 1, 1) + type_bytes(2, 17, 5) + type_bytes(3, 13, 0xFFFFFFFFU), ""));
    EXPECT_EQ(framework().scene_calls[0].argument, "3");
    EXPECT_EQ(framework().scene_calls[1].argument, "0");
    expect_nothing_logged();
}

TEST_F(DeviceBatch, AddsNoTypesAndThenItsProducts)
{
    EXPECT_EQ(add({of_product(1, 2, 5), of_product(3, 4, 2)}), 0);
    EXPECT_EQ(told_to_scene(), both("", product_bytes(6, 1, 2, "Q", 5) + product_bytes(6, 3, 4, "Q", 2)));
    EXPECT_EQ(framework().scene_calls[0].argument, "0");
    EXPECT_EQ(framework().scene_calls[1].argument, "2");
    expect_nothing_logged();
}

TEST_F(DeviceBatch, SortsTypesAndProductsApart)
{
    EXPECT_EQ(add({of_product(1, 2, 5), of_type(3, 1), of_product(3, 4, 2), of_type(4, 2)}), 0);
    EXPECT_EQ(told_to_scene(), both(type_bytes(1, 2, 1) + type_bytes(1, 5, 2),
                                    product_bytes(6, 1, 2, "Q", 5) + product_bytes(6, 3, 4, "Q", 2)));
}

TEST_F(DeviceBatch, CountsATypeThatTheSceneDoesNotKnow)
{
    EXPECT_EQ(add({of_type(17, 5), of_type(2, 1), of_type(1, 5), of_type(44, 5), of_type(INT_MAX, 5)}), 0);
    const std::string zeros = type_bytes(0, 0, 0);
    EXPECT_EQ(told_to_scene(), both(zeros + type_bytes(1, 1, 1) + zeros + zeros + zeros, ""));
    EXPECT_EQ(framework().scene_calls[0].argument, "5");
    expect_nothing_logged();
}

TEST_F(DeviceBatch, AddsNoProductWhereTheFirstElementIsAType)
{
    EXPECT_EQ(add({of_type(2, 1), of_product(1, 2, 5)}), 0);
    EXPECT_EQ(told_to_scene(), both(type_bytes(1, 1, 1), ""));
}

TEST_F(DeviceBatch, AddsNoProductWhereTheFirstElementIsNeither)
{
    for (const tresk_device_policy& first : {policy(0, 1, 0, 1, 0, ""), policy(0, 0, 1, 1, 0, ""),
                                             policy(0, 0, 0, 1, 0, ""), policy(2, 1, 1, 1, 0, "")}) {
        framework().reset();
        EXPECT_EQ(add({first, of_product(1, 2, 5), of_type(2, 1)}), 0);
        EXPECT_EQ(told_to_scene(), both(type_bytes(1, 1, 1), ""));
    }
}

TEST_F(DeviceBatch, AddsWhatIsNeitherAsAProductWhereTheFirstElementIsOne)
{
    EXPECT_EQ(add({of_product(1, 2, 5), policy(2, 7, 0, 1, 9, "Z"), policy(0, 0, 0, 2, 8, "")}), 0);
    EXPECT_EQ(told_to_scene(), both("", product_bytes(6, 1, 2, "Q", 5) + product_bytes(9, 7, 0, "Z", 1) +
                                            product_bytes(8, 0, 0, "", 2)));
}

TEST_F(DeviceBatch, TakesANegativeTypeAsNone)
{
    EXPECT_EQ(add({policy(-1, 1, 2, 5, 6, "Q"), policy(-1, 0, 0, 2, 6, "R")}), 0);
    EXPECT_EQ(told_to_scene(), both("", product_bytes(6, 1, 2, "Q", 5) + product_bytes(6, 0, 0, "R", 2)));
}

TEST_F(DeviceBatch, CutsTheSerialBehindItsFirstByte)
{
    std::string stored = "ABCDEF";
    stored[1] = '\0';
    EXPECT_EQ(add({policy(0, 1, 2, 5, 6, "ABCDEF")}), 0);
    EXPECT_EQ(told_to_scene(), both("", product_bytes(6, 1, 2, stored, 5)));
}

TEST_F(DeviceBatch, TakesASerialThatFillsItsField)
{
    std::string stored(128, 's');
    stored[1] = '\0';
    EXPECT_EQ(add({policy(0, 1, 2, 5, 6, std::string(128, 's'))}), 0);
    EXPECT_EQ(told_to_scene(), both("", product_bytes(6, 1, 2, stored, 5)));
}

TEST_F(DeviceBatch, AddsManyInOneCallEach)
{
    constexpr std::size_t kMany = 5000;
    Policies policies(kMany, of_product(1, 2, 5));
    policies.resize(2 * kMany, of_type(2, 1));
    EXPECT_EQ(add(policies), 0);
    const Calls told = told_to_scene();
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].bytes.size(), kMany * 12);
    EXPECT_EQ(told[1].bytes.size(), kMany * 528);
    EXPECT_TRUE(told[1].bytes.ends_with(product_bytes(6, 1, 2, "Q", 5)));
}

TEST_F(DeviceBatch, EndsWhereTheSceneRefusesTheTypes)
{
    framework().scene_results["tresk_scene_add_devctl_by_type"] = -100;
    EXPECT_EQ(add({of_product(1, 2, 5), of_type(2, 1)}), -1);
    expect_logged(kFunction, "tresk_devctl_batch_add_perm: failed to add devctl type policy, ret=-100\n");
    EXPECT_EQ(told_to_scene(), (Calls{{"add_devctl_by_type", type_bytes(1, 1, 1)}}));
}

TEST_F(DeviceBatch, LeavesTheTypesWhereTheSceneRefusesTheProducts)
{
    framework().scene_results["tresk_scene_add_devctl_by_pvid"] = 3;
    EXPECT_EQ(add({of_product(1, 2, 5), of_type(2, 1)}), -1);
    expect_logged(kFunction, "tresk_devctl_batch_add_perm: failed to add devctl pvid policy, ret=3\n");
    EXPECT_EQ(told_to_scene(), both(type_bytes(1, 1, 1), product_bytes(6, 1, 2, "Q", 5)));
}

} // namespace

} // namespace tresk::test
