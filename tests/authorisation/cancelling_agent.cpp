// SPDX-License-Identifier: LGPL-2.1-or-later
//
// cancelling_agent PID FILE: polkit's authentication agent for one process, on the system bus. It stands for
// a person who closes every dialogue, and appends the action of each to FILE. Descriptor 3 says when it is
// registered. It ends with its bus.
#include "common/handles.h"

#include <gio/gio.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

constexpr char kPath[] = "/agent";
constexpr char kInterface[] =
    "<node><interface name='org.freedesktop.PolicyKit1.AuthenticationAgent'>"
    "<method name='BeginAuthentication'><arg type='s' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='s' direction='in'/><arg type='a{ss}' direction='in'/><arg type='s' direction='in'/>"
    "<arg type='a(sa{sv})' direction='in'/></method>"
    "<method name='CancelAuthentication'><arg type='s' direction='in'/></method>"
    "</interface></node>";

using NodeInfo = tresk::Handle<GDBusNodeInfo, ::g_dbus_node_info_unref>;
using Variant = tresk::Handle<GVariant, ::g_variant_unref>;

[[noreturn]] void fail(const char* what, const GError* error)
{
    std::cerr << "cancelling_agent: " << what << ": " << (error == nullptr ? "" : error->message)
              << std::endl;
    std::exit(1);
}

/// When the process was started, the 22nd field of its line; the second, its name, may hold anything.
guint64 start_time_of(const std::string& process)
{
    std::ifstream file("/proc/" + process + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    std::string field;
    for (int number = 3; number <= 22; ++number) {
        fields >> field;
    }
    return std::stoull(field);
}

void on_call(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
             const char* /*interface*/, const char* method, GVariant* arguments, GDBusMethodInvocation* call,
             gpointer file)
{
    if (std::string(method) != "BeginAuthentication") {
        g_dbus_method_invocation_return_value(call, nullptr);
        return;
    }
    const char* action = nullptr;
    g_variant_get_child(arguments, 0, "&s", &action);
    std::ofstream(static_cast<const char*>(file), std::ios::app) << action << std::endl;
    g_dbus_method_invocation_return_dbus_error(call, "org.freedesktop.PolicyKit1.Error.Cancelled",
                                               "the dialogue was closed");
}

constexpr GDBusInterfaceVTable kCalls{on_call, nullptr, nullptr, {}};

void be_reachable(GDBusConnection* bus, char* file)
{
    GError* error = nullptr;
    const NodeInfo node(g_dbus_node_info_new_for_xml(kInterface, &error));
    if (!node || g_dbus_connection_register_object(bus, kPath, node->interfaces[0], &kCalls, file, nullptr,
                                                   &error) == 0) {
        fail("object", error);
    }
}

void be_registered(GDBusConnection* bus, const std::string& process)
{
    GVariantBuilder subject;
    g_variant_builder_init(&subject, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&subject, "{sv}", "pid",
                          g_variant_new_uint32(static_cast<guint32>(std::stoul(process))));
    g_variant_builder_add(&subject, "{sv}", "start-time", g_variant_new_uint64(start_time_of(process)));
    GError* error = nullptr;
    const Variant reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
        "org.freedesktop.PolicyKit1.Authority", "RegisterAuthenticationAgent",
        g_variant_new("((sa{sv})ss)", "unix-process", &subject, "C", kPath), nullptr, G_DBUS_CALL_FLAGS_NONE,
        -1, nullptr, &error));
    if (!reply) {
        fail("registration", error);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        return 2;
    }
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (bus == nullptr) {
        fail("bus", error);
    }
    be_reachable(bus, argv[2]);
    be_registered(bus, argv[1]);
    constexpr int kAnnouncement = 3;
    if (::write(kAnnouncement, "ready\n", 6) != 6) {
        return 1;
    }
    ::close(kAnnouncement);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
