// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/fake_bus.h"

#include <algorithm>

namespace tresk::fuzz {

namespace {

using OwnedMessage = Handle<GDBusMessage, ::g_object_unref>;
using OwnedBytes = Handle<GBytes, ::g_bytes_unref>;
using OwnedType = Handle<GVariantType, ::g_variant_type_free>;

void add_texts(std::vector<std::string>& texts, GVariant* value)
{
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING) != FALSE) {
        gsize length = 0;
        const char* text = g_variant_get_string(value, &length);
        TRESK_REQUIRE(g_utf8_validate(text, static_cast<gssize>(length), nullptr) != FALSE);
        texts.emplace_back(text, length);
    } else if (g_variant_is_container(value) != FALSE) {
        for (gsize child = 0; child < g_variant_n_children(value); ++child) {
            const OwnedVariant one(g_variant_get_child_value(value, child));
            add_texts(texts, one.get());
        }
    }
}

/// Null where @type is none that a message can have.
OwnedVariant from_bytes(const std::string& type, std::string_view bytes)
{
    if (g_variant_is_signature(type.c_str()) == FALSE ||
        g_variant_type_string_is_valid(type.c_str()) == FALSE) {
        return nullptr;
    }
    const OwnedType checked(g_variant_type_new(type.c_str()));
    const OwnedBytes copy(g_bytes_new(bytes.data(), bytes.size()));
    const OwnedVariant loose(g_variant_ref_sink(g_variant_new_from_bytes(checked.get(), copy.get(), FALSE)));
    // With what is wrong in it taken out, as GDBus would refuse to deliver it.
    return OwnedVariant(g_variant_get_normal_form(loose.get()));
}

OwnedVariant from_text(const std::string& text)
{
    GError* raw = nullptr;
    GVariant* value = g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, &raw);
    const OwnedError error(raw);
    if (value == nullptr) {
        return nullptr;
    }
    OwnedVariant owned(g_variant_take_ref(value));
    return g_variant_is_signature(g_variant_get_type_string(value)) != FALSE ? std::move(owned) : nullptr;
}

OwnedVariant as_tuple(OwnedVariant value)
{
    if (!value || g_variant_is_of_type(value.get(), G_VARIANT_TYPE_TUPLE) != FALSE) {
        return value;
    }
    GVariant* const only = value.get();
    return OwnedVariant(g_variant_ref_sink(g_variant_new_tuple(&only, 1)));
}

} // namespace

void FakeBus::answer_number(std::int32_t number)
{
    error.reset();
    reply.reset(g_variant_ref_sink(g_variant_new("(i)", number)));
}

void FakeBus::reset()
{
    asked.clear();
    answer_number(0);
}

FakeBus& fake_bus()
{
    static FakeBus bus;
    return bus;
}

std::vector<std::string> texts_in(GVariant* value)
{
    std::vector<std::string> texts;
    add_texts(texts, value);
    return texts;
}

OwnedVariant reply_in(Pieces& pieces)
{
    const std::string first = pieces.text();
    OwnedVariant value = from_text(first);
    return as_tuple(value ? std::move(value) : from_bytes(first, pieces.rest()));
}

OwnedError remote_error(const std::string& name, const std::optional<std::string>& message)
{
    const OwnedMessage reply(g_dbus_message_new());
    g_dbus_message_set_message_type(reply.get(), G_DBUS_MESSAGE_TYPE_ERROR);
    const bool named = g_dbus_is_interface_name(name.c_str()) != FALSE;
    g_dbus_message_set_error_name(reply.get(), named ? name.c_str() : "MERON.TRESK.OTHER");
    if (message && g_utf8_validate(message->c_str(), -1, nullptr) != FALSE) {
        g_dbus_message_set_body(reply.get(), g_variant_new("(s)", message->c_str()));
    }
    GError* error = nullptr;
    TRESK_REQUIRE(g_dbus_message_to_gerror(reply.get(), &error) != FALSE);
    return OwnedError(error);
}

} // namespace tresk::fuzz

using namespace tresk::fuzz;

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

gchar* __wrap_g_dbus_address_get_for_bus_sync(GBusType type, GCancellable* cancellable, GError** error);
gboolean __wrap_g_initable_init(GInitable* initable, GCancellable* cancellable, GError** error);
GDBusProxy* __wrap_g_dbus_proxy_new_sync(GDBusConnection* connection, GDBusProxyFlags flags,
                                         GDBusInterfaceInfo* info, const gchar* name, const gchar* object,
                                         const gchar* interface, GCancellable* cancellable, GError** error);
GVariant* __wrap_g_dbus_proxy_call_sync(GDBusProxy* proxy, const gchar* method, GVariant* parameters,
                                        GDBusCallFlags flags, gint timeout, GCancellable* cancellable,
                                        GError** error);

gchar* __wrap_g_dbus_address_get_for_bus_sync(GBusType /*type*/, GCancellable* /*cancellable*/,
                                              GError** /*error*/)
{
    return g_strdup("unix:path=/nowhere");
}

gboolean __wrap_g_initable_init(GInitable* /*initable*/, GCancellable* /*cancellable*/, GError** /*error*/)
{
    return TRUE;
}

/// An object that can be released is all that is done with the proxy elsewhere.
GDBusProxy* __wrap_g_dbus_proxy_new_sync(GDBusConnection* connection, GDBusProxyFlags /*flags*/,
                                         GDBusInterfaceInfo* /*info*/, const gchar* name, const gchar* object,
                                         const gchar* interface, GCancellable* /*cancellable*/,
                                         GError** /*error*/)
{
    TRESK_REQUIRE(connection != nullptr);
    TRESK_REQUIRE(g_dbus_is_name(name) != FALSE);
    TRESK_REQUIRE(g_variant_is_object_path(object) != FALSE);
    TRESK_REQUIRE(g_dbus_is_interface_name(interface) != FALSE);
    fake_bus().asked.push_back({object, interface, "", nullptr});
    return static_cast<GDBusProxy*>(g_object_new(G_TYPE_OBJECT, nullptr));
}

GVariant* __wrap_g_dbus_proxy_call_sync(GDBusProxy* /*proxy*/, const gchar* method, GVariant* parameters,
                                        GDBusCallFlags /*flags*/, gint /*timeout*/,
                                        GCancellable* /*cancellable*/, GError** error)
{
    FakeBus& bus = fake_bus();
    TRESK_REQUIRE(!bus.asked.empty() && bus.asked.back().method.empty());
    bus.asked.back().method = method;
    if (parameters != nullptr) {
        TRESK_REQUIRE(g_variant_is_of_type(parameters, G_VARIANT_TYPE_TUPLE) != FALSE);
        TRESK_REQUIRE(g_variant_is_normal_form(parameters) != FALSE);
        TRESK_REQUIRE(g_variant_is_signature(g_variant_get_type_string(parameters)) != FALSE);
        bus.asked.back().arguments.reset(g_variant_ref_sink(parameters));
        (void)texts_in(parameters);
    }
    if (bus.reply) {
        return g_variant_ref(bus.reply.get());
    }
    TRESK_REQUIRE(bus.error != nullptr);
    *error = g_error_copy(bus.error.get());
    return nullptr;
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
