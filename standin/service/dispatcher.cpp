// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/dispatcher.h"

#include "standin/service/atomic_file.h"
#include "standin/service/audit.h"
#include "standin/service/authorisation.h"
#include "standin/service/faults.h"
#include "standin/service/introspection.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <string>

namespace tresk::service {

struct Dispatcher::Object {
    const Folders& folders;
    bool ask_polkit;
    std::string word;
    std::vector<const Method*> methods;
    Connection connection;
    guint registration = 0;

    Object(const Folders& where, bool asks, std::string name, std::vector<const Method*> table)
        : folders(where), ask_polkit(asks), word(std::move(name)), methods(std::move(table))
    {
    }

    ~Object()
    {
        if (registration != 0) {
            g_dbus_connection_unregister_object(connection.get(), registration);
        }
    }

    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    Object(Object&&) = delete;
    Object& operator=(Object&&) = delete;
};

namespace {

constexpr char kFailed[] = "org.freedesktop.DBus.Error.Failed";

/// What goes back to the caller. Without body and error name: nothing.
struct Answer {
    Variant body;
    std::string error;
    std::optional<std::string> message;
};

Answer refused(std::string name, std::optional<std::string> message)
{
    return {.body = nullptr, .error = std::move(name), .message = std::move(message)};
}

/// One call on its way; the delayed ones wait in the main loop.
struct Call {
    const Folders& folders;
    const Method& method;
    Invocation invocation;
    Fault fault;
};

const char* sender_of(const Call& call)
{
    const char* sender = g_dbus_method_invocation_get_sender(call.invocation.get());
    return sender == nullptr ? "-" : sender;
}

GVariant* arguments_of(const Call& call)
{
    return g_dbus_method_invocation_get_parameters(call.invocation.get());
}

Answer answer_of_handler(const Call& call)
{
    try {
        return {.body = call.method.handler(call.folders, arguments_of(call)), .error = {}, .message = {}};
    } catch (const Refusal& refusal) {
        return refused(refusal.name(), refusal.what());
    } catch (const std::exception& failure) {
        return refused(error_name::kDatabase, failure.what());
    }
}

Answer answer_of(Call& call)
{
    switch (call.fault.kind) {
    case Fault::Kind::kError:
        return refused(call.fault.error, call.fault.message);
    case Fault::Kind::kReply:
        return {.body = std::move(call.fault.reply), .error = {}, .message = {}};
    case Fault::Kind::kSilence:
    case Fault::Kind::kDeath:
        return {};
    case Fault::Kind::kNone:
        break;
    }
    return answer_of_handler(call);
}

/// The tuple with the message, or null for an error without one.
Variant error_body(const Answer& answer)
{
    return answer.message ? own(g_variant_new("(s)", answer.message->c_str())) : nullptr;
}

std::string described(const Call& call, const Answer& answer)
{
    if (!answer.error.empty()) {
        const Variant body = error_body(answer);
        return "error " + answer.error + (body ? " " + printed(body.get()) : "");
    }
    if (answer.body) {
        return printed(answer.body.get());
    }
    return call.fault.kind == Fault::Kind::kDeath ? "died" : "silent";
}

std::string described_arguments(const Call& call)
{
    return call.method.confidential ? "(...)" : printed(arguments_of(call));
}

void audit(const Call& call, const Answer& answer)
{
    append_audit(call.folders.state / "service.log", {.sender = sender_of(call),
                                                      .method = call.method.name,
                                                      .arguments = described_arguments(call),
                                                      .answer = described(call, answer)});
}

/// Answers are sent as messages of our own making: GDBus would refuse a reply of another type and cannot
/// send an error without a message, and faults ask for both.
Message message_of(GDBusMessage* request, const Answer& answer)
{
    if (answer.error.empty()) {
        Message reply(g_dbus_message_new_method_reply(request));
        g_dbus_message_set_body(reply.get(), answer.body.get());
        return reply;
    }
    Message reply(g_dbus_message_new_method_error_literal(request, answer.error.c_str(), ""));
    const Variant body = error_body(answer);
    g_dbus_message_set_body(reply.get(), body.get());
    return reply;
}

void send(const Call& call, const Answer& answer)
{
    GDBusMessage* request = g_dbus_method_invocation_get_message(call.invocation.get());
    const bool unwanted = (g_dbus_message_get_flags(request) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) != 0;
    if (unwanted || (!answer.body && answer.error.empty())) {
        return;
    }
    const Message reply = message_of(request, answer);
    Error error;
    if (g_dbus_connection_send_message(g_dbus_method_invocation_get_connection(call.invocation.get()),
                                       reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                       error.out()) == FALSE) {
        std::cerr << "tresk-standin-service: an answer was not sent: " << error.text() << "\n";
    }
}

void finish(Call& call)
{
    const Answer answer = answer_of(call);
    audit(call, answer);
    if (call.fault.kind == Fault::Kind::kDeath) {
        std::_Exit(kDiedOnDemand);
    }
    send(call, answer);
}

/// The fault that the state folder asks for; a file of faults that cannot be used is itself a fault.
Fault current_fault(const Folders& folders, const char* method)
{
    const std::filesystem::path file = folders.state / "service-faults";
    try {
        return fault_for(read_whole(file).value_or(""), method);
    } catch (const std::exception& failure) {
        Fault fault;
        fault.kind = Fault::Kind::kError;
        fault.error = kFailed;
        fault.message = "service-faults: " + std::string(failure.what());
        return fault;
    }
}

using SharedCall = std::shared_ptr<Call>;

gboolean finish_delayed(gpointer call)
{
    finish(**static_cast<SharedCall*>(call));
    return G_SOURCE_REMOVE;
}

void destroy_call(gpointer call)
{
    delete static_cast<SharedCall*>(call);
}

void begin(const SharedCall& call)
{
    if (call->fault.delay_ms == 0) {
        finish(*call);
        return;
    }
    g_timeout_add_full(G_PRIORITY_DEFAULT, call->fault.delay_ms, finish_delayed, new SharedCall(call),
                       destroy_call);
}

/// Refuses the call, or goes on with it, as polkit ruled.
void begin_as_ruled(const SharedCall& call, const Ruling& ruling)
{
    if (ruling.verdict == Ruling::Verdict::kAllowed) {
        begin(call);
        return;
    }
    const bool cancelled = ruling.verdict == Ruling::Verdict::kCancelled;
    const Answer answer =
        refused(cancelled ? error_name::kAuthCancelled : error_name::kAuthFailed, ruling.reason);
    audit(*call, answer);
    send(*call, answer);
}

void authorise(const SharedCall& call, const std::string& word)
{
    ask_polkit(g_dbus_method_invocation_get_connection(call->invocation.get()),
               {.action = interface_name(word), .caller = sender_of(*call), .method = call->method.name},
               [call](const Ruling& ruling) { begin_as_ruled(call, ruling); });
}

void on_method_call(GDBusConnection* /*connection*/, const char* /*sender*/, const char* /*path*/,
                    const char* /*interface*/, const char* name, GVariant* /*parameters*/,
                    GDBusMethodInvocation* raw_invocation, gpointer data)
{
    Invocation invocation(raw_invocation);
    const auto& object = *static_cast<const Dispatcher::Object*>(data);
    const auto method = std::ranges::find_if(
        object.methods, [name](const Method* candidate) { return std::strcmp(candidate->name, name) == 0; });
    if (method == object.methods.end()) {
        return;
    }
    const auto call = std::make_shared<Call>(Call{.folders = object.folders,
                                                  .method = **method,
                                                  .invocation = std::move(invocation),
                                                  .fault = current_fault(object.folders, name)});
    if (object.ask_polkit && (*method)->access == Access::kAuthorised) {
        authorise(call, object.word);
    } else {
        begin(call);
    }
}

constexpr GDBusInterfaceVTable kVtable{on_method_call, nullptr, nullptr, {}};

using Words = std::map<std::string, std::vector<const Method*>>;

Words by_word(std::span<const MethodTable> tables)
{
    Words words;
    for (const MethodTable& table : tables) {
        for (const Method& method : table.methods) {
            words[table.word].push_back(&method);
        }
    }
    return words;
}

void register_object(GDBusConnection* connection, Dispatcher::Object& object)
{
    Error error;
    const NodeInfo node(
        g_dbus_node_info_new_for_xml(introspection_xml(object.word, object.methods).c_str(), error.out()));
    if (node) {
        const std::string path = "/" + object.word;
        object.registration = g_dbus_connection_register_object(connection, path.c_str(), node->interfaces[0],
                                                                &kVtable, &object, nullptr, error.out());
    }
    if (object.registration == 0) {
        throw std::runtime_error("object /" + object.word + ": " + error.text());
    }
    object.connection.reset(G_DBUS_CONNECTION(g_object_ref(connection)));
}

} // namespace

Dispatcher::Dispatcher(Folders folders, bool ask_polkit)
    : folders_(std::move(folders)), ask_polkit_(ask_polkit)
{
}

Dispatcher::~Dispatcher() = default;

void Dispatcher::export_on(GDBusConnection* connection, std::span<const MethodTable> tables)
{
    for (auto& [word, methods] : by_word(tables)) {
        objects_.push_back(std::make_unique<Object>(folders_, ask_polkit_, word, std::move(methods)));
        register_object(connection, *objects_.back());
    }
}

} // namespace tresk::service
