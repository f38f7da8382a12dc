// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/ppro_edit.h"

namespace tresk::test {

namespace {

using ServiceCalls = std::vector<ServiceCall>;
using SceneCalls = std::vector<SceneCall>;

class EveryPproEdit : public PproEditTest {
  protected:
    void expect_was_told(const std::string& path) const
    {
        EXPECT_EQ(service.calls(), ServiceCalls{sent(GetParam(), path)});
        if (GetParam().scene == nullptr) {
            EXPECT_TRUE(framework().scene_calls.empty());
        } else {
            EXPECT_EQ(framework().scene_calls, (SceneCalls{{GetParam().scene, path}}));
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Edits, EveryPproEdit, ::testing::ValuesIn(kPproEdits), by_name);

TEST_P(EveryPproEdit, TellsTheServicePathAndArguments)
{
    EXPECT_EQ(edit("/usr/bin/a"), 0);
    expect_was_told("/usr/bin/a");
    EXPECT_TRUE(framework().logs.empty());
    EXPECT_TRUE(framework().errors.empty());
}

TEST_P(EveryPproEdit, AsksTheSceneBeforeTheService)
{
    service.on_call(GetParam().member, [] { framework().note("service"); });
    EXPECT_EQ(edit("/usr/bin/a"), 0);
    std::vector<std::string> wanted = {"service"};
    if (GetParam().scene != nullptr) {
        wanted.insert(wanted.begin(), std::string("scene ") + GetParam().scene);
    }
    EXPECT_EQ(framework().order, wanted);
}

TEST_P(EveryPproEdit, ReturnsTheServicesAnswer)
{
    for (const int answer : {1, -3, 2147483647}) {
        service.answer(GetParam().member, "(int32 " + std::to_string(answer) + ",)");
        EXPECT_EQ(edit("/usr/bin/a"), answer);
    }
    service.answer(GetParam().member, "(int32 12, 'and more')");
    EXPECT_EQ(edit("/usr/bin/a"), 12);
}

TEST_P(EveryPproEdit, MakesThePathAbsolute)
{
    framework().get_absolute_path = [](const char* path) {
        return ::strdup(path == std::string("../a") ? "/x/a" : "/other");
    };
    EXPECT_EQ(edit("../a"), 0);
    expect_was_told("/x/a");
}

TEST_P(EveryPproEdit, DropsDataBeforeHomeWhereBothFormsAreOneFile)
{
    same_file("/data/home/u/app");
    EXPECT_EQ(edit("/data/home/u/app"), 0);
    expect_was_told("/home/u/app");
}

TEST_P(EveryPproEdit, DropsDataBeforeRootWhereBothFormsAreOneFile)
{
    same_file("/data/root/app");
    EXPECT_EQ(edit("/data/root/app"), 0);
    expect_was_told("/root/app");
}

TEST_P(EveryPproEdit, TakesTenCharactersForADataPath)
{
    same_file("/data/homework/app");
    EXPECT_EQ(edit("/data/homework/app"), 0);
    expect_was_told("/homework/app");
}

TEST_P(EveryPproEdit, KeepsDataWhereTheFormsAreTwoFiles)
{
    for (const int answer : {0, -1, 2}) {
        framework().reset();
        service.forget_calls();
        framework().path_is_same = [answer](const char*, const char*) { return answer; };
        EXPECT_EQ(edit("/data/homework/app"), 0);
        expect_was_told("/data/homework/app");
    }
}

TEST_P(EveryPproEdit, KeepsDataBeforeAnythingElse)
{
    framework().path_is_same = [](const char*, const char*) { return 1; };
    EXPECT_EQ(edit("/data/usr/app"), 0);
    expect_was_told("/data/usr/app");
}

TEST_P(EveryPproEdit, DoesNotLengthenAHomePath)
{
    framework().path_is_mount_bind = [](const char*, const char*) { return 1; };
    EXPECT_EQ(edit("/home/u/app"), 0);
    expect_was_told("/home/u/app");
}

TEST_P(EveryPproEdit, SendsALongPathUncut)
{
    const std::string path = "/" + std::string(20'000, 'p');
    EXPECT_EQ(edit(path.c_str()), 0);
    expect_was_told(path);
}

TEST_P(EveryPproEdit, CutsAShortenedPathAt4095Bytes)
{
    const std::string path = "/data/home/" + std::string(5000, 'p');
    same_file(path);
    EXPECT_EQ(edit(path.c_str()), 0);
    expect_was_told(path.substr(5, 4095));
}

TEST_P(EveryPproEdit, SendsCharactersOfAnyLanguage)
{
    EXPECT_EQ(edit("/usr/bin/\xC3\xA9\xE2\x82\xAC %s%n"), 0);
    expect_was_told("/usr/bin/\xC3\xA9\xE2\x82\xAC %s%n");
}

TEST_P(EveryPproEdit, TellsTheServiceAgainAtEveryCall)
{
    edit("/usr/bin/a");
    edit("/usr/bin/a");
    EXPECT_EQ(service.calls(),
              (ServiceCalls{sent(GetParam(), "/usr/bin/a"), sent(GetParam(), "/usr/bin/a")}));
}

class PproPid : public ServiceTest {};

TEST_F(PproPid, IsTheServicesAnswer)
{
    service.answer("tresk_get_pid_by_path", "(int32 4321,)");
    EXPECT_EQ(tresk_get_pid_by_path("/usr/bin/a"), 4321);
    EXPECT_EQ(service.calls(), (ServiceCalls{{"/ppro", "com.meron.tresk.ppro", "tresk_get_pid_by_path", "s",
                                              "('/usr/bin/a',)"}}));
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PproPid, IsAskedWithThePathAsGiven)
{
    framework().path_is_same = [](const char*, const char*) { return 1; };
    framework().get_absolute_path = [](const char*) -> char* { return ::strdup("/absolute"); };
    for (const char* path : {"../bin/a", "", "/data/home/u/a"}) {
        service.forget_calls();
        EXPECT_EQ(tresk_get_pid_by_path(path), 0);
        EXPECT_EQ(service.calls(), (ServiceCalls{{"/ppro", "com.meron.tresk.ppro", "tresk_get_pid_by_path",
                                                  "s", "('" + std::string(path) + "',)"}}));
    }
}

TEST_F(PproPid, FailsWhenTheServiceDoes)
{
    service.fail("tresk_get_pid_by_path", "MERON.TRESK.AUTH.FAILED", "no");
    EXPECT_EQ(tresk_get_pid_by_path("/usr/bin/a"), -1);
    EXPECT_EQ(only_error().code, -1001);
}

TEST_F(PproPid, IsNotAskedForWhatCannotBeSent)
{
    for (const char* path : {static_cast<const char*>(nullptr), "/usr/bin/\xFF"}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(tresk_get_pid_by_path(path), -1);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told("tresk_get_pid_by_path", "tresk_ppro");
    }
    EXPECT_TRUE(service.calls().empty());
}

} // namespace

} // namespace tresk::test
