// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/dbus_fixture.h"
#include "tests/support/capture.h"

#include <barrier>
#include <cerrno>
#include <climits>
#include <ostream>
#include <thread>

namespace tresk::test {

namespace {

constexpr char kFunction[] = "tresk_check_user_valid";
constexpr char kMethod[] = "tresk_check_user_valid_with_pam";

ServiceCall question_about(const std::string& user, const std::string& credential)
{
    return {"/xattr", "com.meron.tresk.xattr", kMethod, "ss", "('" + user + "', '" + credential + "')"};
}

class UserCheck : public ServiceTest {
  protected:
    static int check() { return tresk_check_user_valid("user", "secret"); }
};

TEST_F(UserCheck, IsAskedOfTheServiceOnce)
{
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>{question_about("user", "secret")});
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(UserCheck, IsAskedWithBothTextsAsTheyAre)
{
    const std::string long_text(9000, 'l');
    for (const auto& [user, credential] : {std::pair<std::string, std::string>{"", ""},
                                           {"user", ""},
                                           {"", "secret"},
                                           {" u\u00e4 ", "%s\u00df "},
                                           {long_text, long_text}}) {
        service.forget_calls();
        EXPECT_EQ(tresk_check_user_valid(user.c_str(), credential.c_str()), 0);
        EXPECT_EQ(service.calls(), std::vector<ServiceCall>{question_about(user, credential)});
    }
}

TEST_F(UserCheck, IsWhatTheServiceAnswers)
{
    for (const int answer : {0, 1, 7, -1, -2, -1007, INT_MAX, INT_MIN}) {
        service.answer(kMethod, "(int32 " + std::to_string(answer) + ",)");
        EXPECT_EQ(check(), answer);
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(UserCheck, IsTheFirstMemberOfALongerReply)
{
    service.answer(kMethod, "(int32 6, 'more', int32 7)");
    EXPECT_EQ(check(), 6);
}

TEST_F(UserCheck, IsRefusedWithoutBothTexts)
{
    struct Row {
        const char* user;
        const char* credential;
    };

    for (const Row& row : {Row{nullptr, "secret"}, Row{"user", nullptr}, Row{nullptr, nullptr},
                           Row{nullptr, "\xFF"}, Row{"\xFF", nullptr}}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(tresk_check_user_valid(row.user, row.credential), -2);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(kFunction, "libtresk_dbus");
    }
    EXPECT_TRUE(service.calls().empty());
}

TEST_F(UserCheck, IsRefusedForATextThatCannotBeSent)
{
    struct Row {
        const char* user;
        const char* credential;
    };

    for (const Row& row : {Row{"\xFF", "secret"}, Row{"user", "cut \xE2\x82"}, Row{"\xC0\x80", "\xFF"}}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(tresk_check_user_valid(row.user, row.credential), -1007);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(kFunction, "libtresk_dbus");
    }
    EXPECT_TRUE(service.calls().empty());
}

TEST_F(UserCheck, IsTheCodeOfTheServicesError)
{
    struct Row {
        const char* error;
        int code;
    };

    for (const Row& row : {Row{"MERON.TRESK.AUTH.FAILED", -1001}, Row{"MERON.TRESK.CANCEL.AUTH", -1002},
                           Row{"MERON.TRESK.DISABLED", -1003}, Row{"MERON.TRESK.INVALID.ARG", -1007},
                           Row{"org.example.Other", -1011}}) {
        framework().reset();
        service.fail(kMethod, row.error, "not so, %s");
        EXPECT_EQ(check(), row.code);
        EXPECT_EQ(only_log().text, std::string(row.error) + ": not so, %s\n");
        EXPECT_EQ(only_error().code, row.code);
        EXPECT_EQ(only_error().text, "not so, %s");
    }
}

TEST_F(UserCheck, IsTheServicesOwnOk)
{
    service.fail(kMethod, "MERON.TRESK.OK", "fine");
    EXPECT_EQ(check(), 0);
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(UserCheck, FailsForAReplyWithoutAnInteger)
{
    for (const char* reply : {"()", "('0',)", "(uint32 0,)", "(int64 0,)", "(<int32 0>,)", "(true,)"}) {
        framework().reset();
        service.answer(kMethod, reply);
        EXPECT_EQ(check(), -1011) << reply;
        expect_interface_error_was_told();
    }
}

TEST_F(UserCheck, FailsWhenTheServiceDies)
{
    service.die_on(kMethod);
    EXPECT_EQ(check(), -1011);
    EXPECT_EQ(only_error().code, -1011);
}

TEST_F(UserCheck, FailsWithoutABus)
{
    bus.stop();
    EXPECT_EQ(check(), -1011);
    expect_interface_error_was_told();
}

TEST_F(UserCheck, NeverTellsTheCredential)
{
    const auto all_told = [] {
        std::string told;
        for (const LogLine& log : framework().logs) {
            told += log.subject.value_or("") + log.text;
        }
        for (const ErrorRecord& error : framework().errors) {
            told += error.subject.value_or("") + error.text.value_or("");
        }
        return told;
    };
    const auto fail_in_every_way = [this] {
        service.answer(kMethod, "()");
        check();
        service.fail(kMethod, "MERON.TRESK.AUTH.FAILED", "not you");
        check();
        tresk_check_user_valid(nullptr, "secret");
        tresk_check_user_valid("\xFF", "secret");
        tresk_check_user_valid("user", "secret\xFF");
        bus.stop();
        check();
    };
    std::string error_output;
    const std::string output =
        captured_stdout([&] { error_output = captured_stderr([&] { fail_in_every_way(); }); });
    EXPECT_EQ(framework().errors.size(), 6U);
    for (const std::string& told : {all_told(), output, error_output}) {
        EXPECT_EQ(told.find("secret"), std::string::npos) << told;
    }
}

TEST_F(UserCheck, IsAnsweredToFourThreadsAtOnce)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 10;
    service.answer(kMethod, "(int32 3,)");
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&start] {
            start.arrive_and_wait();
            for (int round = 0; round < kRounds; ++round) {
                EXPECT_EQ(check(), 3);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(service.calls(),
              std::vector<ServiceCall>(std::size_t{kThreads} * kRounds, question_about("user", "secret")));
    EXPECT_TRUE(framework().order.empty());
}

using UserCheckAlone = BusTest;

TEST_F(UserCheckAlone, FailsWithoutTheService)
{
    EXPECT_EQ(tresk_check_user_valid("user", "secret"), -1011);
    EXPECT_EQ(only_error().code, -1011);
}

} // namespace

} // namespace tresk::test
