// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One call of the service, beside a fresh proxy with the same flags and the same call on it, over a
// connection of its own: what a process costs that has no other connection to the bus, as a package manager's
// hook. Once the stand-in's service answers, which reads and writes files; once the bus itself, which does
// next to nothing, so that nothing hides what the library adds.
//
// A proxy for the shared bus connection is no yardstick for calls in a row: the last call's connection, which
// nobody holds any more, lives on until GDBus's thread is done with it, and a next proxy that comes soon
// enough gets it, connected already. How often depends on the machine's mood. Its row says what that makes,
// and has no bound.
#include "bench/library/contest.h"
#include "common/handles.h"
#include "tresk_extend.h"

#include <gio/gio.h>
#include <malloc.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <thread>

namespace tresk::bench {

namespace {

using Reply = Handle<GVariant, ::g_variant_unref>;
using Connection = Handle<GDBusConnection, ::g_object_unref>;
using Proxy = Handle<GDBusProxy, ::g_object_unref>;

struct Method {
    const char* service;
    const char* path;
    const char* interface;
    const char* name;
};

constexpr Method kOfService = {"com.meron.tresk", "/bwlist", "com.meron.tresk.bwlist",
                               "tresk_bwlist_add_zdk"};
constexpr Method kOfBus = {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId"};

GVariant* arguments_of(const Method& method)
{
    return &method == &kOfBus ? nullptr : g_variant_new("(ssis)", "white", "package", 1, "");
}

void call_by_library(const Method& method)
{
    int code = 0;
    const Reply reply(process_dbus_other_method(method.service, method.path, method.interface, method.name,
                                                arguments_of(method), &code));
    require(reply != nullptr, "a call of the service failed");
}

void call_on(const Proxy& proxy, const Method& method)
{
    require(proxy != nullptr, "no proxy");
    const Reply reply(g_dbus_proxy_call_sync(proxy.get(), method.name, arguments_of(method),
                                             G_DBUS_CALL_FLAGS_NONE, std::numeric_limits<int>::max(), nullptr,
                                             nullptr));
    require(reply != nullptr, "a bare call failed");
}

void call_barely(const Method& method)
{
    constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    const Handle<char, ::g_free> address(
        g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    const Connection connection(
        g_dbus_connection_new_for_address_sync(address.get(), flags, nullptr, nullptr, nullptr));
    require(connection != nullptr, "no connection");
    call_on(Proxy(g_dbus_proxy_new_sync(connection.get(), G_DBUS_PROXY_FLAGS_NONE, nullptr, method.service,
                                        method.path, method.interface, nullptr, nullptr)),
            method);
}

void call_on_the_shared_connection(const Method& method)
{
    call_on(
        Proxy(g_dbus_proxy_new_for_bus_sync(G_BUS_TYPE_SYSTEM, G_DBUS_PROXY_FLAGS_NONE, nullptr,
                                            method.service, method.path, method.interface, nullptr, nullptr)),
        method);
}

/// The service answers at once, whatever the arguments.
void have_service_answer()
{
    const char* state = std::getenv("TRESK_STANDIN_STATE");
    require(state != nullptr, "runs in the sandbox alone");
    std::ofstream(std::filesystem::path(state) / "service-faults") << kOfService.name << " reply (0,)\n";
}

/// The process between two calls, seen from outside of them.
struct State {
    double memory;
    double descriptors;
    double threads;
};

std::ptrdiff_t entries(const char* folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

State state_now()
{
    return {static_cast<double>(mallinfo2().uordblks), static_cast<double>(entries("/proc/self/fd")),
            static_cast<double>(entries("/proc/self/task"))};
}

/// GDBus's thread closes the last connection's descriptor a moment after the last reference went, so a higher
/// number than before is looked at again until a deadline.
State state_once_settled(const State& before)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    State state = state_now();
    while ((state.descriptors > before.descriptors || state.threads > before.threads) &&
           std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
        state = state_now();
    }
    return state;
}

constexpr int kWarmUp = 200;

/// What @calls calls leave behind.
State left_by(int calls)
{
    have_service_answer();
    for (int i = 0; i < kWarmUp; ++i) {
        call_by_library(kOfService);
    }
    const State before = state_once_settled(state_now());
    for (int i = 0; i < calls; ++i) {
        call_by_library(kOfService);
    }
    const State after = state_once_settled(before);
    return {(after.memory - before.memory) / calls, after.descriptors - before.descriptors,
            after.threads - before.threads};
}

/// Measured once for all figures.
const State& left_behind(bool quick)
{
    static const State left = left_by(quick ? 1'000 : 10'000);
    return left;
}

Contest contest_of(const char* name, const Method& method)
{
    Contest contest;
    contest.name = name;
    contest.bound = 1.05;
    contest.calls = 10;
    contest.turns = 31;
    contest.quick_turns = 15;
    contest.prepare = have_service_answer;
    contest.library = [&method] { call_by_library(method); };
    contest.yardstick = [&method] { call_barely(method); };
    return contest;
}

Contest contest_with_the_shared_connection()
{
    Contest contest = contest_of("service calls in a row, beside the shared connection", kOfBus);
    contest.bound = 0;
    contest.yardstick = [] { call_on_the_shared_connection(kOfBus); };
    return contest;
}

} // namespace

Subject service_calls()
{
    return {"service",
            {contest_of("service call, the service answers", kOfService),
             contest_of("service call, the bus answers", kOfBus), contest_with_the_shared_connection()},
            {{"service call: memory kept", "bytes a call", 32,
              [](bool quick) { return left_behind(quick).memory; }},
             {"service calls: descriptors kept", "descriptors", 0,
              [](bool quick) { return left_behind(quick).descriptors; }},
             {"service calls: threads kept", "threads", 0,
              [](bool quick) { return left_behind(quick).threads; }}}};
}

} // namespace tresk::bench
