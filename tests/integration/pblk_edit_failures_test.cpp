// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/pblk_edit.h"

#include <cerrno>

namespace tresk::test {

namespace {

class FailingPblkEdit : public PblkEditTest {};

INSTANTIATE_TEST_SUITE_P(Edits, FailingPblkEdit, ::testing::ValuesIn(kPblkEdits), by_name);

TEST_P(FailingPblkEdit, ChangesNothingForANullPath)
{
    errno = 0;
    EXPECT_EQ(GetParam().call(nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    expect_bad_argument_was_told(GetParam().function, "tresk_pblk");
    expect_nothing_was_changed();
}

TEST_P(FailingPblkEdit, ChangesNothingForAPathThatCannotBeSent)
{
    for (const char* path : {"/usr/bin/\xFF", "/usr/\xC3", "/\xED\xA0\x80", "/\xF5\x80\x80\x80"}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(edit(path), -1);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(GetParam().function, "tresk_pblk");
        expect_nothing_was_changed();
        EXPECT_EQ(path_now(), path);
    }
}

TEST_P(FailingPblkEdit, ShortensAPathThatCannotBeSent)
{
    same_file("/data/home/\xFF");
    EXPECT_EQ(edit("/data/home/\xFF"), -1);
    EXPECT_EQ(path_now(), "/home/\xFF");
    expect_bad_argument_was_told(GetParam().function, "tresk_pblk");
    expect_nothing_was_changed();
}

TEST_P(FailingPblkEdit, ReturnsMinusOneForAnErrorOfTheService)
{
    service.fail(GetParam().function, "MERON.TRESK.AUTH.FAILED", "not you, %s");
    EXPECT_EQ(edit("/usr/bin/a"), -1);
    EXPECT_EQ(only_error().code, -1001);
    EXPECT_EQ(only_error().text, "not you, %s");
    EXPECT_EQ(framework().scene_calls.size(), 1U);
}

TEST_P(FailingPblkEdit, ReturnsMinusOneForTheServicesOwnOk)
{
    service.fail(GetParam().function, "MERON.TRESK.OK", "fine");
    EXPECT_EQ(edit("/usr/bin/a"), -1);
    EXPECT_TRUE(framework().errors.empty());
    EXPECT_TRUE(framework().logs.empty());
}

TEST_P(FailingPblkEdit, ReturnsMinusOneWhenTheServiceDies)
{
    service.die_on(GetParam().function);
    EXPECT_EQ(edit("/usr/bin/a"), -1);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_P(FailingPblkEdit, ReturnsMinusOneForAnAnswerThatIsNoInteger)
{
    for (const char* reply : {"()", "('5',)", "(uint32 5,)", "(int64 5,)"}) {
        framework().reset();
        service.answer(GetParam().function, reply);
        EXPECT_EQ(edit("/usr/bin/a"), -1) << reply;
        expect_interface_error_was_told();
    }
}

class PblkEditWithoutService : public BusTest, public ::testing::WithParamInterface<PblkEdit> {
  protected:
    static int edit()
    {
        char path[] = "/usr/bin/a";
        return GetParam().call(path);
    }
};

INSTANTIATE_TEST_SUITE_P(Edits, PblkEditWithoutService, ::testing::ValuesIn(kPblkEdits), by_name);

TEST_P(PblkEditWithoutService, ReturnsMinusOne)
{
    EXPECT_EQ(edit(), -1);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_P(PblkEditWithoutService, ReturnsMinusOneWithoutABus)
{
    bus.stop();
    EXPECT_EQ(edit(), -1);
    expect_interface_error_was_told();
}

/// The edits that take a source.
struct SourcedEdit {
    const char* name;
    const char* function;
    int (*call)(char* path, int type, const char* source);
};

std::ostream& operator<<(std::ostream& out, const SourcedEdit& edit)
{
    return out << edit.name;
}

class PblkSourcedEdit : public ServiceTest, public ::testing::WithParamInterface<SourcedEdit> {};

INSTANTIATE_TEST_SUITE_P(Edits, PblkSourcedEdit,
                         ::testing::Values(SourcedEdit{"Add", "tresk_pblk_add_zdk", tresk_pblk_add_zdk},
                                           SourcedEdit{"Remove", "tresk_pblk_remove_zdk",
                                                       tresk_pblk_remove_zdk}),
                         by_name);

TEST_P(PblkSourcedEdit, ChangesNothingButThePathForASourceThatCannotBeSent)
{
    for (const char* source : {static_cast<const char*>(nullptr), "\xC3(", "a\xFF"}) {
        framework().reset();
        framework().path_is_same = [](const char*, const char*) { return 1; };
        char path[] = "/data/home/a";
        errno = 0;
        EXPECT_EQ(GetParam().call(path, 1, source), -1);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_STREQ(path, "/home/a");
        expect_bad_argument_was_told(GetParam().function, "tresk_pblk");
        EXPECT_TRUE(framework().scene_calls.empty());
    }
    EXPECT_TRUE(service.calls().empty());
}

TEST_P(PblkSourcedEdit, SendsASourceOfAnyLengthUncut)
{
    const std::string source(5000, 's');
    char path[] = "/usr/bin/a";
    EXPECT_EQ(GetParam().call(path, 1, source.c_str()), 0);
    ASSERT_EQ(service.calls().size(), 1U);
    EXPECT_EQ(service.calls()[0].arguments, "('/usr/bin/a', 1, '" + source + "')");
}

} // namespace

} // namespace tresk::test
