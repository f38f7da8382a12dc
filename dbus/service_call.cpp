// SPDX-License-Identifier: LGPL-2.1-or-later
#include "dbus/service_call.h"

#include "common/text.h"
#include "dbus/service_error.h"
#include "tresk_extend.h"

#include <algorithm>

namespace tresk {

namespace {

bool is_sendable(const char* text)
{
    return text != nullptr && is_dbus_text(text);
}

std::optional<std::int32_t> first_int32(GVariant* reply)
{
    if (g_variant_n_children(reply) == 0) {
        return std::nullopt;
    }
    const Variant first(g_variant_get_child_value(reply, 0));
    if (g_variant_is_of_type(first.get(), G_VARIANT_TYPE_INT32) == FALSE) {
        return std::nullopt;
    }
    return g_variant_get_int32(first.get());
}

} // namespace

bool can_travel(const Caller& caller, std::initializer_list<const char*> texts)
{
    if (std::all_of(texts.begin(), texts.end(), is_sendable)) {
        return true;
    }
    report_bad_argument(caller.source, caller.function);
    return false;
}

void ServiceArguments::add(const char* member)
{
    if (is_sendable(member)) {
        own(g_variant_new_string(member));
    } else {
        sendable_ = false;
    }
}

Variant ServiceArguments::tuple() const
{
    if (!sendable_) {
        return nullptr;
    }
    std::vector<GVariant*> members;
    members.reserve(members_.size());
    for (const Variant& member : members_) {
        members.push_back(member.get());
    }
    return Variant(g_variant_ref_sink(g_variant_new_tuple(members.data(), members.size())));
}

ServiceAnswer ask_service(const Caller& caller, const ServiceObject& object, const char* method,
                          const ServiceArguments& arguments)
{
    const Variant tuple = arguments.tuple();
    if (!tuple) {
        report_bad_argument(caller.source, caller.function);
        return {std::nullopt, TRESK_ERROR_INVALID_ARGUMENT};
    }
    int error_code = 0;
    const Variant reply(process_dbus_method(object.path, object.interface, method, tuple.get(), &error_code));
    if (!reply) {
        return {std::nullopt, error_code};
    }
    const std::optional<std::int32_t> value = first_int32(reply.get());
    return {value, value ? 0 : report_no_reply()};
}

} // namespace tresk
