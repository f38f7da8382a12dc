// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Notifications about protected kernel modules: whose module it is, asked over a real bus, and the gate
// before the one type that would make the kernel forget a module. What that gate answers can be scripted
// here.
#include "tests/integration/communicate_notification_fixture.h"
#include "tests/support/capture.h"
#include "tests/support/private_bus.h"
#include "tests/support/scripted_service.h"
#include "tresk_extend.h"

#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace tresk::test {

namespace {

constexpr char kNoPermission[] = "no permission to change sm data.\n";
constexpr char kOwnership[] = "tresk_xattr_protect_check_kmod_in_sm";

/// The gate of type 8.
struct Gate {
    struct Question {
        std::string name;
        std::uint32_t mode = 0;
        std::optional<std::string> extra;
        bool operator==(const Question&) const = default;
    };

    std::optional<int> answer; ///< the library's own where absent
    std::vector<Question> asked;
};

Gate& gate()
{
    static Gate value;
    return value;
}

/// The three functions, called alike.
using Notify = int (*)(std::uint32_t type, const char* name);

int general_form(std::uint32_t type, const char* name)
{
    return tresk_kmod_communicate_with_kernel_zdk(type, name, 5, "extra");
}

struct Form {
    const char* name; ///< of the test's instance
    Notify notify;
};

std::ostream& operator<<(std::ostream& out, const Form& form)
{
    return out << form.name;
}

const Form kForms[] = {
    {"General", general_form},
    {"Plain", tresk_kmod_communicate_with_kernel},
    {"Sm", tresk_kmod_communicate_with_kernel_sm},
};

constexpr auto by_name = [](const auto& test) { return std::string(test.param.name); };

class KmodNotificationTest : public NotificationTest {
  protected:
    void SetUp() override
    {
        NotificationTest::SetUp();
        gate() = {};
        bus_.use_as_system_bus();
        own_by_sm(1);
    }

    /// 0: every module is the "sm" side's.
    void own_by_sm(int answer) { service_.answer(kOwnership, "(int32 " + std::to_string(answer) + ",)"); }

    /// What went to standard output.
    std::string notify(Notify form, std::uint32_t type, const char* name)
    {
        return captured_stdout([&] { result_ = form(type, name); });
    }

    [[nodiscard]] std::size_t questions() const { return service_.calls().size(); }

    PrivateBus bus_;
    ScriptedService service_{bus_.address()};
    int result_ = -7777;
};

class EveryKmodNotification : public KmodNotificationTest, public ::testing::WithParamInterface<Form> {
  protected:
    std::string notify(std::uint32_t type, const char* name)
    {
        return KmodNotificationTest::notify(GetParam().notify, type, name);
    }

    int code(std::uint32_t type, const std::string& name)
    {
        notify(type, name.c_str());
        return result_;
    }
};

INSTANTIATE_TEST_SUITE_P(Forms, EveryKmodNotification, ::testing::ValuesIn(kForms), by_name);

TEST_P(EveryKmodNotification, SendsTheName)
{
    EXPECT_EQ(notify(9, "module_a"), "");
    EXPECT_EQ(result_, 0);
    expect_sent(9, padded("module_a"));
    EXPECT_TRUE(gate().asked.empty());
    EXPECT_TRUE(framework().logs.empty());
}

TEST_P(EveryKmodNotification, SendsAnEmptyName)
{
    EXPECT_EQ(code(9, ""), 0);
    expect_sent(9, padded(""));
}

TEST_P(EveryKmodNotification, SendsANameThatFillsThePayload)
{
    EXPECT_EQ(code(9, std::string(999, 'n')), 0);
    EXPECT_EQ(code(9, std::string(1000, 'n')), 0);
    ASSERT_EQ(peer_.received().size(), 2U);
    EXPECT_EQ(payload_of(peer_.received()[0]), padded(std::string(999, 'n')));
    EXPECT_EQ(payload_of(peer_.received()[1]), std::string(1000, 'n'));
}

TEST_P(EveryKmodNotification, SendsEveryTypeButEight)
{
    for (const std::uint32_t type : {0U, 7U, 9U, 10U, 20U, 65535U}) {
        EXPECT_EQ(code(type, "module_a"), 0);
        EXPECT_EQ(peer_.received().back().message.header.nlmsg_type, type);
    }
    EXPECT_EQ(peer_.received().size(), 6U);
    EXPECT_TRUE(gate().asked.empty());
}

TEST_P(EveryKmodNotification, NeverSendsTypeEight)
{
    for (const std::string& name : {std::string("module_a"), std::string(), std::string(1000, 'n'),
                                    std::string(1001, 'n'), std::string(2000, 'n')}) {
        EXPECT_EQ(code(8, name), -1000);
    }
    expect_nothing_sent();
    EXPECT_TRUE(framework().logs.empty());
}

TEST_P(EveryKmodNotification, ReturnsWhatTheGateAnswersButOne)
{
    for (const int answer : {0, 2, -1, -2}) {
        gate().answer = answer;
        EXPECT_EQ(code(8, "module_a"), answer);
    }
    expect_nothing_sent();
}

TEST_P(EveryKmodNotification, SendsTypeEightWhereTheGateAnswersOne)
{
    gate().answer = 1;
    EXPECT_EQ(code(8, "module_a"), 0);
    expect_sent(8, padded("module_a"));
}

TEST_P(EveryKmodNotification, HasNoVersionGate)
{
    set_version("1.0");
    EXPECT_EQ(code(9, "module_a"), 0);
    expect_sent(9, padded("module_a"));
    EXPECT_TRUE(asked_kinds_.empty());
}

TEST_P(EveryKmodNotification, RefusalOfTheKernelIsSuccessWithALogLine)
{
    standin::Answer refusal;
    refusal.text = "failed";
    set_answer(refusal);
    EXPECT_EQ(code(9, "module_a"), 0);
    EXPECT_EQ(only_log(), "tresk_communicate_with_kernel: Got response: failed\n");
}

TEST_P(EveryKmodNotification, FailedExchangeFailsTheCall)
{
    ::unsetenv("TRESK_STANDIN_KERNEL_PORT");
    EXPECT_EQ(code(9, "module_a"), -1);
}

TEST_P(EveryKmodNotification, NullNameIsRefused)
{
    for (const std::uint32_t type : {8U, 9U}) {
        EXPECT_EQ(notify(type, nullptr), "");
        EXPECT_EQ(result_, -1);
    }
    expect_nothing_sent();
    EXPECT_TRUE(gate().asked.empty());
    EXPECT_TRUE(framework().logs.empty());
    EXPECT_EQ(questions(), 0U);
}

/// Without a bus, whose threads a child that dies would wait for in vain.
class KmodNotificationDeathTest : public NotificationTest, public ::testing::WithParamInterface<Form> {
  protected:
    void SetUp() override
    {
        NotificationTest::SetUp();
        gate() = {};
        ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/no/such/bus", 1);
    }
};

INSTANTIATE_TEST_SUITE_P(Forms, KmodNotificationDeathTest, ::testing::ValuesIn(kForms), by_name);

// Names are counted up to 1024 characters, however long they are.
TEST_P(KmodNotificationDeathTest, LongerNameEndsTheProcess)
{
    const std::pair<std::size_t, const char*> lengths[] = {
        {1001, "1001 bytes do not fit the payload of 1000"},
        {1024, "1024 bytes do not fit the payload of 1000"},
        {2000, "1024 bytes do not fit the payload of 1000"},
    };
    for (const auto& [length, complaint] : lengths) {
        const std::string name(length, 'n');
        EXPECT_DEATH(GetParam().notify(9, name.c_str()), complaint);
    }
    expect_nothing_sent();
}

// --- what the forms pass ---

TEST_F(KmodNotificationTest, GateIsAskedWithTheCallersArguments)
{
    gate().answer = 0;
    tresk_kmod_communicate_with_kernel_zdk(8, "a", 7, "more");
    tresk_kmod_communicate_with_kernel_zdk(8, "a", -1, nullptr);
    tresk_kmod_communicate_with_kernel(8, "b");
    tresk_kmod_communicate_with_kernel_sm(8, "c");
    EXPECT_EQ(gate().asked,
              (std::vector<Gate::Question>{
                  {"a", 7, "more"}, {"a", UINT32_MAX, std::nullopt}, {"b", 0, ""}, {"c", 1, ""}}));
}

// --- whose module it is: the plain form's question ---

TEST_F(KmodNotificationTest, PlainFormAsksWhoseModuleItIs)
{
    tresk_kmod_communicate_with_kernel(9, "module_a");
    EXPECT_EQ(service_.calls(), (std::vector<ServiceCall>{
                                    {"/xattr", "com.meron.tresk.xattr", kOwnership, "s", "('module_a',)"}}));
}

TEST_F(KmodNotificationTest, PlainFormLeavesTheSmSidesModuleAlone)
{
    own_by_sm(0);
    for (const std::uint32_t type : {8U, 9U}) {
        EXPECT_EQ(notify(tresk_kmod_communicate_with_kernel, type, "module_a"), kNoPermission);
        EXPECT_EQ(result_, 0);
    }
    expect_nothing_sent();
    EXPECT_TRUE(gate().asked.empty());
    EXPECT_TRUE(framework().logs.empty());
}

TEST_F(KmodNotificationTest, PlainFormLeavesTheSmSidesModuleAloneHoweverLongItsName)
{
    own_by_sm(0);
    EXPECT_EQ(notify(tresk_kmod_communicate_with_kernel, 9, std::string(2000, 'n').c_str()), kNoPermission);
    EXPECT_EQ(result_, 0);
}

TEST_F(KmodNotificationTest, PlainFormSendsForEveryOtherAnswer)
{
    for (const int answer : {1, 2, -1, -1000}) {
        own_by_sm(answer);
        EXPECT_EQ(notify(tresk_kmod_communicate_with_kernel, 9, "module_a"), "");
        EXPECT_EQ(result_, 0);
    }
    EXPECT_EQ(peer_.received().size(), 4U);
}

TEST_F(KmodNotificationTest, PlainFormSendsWhereTheQuestionFails)
{
    service_.fail(kOwnership, "MERON.TRESK.AUTH.FAILED", "no");
    EXPECT_EQ(notify(tresk_kmod_communicate_with_kernel, 9, "module_a"), "");
    EXPECT_EQ(result_, 0);
    expect_sent(9, padded("module_a"));
}

TEST_F(KmodNotificationTest, PlainFormSendsWithoutABus)
{
    bus_.stop();
    EXPECT_EQ(tresk_kmod_communicate_with_kernel(9, "module_a"), 0);
    expect_sent(9, padded("module_a"));
}

TEST_F(KmodNotificationTest, PlainFormSendsANameThatTheServiceCannotBeAskedAbout)
{
    EXPECT_EQ(tresk_kmod_communicate_with_kernel(9, "\xFF"), 0);
    expect_sent(9, padded("\xFF"));
    EXPECT_EQ(questions(), 0U);
}

TEST_F(KmodNotificationTest, PlainFormReportsANullName)
{
    EXPECT_EQ(captured_stderr([this] { result_ = tresk_kmod_communicate_with_kernel(9, nullptr); }),
              "kmod name is NULL\n");
    EXPECT_EQ(result_, -1);
}

TEST_F(KmodNotificationTest, OtherFormsAskNobodyAndSayNothingOfANullName)
{
    own_by_sm(0);
    for (const Notify form : {general_form, Notify{tresk_kmod_communicate_with_kernel_sm}}) {
        EXPECT_EQ(notify(form, 9, "module_a"), "");
        EXPECT_EQ(result_, 0);
        EXPECT_EQ(captured_stderr([&] { result_ = form(9, nullptr); }), "");
        EXPECT_EQ(result_, -1);
    }
    EXPECT_EQ(peer_.received().size(), 2U);
    EXPECT_EQ(questions(), 0U);
}

} // namespace

} // namespace tresk::test

using namespace tresk::test;

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_tresk_xattr_check_kmod_del_from_kernel(const char* name, std::uint32_t mode, const char* extra);
int __wrap_tresk_xattr_check_kmod_del_from_kernel(const char* name, std::uint32_t mode, const char* extra);

int __wrap_tresk_xattr_check_kmod_del_from_kernel(const char* name, std::uint32_t mode, const char* extra)
{
    gate().asked.push_back({name, mode, extra == nullptr ? std::nullopt : std::optional<std::string>(extra)});
    return gate().answer ? *gate().answer : __real_tresk_xattr_check_kmod_del_from_kernel(name, mode, extra);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
