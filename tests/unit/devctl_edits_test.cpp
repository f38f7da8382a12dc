// SPDX-License-Identifier: LGPL-2.1-or-later
#include "devctl/device_types.h"
#include "tests/unit/devctl_scene.h"

namespace tresk::test {

namespace {

using Calls = std::vector<Told>;

/// What is asked of an edit. Each takes of it what it can.
struct Asked {
    std::uint32_t dtype = 0;
    std::uint32_t utype = 0;
    std::uint32_t dpid = 0;
    std::uint32_t dvid = 0;
    std::uint32_t record_utype = 0;
    const char* serial = nullptr;
    const char* display_name = nullptr;
    int dperm = 1;
};

/// An edit of one policy.
struct Edit {
    const char* name; ///< of the test's instance
    int (*call)(const Asked&);
    const char* function;
    std::string verb;
    bool tells_limits;           ///< its complaints about types say the number
    bool takes_display_name;     ///< and tells it
    bool stores_record_utype;    ///< rather than the USB type
    const char* scene;           ///< the scene's verb
    std::vector<int> also_takes; ///< codes of the scene that are no failure
};

std::ostream& operator<<(std::ostream& out, const Edit& edit)
{
    return out << edit.name;
}

const Edit kEdits[] = {
    {"Add",
     [](const Asked& asked) {
         return tresk_devctl_add_perm(asked.dtype, asked.utype, asked.dpid, asked.dvid, asked.record_utype,
                                      asked.serial, asked.display_name, asked.dperm);
     },
     "tresk_devctl_add_perm",
     "add",
     false,
     true,
     true,
     "add",
     {}},
    {"Remove",
     [](const Asked& asked) {
         return tresk_devctl_remove_perm(asked.dtype, asked.utype, asked.dpid, asked.dvid, asked.serial,
                                         asked.dperm);
     },
     "tresk_devctl_remove_perm",
     "remove",
     false,
     false,
     false,
     "remove",
     {}},
    {"Update",
     [](const Asked& asked) {
         return tresk_devctl_update_perm(asked.dtype, asked.utype, asked.dpid, asked.dvid, asked.serial,
                                         asked.display_name, asked.dperm);
     },
     "tresk_devctl_update_perm",
     "update",
     true,
     true,
     false,
     "add",
     {-100}},
};

class DeviceEdit : public FrameworkTest, public ::testing::WithParamInterface<Edit> {
  protected:
    static int edit(const Asked& asked) { return GetParam().call(asked); }

    static void expect_refused(const Asked& asked, const std::string& text)
    {
        framework().reset();
        EXPECT_EQ(edit(asked), -1);
        expect_logged(GetParam().function, text);
        EXPECT_TRUE(told_to_scene().empty());
    }

    /// The first that the scene was told.
    static Told first_told()
    {
        const Calls told = told_to_scene();
        return told.empty() ? Told() : told.front();
    }

    static std::string scene(const std::string& kind)
    {
        return std::string(GetParam().scene) + "_devctl_by_" + kind;
    }
};

INSTANTIATE_TEST_SUITE_P(Edits, DeviceEdit, ::testing::ValuesIn(kEdits), by_name);

TEST_P(DeviceEdit, RefusesDeviceTypesFrom44On)
{
    for (const std::uint32_t dtype : {44U, 45U, 300U, 0x80000000U, 0xFFFFFFFFU}) {
        expect_refused({.dtype = dtype},
                       GetParam().tells_limits
                           ? "failed to update devctl policy: invalid dtype " +
                                 std::to_string(static_cast<std::int32_t>(dtype)) + "\n"
                           : std::string(GetParam().function) + ": device type is not exist\n");
    }
}

TEST_P(DeviceEdit, RefusesUsbTypesFrom22On)
{
    for (const std::uint32_t utype : {22U, 23U, 0x80000000U, 0xFFFFFFFFU}) {
        expect_refused({.dtype = 2, .utype = utype},
                       GetParam().tells_limits
                           ? "failed to update devctl policy: invalid utype " +
                                 std::to_string(static_cast<std::int32_t>(utype)) + "\n"
                           : std::string(GetParam().function) + ": usb device type is not exist\n");
    }
}

TEST_P(DeviceEdit, ComplainsAboutTheDeviceTypeFirst)
{
    EXPECT_EQ(edit({.dtype = 44, .utype = 22, .dpid = 1}), -1);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].text.find("usb device"), std::string::npos);
    EXPECT_EQ(framework().logs[0].text.find("utype"), std::string::npos);
}

TEST_P(DeviceEdit, TellsTheSceneEveryTypeThatItKnows)
{
    for (std::uint32_t dtype = 1; dtype <= 43; ++dtype) {
        const std::optional<devctl::SceneType> type = devctl::scene_type(dtype);
        if (!type) {
            expect_refused({.dtype = dtype, .utype = 21}, "failed to " + GetParam().verb +
                                                              " devctl policy: invalid scene devctl dtype " +
                                                              std::to_string(dtype) + "\n");
            continue;
        }
        framework().reset();
        EXPECT_EQ(edit({.dtype = dtype, .utype = 21, .dperm = 5}), 0);
        EXPECT_EQ(first_told(), (Told{scene("type"), type_bytes(type->device_class, type->subtype, 5)}));
        expect_nothing_logged();
    }
}

TEST_P(DeviceEdit, TellsTheScenesAnswerAboutAType)
{
    for (const int answer : {-1, 1, -2, -99, -101, 100}) {
        framework().reset();
        framework().scene_results["tresk_scene_" + scene("type")] = answer;
        EXPECT_EQ(edit({.dtype = 43}), -1);
        expect_logged(GetParam().function, "failed to " + GetParam().verb +
                                               " devctl type policy: ret=" + std::to_string(answer) + "\n");
        EXPECT_EQ(told_to_scene(), (Calls{{scene("type"), type_bytes(2, 17, 1)}}));
    }
}

TEST_P(DeviceEdit, TellsTheSceneAProductByteForByte)
{
    const Asked asked = {.utype = 21,
                         .dpid = 0x1234,
                         .dvid = 0xFFFFFFFFU,
                         .record_utype = 7,
                         .serial = "A1",
                         .display_name = "never stored",
                         .dperm = 2};
    EXPECT_EQ(edit(asked), 0);
    const std::uint32_t usb_type = GetParam().stores_record_utype ? 7 : 21;
    EXPECT_EQ(first_told(), (Told{scene("pvid"), product_bytes(usb_type, 0x1234, 0xFFFFFFFFU, "A1", 2)}));
    expect_nothing_logged();
}

TEST_P(DeviceEdit, LeavesTheSerialEmptyWhereThereIsNone)
{
    for (const char* serial : {static_cast<const char*>(nullptr), ""}) {
        framework().reset();
        EXPECT_EQ(edit({.dpid = 1, .dvid = 2, .serial = serial}), 0);
        EXPECT_EQ(first_told(), (Told{scene("pvid"), product_bytes(0, 1, 2, "", 1)}));
    }
}

TEST_P(DeviceEdit, CutsTheSerialTo255Bytes)
{
    for (const std::size_t length : {254U, 255U, 256U, 5000U}) {
        framework().reset();
        const std::string serial(length, 's');
        EXPECT_EQ(edit({.dpid = 1, .dvid = 2, .serial = serial.c_str()}), 0);
        EXPECT_EQ(first_told(), (Told{scene("pvid"), product_bytes(0, 1, 2, serial.substr(0, 255), 1)}));
    }
}

TEST_P(DeviceEdit, TellsTheScenesAnswerAboutAProduct)
{
    for (const int answer : {-1, 1, -2, -99, -101, 100}) {
        framework().reset();
        framework().scene_results["tresk_scene_" + scene("pvid")] = answer;
        EXPECT_EQ(edit({.dpid = 1, .dvid = 2}), -1);
        expect_logged(GetParam().function, "failed to " + GetParam().verb +
                                               " devctl pvid policy: ret=" + std::to_string(answer) + "\n");
        EXPECT_EQ(told_to_scene().size(), 1U);
    }
}

TEST_P(DeviceEdit, TakesPresentAlreadyAsItsRowSays)
{
    const bool settled = !GetParam().also_takes.empty();
    for (const char* kind : {"type", "pvid"}) {
        framework().reset();
        framework().scene_results["tresk_scene_" + scene(kind)] = -100;
        const bool by_type = std::string(kind) == "type";
        EXPECT_EQ(edit(by_type ? Asked{.dtype = 2} : Asked{.dpid = 1, .dvid = 1}), settled ? 0 : -1);
        EXPECT_EQ(framework().logs.size(), settled ? 0U : 1U);
    }
}

TEST_P(DeviceEdit, RefusesWhatIsNeitherATypeNorAProduct)
{
    const Asked mixed[] = {{.dtype = 2, .dvid = 5},
                           {.dtype = 2, .dpid = 5},
                           {.dtype = 2, .dpid = 5, .dvid = 5},
                           {.dtype = 1, .dpid = 5, .dvid = 5},
                           {.dpid = 5},
                           {.dvid = 5},
                           {.utype = 3},
                           {.dtype = 17, .dvid = 5}};
    for (const Asked& asked : mixed) {
        Asked full = asked;
        full.serial = "%s%n";
        full.display_name = "a name";
        full.dperm = 2;
        expect_refused(full,
                       "failed to " + GetParam().verb +
                           " devctl pvid policy: invalid policy, dtype=" + std::to_string(full.dtype) +
                           ", utype=" + std::to_string(full.utype) + ", dpid=" + std::to_string(full.dpid) +
                           ", dvid=" + std::to_string(full.dvid) + ", serial=%s%n" +
                           (GetParam().takes_display_name ? ", display_name=a name" : "") + ", dperm=2\n");
    }
}

TEST_P(DeviceEdit, ShowsMissingTextsAndHugeIdsOfARefusedPolicy)
{
    expect_refused(
        {.utype = 21, .dpid = 0xFFFFFFFFU},
        "failed to " + GetParam().verb +
            " devctl pvid policy: invalid policy, dtype=0, utype=21, dpid=-1, dvid=0, serial=(null)" +
            (GetParam().takes_display_name ? ", display_name=(null)" : "") + ", dperm=1\n");
}

class DeviceEdits : public FrameworkTest {};

TEST_F(DeviceEdits, AddAndRemoveTakeAnyPermission)
{
    for (const int dperm : {0, 3, -1, 77}) {
        framework().reset();
        EXPECT_EQ(tresk_devctl_add_perm(2, 0, 0, 0, 0, nullptr, nullptr, dperm), 0);
        EXPECT_EQ(tresk_devctl_remove_perm(2, 0, 0, 0, nullptr, dperm), 0);
        const std::string record = type_bytes(1, 1, static_cast<std::uint32_t>(dperm));
        EXPECT_EQ(told_to_scene(),
                  (Calls{{"add_devctl_by_type", record}, {"remove_devctl_by_type", record}}));
    }
}

TEST_F(DeviceEdits, UpdateRefusesAnUnknownPermissionBeforeAnythingElse)
{
    for (const int dperm : {0, -1, 3, 4, 6, 0x10001}) {
        framework().reset();
        EXPECT_EQ(tresk_devctl_update_perm(44, 22, 1, 0, nullptr, nullptr, dperm), -1);
        expect_logged("tresk_devctl_update_perm",
                      "failed to update devctl policy policy: invalid perm value " + std::to_string(dperm) +
                          "\n");
        EXPECT_TRUE(told_to_scene().empty());
    }
}

/// A new permission and the ones that an update takes away.
struct Replacement {
    const char* name;
    std::uint32_t added;
    std::uint32_t removed[2];
};

std::ostream& operator<<(std::ostream& out, const Replacement& row)
{
    return out << row.name;
}

class DeviceUpdate : public FrameworkTest, public ::testing::WithParamInterface<Replacement> {
  protected:
    static void expect_replaced(const std::string& kind,
                                const std::function<std::string(std::uint32_t)>& bytes)
    {
        EXPECT_EQ(told_to_scene(), (Calls{{"add_devctl_by_" + kind, bytes(GetParam().added)},
                                          {"remove_devctl_by_" + kind, bytes(GetParam().removed[0])},
                                          {"remove_devctl_by_" + kind, bytes(GetParam().removed[1])}}));
        expect_nothing_logged();
    }

    static int update_type()
    {
        return tresk_devctl_update_perm(9, 3, 0, 0, "no", "no", static_cast<int>(GetParam().added));
    }

    static int update_product()
    {
        return tresk_devctl_update_perm(0, 3, 4, 5, "serial", "no", static_cast<int>(GetParam().added));
    }

    static std::string type_with(std::uint32_t perm) { return type_bytes(2, 1, perm); }

    static std::string product_with(std::uint32_t perm) { return product_bytes(3, 4, 5, "serial", perm); }
};

INSTANTIATE_TEST_SUITE_P(Permissions, DeviceUpdate,
                         ::testing::Values(Replacement{"To1", 1, {2, 5}}, Replacement{"To2", 2, {1, 5}},
                                           Replacement{"To5", 5, {1, 2}}),
                         by_name);

TEST_P(DeviceUpdate, AddsTheTypeAndRemovesItsOtherPermissions)
{
    EXPECT_EQ(update_type(), 0);
    expect_replaced("type", type_with);
}

TEST_P(DeviceUpdate, AddsTheProductAndRemovesItsOtherPermissions)
{
    EXPECT_EQ(update_product(), 0);
    expect_replaced("pvid", product_with);
}

TEST_P(DeviceUpdate, RemovesTheOthersAlsoWhereThePermissionWasThere)
{
    framework().scene_results["tresk_scene_add_devctl_by_type"] = -100;
    EXPECT_EQ(update_type(), 0);
    expect_replaced("type", type_with);
}

TEST_P(DeviceUpdate, SucceedsWhateverComesOfTheRemovals)
{
    framework().scene_results["tresk_scene_remove_devctl_by_type"] = -3;
    framework().scene_results["tresk_scene_remove_devctl_by_pvid"] = -1;
    EXPECT_EQ(update_type(), 0);
    expect_replaced("type", type_with);
    framework().scene_calls.clear();
    framework().scene_bytes.clear();
    EXPECT_EQ(update_product(), 0);
    expect_replaced("pvid", product_with);
}

/// An edit in the scene's own numbers.
struct SceneTypeEdit {
    const char* name;
    int (*call)(uint32_t device_class, uint32_t subtype, uint32_t perm);
    const char* function;
    std::string verb;
};

std::ostream& operator<<(std::ostream& out, const SceneTypeEdit& edit)
{
    return out << edit.name;
}

class DeviceSceneEdit : public FrameworkTest, public ::testing::WithParamInterface<SceneTypeEdit> {};

INSTANTIATE_TEST_SUITE_P(Edits, DeviceSceneEdit,
                         ::testing::Values(SceneTypeEdit{"Add", tresk_devctl_sm_add_perm,
                                                         "tresk_devctl_sm_add_perm", "add"},
                                           SceneTypeEdit{"Remove", tresk_devctl_sm_remove_perm,
                                                         "tresk_devctl_sm_remove_perm", "remove"}),
                         by_name);

TEST_P(DeviceSceneEdit, PassesAnyNumbersOnAndLogsTheAnswerItReturns)
{
    for (const int answer : {0, -1, -100, 3}) {
        framework().reset();
        framework().scene_results["tresk_scene_" + GetParam().verb + "_devctl_by_type"] = answer;
        EXPECT_EQ(GetParam().call(0xFFFFFFFFU, 0, 99), answer);
        EXPECT_EQ(told_to_scene(),
                  (Calls{{GetParam().verb + "_devctl_by_type", type_bytes(0xFFFFFFFFU, 0, 99)}}));
        expect_logged(GetParam().function,
                      std::string(GetParam().function) + ": sm devctl " + GetParam().verb +
                          " perm ret = " + std::to_string(answer) + "\n",
                      1);
    }
}

} // namespace

} // namespace tresk::test
