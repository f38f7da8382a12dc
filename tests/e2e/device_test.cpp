// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "device": policies by type and by ids, many at once, and the record of devices.
#include "tests/e2e/treskctl_test.h"
#include "tests/support/policy_files.h"

#include <gmock/gmock.h>

#include <array>
#include <ctime>
#include <filesystem>

namespace tresk::test {

namespace {

using nlohmann::json;
using ::testing::HasSubstr;

const std::string kRefused = "the library refused; the framework's log has the reason\n";

class DeviceTest : public TreskctlTest {
  protected:
    static std::string types() { return read_state("scene/devctl_type"); }

    static std::string ids() { return read_state("scene/devctl_pvid"); }

    static Outcome batch(const std::string& lines)
    {
        return treskctl_with_input(lines, {"device", "batch", "-f", "-"});
    }
};

TEST_F(DeviceTest, AddMakesAPolicyForAType)
{
    EXPECT_EQ(treskctl({"device", "add", "--type", "13", "--perm", "2"}),
              succeeded("RESULT  TYPE  VENDOR  PRODUCT  PERM\nadded   13    -       -        2\n"));
    EXPECT_EQ(types(), "1 3 2\n");
}

TEST_F(DeviceTest, AddMakesAPolicyForIds)
{
    EXPECT_EQ(treskctl({"device", "add", "--vendor", "0x1D6B", "--product", "2", "--utype", "3", "--serial",
                        "A 1", "--name", "hub", "--perm", "5"}),
              succeeded("RESULT  TYPE  VENDOR  PRODUCT  PERM\nadded   -     1d6b    0002     5\n"));
    EXPECT_EQ(ids(), "3 0002 1d6b 5 A 1\n");
}

TEST_F(DeviceTest, AnotherUsbTypeMayBeStored)
{
    treskctl({"device", "add", "--vendor", "1", "--product", "2", "--utype", "3", "--record-utype", "4",
              "--perm", "1"});
    EXPECT_THAT(ids(), ::testing::StartsWith("4 0002 0001 1"));
}

TEST_F(DeviceTest, RemoveTakesAwayWhatAddMade)
{
    const Words policy = {"--vendor", "1d6b", "--product", "2", "--utype", "3", "--perm", "5"};
    for (const char* command : {"add", "remove"}) {
        Words words = {"device", command};
        words.insert(words.end(), policy.begin(), policy.end());
        EXPECT_EQ(treskctl(words).exit_status, 0);
    }
    EXPECT_EQ(ids(), "");
    treskctl({"device", "add", "--type", "13", "--perm", "2"});
    EXPECT_EQ(treskctl({"device", "remove", "--type", "13", "--perm", "2"}),
              succeeded("RESULT   TYPE  VENDOR  PRODUCT  PERM\nremoved  13    -       -        2\n"));
    EXPECT_EQ(types(), "");
}

TEST_F(DeviceTest, UpdateReplacesThePermission)
{
    treskctl({"device", "add", "--type", "13", "--perm", "1"});
    EXPECT_EQ(treskctl({"device", "update", "--type", "13", "--perm", "5", "--name", "disk"}),
              succeeded("RESULT   TYPE  VENDOR  PRODUCT  PERM\nupdated  13    -       -        5\n"));
    EXPECT_EQ(types(), "1 3 5\n");
}

TEST_F(DeviceTest, ARefusalPointsToTheLog)
{
    treskctl({"device", "add", "--type", "13", "--perm", "1"});
    const Outcome outcome = treskctl({"device", "add", "--type", "13", "--perm", "1"});
    EXPECT_EQ(outcome, failed("treskctl: device add: " + kRefused));
    EXPECT_THAT(read_state("framework.log"), HasSubstr("failed to add devctl type policy: ret=-100"));
    EXPECT_EQ(treskctl({"device", "remove", "--type", "14", "--perm", "1"}),
              failed("treskctl: device remove: " + kRefused));
}

TEST_F(DeviceTest, TheSmSideGoesByTheScenesNumbers)
{
    EXPECT_EQ(treskctl({"device", "add", "--sm-class", "9", "--sm-subtype", "77", "--perm", "3"}),
              succeeded("RESULT  SM CLASS  SM SUBTYPE  PERM\nadded   9         77          3\n"));
    EXPECT_EQ(types(), "9 77 3\n");
    EXPECT_EQ(treskctl({"device", "add", "--sm-class", "9", "--sm-subtype", "77", "--perm", "3"}),
              failed("treskctl: device add: the policy is present already\n"));
    treskctl({"device", "remove", "--sm-class", "9", "--sm-subtype", "77", "--perm", "3"});
    EXPECT_EQ(types(), "");
    EXPECT_EQ(treskctl({"device", "remove", "--sm-class", "9", "--sm-subtype", "77", "--perm", "3"}),
              failed("treskctl: device remove: the policy is not present\n"));
    write_state("scene-faults", "tresk_scene_add_devctl_by_type -4\n");
    EXPECT_EQ(treskctl({"device", "add", "--sm-class", "9", "--sm-subtype", "77", "--perm", "3"}),
              failed("treskctl: device add: the framework's scene library failed with code -4\n"));
}

TEST_F(DeviceTest, ListsTellAllPoliciesOrOneKind)
{
    write_state("scene/devctl_type", "1 3 2\n9 9 1\n");
    write_state("scene/devctl_pvid", "3 0002 1d6b 5 serial\n");
    const std::string header = "TYPE  VENDOR  PRODUCT  UTYPE  PERM\n";
    const std::string by_type = "13    -       -        -      2\n-     -       -        -      1\n";
    const std::string by_ids = "-     1d6b    0002     3      5\n";
    for (const Words& view : {Words{}, Words{"--sm-view"}}) {
        const auto list = [&](const Words& options) {
            Words words = {"device", "list"};
            words.insert(words.end(), view.begin(), view.end());
            words.insert(words.end(), options.begin(), options.end());
            return treskctl(words);
        };
        EXPECT_EQ(list({}), succeeded(header + by_type + by_ids));
        EXPECT_EQ(list({"--types"}), succeeded(header + by_type));
        EXPECT_EQ(list({"--ids"}), succeeded(header + by_ids));
    }
}

TEST_F(DeviceTest, AnEmptyListIsNoFailure)
{
    for (const Words& words : {Words{"device", "list"}, Words{"device", "list", "--types"},
                               Words{"device", "list", "--ids"}, Words{"device", "list", "--sm-view"}}) {
        EXPECT_EQ(treskctl(words), succeeded("TYPE  VENDOR  PRODUCT  UTYPE  PERM\n"));
    }
}

TEST_F(DeviceTest, IdsAreNumbersForPrograms)
{
    write_state("scene/devctl_pvid", "3 0002 1d6b 5 \n");
    EXPECT_EQ(parsed(treskctl({"device", "list", "--json"}).output)["policies"],
              json::parse(R"([{"type": null, "vendor": 7531, "product": 2, "utype": 3, "perm": 5}])"));
}

TEST_F(DeviceTest, BatchAddsBothKindsInWhateverOrder)
{
    EXPECT_EQ(batch("{\"type\": 13, \"perm\": 2}\n\n"
                    "{\"vendor\": \"1d6b\", \"product\": 2, \"utype\": 3, \"serial\": \"A\", \"perm\": 5}\n"),
              succeeded("RESULT  POLICIES\nadded   2\n"));
    EXPECT_EQ(types(), "1 3 2\n");
    EXPECT_EQ(ids(), "3 0002 1d6b 5 A\n");
}

TEST_F(DeviceTest, BatchTakesTheRowsOfAList)
{
    const std::string rows = R"({"type": null, "vendor": 7531, "product": 2, "utype": 3, "perm": 5}
{"type": 13, "vendor": null, "product": null, "utype": null, "perm": 2})";
    EXPECT_EQ(batch(rows).exit_status, 0);
    EXPECT_EQ(parsed(treskctl({"device", "list", "--json"}).output)["policies"].size(), 2U);
}

TEST_F(DeviceTest, AnEmptyBatchIsNoFailure)
{
    EXPECT_EQ(batch("\n"), succeeded("RESULT  POLICIES\nadded   0\n"));
}

TEST_F(DeviceTest, ABatchThatIsRefusedIsAFailure)
{
    write_state("scene-faults", "tresk_scene_add_devctl_by_type -4\n");
    EXPECT_EQ(batch("{\"type\": 13, \"perm\": 2}"), failed("treskctl: device batch: " + kRefused));
    EXPECT_EQ(treskctl({"device", "batch", "-f", "/no/such"}),
              failed("treskctl: device batch: /no/such: cannot be read: No such file or directory\n"));
}

struct Mistake {
    const char* name;
    const char* line;
    const char* message;
};

void PrintTo(const Mistake& mistake, std::ostream* stream)
{
    *stream << mistake.name;
}

class DeviceBatchTest : public DeviceTest, public ::testing::WithParamInterface<Mistake> {};

TEST_P(DeviceBatchTest, AMistakeIsWrongUsageAndNothingIsDone)
{
    const Outcome outcome = batch("{\"type\": 13, \"perm\": 2}\n" + std::string(GetParam().line));
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: line 2: " + std::string(GetParam().message) + "\n"));
    EXPECT_EQ(types(), "");
}

constexpr Mistake kMistakes[] = {
    {"NoJson", "type=2", "is no JSON object"},
    {"NoObject", "[]", "is no JSON object"},
    {"UnknownField", R"({"type": 2, "perm": 1, "dtype": 2})", "there is no field \"dtype\""},
    {"NoPermission", R"({"type": 2})", "the field \"perm\" is missing"},
    {"NoProduct", R"({"vendor": 1, "perm": 1})", "the field \"product\" is missing"},
    {"Fraction", R"({"type": 2.5, "perm": 1})", "\"type\" is no number from 1 to 2147483647"},
    {"HugeNumber", R"({"type": 18446744073709551615, "perm": 1})",
     "\"type\" is no number from 1 to 2147483647"},
    {"NegativePermission", R"({"type": 2, "perm": -1})", "\"perm\" is no number from 0 to 2147483647"},
    {"TypeWithoutPolicy", R"({"type": 41, "perm": 1})", "there are no policies for a type 41"},
    {"TypeAndIds", R"({"type": 2, "vendor": 1, "perm": 1})", "a policy goes by its type or by its ids"},
    {"NoId", R"({"vendor": "x", "product": 1, "perm": 1})",
     "\"vendor\" is no id (1 to 8 hexadecimal digits)"},
    {"IdOfZero", R"({"vendor": 1, "product": 0, "perm": 1})", "an id is 0"},
    {"UsbType", R"({"vendor": 1, "product": 1, "utype": 22, "perm": 1})",
     "\"utype\" is no number from 0 to 21"},
    {"Serial", R"({"vendor": 1, "product": 1, "serial": "AB", "perm": 1})",
     "\"serial\" is longer than 1 bytes or holds a null character"},
    {"SerialIsNoText", R"({"vendor": 1, "product": 1, "serial": 1, "perm": 1})", "\"serial\" is no text"},
};

INSTANTIATE_TEST_SUITE_P(Mistakes, DeviceBatchTest, ::testing::ValuesIn(kMistakes),
                         [](const auto& parameter) { return parameter.param.name; });

class DeviceHistoryTest : public DeviceTest {
  protected:
    /// A moment ago, as the database has it.
    static std::string now()
    {
        const std::time_t seconds = std::time(nullptr) - 60;
        std::tm parts{};
        ::localtime_r(&seconds, &parts);
        std::array<char, sizeof("2000-01-01 00:00:00")> text{};
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
        return text.data();
    }

    static json device()
    {
        return {{"first", 4},    {"second", -1},    {"id_1", 7531},  {"id_2", 2},
                {"text_1", "a"}, {"text_2", "b c"}, {"time", now()}, {"text_3", "d"}};
    }

    static Outcome add(const std::string& lines)
    {
        return treskctl_with_input(lines, {"device", "history-add", "-f", "-"});
    }
};

TEST_F(DeviceHistoryTest, WhatIsAddedIsShown)
{
    const json row = device();
    EXPECT_EQ(add(row.dump() + "\n"), succeeded("RESULT    DEVICES\nrecorded  1\n"));
    EXPECT_EQ(treskctl({"device", "history"}),
              succeeded("FIRST  SECOND  ID 1  ID 2  TEXT 1  TEXT 2  TIME                 TEXT 3\n"
                        "4      -1      1d6b  0002  a       b c     " +
                        row["time"].get<std::string>() + "  d\n"));
    EXPECT_EQ(parsed(treskctl({"device", "history", "--json"}).output)["devices"], json::array({row}));
}

TEST_F(DeviceHistoryTest, ADatabaseThatIsMissingIsAFailureAndStaysMissing)
{
    EXPECT_EQ(treskctl({"device", "history"}),
              failed("treskctl: device history: /etc/tresk/db/whlist.db: cannot be read: No such file or "
                     "directory\n"));
    EXPECT_FALSE(std::filesystem::exists("/etc/tresk/db/whlist.db"));
}

TEST_F(DeviceHistoryTest, AServiceThatRefusesIsAFailure)
{
    refuse("tresk_devctl_insert_record", "MERON.TRESK.DATABASE.ERR");
    EXPECT_EQ(add(device().dump()),
              failed("treskctl: device history-add: the service refused; the framework's "
                     "log has the reason\n"));
}

TEST_F(DeviceHistoryTest, AnAnswerOtherThanZeroIsAFailure)
{
    write_state("service-faults", "tresk_devctl_insert_record reply (7,)\n");
    EXPECT_EQ(add(device().dump()), failed("treskctl: device history-add: the service answered 7\n"));
}

TEST_F(DeviceHistoryTest, ATextThatFitsNoRecordIsWrongUsage)
{
    json row = device();
    row["time"] = "2000-01-01 00:00:00Z";
    const Outcome outcome = add(row.dump());
    EXPECT_EQ(outcome.exit_status, 2);
    EXPECT_THAT(outcome.error, HasSubstr("treskctl: line 1: \"time\" is longer than 19 bytes"));
    row.erase("time");
    EXPECT_THAT(add(row.dump()).error, HasSubstr("treskctl: line 1: the field \"time\" is missing\n"));
}

TEST_F(DeviceHistoryTest, NoRecordsAreNoFailure)
{
    EXPECT_EQ(add(""), succeeded("RESULT    DEVICES\nrecorded  0\n"));
    EXPECT_EQ(read_state("service.log"), "");
}

} // namespace

} // namespace tresk::test
