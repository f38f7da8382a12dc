// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/framework.h"
#include "common/handles.h"
#include "tests/standin/framework_scene.h"

#include <cstring>

namespace {

using tresk::test::FrameworkScene;

type_record type(std::uint32_t device_class, std::uint32_t subtype, std::uint32_t perm)
{
    return {device_class, subtype, perm};
}

pvid_record product(std::uint32_t id, const std::string& serial, std::uint32_t perm)
{
    pvid_record record = {};
    record.usb_type = 9;
    record.product_id = id;
    record.vendor_id = 0x46D;
    serial.copy(record.serial, sizeof record.serial);
    record.perm = perm;
    return record;
}

netcard_record network(const std::string& name, std::uint32_t perm)
{
    netcard_record record = {};
    name.copy(record.name, sizeof record.name);
    record.perm = perm;
    return record;
}

// --- what holds for each kind of record ---

/// The functions of one kind, and two of its records.
template <class Record>
struct Functions;

template <>
struct Functions<type_record> {
    static constexpr auto add = tresk_scene_add_devctl_by_type;
    static constexpr auto remove = tresk_scene_remove_devctl_by_type;
    static constexpr auto list = tresk_scene_get_devctl_all_types;
    static constexpr const char* add_name = "tresk_scene_add_devctl_by_type";
    static constexpr const char* remove_name = "tresk_scene_remove_devctl_by_type";
    static constexpr const char* list_name = "tresk_scene_get_devctl_all_types";
    static constexpr const char* file = "scene/devctl_type";

    static type_record first() { return type(1, 5, 2); }

    static type_record second() { return type(2, 5, 2); }
};

template <>
struct Functions<pvid_record> {
    static constexpr auto add = tresk_scene_add_devctl_by_pvid;
    static constexpr auto remove = tresk_scene_remove_devctl_by_pvid;
    static constexpr auto list = tresk_scene_get_devctl_all_pvid;
    static constexpr const char* add_name = "tresk_scene_add_devctl_by_pvid";
    static constexpr const char* remove_name = "tresk_scene_remove_devctl_by_pvid";
    static constexpr const char* list_name = "tresk_scene_get_devctl_all_pvid";
    static constexpr const char* file = "scene/devctl_pvid";

    static pvid_record first() { return product(0xC31C, "SN 1", 2); }

    static pvid_record second() { return product(0xC31C, "", 2); }
};

template <>
struct Functions<netcard_record> {
    static constexpr auto add = tresk_scene_add_devctl_by_netcard_name;
    static constexpr auto remove = tresk_scene_remove_devctl_by_netcard_name;
    static constexpr auto list = tresk_scene_get_devctl_netcard;
    static constexpr const char* add_name = "tresk_scene_add_devctl_by_netcard_name";
    static constexpr const char* remove_name = "tresk_scene_remove_devctl_by_netcard_name";
    static constexpr const char* list_name = "tresk_scene_get_devctl_netcard";
    static constexpr const char* file = "scene/devctl_netcard";

    static netcard_record first() { return network("my network", 1); }

    static netcard_record second() { return network("other", 1); }
};

bool same(const auto& a, const auto& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

template <class Record>
class FrameworkDevices : public FrameworkScene {
  protected:
    static int add(std::vector<Record> records)
    {
        return Functions<Record>::add(records.data(), static_cast<int>(records.size()));
    }

    static int remove(std::vector<Record> records)
    {
        return Functions<Record>::remove(records.data(), static_cast<int>(records.size()));
    }

    /// The first and the second record by their numbers.
    using Numbers = std::initializer_list<int>;

    static int add(Numbers numbers) { return add(records(numbers)); }

    static int remove(Numbers numbers) { return remove(records(numbers)); }

    static void expect_listed(Numbers numbers) { expect_listed(records(numbers)); }

    /// Expects the policy to hold exactly these records.
    static void expect_listed(const std::vector<Record>& expected)
    {
        int count = -1;
        const tresk::Malloced<Record> records{Functions<Record>::list(&count)};
        ASSERT_NE(records, nullptr);
        ASSERT_EQ(count, std::ssize(expected));
        for (std::size_t at = 0; at < expected.size(); ++at) {
            EXPECT_TRUE(same(records.get()[at], expected[at])) << at;
        }
    }

    /// Expects no list, and @code in the place of the number.
    static void expect_no_list(int code)
    {
        int count = 1;
        EXPECT_EQ(Functions<Record>::list(&count), nullptr);
        EXPECT_EQ(count, code);
    }

  private:
    static std::vector<Record> records(Numbers numbers)
    {
        std::vector<Record> records;
        for (const int number : numbers) {
            records.push_back(number == 1 ? Functions<Record>::first() : Functions<Record>::second());
        }
        return records;
    }
};

using Kinds = ::testing::Types<type_record, pvid_record, netcard_record>;
TYPED_TEST_SUITE(FrameworkDevices, Kinds);

TYPED_TEST(FrameworkDevices, AreListedAsTheyWereAdded)
{
    EXPECT_EQ(this->add({2}), 0);
    EXPECT_EQ(this->add({1}), 0);
    this->expect_listed({2, 1});
}

TYPED_TEST(FrameworkDevices, AreAddedOnce)
{
    EXPECT_EQ(this->add({1}), 0);
    EXPECT_EQ(this->add({1}), -100);
    this->expect_listed({1});
}

TYPED_TEST(FrameworkDevices, AreRemovedOnce)
{
    ASSERT_EQ(this->add({1, 2}), 0);
    EXPECT_EQ(this->remove({1}), 0);
    EXPECT_EQ(this->remove({1}), -3);
    this->expect_listed({2});
}

TYPED_TEST(FrameworkDevices, OfAnotherPermissionAreOthers)
{
    using F = Functions<TypeParam>;
    TypeParam other = F::first();
    other.perm = 5;
    ASSERT_EQ(this->add({1}), 0);
    EXPECT_EQ(this->add({other}), 0);
    this->expect_listed({F::first(), other});
    EXPECT_EQ(this->remove({1}), 0);
    this->expect_listed({other});
}

TYPED_TEST(FrameworkDevices, OfABatchAreAddedToThosePresent)
{
    ASSERT_EQ(this->add({1}), 0);
    EXPECT_EQ(this->add({1, 2, 2}), 0);
    this->expect_listed({1, 2});
    EXPECT_EQ(this->add({2, 1}), -100);
}

TYPED_TEST(FrameworkDevices, OfABatchAreRemovedWherePresent)
{
    ASSERT_EQ(this->add({1}), 0);
    EXPECT_EQ(this->remove({1, 2}), 0);
    this->expect_listed({});
    EXPECT_EQ(this->remove({1, 2}), -3);
}

TYPED_TEST(FrameworkDevices, EmptyBatchIsDone)
{
    using F = Functions<TypeParam>;
    TypeParam record = F::first();
    EXPECT_EQ(F::add(nullptr, 0), 0);
    EXPECT_EQ(F::remove(nullptr, 0), 0);
    EXPECT_EQ(F::add(&record, 0), 0);
    this->expect_listed({});
}

TYPED_TEST(FrameworkDevices, NullArrayAndNegativeCountAreRefused)
{
    using F = Functions<TypeParam>;
    TypeParam record = F::first();
    EXPECT_EQ(F::add(nullptr, 1), -1);
    EXPECT_EQ(F::remove(nullptr, 1), -1);
    EXPECT_EQ(F::add(&record, -1), -1);
    EXPECT_EQ(F::remove(&record, -1), -1);
    this->expect_listed({});
}

TYPED_TEST(FrameworkDevices, LargestNumbersAreKept)
{
    TypeParam record = {};
    std::memset(&record.perm, 0xFF, sizeof record.perm);
    ASSERT_EQ(this->add({record}), 0);
    this->expect_listed({record});
}

TYPED_TEST(FrameworkDevices, RecordOfZerosIsARecord)
{
    EXPECT_EQ(this->add({TypeParam{}}), 0);
    this->expect_listed({TypeParam{}});
}

TYPED_TEST(FrameworkDevices, FaultsAreAnsweredUnderEachFunctionsName)
{
    using F = Functions<TypeParam>;
    ASSERT_EQ(this->add({1}), 0);
    this->write("scene-faults",
                std::string(F::add_name) + " -9\n" + F::remove_name + " -8\n" + F::list_name + " -7\n");
    EXPECT_EQ(this->add({2}), -9);
    EXPECT_EQ(this->remove({1}), -8);
    this->expect_no_list(-7);
    std::filesystem::remove(this->path("scene-faults"));
    this->expect_listed({1});
}

TYPED_TEST(FrameworkDevices, NullCountGivesNoList)
{
    EXPECT_EQ(Functions<TypeParam>::list(nullptr), nullptr);
}

TYPED_TEST(FrameworkDevices, UnreadableLineGivesNoList)
{
    using F = Functions<TypeParam>;
    ASSERT_EQ(this->add({1}), 0);
    for (const char* line : {"nonsense\n", "\n", "-1 2 3\n", "4294967296 1 1\n", "1x 2 3\n"}) {
        this->write(F::file, line);
        SCOPED_TRACE(line);
        this->expect_no_list(-1);
    }
}

TYPED_TEST(FrameworkDevices, NoStateDirectoryGivesNoList)
{
    ::unsetenv("TRESK_STANDIN_STATE");
    EXPECT_EQ(this->add({Functions<TypeParam>::first()}), -1);
    this->expect_no_list(-1);
}

TYPED_TEST(FrameworkDevices, OfSeveralProcessesAreNotLost)
{
    using F = Functions<TypeParam>;
    constexpr int PROCESSES = 2;
    constexpr int RECORDS = 40;
    tresk::test::run_in_children(PROCESSES, [](int process) {
        bool added = true;
        for (int index = 0; index < RECORDS; ++index) {
            TypeParam record = F::first();
            record.perm = static_cast<std::uint32_t>(process * RECORDS + index);
            added = F::add(&record, 1) == 0 && added;
        }
        return added;
    });
    int count = -1;
    const tresk::Malloced<TypeParam> records{F::list(&count)};
    EXPECT_EQ(count, PROCESSES * RECORDS);
}

// --- the lines ---

using FrameworkTypes = FrameworkDevices<type_record>;
using FrameworkProducts = FrameworkDevices<pvid_record>;
using FrameworkNetworks = FrameworkDevices<netcard_record>;

TEST_F(FrameworkTypes, AreReadableLines)
{
    ASSERT_EQ(add({type(1, 5, 2), type(2, 17, 4294967295)}), 0);
    EXPECT_EQ(read("scene/devctl_type"), "1 5 2\n2 17 4294967295\n");
}

TEST_F(FrameworkTypes, LineOfMoreNumbersIsUnreadable)
{
    ASSERT_EQ(add({type(1, 5, 2)}), 0);
    write("scene/devctl_type", "1 5 2 7\n");
    expect_no_list(-1);
}

TEST_F(FrameworkProducts, AreReadableLines)
{
    ASSERT_EQ(add({product(0xC31C, "SN 1", 2), product(1, "", 5)}), 0);
    EXPECT_EQ(read("scene/devctl_pvid"), "9 c31c 046d 2 SN 1\n9 0001 046d 5 \n");
}

TEST_F(FrameworkProducts, OfAnotherSerialAreOthers)
{
    ASSERT_EQ(add({product(1, "a", 2)}), 0);
    EXPECT_EQ(add({product(1, "a ", 2)}), 0);
    EXPECT_EQ(remove({product(1, "", 2)}), -3);
    expect_listed({product(1, "a", 2), product(1, "a ", 2)});
}

TEST_F(FrameworkProducts, SerialsSurviveWhateverTheyHold)
{
    std::vector<pvid_record> records;
    for (const std::string& serial :
         {std::string("  two blanks "), std::string("line\nfeed"), std::string("line\\nfeed"),
          std::string("\\"), std::string("1 2 3"), std::string("t\tab \xC3\xBC \xFF\r"),
          std::string(255, 's'), std::string(256, '\n')}) {
        records.push_back(product(1, serial, 1));
    }
    ASSERT_EQ(add(records), 0);
    expect_listed(records);
    EXPECT_EQ(remove(records), 0);
    expect_listed({});
}

TEST_F(FrameworkProducts, BytesThatARecordDoesNotUseAreNotKept)
{
    pvid_record record = product(1, "a", 1);
    std::strcpy(record.serial + 2, "behind the NUL");
    std::strcpy(record.unused, "unused");
    ASSERT_EQ(add({record}), 0);
    expect_listed({product(1, "a", 1)});
    EXPECT_EQ(add({product(1, "a", 1)}), -100);
}

TEST_F(FrameworkProducts, SerialThatNoRecordHoldsIsUnreadable)
{
    ASSERT_EQ(add({product(1, "a", 1)}), 0);
    write("scene/devctl_pvid", "9 0001 046d 1 " + std::string(257, 's') + "\n");
    expect_no_list(-1);
}

TEST_F(FrameworkNetworks, AreReadableLines)
{
    ASSERT_EQ(add({network("my network", 1), network("", 1)}), 0);
    EXPECT_EQ(read("scene/devctl_netcard"), "1 my network\n1 \n");
}

TEST_F(FrameworkNetworks, NamesSurviveWhateverTheyHold)
{
    const std::vector<netcard_record> records{network(" a  b ", 1), network("a\nb", 1), network("a\\nb", 1),
                                              network(std::string(128, 'n'), 1)};
    ASSERT_EQ(add(records), 0);
    expect_listed(records);
}

} // namespace
