// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/pblk_edit.h"
#include "tests/support/capture.h"

#include <cstring>

namespace tresk::test {

namespace {

using ServiceCalls = std::vector<ServiceCall>;
using SceneCalls = std::vector<SceneCall>;

class EveryPblkEdit : public PblkEditTest {
  protected:
    /// Scene and service were told this path, and the caller has it now.
    void expect_was_told(const std::string& path) const
    {
        EXPECT_EQ(framework().scene_calls, (SceneCalls{{GetParam().scene, path}}));
        EXPECT_EQ(service.calls(), ServiceCalls{sent(GetParam(), path)});
        EXPECT_EQ(path_now(), path);
    }
};

INSTANTIATE_TEST_SUITE_P(Edits, EveryPblkEdit, ::testing::ValuesIn(kPblkEdits), by_name);

TEST_P(EveryPblkEdit, TellsSceneAndServicePathAndSource)
{
    EXPECT_EQ(edit("/usr/bin/a"), 0);
    expect_was_told("/usr/bin/a");
    EXPECT_TRUE(framework().logs.empty());
    EXPECT_TRUE(framework().errors.empty());
}

TEST_P(EveryPblkEdit, AsksTheSceneBeforeTheService)
{
    service.on_call(GetParam().function, [] { framework().note("service"); });
    EXPECT_EQ(edit("/usr/bin/a"), 0);
    EXPECT_EQ(framework().order,
              (std::vector<std::string>{std::string("scene ") + GetParam().scene, "service"}));
}

TEST_P(EveryPblkEdit, ReturnsTheServicesAnswer)
{
    for (const int answer : {1, -3, 2147483647}) {
        service.answer(GetParam().function, "(int32 " + std::to_string(answer) + ",)");
        EXPECT_EQ(edit("/usr/bin/a"), answer);
    }
    service.answer(GetParam().function, "(int32 12, 'and more')");
    EXPECT_EQ(edit("/usr/bin/a"), 12);
}

TEST_P(EveryPblkEdit, DoesNotMakeThePathAbsolute)
{
    framework().get_absolute_path = [](const char*) {
        framework().note("get_absolute_path");
        return ::strdup("/x/a");
    };
    EXPECT_EQ(edit("../a"), 0);
    expect_was_told("../a");
    EXPECT_EQ(framework().order, std::vector<std::string>{std::string("scene ") + GetParam().scene});
}

TEST_P(EveryPblkEdit, ShortensTheCallersPathBelowDataHome)
{
    same_file("/data/home/u/tool");
    EXPECT_EQ(edit("/data/home/u/tool"), 0);
    expect_was_told("/home/u/tool");
}

TEST_P(EveryPblkEdit, ShortensTheCallersPathBelowDataRoot)
{
    same_file("/data/root/tool");
    EXPECT_EQ(edit("/data/root/tool"), 0);
    expect_was_told("/root/tool");
}

TEST_P(EveryPblkEdit, TakesTenCharactersForADataPath)
{
    same_file("/data/homework/tool");
    EXPECT_EQ(edit("/data/homework/tool"), 0);
    expect_was_told("/homework/tool");
    framework().reset();
    service.forget_calls();
    same_file("/data/home");
    EXPECT_EQ(edit("/data/home"), 0);
    expect_was_told("/home");
}

TEST_P(EveryPblkEdit, KeepsThePathWhereTheFormsAreTwoFiles)
{
    for (const int answer : {0, -1, 2}) {
        framework().reset();
        service.forget_calls();
        framework().path_is_same = [answer](const char*, const char*) { return answer; };
        EXPECT_EQ(edit("/data/home/u/tool"), 0);
        expect_was_told("/data/home/u/tool");
    }
}

TEST_P(EveryPblkEdit, KeepsAPathElsewhere)
{
    framework().path_is_same = [](const char*, const char*) { return 1; };
    framework().path_is_mount_bind = [](const char*, const char*) { return 1; };
    for (const char* path :
         {"/data/usr/tool", "/data/hom", "/home/u/tool", "data/home/tool", "/database/home", ""}) {
        framework().scene_calls.clear();
        service.forget_calls();
        EXPECT_EQ(edit(path), 0);
        expect_was_told(path);
    }
}

TEST_P(EveryPblkEdit, SendsALongPathUncut)
{
    const std::string path = "/" + std::string(20'000, 'p');
    EXPECT_EQ(edit(path), 0);
    expect_was_told(path);
}

TEST_P(EveryPblkEdit, CutsAShortenedPathAt4095Bytes)
{
    const std::string path = "/data/home/" + std::string(5000, 'p');
    same_file(path);
    EXPECT_EQ(edit(path), 0);
    expect_was_told(path.substr(5, 4095));
}

TEST_P(EveryPblkEdit, CutsAShortenedPathBetweenTwoCharacters)
{
    const std::string kept = "/data/home/" + std::string(4093 - 6, 'p'); // two bytes are left for characters
    const std::string path = kept + "\xE2\x82\xAC" + std::string(100, 'q');
    same_file(path);
    EXPECT_EQ(edit(path), 0);
    expect_was_told(kept.substr(5));
}

TEST_P(EveryPblkEdit, SendsCharactersOfAnyLanguage)
{
    EXPECT_EQ(edit("/usr/bin/\xC3\xA9\xE2\x82\xAC %s%n"), 0);
    expect_was_told("/usr/bin/\xC3\xA9\xE2\x82\xAC %s%n");
}

TEST_P(EveryPblkEdit, TellsTheServiceAgainAtEveryCall)
{
    edit("/usr/bin/a");
    edit("/usr/bin/a");
    EXPECT_EQ(service.calls(),
              (ServiceCalls{sent(GetParam(), "/usr/bin/a"), sent(GetParam(), "/usr/bin/a")}));
}

TEST_P(EveryPblkEdit, SaysNothing)
{
    EXPECT_EQ(captured_stdout([this] { edit("/usr/bin/a"); }), "");
}

} // namespace

} // namespace tresk::test
