// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/authorisation.h"

#include <limits>
#include <memory>
#include <utility>

namespace tresk::service {

namespace {

constexpr char kPolkit[] = "org.freedesktop.PolicyKit1";
constexpr char kCancelled[] = "org.freedesktop.PolicyKit1.Error.Cancelled";
constexpr guint kAllowUserInteraction = 1;

using Then = std::function<void(const Ruling&)>;

GVariant* arguments_of(const Question& question)
{
    GVariantBuilder subject;
    g_variant_builder_init(&subject, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&subject, "{sv}", "name", g_variant_new_string(question.caller.c_str()));
    GVariantBuilder details;
    g_variant_builder_init(&details, G_VARIANT_TYPE("a{ss}"));
    g_variant_builder_add(&details, "{ss}", "method", question.method.c_str());
    return g_variant_new("((sa{sv})sa{ss}us)", "system-bus-name", &subject, question.action.c_str(), &details,
                         kAllowUserInteraction, "");
}

/// A person who closes the dialogue is no error to polkit: the answer's details say so.
Ruling ruling_of(GVariant* reply)
{
    gboolean authorised = FALSE;
    GVariant* raw_details = nullptr;
    g_variant_get(reply, "((bb@a{ss}))", &authorised, nullptr, &raw_details);
    const Variant details(raw_details);
    if (authorised != FALSE) {
        return {.verdict = Ruling::Verdict::kAllowed, .reason = {}};
    }
    const char* dismissed = nullptr;
    if (g_variant_lookup(details.get(), "polkit.dismissed", "&s", &dismissed) != FALSE) {
        return {.verdict = Ruling::Verdict::kCancelled, .reason = "authentication was cancelled"};
    }
    return {.verdict = Ruling::Verdict::kRefused, .reason = "not authorised"};
}

Ruling ruling_of(GError* error)
{
    const GlibText name(g_dbus_error_get_remote_error(error));
    const bool cancelled = name && std::string(name.get()) == kCancelled;
    return {.verdict = cancelled ? Ruling::Verdict::kCancelled : Ruling::Verdict::kRefused,
            .reason = std::string("polkit did not rule: ") + error->message};
}

void on_answer(GObject* connection, GAsyncResult* result, gpointer data)
{
    const std::unique_ptr<Then> then(static_cast<Then*>(data));
    GError* error = nullptr;
    const Variant reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &error));
    const Handle<GError, g_error_free> owner(error);
    (*then)(reply ? ruling_of(reply.get()) : ruling_of(error));
}

struct Watch {
    guint number = 0;
    std::function<void()> then;
};

void on_name(GDBusConnection* /*connection*/, const char* /*name*/, const char* /*owner*/, gpointer data)
{
    auto& watch = *static_cast<Watch*>(data);
    watch.then();
    g_bus_unwatch_name(watch.number);
}

void destroy_watch(gpointer data)
{
    delete static_cast<Watch*>(data);
}

} // namespace

void ask_polkit(GDBusConnection* connection, const Question& question, Then then)
{
    g_dbus_connection_call(connection, kPolkit, "/org/freedesktop/PolicyKit1/Authority",
                           "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization",
                           arguments_of(question), G_VARIANT_TYPE("((bba{ss}))"), G_DBUS_CALL_FLAGS_NONE,
                           std::numeric_limits<int>::max(), nullptr, on_answer, new Then(std::move(then)));
}

void when_polkit_is_there(GDBusConnection* connection, std::function<void()> then)
{
    auto* watch = new Watch{.then = std::move(then)};
    watch->number = g_bus_watch_name_on_connection(connection, kPolkit, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                                   on_name, nullptr, watch, destroy_watch);
}

} // namespace tresk::service
