// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/ppro_edit.h"

#include <cerrno>

namespace tresk::test {

namespace {

class FailingPproEdit : public PproEditTest {
  protected:
    /// Whatever came of the edit, the scene was asked as often as it must be.
    static void expect_scene_was_asked()
    {
        EXPECT_EQ(framework().scene_calls.size(), GetParam().scene == nullptr ? 0U : 1U);
    }
};

INSTANTIATE_TEST_SUITE_P(Edits, FailingPproEdit, ::testing::ValuesIn(kPproEdits), by_name);

TEST_P(FailingPproEdit, ReportsAPathThatCannotBeMadeAbsolute)
{
    framework().get_absolute_path = [](const char*) -> char* {
        errno = EACCES;
        return nullptr;
    };
    EXPECT_EQ(edit("no/%s"), -1);
    const LogLine log = only_log();
    EXPECT_EQ(log.level, 3);
    EXPECT_EQ(log.source, "tresk_ppro");
    EXPECT_EQ(log.format, "faile to get absolute path: %s");
    EXPECT_EQ(log.text, "faile to get absolute path: Permission denied");
    const ErrorRecord error = only_error();
    EXPECT_EQ(error.code, -1011);
    EXPECT_EQ(error.subject, "no/%s");
    EXPECT_EQ(error.format, "faile to get absolute path: %s");
    EXPECT_EQ(error.text, "faile to get absolute path: Permission denied");
    expect_nothing_was_changed();
}

TEST_P(FailingPproEdit, TakesNullForAPathThatCannotBeMadeAbsolute)
{
    EXPECT_EQ(edit(nullptr), -1);
    EXPECT_EQ(only_log().text, "faile to get absolute path: Invalid argument");
    EXPECT_EQ(only_error().code, -1011);
    EXPECT_EQ(only_error().subject, std::nullopt);
    EXPECT_EQ(only_error().text, "faile to get absolute path: Invalid argument");
    expect_nothing_was_changed();
}

TEST_P(FailingPproEdit, ChangesNothingForAPathThatCannotBeSent)
{
    for (const char* path : {"/usr/bin/\xFF", "/usr/\xC3", "/\xED\xA0\x80", "/\xF5\x80\x80\x80"}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(edit(path), -1);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(GetParam().function, "tresk_ppro");
        expect_nothing_was_changed();
    }
}

TEST_P(FailingPproEdit, ReturnsMinusOneForAnErrorOfTheService)
{
    service.fail(GetParam().member, "MERON.TRESK.AUTH.FAILED", "not you, %s");
    EXPECT_EQ(edit("/usr/bin/a"), -1);
    EXPECT_EQ(only_error().code, -1001);
    EXPECT_EQ(only_error().text, "not you, %s");
    expect_scene_was_asked();
}

TEST_P(FailingPproEdit, ReturnsMinusOneForTheServicesOwnOk)
{
    service.fail(GetParam().member, "MERON.TRESK.OK", "fine");
    EXPECT_EQ(edit("/usr/bin/a"), -1);
    EXPECT_TRUE(framework().errors.empty());
    EXPECT_TRUE(framework().logs.empty());
}

TEST_P(FailingPproEdit, ReturnsMinusOneWhenTheServiceDies)
{
    service.die_on(GetParam().member);
    EXPECT_EQ(edit("/usr/bin/a"), -1);
    EXPECT_EQ(only_error().code, -1011);
    expect_scene_was_asked();
}

TEST_P(FailingPproEdit, ReturnsMinusOneForAnAnswerThatIsNoInteger)
{
    for (const char* reply : {"()", "('5',)", "(uint32 5,)", "(int64 5,)"}) {
        framework().reset();
        service.answer(GetParam().member, reply);
        EXPECT_EQ(edit("/usr/bin/a"), -1) << reply;
        EXPECT_EQ(only_error().code, -1011) << reply;
        EXPECT_EQ(framework().logs.size(), 1U) << reply;
    }
}

class PproEditWithoutService : public BusTest, public ::testing::WithParamInterface<PproEdit> {};

INSTANTIATE_TEST_SUITE_P(Edits, PproEditWithoutService, ::testing::ValuesIn(kPproEdits), by_name);

TEST_P(PproEditWithoutService, ReturnsMinusOne)
{
    EXPECT_EQ(GetParam().call("/usr/bin/a"), -1);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_P(PproEditWithoutService, ReturnsMinusOneWithoutABus)
{
    bus.stop();
    EXPECT_EQ(GetParam().call("/usr/bin/a"), -1);
    expect_interface_error_was_told();
}

/// The edits that take a source.
struct SourcedEdit {
    const char* name;
    const char* function;
    std::function<int(const char* path, const char* source)> call;
};

std::ostream& operator<<(std::ostream& out, const SourcedEdit& edit)
{
    return out << edit.name;
}

const SourcedEdit kSourcedEdits[] = {
    {"Add", "tresk_ppro_add_zdk",
     [](const char* path, const char* source) { return tresk_ppro_add_zdk(path, 1, 0, source); }},
    {"Remove", "tresk_ppro_remove_zdk",
     [](const char* path, const char* source) { return tresk_ppro_remove_zdk(path, 0, source); }},
    {"Update", "tresk_ppro_update_zdk",
     [](const char* path, const char* source) { return tresk_ppro_update_zdk(path, 1, 0, source); }},
};

class PproSourcedEdit : public ServiceTest, public ::testing::WithParamInterface<SourcedEdit> {};

INSTANTIATE_TEST_SUITE_P(Edits, PproSourcedEdit, ::testing::ValuesIn(kSourcedEdits), by_name);

TEST_P(PproSourcedEdit, ChangesNothingForASourceThatCannotBeSent)
{
    for (const char* source : {static_cast<const char*>(nullptr), "\xC3(", "a\xFF"}) {
        framework().reset();
        framework().get_absolute_path = [](const char* path) {
            framework().note("get_absolute_path");
            return ::strdup(path);
        };
        errno = 0;
        EXPECT_EQ(GetParam().call("/usr/bin/a", source), -1);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(GetParam().function, "tresk_ppro");
        EXPECT_EQ(framework().order, (std::vector<std::string>{"log", "error"}));
    }
    EXPECT_TRUE(service.calls().empty());
}

TEST_P(PproSourcedEdit, SendsASourceOfAnyLengthUncut)
{
    const std::string source(5000, 's');
    EXPECT_EQ(GetParam().call("/usr/bin/a", source.c_str()), 0);
    ASSERT_EQ(service.calls().size(), 1U);
    EXPECT_TRUE(service.calls()[0].arguments.ends_with(", '" + source + "')"));
}

} // namespace

} // namespace tresk::test
