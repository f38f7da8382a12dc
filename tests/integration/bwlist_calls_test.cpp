// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The calls of the service about the package lists.
#include "tests/integration/dbus_fixture.h"

#include <cerrno>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace tresk::test {

namespace {

using ServiceCalls = std::vector<ServiceCall>;

/// A call with values that tell its arguments apart.
struct ListCall {
    const char* name;
    std::function<int()> call;
    const char* function; ///< its method's name, too
    const char* signature;
    const char* arguments;
};

std::ostream& operator<<(std::ostream& out, const ListCall& call)
{
    return out << call.name;
}

constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

const ListCall kCalls[] = {
    {"Add", [] { return tresk_bwlist_add_zdk("white", "pkg", -7, "src"); }, "tresk_bwlist_add_zdk", "ssis",
     "('white', 'pkg', -7, 'src')"},
    {"Del", [] { return tresk_bwlist_del_zdk("black", "pkg", 7, ""); }, "tresk_bwlist_del_zdk", "ssis",
     "('black', 'pkg', 7, '')"},
    {"GetRootDistinguish", [] { return tresk_bwlist_get_root_distinguish_zdk(5, "src"); },
     "tresk_bwlist_get_root_distinguish_zdk", "is", "(5, 'src')"},
    {"GetRootDistinguishOfNull", [] { return tresk_bwlist_get_root_distinguish_zdk(-5, nullptr); },
     "tresk_bwlist_get_root_distinguish_zdk", "is", "(-5, '')"},
    {"SetRootDistinguish", [] { return tresk_bwlist_set_root_distinguish_zdk(8, 5, "src"); },
     "tresk_bwlist_set_root_distinguish_zdk", "iis", "(8, 5, 'src')"},
    {"ClearPolicy", [] { return tresk_bwlist_clear_policy_zdk(5, "src"); }, "tresk_bwlist_clear_policy_zdk",
     "is", "(5, 'src')"},
};

class BwlistCall : public ServiceTest, public ::testing::WithParamInterface<ListCall> {};

INSTANTIATE_TEST_SUITE_P(Calls, BwlistCall, ::testing::ValuesIn(kCalls), by_name);

TEST_P(BwlistCall, TellsTheServiceItsArgumentsInOrder)
{
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_EQ(service.calls(), (ServiceCalls{{"/bwlist", "com.meron.tresk.bwlist", GetParam().function,
                                              GetParam().signature, GetParam().arguments}}));
    EXPECT_TRUE(framework().order.empty()) << "something was logged, recorded or asked of the scene";
}

TEST_P(BwlistCall, ReturnsTheServicesAnswer)
{
    for (const int answer : {1, -3, 2147483647, -2147483647}) {
        service.answer(GetParam().function, "(int32 " + std::to_string(answer) + ",)");
        EXPECT_EQ(GetParam().call(), answer);
    }
    service.answer(GetParam().function, "(int32 12, 'and more')");
    EXPECT_EQ(GetParam().call(), 12);
}

TEST_P(BwlistCall, ReturnsTheCodeOfTheServicesError)
{
    service.fail(GetParam().function, "MERON.TRESK.DATABASE.ERR", "no room, %s");
    EXPECT_EQ(GetParam().call(), -1004);
    EXPECT_EQ(only_error().code, -1004);
    EXPECT_EQ(only_error().text, "no room, %s");
    EXPECT_EQ(only_log().text, "MERON.TRESK.DATABASE.ERR: no room, %s\n");
}

TEST_P(BwlistCall, ReturnsZeroForTheServicesOwnOk)
{
    service.fail(GetParam().function, "MERON.TRESK.OK", "fine");
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(BwlistCall, ReportsAServiceThatDies)
{
    service.die_on(GetParam().function);
    EXPECT_EQ(GetParam().call(), -1011);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_P(BwlistCall, ReportsAnAnswerThatIsNoInteger)
{
    for (const char* reply : {"()", "('5',)", "(uint32 5,)", "(int64 5,)"}) {
        framework().reset();
        service.answer(GetParam().function, reply);
        EXPECT_EQ(GetParam().call(), -1011) << reply;
        expect_interface_error_was_told();
    }
}

TEST_P(BwlistCall, CallsAgainAfterTheBusWasRestarted)
{
    EXPECT_EQ(GetParam().call(), 0);
    bus.restart();
    EXPECT_EQ(GetParam().call(), -1011) << "nobody owns the service's name";
    const ScriptedService again(bus.address());
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_EQ(again.calls().size(), 1U);
}

class BwlistCallWithoutService : public BusTest, public ::testing::WithParamInterface<ListCall> {};

INSTANTIATE_TEST_SUITE_P(Calls, BwlistCallWithoutService, ::testing::ValuesIn(kCalls), by_name);

TEST_P(BwlistCallWithoutService, Fails)
{
    EXPECT_EQ(GetParam().call(), -1011);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_P(BwlistCallWithoutService, FailsWithoutABus)
{
    bus.stop();
    EXPECT_EQ(GetParam().call(), -1011);
    expect_interface_error_was_told();
}

/// A call with one text of the test's own.
struct TextCall {
    const char* name;
    const char* function;
    bool takes_null;
    int (*call)(const char* text);
};

std::ostream& operator<<(std::ostream& out, const TextCall& call)
{
    return out << call.name;
}

const TextCall kTexts[] = {
    {"AddList", "tresk_bwlist_add_zdk", false,
     [](const char* text) { return tresk_bwlist_add_zdk(text, "pkg", 1, ""); }},
    {"AddPackage", "tresk_bwlist_add_zdk", false,
     [](const char* text) { return tresk_bwlist_add_zdk("white", text, 1, ""); }},
    {"AddSource", "tresk_bwlist_add_zdk", false,
     [](const char* text) { return tresk_bwlist_add_zdk("white", "pkg", 1, text); }},
    {"DelList", "tresk_bwlist_del_zdk", false,
     [](const char* text) { return tresk_bwlist_del_zdk(text, "pkg", 1, ""); }},
    {"DelPackage", "tresk_bwlist_del_zdk", false,
     [](const char* text) { return tresk_bwlist_del_zdk("white", text, 1, ""); }},
    {"DelSource", "tresk_bwlist_del_zdk", false,
     [](const char* text) { return tresk_bwlist_del_zdk("white", "pkg", 1, text); }},
    {"GetName", "tresk_bwlist_get_root_distinguish_zdk", true,
     [](const char* text) { return tresk_bwlist_get_root_distinguish_zdk(1, text); }},
    {"SetName", "tresk_bwlist_set_root_distinguish_zdk", false,
     [](const char* text) { return tresk_bwlist_set_root_distinguish_zdk(1, 2, text); }},
    {"ClearName", "tresk_bwlist_clear_policy_zdk", false,
     [](const char* text) { return tresk_bwlist_clear_policy_zdk(1, text); }},
};

class BwlistText : public ServiceTest, public ::testing::WithParamInterface<TextCall> {
  protected:
    void expect_is_refused(const char* text)
    {
        framework().reset();
        errno = 0;
        EXPECT_EQ(GetParam().call(text), -1007);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(GetParam().function, "tresk_bwlist");
        EXPECT_TRUE(service.calls().empty());
    }
};

INSTANTIATE_TEST_SUITE_P(Texts, BwlistText, ::testing::ValuesIn(kTexts), by_name);

TEST_P(BwlistText, IsRefusedWhereItIsNoUtf8)
{
    for (const char* text : {"\xFF", "a\xC3", "\xED\xA0\x80", "\xF5\x80\x80\x80"}) {
        expect_is_refused(text);
    }
}

TEST_P(BwlistText, IsRefusedWhereItIsNullUnlessThatIsTheEmptyText)
{
    if (GetParam().takes_null) {
        EXPECT_EQ(GetParam().call(nullptr), 0);
        EXPECT_EQ(service.calls().size(), 1U);
    } else {
        expect_is_refused(nullptr);
    }
}

TEST_P(BwlistText, IsSentUncut)
{
    const std::string text = std::string(10'000, 'n') + "\xC3\xA9 %s";
    EXPECT_EQ(GetParam().call(text.c_str()), 0);
    ASSERT_EQ(service.calls().size(), 1U);
    EXPECT_NE(service.calls()[0].arguments.find("'" + text + "'"), std::string::npos);
}

} // namespace

} // namespace tresk::test
