// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/handles.h"
#include "tests/unit/devctl_scene.h"

#include <array>

namespace tresk::test {

namespace {

/// A counter's value before a call that must not write it.
constexpr int kUnwritten = -7777;

/// What a listing gave, its records as bytes.
struct Listing {
    bool null = true;
    int count = kUnwritten;
    std::string bytes;
    bool operator==(const Listing&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Listing& listing)
{
    return out << (listing.null ? "null" : "records") << " count " << listing.count << ' '
               << ::testing::PrintToString(listing.bytes);
}

template <class Record>
Listing list(Record* (*function)(int* count))
{
    int count = kUnwritten;
    const Malloced<Record> records(function(&count));
    if (!records) {
        return {true, count, ""};
    }
    const std::size_t size = sizeof(Record) * static_cast<std::size_t>(std::max(count, 0));
    return {false, count, std::string(reinterpret_cast<const char*>(records.get()), size)};
}

const Listing kFailure = {true, kUnwritten, ""};
const Listing kEmptyArray = {false, 0, ""};

/// A device policy record as a listing gives it.
std::string policy_bytes(std::int32_t dtype, std::uint32_t first_utype, std::uint32_t dpid,
                         std::uint32_t dvid, std::uint32_t dperm, std::uint32_t utype)
{
    return word(static_cast<std::uint32_t>(dtype)) + word(first_utype) + word(dpid) + word(dvid) +
           word(dperm) + word(0) + field("", 128) + word(utype) + field("", 256);
}

std::string short_bytes(const std::array<std::uint32_t, 8>& words)
{
    std::string bytes;
    for (const std::uint32_t each : words) {
        bytes += word(each);
    }
    return bytes;
}

pvid_record product(std::uint32_t usb_type, std::uint32_t dpid, std::uint32_t dvid, std::uint32_t perm)
{
    pvid_record record = {usb_type, dpid, dvid, "the serial", perm, "unused"};
    return record;
}

/// A getter that gives an array of no records all the same, or a count that fits none.
template <class Record>
std::function<Record*(int*)> strange_getter(bool with_array, int count)
{
    return [=](int* out) {
        *out = count;
        return with_array ? static_cast<Record*>(std::calloc(1, sizeof(Record))) : nullptr;
    };
}

class DeviceListing : public FrameworkTest {
  protected:
    static void hold_types(std::vector<type_record> records)
    {
        framework().device_types = records_getter(std::move(records));
    }

    static void hold_products(std::vector<pvid_record> records)
    {
        framework().device_pvids = records_getter(std::move(records));
    }

    static void types_are_strange(bool with_array, int count)
    {
        framework().device_types = strange_getter<type_record>(with_array, count);
    }

    static void products_are_strange(bool with_array, int count)
    {
        framework().device_pvids = strange_getter<pvid_record>(with_array, count);
    }

    static Listing all() { return list(tresk_devctl_read_all_dev_data); }

    static Listing types() { return list(tresk_devctl_read_not_special_data); }

    static Listing products() { return list(tresk_devctl_read_special_xmldata); }

    static Listing short_types() { return list(tresk_devctl_sm_get_no_special); }

    static Listing short_products() { return list(tresk_devctl_sm_read_special_xmldata); }
};

const std::string kTypes = policy_bytes(9, 0, 0, 0, 5, 0) + policy_bytes(26, 0, 0, 0, 1, 0);

TEST_F(DeviceListing, OfAllGivesTypesAndThenProducts)
{
    hold_types({{2, 1, 5}, {3, 13, 1}});
    hold_products({product(7, 0x1234, 0xFFFFFFFFU, 2), product(8, 1, 2, 1)});
    EXPECT_EQ(all(), (Listing{false, 4,
                              kTypes + policy_bytes(0, 7, 0x1234, 0xFFFFFFFFU, 2, 7) +
                                  policy_bytes(0, 8, 1, 2, 1, 8)}));
    EXPECT_EQ(framework().order, (std::vector<std::string>{"scene tresk_scene_get_devctl_all_types",
                                                           "scene tresk_scene_get_devctl_all_pvid"}));
}

TEST_F(DeviceListing, OfAllGivesTypesAlone)
{
    hold_types({{2, 1, 5}, {3, 13, 1}});
    EXPECT_EQ(all(), (Listing{false, 2, kTypes}));
    for (const int count : {5, -1}) {
        products_are_strange(false, count);
        EXPECT_EQ(all(), (Listing{false, 2, kTypes})) << "without an array there are no products";
    }
    products_are_strange(true, 0);
    EXPECT_EQ(all(), (Listing{false, 2, kTypes}));
}

TEST_F(DeviceListing, OfAllGivesProductsAlone)
{
    hold_products({product(7, 3, 4, 2)});
    EXPECT_EQ(all(), (Listing{false, 1, policy_bytes(0, 7, 3, 4, 2, 7)}));
}

TEST_F(DeviceListing, OfAllIsAnEmptyArrayWhereThereIsNothing)
{
    EXPECT_EQ(all(), kEmptyArray);
    types_are_strange(true, 0);
    products_are_strange(true, 0);
    EXPECT_EQ(all(), kEmptyArray);
    types_are_strange(false, 3);
    EXPECT_EQ(all(), kEmptyArray) << "without an array there are no types";
}

TEST_F(DeviceListing, OfAllFailsForANegativeNumberOfTypes)
{
    hold_products({product(7, 3, 4, 2)});
    for (const bool with_array : {false, true}) {
        types_are_strange(with_array, -1);
        EXPECT_EQ(all(), kFailure);
    }
    EXPECT_EQ(framework().order.size(), 2U) << "the products were asked for";
}

TEST_F(DeviceListing, OfAllFailsForANegativeNumberOfProducts)
{
    hold_types({{2, 1, 5}});
    products_are_strange(true, -1);
    EXPECT_EQ(all(), kFailure);
}

TEST_F(DeviceListing, OfTypesGivesTypes)
{
    hold_types({{2, 1, 5}, {3, 13, 1}});
    EXPECT_EQ(types(), (Listing{false, 2, kTypes}));
    EXPECT_EQ(framework().order, (std::vector<std::string>{"scene tresk_scene_get_devctl_all_types"}));
}

TEST_F(DeviceListing, OfTypesFailsWhereThereIsNone)
{
    EXPECT_EQ(types(), kFailure);
    for (const int count : {0, -1}) {
        for (const bool with_array : {false, true}) {
            types_are_strange(with_array, count);
            EXPECT_EQ(types(), kFailure);
        }
    }
    types_are_strange(false, 3);
    EXPECT_EQ(types(), kFailure);
}

TEST_F(DeviceListing, OfProductsLeavesTheFirstUsbTypeOut)
{
    hold_products({product(7, 0x1234, 0xFFFFFFFFU, 2), product(8, 1, 2, 0xFFFFFFFFU)});
    EXPECT_EQ(products(), (Listing{false, 2,
                                   policy_bytes(0, 0, 0x1234, 0xFFFFFFFFU, 2, 7) +
                                       policy_bytes(0, 0, 1, 2, 0xFFFFFFFFU, 8)}));
    EXPECT_EQ(framework().order, (std::vector<std::string>{"scene tresk_scene_get_devctl_all_pvid"}));
}

TEST_F(DeviceListing, OfProductsFailsWhereThereIsNone)
{
    EXPECT_EQ(products(), kFailure);
    for (const int count : {0, -1}) {
        for (const bool with_array : {false, true}) {
            products_are_strange(with_array, count);
            EXPECT_EQ(products(), kFailure);
        }
    }
    products_are_strange(false, 3);
    EXPECT_EQ(products(), kFailure);
}

TEST_F(DeviceListing, OfManyGivesAFullRecordForEach)
{
    constexpr std::size_t kMany = 3000;
    hold_types(std::vector<type_record>(kMany, {2, 1, 5}));
    hold_products(std::vector<pvid_record>(kMany, product(7, 3, 4, 2)));
    const Listing listing = all();
    EXPECT_EQ(listing.count, 2 * static_cast<int>(kMany));
    EXPECT_TRUE(listing.bytes.starts_with(policy_bytes(9, 0, 0, 0, 5, 0)));
    EXPECT_TRUE(listing.bytes.ends_with(policy_bytes(0, 7, 3, 4, 2, 7)));
    EXPECT_EQ(products().bytes.size(), kMany * 412);
    EXPECT_EQ(types().bytes.size(), kMany * 412);
    EXPECT_EQ(short_types().bytes.size(), kMany * 32);
    EXPECT_EQ(short_products().bytes.size(), kMany * 32);
}

TEST_F(DeviceListing, ShortOfTypesGivesTypes)
{
    hold_types({{2, 1, 5}, {3, 13, 0xFFFFFFFFU}});
    EXPECT_EQ(short_types(), (Listing{false, 2,
                                      short_bytes({9, 0, 0, 0, 0, 0, 5, 0}) +
                                          short_bytes({26, 0, 0, 0, 0, 0, 0xFFFFFFFFU, 0})}));
    EXPECT_EQ(framework().order, (std::vector<std::string>{"scene tresk_scene_get_devctl_all_types"}));
}

TEST_F(DeviceListing, ShortOfTypesIsAnEmptyArrayWhereThereIsNone)
{
    EXPECT_EQ(short_types(), kEmptyArray);
    types_are_strange(true, 0);
    EXPECT_EQ(short_types(), kEmptyArray);
    types_are_strange(false, 3);
    EXPECT_EQ(short_types(), kEmptyArray);
}

TEST_F(DeviceListing, ShortOfTypesFailsForANegativeNumber)
{
    for (const bool with_array : {false, true}) {
        types_are_strange(with_array, -1);
        EXPECT_EQ(short_types(), kFailure);
    }
}

TEST_F(DeviceListing, ShortOfProductsGivesProducts)
{
    hold_products({product(7, 0x1234, 0xFFFFFFFFU, 2), product(8, 1, 2, 5)});
    EXPECT_EQ(short_products(), (Listing{false, 2,
                                         short_bytes({0, 0, 0x1234, 0xFFFFFFFFU, 7, 0, 2, 0}) +
                                             short_bytes({0, 0, 1, 2, 8, 0, 5, 0})}));
    EXPECT_EQ(framework().order, (std::vector<std::string>{"scene tresk_scene_get_devctl_all_pvid"}));
}

TEST_F(DeviceListing, ShortOfProductsIsNullAndCountsNoneWhereThereIsNone)
{
    const Listing none = {true, 0, ""};
    EXPECT_EQ(short_products(), none);
    products_are_strange(true, 0);
    EXPECT_EQ(short_products(), none);
    products_are_strange(false, 3);
    EXPECT_EQ(short_products(), none);
}

TEST_F(DeviceListing, ShortOfProductsFailsForANegativeNumber)
{
    for (const bool with_array : {false, true}) {
        products_are_strange(with_array, -1);
        EXPECT_EQ(short_products(), kFailure);
    }
}

TEST_F(DeviceListing, ShortOnesDoNotGoByTheCountTheyFind)
{
    hold_types({{2, 1, 5}, {2, 1, 5}, {2, 1, 5}});
    hold_products({product(7, 3, 4, 2), product(7, 3, 4, 2)});
    for (const int found : {0, 1, -5, 2'000'000'000}) {
        int count = found;
        const Malloced<tresk_device_policy_short> types(tresk_devctl_sm_get_no_special(&count));
        ASSERT_NE(types, nullptr);
        EXPECT_EQ(count, 3);
        EXPECT_EQ(types.get()[2].dtype, 9U);
        count = found;
        const Malloced<tresk_device_policy_short> products(tresk_devctl_sm_read_special_xmldata(&count));
        ASSERT_NE(products, nullptr);
        EXPECT_EQ(count, 2);
        EXPECT_EQ(products.get()[1].utype, 7U);
    }
}

/// A listing that converts types.
struct Converting {
    const char* name;
    Listing (*read)();
    const char* function;
    std::string known_first; ///< its first record where that is known
    std::string unknown;
};

std::ostream& operator<<(std::ostream& out, const Converting& row)
{
    return out << row.name;
}

const Converting kConverting[] = {
    {"All", [] { return list(tresk_devctl_read_all_dev_data); }, "tresk_devctl_read_all_dev_data",
     policy_bytes(9, 0, 0, 0, 5, 0), policy_bytes(-1, 0, 0, 0, 2, 0)},
    {"Types", [] { return list(tresk_devctl_read_not_special_data); }, "tresk_devctl_read_not_special_data",
     policy_bytes(9, 0, 0, 0, 5, 0), policy_bytes(-1, 0, 0, 0, 2, 0)},
    {"Short", [] { return list(tresk_devctl_sm_get_no_special); }, "tresk_devctl_sm_get_no_special",
     short_bytes({9, 0, 0, 0, 0, 0, 5, 0}), short_bytes({0xFFFFFFFFU, 0, 0, 0, 0, 0, 2, 0})},
};

class DeviceTypeListing : public DeviceListing, public ::testing::WithParamInterface<Converting> {};

INSTANTIATE_TEST_SUITE_P(Listings, DeviceTypeListing, ::testing::ValuesIn(kConverting), by_name);

TEST_P(DeviceTypeListing, GivesMinusOneForATypeWithoutANumberAndLogsIt)
{
    hold_types({{2, 1, 5}, {2, 4, 2}});
    EXPECT_EQ(GetParam().read(), (Listing{false, 2, GetParam().known_first + GetParam().unknown}));
    expect_logged(GetParam().function, "failed to convert from invalid scene devctl device type 4\n");
}

TEST_P(DeviceTypeListing, LogsEveryTypeWithoutANumber)
{
    hold_types({{4, 1, 2}, {3, 20, 2}});
    EXPECT_EQ(GetParam().read(), (Listing{false, 2, GetParam().unknown + GetParam().unknown}));
    ASSERT_EQ(framework().logs.size(), 2U);
    EXPECT_EQ(framework().logs[0].text, "failed to convert from invalid scene devctl type 4\n");
    EXPECT_EQ(framework().logs[1].text, "failed to convert from invalid scene devctl usb type 20\n");
}

/// The wireless networks that the scene holds; the scene's array is never the library's to free.
class WirelessListing : public FrameworkTest {
  protected:
    void hold(const std::vector<std::string>& names)
    {
        for (const std::string& name : names) {
            netcard_record& network = networks.emplace_back();
            std::memcpy(network.name, field(name, sizeof(network.name)).data(), sizeof(network.name));
            network.perm = 0xFFFFFFFFU;
        }
        given(static_cast<int>(names.size()));
    }

    void given(int count)
    {
        networks.reserve(1);
        framework().wireless_networks = [this, count](int* out) {
            *out = count;
            return networks.data();
        };
    }

    static Listing read() { return list(tresk_devctl_read_all_ssid_data); }

    std::vector<netcard_record> networks;
};

TEST_F(WirelessListing, GivesTheNames)
{
    hold({"home", "", std::string(127, 'n')});
    EXPECT_EQ(read(),
              (Listing{false, 3, field("home", 128) + field("", 128) + field(std::string(127, 'n'), 128)}));
    expect_nothing_logged();
}

TEST_F(WirelessListing, EndsANameThatFillsItsField)
{
    hold({std::string(128, 'n'), "next"});
    EXPECT_EQ(read(), (Listing{false, 2, field(std::string(127, 'n'), 128) + field("next", 128)}));
}

TEST_F(WirelessListing, GivesTheWholeFieldWhateverStandsInIt)
{
    const std::string odd("a\0behind\xFF", 9);
    hold({odd});
    EXPECT_EQ(read(), (Listing{false, 1, field(odd, 128)}));
}

TEST_F(WirelessListing, LeavesTheScenesArrayAlone)
{
    hold({"home"});
    const std::vector<netcard_record> before = networks;
    EXPECT_FALSE(read().null);
    EXPECT_FALSE(read().null);
    EXPECT_EQ(std::memcmp(before.data(), networks.data(), sizeof(netcard_record)), 0);
}

TEST_F(WirelessListing, IsAnEmptyArrayWhereTheScenesIs)
{
    given(0);
    EXPECT_EQ(read(), kEmptyArray);
}

TEST_F(WirelessListing, FailsWithoutTheScenesArray)
{
    for (const int count : {0, 3, -1}) {
        framework().wireless_networks = strange_getter<netcard_record>(false, count);
        EXPECT_EQ(read(), kFailure);
    }
}

TEST_F(WirelessListing, FailsForANegativeNumber)
{
    given(-1);
    EXPECT_EQ(read(), kFailure);
}

/// Every listing, with its address as a plain one.
struct AnyListing {
    const char* name;
    const void* (*call)(int* count);
};

std::ostream& operator<<(std::ostream& out, const AnyListing& listing)
{
    return out << listing.name;
}

class EveryDeviceListing : public FrameworkTest, public ::testing::WithParamInterface<AnyListing> {};

INSTANTIATE_TEST_SUITE_P(
    Listings, EveryDeviceListing,
    ::testing::Values(
        AnyListing{"All", [](int* c) -> const void* { return tresk_devctl_read_all_dev_data(c); }},
        AnyListing{"Types", [](int* c) -> const void* { return tresk_devctl_read_not_special_data(c); }},
        AnyListing{"Products", [](int* c) -> const void* { return tresk_devctl_read_special_xmldata(c); }},
        AnyListing{"Networks", [](int* c) -> const void* { return tresk_devctl_read_all_ssid_data(c); }},
        AnyListing{"ShortTypes", [](int* c) -> const void* { return tresk_devctl_sm_get_no_special(c); }},
        AnyListing{"ShortProducts",
                   [](int* c) -> const void* { return tresk_devctl_sm_read_special_xmldata(c); }}),
    by_name);

TEST_P(EveryDeviceListing, IsNullForANullCount)
{
    framework().device_types = records_getter<type_record>({{2, 1, 5}});
    framework().device_pvids = records_getter<pvid_record>({product(7, 3, 4, 2)});
    EXPECT_EQ(GetParam().call(nullptr), nullptr);
    EXPECT_TRUE(framework().order.empty()) << "the scene was asked, or something was logged";
}

class DeviceEntryPoints : public FrameworkTest {};

TEST_F(DeviceEntryPoints, DoNothing)
{
    framework().device_types = records_getter<type_record>({{2, 1, 5}});
    framework().disabled = 1;
    EXPECT_EQ(tresk_devctl_auto_sync_config(), 0);
    EXPECT_EQ(tresk_devctl_read_sys_devinfo(), nullptr);
    EXPECT_EQ(tresk_devctl_rebind_usb_device(), 0);
    tresk_devctl_get_sm();
    tresk_devctl_sm_clean_all_policies();
    tresk_devctl_load_vex_policies();
    EXPECT_TRUE(framework().order.empty());
}

} // namespace

} // namespace tresk::test
