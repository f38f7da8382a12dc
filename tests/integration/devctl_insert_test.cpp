// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/dbus_fixture.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace tresk::test {

namespace {

using ServiceCalls = std::vector<ServiceCall>;
using DeviceRecords = std::vector<tresk_device_record>;

constexpr char kFunction[] = "tresk_devctl_xdg_insert_record";
constexpr char kMethod[] = "tresk_devctl_insert_record";

/// Fills @field from its start; @text may fill all of it and may hold NUL bytes.
template <std::size_t N>
void set(char (&field)[N], const std::string& text)
{
    ASSERT_LE(text.size(), N);
    std::memcpy(field, text.data(), text.size());
}

tresk_device_record device(const std::string& text_1 = "one", const std::string& text_2 = "two",
                           const std::string& time = "2024-02-29 23:59:59",
                           const std::string& text_3 = "three")
{
    tresk_device_record record = {};
    record.first = -1;
    record.second = INT_MIN;
    record.third = 0x1d6b;
    record.fourth = UINT_MAX;
    set(record.text_1, text_1);
    set(record.text_2, text_2);
    set(record.time, time);
    set(record.text_3, text_3);
    return record;
}

int insert(const DeviceRecords& records)
{
    return tresk_devctl_xdg_insert_record(records.data(), static_cast<int>(records.size()));
}

ServiceCalls told(const std::string& arguments)
{
    return {{"/devctl", "com.meron.tresk.devctl", kMethod, "a(iiuussss)", arguments}};
}

class DeviceInsertion : public ServiceTest {
  protected:
    static void expect_refused(const tresk_device_record* records, int count)
    {
        framework().reset();
        EXPECT_EQ(tresk_devctl_xdg_insert_record(records, count), -1);
        const LogLine log = only_log();
        EXPECT_EQ(log.level, 3);
        EXPECT_EQ(log.subject, kFunction);
        EXPECT_EQ(log.source, "tresk_devctl");
        EXPECT_EQ(log.text, "tresk_devctl_xdg_insert_record: recv is null\n");
        EXPECT_TRUE(framework().errors.empty());
    }

    void expect_cannot_travel(const DeviceRecords& records)
    {
        framework().reset();
        errno = 0;
        EXPECT_EQ(insert(records), -1);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(kFunction, "tresk_devctl");
        EXPECT_TRUE(service.calls().empty());
    }
};

TEST_F(DeviceInsertion, TellsTheServiceEachFieldInOrder)
{
    EXPECT_EQ(insert({device()}), 0);
    EXPECT_EQ(service.calls(),
              told("([(-1, -2147483648, 7531, 4294967295, 'one', 'two', '2024-02-29 23:59:59', 'three')],)"));
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(DeviceInsertion, TellsTheServiceEveryRecordInOneCall)
{
    tresk_device_record zeros = {};
    EXPECT_EQ(insert({device("a"), zeros, device("b")}), 0);
    EXPECT_EQ(service.calls(),
              told("([(-1, -2147483648, 7531, 4294967295, 'a', 'two', '2024-02-29 23:59:59', 'three'), "
                   "(0, 0, 0, 0, '', '', '', ''), "
                   "(-1, -2147483648, 7531, 4294967295, 'b', 'two', '2024-02-29 23:59:59', 'three')],)"));
}

TEST_F(DeviceInsertion, SendsThousandsOfRecords)
{
    EXPECT_EQ(insert(DeviceRecords(5000, device())), 0);
    ASSERT_EQ(service.calls().size(), 1U);
    const std::string arguments = service.calls()[0].arguments;
    std::size_t records = 0;
    for (std::size_t at = arguments.find("'three')"); at != std::string::npos;
         at = arguments.find("'three')", at + 1)) {
        ++records;
    }
    EXPECT_EQ(records, 5000U);
}

TEST_F(DeviceInsertion, SendsAFieldThatHasNoNulWhole)
{
    const std::string a(128, 'a');
    const std::string b(128, 'b');
    const std::string c(20, 'c');
    const std::string d(256, 'd');
    EXPECT_EQ(insert({device(a, b, c, d)}), 0);
    EXPECT_EQ(service.calls(), told("([(-1, -2147483648, 7531, 4294967295, '" + a + "', '" + b + "', '" + c +
                                    "', '" + d + "')],)"));
}

TEST_F(DeviceInsertion, SendsNothingBehindANul)
{
    const std::string text("text\0\xFF", 6);
    EXPECT_EQ(insert({device(text, text, text, text)}), 0);
    EXPECT_EQ(service.calls(),
              told("([(-1, -2147483648, 7531, 4294967295, 'text', 'text', 'text', 'text')],)"));
}

TEST_F(DeviceInsertion, SendsTextsAsTheyStand)
{
    EXPECT_EQ(insert({device("%s%n", "\xC3\xA9", "", "b")}), 0);
    EXPECT_EQ(service.calls(), told("([(-1, -2147483648, 7531, 4294967295, '%s%n', '\xC3\xA9', '', 'b')],)"));
}

TEST_F(DeviceInsertion, RefusesATextThatIsNoUtf8InAnyFieldOfAnyRecord)
{
    for (const char* text : {"\xFF", "a\xC3", "\xED\xA0\x80"}) {
        for (std::size_t position = 0; position < 4; ++position) {
            std::string texts[] = {"one", "two", "now", "three"};
            texts[position] = text;
            DeviceRecords records = {device(texts[0], texts[1], texts[2], texts[3])};
            expect_cannot_travel(records);
            records.insert(records.begin(), 2, device());
            expect_cannot_travel(records);
        }
    }
}

TEST_F(DeviceInsertion, RefusesACharacterThatIsCutByTheFieldsEnd)
{
    expect_cannot_travel({device(std::string(127, 'a') + "\xC3")});
}

TEST_F(DeviceInsertion, RefusesNoRecords)
{
    const tresk_device_record record = device();
    expect_refused(nullptr, 1);
    expect_refused(nullptr, 0);
    expect_refused(&record, 0);
    expect_refused(&record, -1);
    expect_refused(&record, INT_MIN);
    EXPECT_TRUE(service.calls().empty());
}

TEST_F(DeviceInsertion, ReturnsTheServicesAnswer)
{
    for (const int answer : {0, 1, -1, -1013, INT_MAX, INT_MIN}) {
        service.answer(kMethod, "(int32 " + std::to_string(answer) + ",)");
        EXPECT_EQ(insert({device()}), answer);
    }
    service.answer(kMethod, "(int32 12, 'and more')");
    EXPECT_EQ(insert({device()}), 12);
}

TEST_F(DeviceInsertion, ReturnsMinusOneForAnErrorOfTheService)
{
    service.fail(kMethod, "MERON.TRESK.DEVCTL.ERR", "no room, %s");
    EXPECT_EQ(insert({device()}), -1);
    EXPECT_EQ(only_error().code, -1013);
    EXPECT_EQ(only_error().text, "no room, %s");
}

TEST_F(DeviceInsertion, ReturnsMinusOneForTheServicesOwnOk)
{
    service.fail(kMethod, "MERON.TRESK.OK", "fine");
    EXPECT_EQ(insert({device()}), -1);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(DeviceInsertion, ReturnsMinusOneWhenTheServiceDies)
{
    service.die_on(kMethod);
    EXPECT_EQ(insert({device()}), -1);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_F(DeviceInsertion, ReturnsMinusOneForAnAnswerThatIsNoInteger)
{
    for (const char* reply : {"()", "('5',)", "(uint32 5,)", "(int64 5,)"}) {
        framework().reset();
        service.answer(kMethod, reply);
        EXPECT_EQ(insert({device()}), -1) << reply;
        expect_interface_error_was_told();
    }
}

class DeviceInsertionWithoutService : public BusTest {};

TEST_F(DeviceInsertionWithoutService, ReturnsMinusOne)
{
    EXPECT_EQ(insert({device()}), -1);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_F(DeviceInsertionWithoutService, ReturnsMinusOneWithoutABus)
{
    bus.stop();
    EXPECT_EQ(insert({device()}), -1);
    expect_interface_error_was_told();
}

} // namespace

} // namespace tresk::test
