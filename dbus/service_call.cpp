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

/// The first member where it is of @type, else null.
Variant first_member(GVariant* reply, const GVariantType* type)
{
    if (g_variant_n_children(reply) == 0) {
        return nullptr;
    }
    Variant first(g_variant_get_child_value(reply, 0));
    return g_variant_is_of_type(first.get(), type) != FALSE ? std::move(first) : nullptr;
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

void ServiceArguments::add(const TextArray& member)
{
    if (!std::all_of(member.texts, member.texts + member.count, is_sendable)) {
        sendable_ = false;
        return;
    }
    own(g_variant_new_strv(member.texts, static_cast<gssize>(member.count)));
}

void ServiceArguments::add(Variant member)
{
    if (member) {
        members_.push_back(std::move(member));
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

ServiceReply call_service(const Caller& caller, const ServiceObject& object, const char* method,
                          const ServiceArguments& arguments, const GVariantType* type)
{
    const Variant tuple = arguments.tuple();
    if (!tuple) {
        report_bad_argument(caller.source, caller.function);
        return {nullptr, TRESK_ERROR_INVALID_ARGUMENT};
    }
    int error_code = 0;
    const Variant reply(process_dbus_method(object.path, object.interface, method, tuple.get(), &error_code));
    if (!reply) {
        return {nullptr, error_code};
    }
    Variant member = first_member(reply.get(), type);
    const int code = member ? 0 : report_no_reply();
    return {std::move(member), code};
}

ServiceAnswer ask_service(const Caller& caller, const ServiceObject& object, const char* method,
                          const ServiceArguments& arguments)
{
    const ServiceReply reply = call_service(caller, object, method, arguments, G_VARIANT_TYPE_INT32);
    if (!reply.member) {
        return {std::nullopt, reply.error_code};
    }
    return {g_variant_get_int32(reply.member.get()), 0};
}

} // namespace tresk
