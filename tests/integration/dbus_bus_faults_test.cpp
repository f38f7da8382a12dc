// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The bus goes away: during a call, between two calls, under an application that has a connection of its own.
// GLib's own answer to a lost system bus is SIGTERM to the process, which no call of the library may cause.
#include "tests/integration/dbus_fixture.h"

#include <malloc.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <future>
#include <iterator>
#include <memory>
#include <thread>

namespace tresk::test {

namespace {

using Connection = Handle<GDBusConnection, ::g_object_unref>;

volatile std::sig_atomic_t sigterms = 0;

/// Counts the SIGTERMs that the process gets instead of dying of the first.
class SigtermWatch {
  public:
    SigtermWatch() : before_(std::signal(SIGTERM, [](int) { sigterms = sigterms + 1; })) { sigterms = 0; }

    ~SigtermWatch() { (void)std::signal(SIGTERM, before_); }

    SigtermWatch(const SigtermWatch&) = delete;
    SigtermWatch& operator=(const SigtermWatch&) = delete;

    [[nodiscard]] static int count() { return sigterms; }

  private:
    void (*before_)(int);
};

/// The application's main loop, on the default context and a thread of its own.
class MainLoopThread {
  public:
    MainLoopThread() : thread_([this] { g_main_loop_run(loop_.get()); })
    {
        invoke([] {}); // runs now
    }

    ~MainLoopThread()
    {
        invoke([this] { g_main_loop_quit(loop_.get()); });
        thread_.join();
    }

    MainLoopThread(const MainLoopThread&) = delete;
    MainLoopThread& operator=(const MainLoopThread&) = delete;

    /// Runs @body inside the loop and waits for its end.
    static void invoke(const std::function<void()>& body)
    {
        std::packaged_task<void()> task(body);
        std::future<void> done = task.get_future();
        g_idle_add_once([](gpointer data) { (*static_cast<std::packaged_task<void()>*>(data))(); }, &task);
        done.wait();
    }

  private:
    Handle<GMainLoop, ::g_main_loop_unref> loop_{g_main_loop_new(nullptr, FALSE)};
    std::thread thread_;
};

void iterate_default_context()
{
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

template <class Predicate>
bool eventually(Predicate holds)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

Connection shared_connection()
{
    Connection connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    EXPECT_NE(connection, nullptr);
    return connection;
}

bool sees_its_end(const Connection& connection)
{
    return eventually([&] { return g_dbus_connection_is_closed(connection.get()) != FALSE; });
}

class BusFaults : public BusTest {
  protected:
    void TearDown() override { EXPECT_EQ(SigtermWatch::count(), expected_sigterms); }

    void start_service() { service = std::make_unique<ScriptedService>(bus.address()); }

    /// Calls, and the bus dies before the service can answer.
    void expect_call_to_survive_the_end_of_the_bus()
    {
        std::promise<void> stopped;
        service->on_call("ask", [&] {
            bus.stop();
            stopped.set_value();
        });
        EXPECT_EQ(code_of_failed_call("ask"), -1011);
        stopped.get_future().wait();
        expect_interface_error_was_told();
        EXPECT_EQ(SigtermWatch::count(), 0);
        service.reset();
    }

    void expect_call_to_work()
    {
        start_service();
        EXPECT_NE(call_service("ask"), nullptr);
        EXPECT_EQ(service->calls().size(), 1U);
        service.reset();
    }

    SigtermWatch watch;
    int expected_sigterms = 0;
    std::unique_ptr<ScriptedService> service;
};

// --- the bus dies during a call ---

TEST_F(BusFaults, BusThatDiesDuringACallFailsItWithoutAMainLoop)
{
    start_service();
    expect_call_to_survive_the_end_of_the_bus();
    iterate_default_context(); // an application may come to it later
}

TEST_F(BusFaults, BusThatDiesDuringACallFailsItBesideAMainLoop)
{
    const MainLoopThread loop;
    start_service();
    expect_call_to_survive_the_end_of_the_bus();
}

TEST_F(BusFaults, BusThatDiesDuringACallFailsItInsideAMainLoop)
{
    const MainLoopThread loop;
    start_service();
    loop.invoke([this] { expect_call_to_survive_the_end_of_the_bus(); });
}

// --- the bus comes back ---

TEST_F(BusFaults, NextCallWorksAfterTheBusDiedDuringOne)
{
    for (int round = 0; round < 3; ++round) {
        framework().reset();
        start_service();
        expect_call_to_survive_the_end_of_the_bus();
        bus.start();
        expect_call_to_work();
    }
}

TEST_F(BusFaults, NextCallWorksAfterTheBusWasRestartedBetweenCalls)
{
    for (int round = 0; round < 3; ++round) {
        expect_call_to_work();
        bus.restart();
    }
    expect_call_to_work();
}

TEST_F(BusFaults, CallsFailWhileThereIsNoBusAndWorkAfterwards)
{
    expect_call_to_work();
    bus.stop();
    EXPECT_EQ(code_of_failed_call("ask"), -1011);
    EXPECT_EQ(code_of_failed_call("ask"), -1011);
    bus.start();
    expect_call_to_work();
}

TEST_F(BusFaults, NextCallWorksWhileSomebodyHoldsTheClosedSharedConnection)
{
    const Connection held = shared_connection();
    g_dbus_connection_set_exit_on_close(held.get(), FALSE);
    expect_call_to_work();
    bus.restart();
    ASSERT_TRUE(sees_its_end(held));
    expect_call_to_work();
    expect_call_to_work();
    EXPECT_TRUE(g_dbus_connection_is_closed(held.get()));
}

TEST_F(BusFaults, NextCallWorksBesideAMainLoopThatHoldsTheClosedSharedConnection)
{
    const MainLoopThread loop;
    const Connection held = shared_connection();
    g_dbus_connection_set_exit_on_close(held.get(), FALSE);
    bus.restart();
    ASSERT_TRUE(sees_its_end(held));
    expect_call_to_work();
}

// --- an application with a connection of its own ---

TEST_F(BusFaults, CallLeavesTheExitOnCloseOfALiveSharedConnection)
{
    const Connection owned = shared_connection();
    for (const int wanted : {1, 0, 1}) {
        g_dbus_connection_set_exit_on_close(owned.get(), wanted);
        expect_call_to_work();
        EXPECT_EQ(g_dbus_connection_get_exit_on_close(owned.get()), wanted);
    }
    EXPECT_FALSE(g_dbus_connection_is_closed(owned.get()));
}

TEST_F(BusFaults, ApplicationThatWantsToExitWithItsBusStillDoes)
{
    const Connection owned = shared_connection(); // exits on close, as GLib makes it
    start_service();
    expect_call_to_survive_the_end_of_the_bus();
    EXPECT_TRUE(g_dbus_connection_get_exit_on_close(owned.get()));
    ASSERT_TRUE(sees_its_end(owned));
    iterate_default_context();
    expected_sigterms = 1;
}

TEST_F(BusFaults, ApplicationThatWantsToStayStays)
{
    const Connection owned = shared_connection();
    g_dbus_connection_set_exit_on_close(owned.get(), FALSE);
    start_service();
    expect_call_to_survive_the_end_of_the_bus();
    ASSERT_TRUE(sees_its_end(owned));
    iterate_default_context();
    EXPECT_FALSE(g_dbus_connection_get_exit_on_close(owned.get()));
}

// --- the caller's main contexts ---

TEST_F(BusFaults, CallRunsNothingOfTheCallersMainContexts)
{
    const Handle<GMainContext, ::g_main_context_unref> own(g_main_context_new());
    bool ran = false;
    const GSourceFunc set = [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
    };
    g_main_context_push_thread_default(own.get());
    g_idle_add(set, &ran);
    const Handle<GSource, ::g_source_unref> source(g_idle_source_new());
    g_source_set_callback(source.get(), set, &ran, nullptr);
    g_source_attach(source.get(), own.get());

    expect_call_to_work();

    EXPECT_EQ(g_main_context_get_thread_default(), own.get());
    EXPECT_FALSE(ran);
    g_source_destroy(source.get());
    g_main_context_pop_thread_default(own.get());
    iterate_default_context();
    EXPECT_TRUE(ran);
}

// --- what calls leave behind ---

std::ptrdiff_t entries(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

std::ptrdiff_t open_descriptors()
{
    return entries("/proc/self/fd");
}

std::ptrdiff_t running_threads()
{
    return entries("/proc/self/task");
}

class ManyCalls : public BusFaults {
  protected:
    static constexpr int kWarmUp = 200;

    void SetUp() override
    {
        BusFaults::SetUp();
        start_service();
    }

    void call(int times)
    {
        for (int i = 0; i < times; ++i) {
            ASSERT_NE(call_service("ask", g_variant_new("(i)", i)), nullptr);
            service->forget_calls();
        }
    }
};

#if !defined(TRESK_SANITIZED) // whose allocator tells mallinfo2() nothing

TEST_F(ManyCalls, LeaveNoMemoryBehindInAProcessWithoutAMainLoop)
{
    constexpr int kCalls = 3'000;
    constexpr double kAllowedBytesPerCall = 32;
    call(kWarmUp);
    const std::size_t before = mallinfo2().uordblks;
    call(kCalls);
    const std::size_t after = mallinfo2().uordblks;
    EXPECT_LE((static_cast<double>(after) - static_cast<double>(before)) / kCalls, kAllowedBytesPerCall);
}

TEST_F(ManyCalls, LeaveNoMemoryBehindOnASharedConnection)
{
    constexpr int kCalls = 3'000;
    constexpr double kAllowedBytesPerCall = 32;
    const Connection owned = shared_connection();
    call(kWarmUp);
    const std::size_t before = mallinfo2().uordblks;
    call(kCalls);
    const std::size_t after = mallinfo2().uordblks;
    EXPECT_LE((static_cast<double>(after) - static_cast<double>(before)) / kCalls, kAllowedBytesPerCall);
}

#endif

TEST_F(ManyCalls, LeaveNoDescriptorsAndThreadsBehind)
{
    call(kWarmUp);
    const std::ptrdiff_t descriptors = open_descriptors();
    const std::ptrdiff_t threads = running_threads();
    call(1000);
    // GDBus's worker closes a connection's descriptor a moment after the last reference went.
    EXPECT_TRUE(eventually([&] { return open_descriptors() <= descriptors; })) << open_descriptors();
    EXPECT_TRUE(eventually([&] { return running_threads() <= threads; })) << running_threads();
}

TEST_F(ManyCalls, LeaveNoDescriptorsBehindWhenTheBusDies)
{
    call(kWarmUp);
    service.reset();
    bus.stop();
    const std::ptrdiff_t descriptors = open_descriptors();
    for (int round = 0; round < 20; ++round) {
        framework().reset();
        bus.start();
        start_service();
        expect_call_to_survive_the_end_of_the_bus();
    }
    EXPECT_TRUE(eventually([&] { return open_descriptors() <= descriptors; })) << open_descriptors();
}

TEST_F(ManyCalls, OfEightThreadsAllFailWithTheBusAndLeaveNothingBehind)
{
    constexpr int kThreads = 8;
    constexpr int kRounds = 10;
    call(kWarmUp);
    service.reset();
    bus.stop();
    const std::ptrdiff_t descriptors = open_descriptors();
    for (int round = 0; round < kRounds; ++round) {
        framework().reset();
        bus.start();
        start_service();
        service->silent("ask");
        std::atomic<int> failed = 0;
        std::vector<std::jthread> callers;
        callers.reserve(kThreads);
        for (int i = 0; i < kThreads; ++i) {
            callers.emplace_back([&] { failed += code_of_failed_call("ask") == -1011 ? 1 : 0; });
        }
        EXPECT_TRUE(eventually([&] { return service->calls().size() == kThreads; }));
        bus.stop();
        callers.clear();
        service.reset();
        EXPECT_EQ(failed, kThreads);
        EXPECT_EQ(framework().errors.size(), std::size_t{kThreads});
    }
    EXPECT_TRUE(eventually([&] { return open_descriptors() <= descriptors; })) << open_descriptors();
}

TEST_F(ManyCalls, OfEightThreadsEachGetTheirOwnAnswer)
{
    constexpr int kThreads = 8;
    constexpr int kCalls = 100;
    std::vector<std::jthread> callers;
    callers.reserve(kThreads);
    std::atomic<int> right = 0;
    for (int i = 0; i < kThreads; ++i) {
        const std::string method = "ask" + std::to_string(i);
        service->answer(method, "(int32 " + std::to_string(i) + ",)");
        callers.emplace_back([&right, method, i] {
            for (int n = 0; n < kCalls; ++n) {
                const Reply reply = call_service(method.c_str(), g_variant_new("(i)", n));
                int answer = kUntouched;
                if (reply) {
                    g_variant_get(reply.get(), "(i)", &answer);
                }
                right += answer == i ? 1 : 0;
            }
        });
    }
    callers.clear();
    EXPECT_EQ(right, kThreads * kCalls);
    EXPECT_EQ(service->calls().size(), std::size_t{kThreads} * kCalls);
    EXPECT_EQ(framework().order, std::vector<std::string>());
}

TEST_F(ManyCalls, SurviveABusThatDiesAgainAndAgain)
{
    constexpr int kThreads = 4;
    constexpr int kDeaths = 20;
    // A bus that dies while GLib subscribes to its signals makes GLib complain, whoever asked it to.
    g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK));
    call(kWarmUp);
    service.reset();
    bus.stop();
    const std::ptrdiff_t descriptors = open_descriptors();
    bus.start();
    start_service();
    std::atomic<int> answered = 0;
    std::vector<std::jthread> callers;
    callers.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        callers.emplace_back([&](const std::stop_token& enough) {
            while (!enough.stop_requested()) {
                answered += call_service("ask") ? 1 : 0;
            }
        });
    }
    for (int death = 0; death < kDeaths; ++death) {
        const int so_far = answered;
        EXPECT_TRUE(eventually([&] { return answered > so_far + 2 * kThreads; }));
        bus.stop();
        service.reset();
        bus.start();
        start_service();
    }
    callers.clear();
    service.reset();
    expect_call_to_work();
    bus.stop();
    EXPECT_TRUE(eventually([&] { return open_descriptors() <= descriptors; })) << open_descriptors();
}

} // namespace

} // namespace tresk::test
