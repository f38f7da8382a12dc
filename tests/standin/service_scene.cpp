// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

#include <stdexcept>

namespace tresk::test {

namespace {

struct UnrefVariant {
    void operator()(GVariant* value) const noexcept { g_variant_unref(value); }
};

struct FreeText {
    void operator()(char* text) const noexcept { g_free(text); }
};

using Variant = std::unique_ptr<GVariant, UnrefVariant>;
using Message = std::unique_ptr<GDBusMessage, UnrefObject>;

std::string printed(GVariant* value)
{
    return std::unique_ptr<char, FreeText>(g_variant_print(value, FALSE)).get();
}

Message request(const std::string& word, const std::string& method, const std::string& arguments)
{
    const Variant body(g_variant_parse(nullptr, arguments.c_str(), nullptr, nullptr, nullptr));
    if (!body) {
        throw std::invalid_argument("not a GVariant text: " + arguments);
    }
    const std::string path = "/" + word;
    const std::string interface = "com.meron.tresk." + word;
    Message message(
        g_dbus_message_new_method_call("com.meron.tresk", path.c_str(), interface.c_str(), method.c_str()));
    g_dbus_message_set_body(message.get(), body.get());
    return message;
}

Outcome outcome_of(GDBusMessage* message)
{
    GVariant* body = g_dbus_message_get_body(message);
    if (g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_ERROR) {
        return replied(body == nullptr ? "()" : printed(body));
    }
    if (body == nullptr) {
        return refused(g_dbus_message_get_error_name(message), std::nullopt);
    }
    return refused(g_dbus_message_get_error_name(message), g_dbus_message_get_arg0(message));
}

gboolean on_deadline(gpointer expired)
{
    *static_cast<bool*>(expired) = true;
    return G_SOURCE_REMOVE;
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome)
{
    if (outcome.error.empty()) {
        return stream << "reply " << outcome.reply;
    }
    return stream << "error " << outcome.error << ": " << outcome.message.value_or("(no message)");
}

struct PendingCall::State {
    Message reply;
    bool done = false;

    /// Keeps the state alive until GDBus has called back, also when the test has lost interest.
    static void on_reply(GObject* connection, GAsyncResult* result, gpointer data)
    {
        const std::unique_ptr<std::shared_ptr<State>> state(static_cast<std::shared_ptr<State>*>(data));
        (*state)->reply.reset(
            g_dbus_connection_send_message_with_reply_finish(G_DBUS_CONNECTION(connection), result, nullptr));
        (*state)->done = true;
    }
};

PendingCall::PendingCall(GDBusConnection* client, const std::string& word, const std::string& method,
                         const std::string& arguments)
    : state_(std::make_shared<State>())
{
    const Message message = request(word, method, arguments);
    g_dbus_connection_send_message_with_reply(client, message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, G_MAXINT,
                                              nullptr, nullptr, State::on_reply,
                                              new std::shared_ptr<State>(state_));
}

bool PendingCall::answered()
{
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    return state_->done;
}

Outcome PendingCall::outcome()
{
    bool expired = false;
    const guint timer = g_timeout_add_seconds(static_cast<guint>(kDeadline.count()), on_deadline, &expired);
    while (!state_->done && !expired) {
        g_main_context_iteration(nullptr, TRUE);
    }
    if (!expired) {
        g_source_remove(timer);
    }
    if (!state_->reply) {
        throw std::runtime_error("the call was not answered");
    }
    return outcome_of(state_->reply.get());
}

ServiceScene::ServiceScene() : client(bus.connect()) {}

Command ServiceScene::service_command() const
{
    return {
        .words = {TRESK_STANDIN_SERVICE, "--ready-fd", "3", "--state", state.string(), "--etc", etc.string()},
        .environment = {{"DBUS_SYSTEM_BUS_ADDRESS", bus.address()}},
        .error_file = (folder / "service.err").string()};
}

void ServiceScene::start_service()
{
    service = ChildProcess(service_command());
    if (service.announcement() != "ready") {
        throw std::runtime_error("the service did not start: " + text_of(folder / "service.err"));
    }
}

PendingCall ServiceScene::begin(const std::string& word, const std::string& method,
                                const std::string& arguments) const
{
    return {client.get(), word, method, arguments};
}

Outcome ServiceScene::call(const std::string& word, const std::string& method, const std::string& arguments)
{
    return begin(word, method, arguments).outcome();
}

} // namespace tresk::test
