// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

#include <csignal>

namespace tresk::test {

namespace {

class ServiceLifecycle : public ServiceScene {
  protected:
    [[nodiscard]] std::string complaints() const { return text_of(folder / "service.err"); }

    /// Runs the service to its end without waiting for its announcement.
    Ending run(const Command& command)
    {
        service = ChildProcess(command);
        return service.wait().value_or(Ending{});
    }
};

} // namespace

TEST_F(ServiceLifecycle, SaysWhatItIs)
{
    start_service();
    EXPECT_NE(complaints().find("development stand-in, not the framework's service"), std::string::npos);
}

TEST_F(ServiceLifecycle, EndsCleanlyOnSigtermAndSigint)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        start_service();
        service.signal(signal);
        EXPECT_EQ(service.wait(), Ending{.exit_status = 0});
    }
}

TEST_F(ServiceLifecycle, SecondServiceIsTurnedAway)
{
    start_service();
    ChildProcess second(service_command());
    EXPECT_EQ(second.announcement(), std::nullopt);
    EXPECT_EQ(second.wait(), Ending{.exit_status = 1});
    EXPECT_NE(complaints().find("cannot own com.meron.tresk: another service owns it\n"), std::string::npos);
    EXPECT_EQ(call("netflow", "tresk_netflow_perm_check"), replied("(0,)"));
}

TEST_F(ServiceLifecycle, NameIsFreeAgainAfterTheEnd)
{
    start_service();
    service.terminate();
    start_service();
    EXPECT_EQ(call("netflow", "tresk_netflow_perm_check"), replied("(0,)"));
}

TEST_F(ServiceLifecycle, EndsWithTheBus)
{
    start_service();
    g_dbus_connection_set_exit_on_close(client.get(), FALSE);
    bus.stop();
    EXPECT_EQ(service.wait(), Ending{.exit_status = 1});
    EXPECT_NE(complaints().find("the bus went away"), std::string::npos);
}

TEST_F(ServiceLifecycle, ReportsAMissingBus)
{
    bus.stop();
    EXPECT_EQ(run(service_command()), Ending{.exit_status = 1});
    EXPECT_NE(complaints().find("no connection to the system bus"), std::string::npos);
}

TEST_F(ServiceLifecycle, StateFolderComesFromTheEnvironmentToo)
{
    Command command = service_command();
    command.words = {TRESK_STANDIN_SERVICE, "--ready-fd=3"};
    command.environment.emplace_back("TRESK_STANDIN_STATE", state.string());
    service = ChildProcess(command);
    ASSERT_EQ(service.announcement(), "ready");
    call("xattr", "tresk_xattr_set_status", "(1,)");
    EXPECT_EQ(state_file("status"), "1\n");
}

TEST_F(ServiceLifecycle, NeedsAStateFolder)
{
    Command command = service_command();
    command.words = {TRESK_STANDIN_SERVICE};
    command.environment.emplace_back("TRESK_STANDIN_STATE", "");
    EXPECT_EQ(run(command), Ending{.exit_status = 2});
}

TEST_F(ServiceLifecycle, UnknownOptionIsAUsageError)
{
    Command command = service_command();
    command.words.emplace_back("--unknown");
    EXPECT_EQ(run(command), Ending{.exit_status = 2});
    EXPECT_NE(complaints().find("--unknown"), std::string::npos);
}

TEST(PrivateBus, RestartsAtTheSameAddress)
{
    PrivateBus bus;
    const std::string address = bus.address();
    ASSERT_NE(bus.connect(), nullptr);
    bus.stop();
    EXPECT_FALSE(bus.running());
    EXPECT_THROW(static_cast<void>(bus.connect()), std::runtime_error);
    bus.start();
    EXPECT_EQ(bus.address(), address);
    EXPECT_NE(bus.connect(), nullptr);
}

} // namespace tresk::test
