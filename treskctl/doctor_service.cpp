// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The checks of "doctor" about the framework itself: its service, its switches, its kernel module.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/doctor_checks.h"
#include "treskctl/framework_state.h"
#include "treskctl/service_answer.h"

#include <gio/gio.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <future>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>

namespace tresk::ctl {

namespace {

constexpr const char* kServiceName = "com.meron.tresk";

// --- waiting ---

/// What @call returns; nothing where it takes too long. It is left behind then, so that it may refer to
/// nothing. A time that the caller gave ends the whole run instead.
template <class Call>
auto patiently(Run& run, Call call) -> std::optional<decltype(call())>
{
    using Result = decltype(call());
    if (run.settings().timeout) {
        return run.ask(std::move(call));
    }
    return run.ask([&call]() -> std::optional<Result> {
        std::packaged_task<Result()> task(std::move(call));
        std::future<Result> result = task.get_future();
        std::thread(std::move(task)).detach();
        return result.wait_for(kPatience) == std::future_status::ready ? std::optional(result.get())
                                                                       : std::nullopt;
    });
}

// --- the bus and the service ---

using BusConnection = Handle<GDBusConnection, ::g_object_unref>;
using Reply = Handle<GVariant, ::g_variant_unref>;
using GlibText = Handle<char, ::g_free>;

/// What was found of the bus and of the service's name on it.
struct BusState {
    /// Why there is no connection; empty where there is one.
    std::string failure;
    bool has_service = false;
};

/// Owns what a call sets where it fails.
class ErrorSlot {
  public:
    GError** out() { return &error_; }

    ~ErrorSlot() { g_clear_error(&error_); }

    ErrorSlot() = default;
    ErrorSlot(const ErrorSlot&) = delete;
    ErrorSlot& operator=(const ErrorSlot&) = delete;

    [[nodiscard]] std::string text() const
    {
        return error_ == nullptr ? "no reason is known" : error_->message;
    }

  private:
    GError* error_ = nullptr;
};

bool name_has_owner(GDBusConnection* bus)
{
    const Reply reply(g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                  "org.freedesktop.DBus", "NameHasOwner",
                                                  g_variant_new("(s)", kServiceName), G_VARIANT_TYPE("(b)"),
                                                  G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, nullptr));
    gboolean has_owner = FALSE;
    if (reply) {
        g_variant_get(reply.get(), "(b)", &has_owner);
    }
    return has_owner != FALSE;
}

/// Empty where nothing says where the bus is.
std::string address_of_bus()
{
    const GlibText address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    return address ? address.get() : "";
}

BusState look_at_bus(const std::string& address)
{
    ErrorSlot error;
    constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    const BusConnection bus(
        g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr, nullptr, error.out()));
    return bus ? BusState{"", name_has_owner(bus.get())} : BusState{error.text(), false};
}

Check broken_bus(const std::string& address, const std::string& failure)
{
    return {"bus", Health::Failed, "no connection to " + address + ": " + failure,
            "Start the system bus, or correct DBUS_SYSTEM_BUS_ADDRESS.", Cause::Unreachable};
}

Check broken_service(const std::string& detail, const char* advice)
{
    return {"service", Health::Failed, detail, advice, Cause::Unreachable};
}

Check silent_service(const BusState& bus)
{
    const std::string name = kServiceName;
    return bus.has_service
               ? broken_service(name + " is on the bus and does not answer",
                                "Restart the framework's service, and look into its log if it stays so.")
               : broken_service(name + " is not on the bus",
                                "Start the framework's service, and look into its log if it ends again.");
}

Check judge_service(const BusState& bus, std::optional<int> answer)
{
    const auto failure = answer ? failure_of_query(*answer) : std::nullopt;
    if (!answer || (failure && failure->cause == Cause::Unreachable)) {
        return silent_service(bus);
    }
    if (failure) {
        return {"service", Health::Warning, "it answers: " + failure->message,
                "The framework's log tells why it refuses a question."};
    }
    return {"service", Health::Ok, "it answers"};
}

// --- switches ---

/// That machines have none is usual.
constexpr std::string_view kOftenOff = "tpm";

Check judge_function(const Switch& one)
{
    const std::string name = "function " + std::string(one.name);
    const std::string word(one.name);
    if (is_on(one)) {
        return {name, Health::Ok, std::string(one.about) + " is on"};
    }
    const Health health = one.name == kOftenOff ? Health::Ok : Health::Warning;
    return {name, health, std::string(one.about) + " is off",
            health == Health::Ok ? ""
                                 : "\"treskctl status set " + word + " on\", unless it is off on purpose."};
}

Check judge_framework(const Switch& whole)
{
    if (is_on(whole)) {
        return {"framework", Health::Ok, "on"};
    }
    return {"framework", Health::Failed, "off: no policy counts, and none can be changed",
            "\"treskctl status set framework on\"", Cause::Disabled};
}

// --- the kernel module ---

constexpr const char* kNetlinkListing = "/proc/net/netlink";
constexpr std::array kKernelProtocols = {26, 27};

/// The protocols of which the kernel lists sockets.
std::optional<std::string> read_listing()
{
    const File listing(std::fopen(kNetlinkListing, "re"));
    if (!listing) {
        return std::nullopt;
    }
    std::string text;
    std::array<char, 1024> chunk{};
    for (std::size_t length = 0; (length = std::fread(chunk.data(), 1, chunk.size(), listing.get())) > 0;) {
        text.append(chunk.data(), length);
    }
    return text;
}

bool lists_protocol(const std::string& listing, int protocol)
{
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string socket;
        std::string number;
        if (words >> socket >> number && number == std::to_string(protocol)) {
            return true;
        }
    }
    return false;
}

Check judge_kernel(const std::optional<std::string>& listing)
{
    if (!listing) {
        return {"kernel", Health::Failed, std::string(kNetlinkListing) + ": " + std::strerror(errno),
                "Mount /proc.", Cause::Unreachable};
    }
    for (const int protocol : kKernelProtocols) {
        if (lists_protocol(*listing, protocol)) {
            return {"kernel", Health::Ok, "netlink protocol " + std::to_string(protocol)};
        }
    }
    return {"kernel", Health::Failed, "no kernel module listens on netlink protocol 26 or 27",
            "Load the framework's kernel module, or boot the kernel that has it.", Cause::Unreachable};
}

// --- versions ---

/// What the library asks before it tells the kernel module of changes.
struct VersionOf {
    const char* function;
    int kind;
};

constexpr std::array kVersions = {VersionOf{"netctl", 2}, VersionOf{"ppro", 6}, VersionOf{"pblk", 8}};
constexpr double kFirstVersion = 4.2;

/// Versions are compared as numbers: 4.10 is older than 4.2.
Check judge_version(const VersionOf& version, const std::string& text)
{
    const std::string name = std::string("version ") + version.function;
    if (text.empty()) {
        return {name, Health::Warning, "unknown: it passes for new enough",
                "Look whether the framework's libraries fit its kernel module."};
    }
    if (g_ascii_strtod(text.c_str(), nullptr) < kFirstVersion) {
        return {name, Health::Failed, text + " is older than 4.2: the kernel module is told of no changes",
                "Update the framework's kernel module.", Cause::Refused};
    }
    return {name, Health::Ok, text};
}

} // namespace

/// What is being waited for has failed until it has answered: the run may end meanwhile.
void check_service(Run& run, Findings& findings)
{
    const std::string address = address_of_bus();
    const Check silent_bus = broken_bus(address, "it does not answer");
    findings.put_first({silent_bus});
    const auto bus = patiently(run, [address] { return look_at_bus(address); });
    if (!bus || !bus->failure.empty()) {
        findings.put_first(
            {bus ? broken_bus(address, bus->failure) : silent_bus,
             broken_service("not to be reached without a bus", "Mend first what the check \"bus\" tells.")});
        return;
    }
    const Check sound_bus = {"bus", Health::Ok, address};
    findings.put_first({sound_bus, silent_service(*bus)});
    const auto answer = patiently(run, [] { return getModuleStatus_dbus(kProbedModule); });
    findings.put_first({sound_bus, judge_service(*bus, answer)});
}

void check_switches(Run& run, Findings& findings)
{
    for (const Switch& one : switches()) {
        findings.add(run.ask(
            [&one] { return one.index == kWholeFramework ? judge_framework(one) : judge_function(one); }));
    }
}

void check_kernel(Run& /*run*/, Findings& findings)
{
    findings.add(judge_kernel(read_listing()));
}

void check_versions(Run& run, Findings& findings)
{
    for (const VersionOf& version : kVersions) {
        findings.add(run.ask([&version] { return judge_version(version, framework_version(version.kind)); }));
    }
}

} // namespace tresk::ctl
