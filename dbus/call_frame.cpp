// SPDX-License-Identifier: LGPL-2.1-or-later
//
// One synchronous call over a fresh proxy on the system bus. Nothing is kept between calls.
#include "common/edge.h"
#include "dbus/bus_connection.h"
#include "dbus/service_call.h"
#include "dbus/service_error.h"
#include "tresk_extend.h"

#include <limits>

namespace tresk {

namespace {

constexpr char kService[] = "com.meron.tresk";
/// The call waits as long as the service takes: it may be asking the user.
constexpr int kCallTimeoutMs = std::numeric_limits<int>::max();

struct MethodCall {
    const char* service;
    const char* object_path;
    const char* interface;
    const char* method;
    GVariant* parameters;
};

/// A GError that a GLib function may fill.
class CallError {
  public:
    CallError() = default;
    CallError(const CallError&) = delete;
    CallError& operator=(const CallError&) = delete;

    ~CallError() { g_clear_error(&error_); }

    [[nodiscard]] GError** out() noexcept { return &error_; }

    [[nodiscard]] GError* get() const noexcept { return error_; }

  private:
    GError* error_ = nullptr;
};

/// GLib takes these as a programming error of its caller and gives no result and no error, so they are
/// refused before.
bool is_callable(const MethodCall& call)
{
    return call.service != nullptr && g_dbus_is_name(call.service) != FALSE && call.object_path != nullptr &&
           g_variant_is_object_path(call.object_path) != FALSE && call.interface != nullptr &&
           g_dbus_is_interface_name(call.interface) != FALSE &&
           (g_dbus_is_member_name(call.method) != FALSE || g_dbus_is_interface_name(call.method) != FALSE) &&
           (call.parameters == nullptr ||
            g_variant_is_of_type(call.parameters, G_VARIANT_TYPE_TUPLE) != FALSE);
}

Variant call_on(GDBusConnection* connection, const MethodCall& call, CallError& error)
{
    const Object<GDBusProxy> proxy(g_dbus_proxy_new_sync(connection, G_DBUS_PROXY_FLAGS_NONE, nullptr,
                                                         call.service, call.object_path, call.interface,
                                                         nullptr, error.out()));
    if (!proxy) {
        return nullptr;
    }
    return Variant(g_dbus_proxy_call_sync(proxy.get(), call.method, call.parameters, G_DBUS_CALL_FLAGS_NONE,
                                          kCallTimeoutMs, nullptr, error.out()));
}

Variant call_once(const MethodCall& call, CallError& error)
{
    const BusConnection connection(error.out());
    return connection ? call_on(connection.get(), call, error) : nullptr;
}

void give(int* error_code, int code)
{
    if (error_code != nullptr) {
        *error_code = code;
    }
}

GVariant* process(const char* function, const MethodCall& call, int* error_code)
{
    if (!is_callable(call)) {
        report_bad_argument(kDbusSource, function);
        give(error_code, TRESK_ERROR_INVALID_ARGUMENT);
        return nullptr;
    }
    CallError error;
    Variant reply = call_once(call, error);
    if (!reply) {
        give(error_code, handling_dbus_error(error.get()));
    }
    return reply.release();
}

/// No method: told to the record alike by both entries, which log it each in their own way.
GVariant* refuse_no_method(const char* function, int* error_code)
{
    give(error_code, TRESK_ERROR_INVALID_ARGUMENT);
    record_error(TRESK_ERROR_INVALID_ARGUMENT, function, "the dbus method is NULL\n");
    return nullptr;
}

} // namespace

} // namespace tresk

TRESK_EXPORT GVariant* process_dbus_method(const char* object_path, const char* interface_name,
                                           const char* method_name, GVariant* parameters, int* error_code)
{
    using namespace tresk;
    constexpr char function[] = "process_dbus_method";
    return at_edge(static_cast<GVariant*>(nullptr), [&]() -> GVariant* {
        if (method_name == nullptr) {
            log_error(kDbusSource, function, "the dbus method is NULL\n");
            return refuse_no_method(function, error_code);
        }
        return process(function, {kService, object_path, interface_name, method_name, parameters},
                       error_code);
    });
}

TRESK_EXPORT GVariant* process_dbus_other_method(const char* service_name, const char* object_path,
                                                 const char* interface_name, const char* method_name,
                                                 GVariant* parameters, int* error_code)
{
    using namespace tresk;
    constexpr char function[] = "process_dbus_other_method";
    constexpr int old_log_level = 1;
    return at_edge(static_cast<GVariant*>(nullptr), [&]() -> GVariant* {
        if (method_name == nullptr) {
            tresk_log(old_log_level, 0, function, "the dbus method is NULL\n");
            return refuse_no_method(function, error_code);
        }
        return process(function, {service_name, object_path, interface_name, method_name, parameters},
                       error_code);
    });
}
