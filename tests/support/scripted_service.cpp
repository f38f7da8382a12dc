// SPDX-License-Identifier: LGPL-2.1-or-later
//
// GDBus tells the end of a connection to the main context in which it was made, and keeps the connection
// until somebody listens there. So each service has a context of its own, which it runs when it ends.
//
// A message filter sees every incoming call before GDBus looks for a registered object, which is how any path
// and interface can be served. Filters run on GDBus's one worker thread, which also carries the caller's
// connection: so they only queue the message, and the service's own thread answers it.
#include "tests/support/scripted_service.h"

#include "common/handles.h"

#include <gio/gio.h>

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace tresk::test {

namespace {

using Connection = Handle<GDBusConnection, ::g_object_unref>;
using Message = Handle<GDBusMessage, ::g_object_unref>;
using Context = Handle<GMainContext, ::g_main_context_unref>;
using Variant = Handle<GVariant, ::g_variant_unref>;
using Error = Handle<GError, ::g_error_free>;
using GString_ = Handle<gchar, ::g_free>;

constexpr std::uint32_t kDoNotQueue = 4;
constexpr std::uint32_t kPrimaryOwner = 1;

/// The connection will tell its end to @context.
Connection connect(const std::string& address, const Context& context)
{
    g_main_context_push_thread_default(context.get());
    const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                         G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GError* raw = nullptr;
    Connection connection(
        g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr, nullptr, &raw));
    g_main_context_pop_thread_default(context.get());
    const Error error(raw);
    if (!connection) {
        throw std::runtime_error(std::string("scripted service: ") + error->message);
    }
    return connection;
}

void own_name(const Connection& connection, const std::string& name)
{
    GError* raw = nullptr;
    const Variant reply(g_dbus_connection_call_sync(
        connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name.c_str(), kDoNotQueue), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &raw));
    const Error error(raw);
    std::uint32_t result = 0;
    if (reply) {
        g_variant_get(reply.get(), "(u)", &result);
    }
    if (result != kPrimaryOwner) {
        throw std::runtime_error("scripted service cannot own " + name + ": " +
                                 (error ? error->message : "owned by another"));
    }
}

Variant parsed(const std::string& text)
{
    GError* raw = nullptr;
    GVariant* value = g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, &raw);
    const Error error(raw);
    if (value == nullptr) {
        throw std::invalid_argument(text + ": " + error->message);
    }
    Variant owner(g_variant_take_ref(value));
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_TUPLE) == FALSE) {
        throw std::invalid_argument(text + ": not a tuple");
    }
    return owner;
}

enum class Reaction { answer, fail, die, silent };

struct Script {
    Reaction reaction = Reaction::answer;
    std::string text = "(int32 0,)"; ///< the reply, or the error's name
    std::optional<std::string> message;
    std::function<void()> callback;
};

std::string or_empty(const char* text)
{
    return text == nullptr ? "" : text;
}

ServiceCall described(GDBusMessage* message)
{
    GVariant* body = g_dbus_message_get_body(message);
    const GString_ arguments(body == nullptr ? nullptr : g_variant_print(body, FALSE));
    return {.path = or_empty(g_dbus_message_get_path(message)),
            .interface = or_empty(g_dbus_message_get_interface(message)),
            .member = or_empty(g_dbus_message_get_member(message)),
            .signature = or_empty(g_dbus_message_get_signature(message)),
            .arguments = arguments ? arguments.get() : "()"};
}

/// An error made by hand, because GDBus's own constructors always add a body.
Message error_reply(GDBusMessage* call, const Script& script)
{
    Message reply(g_dbus_message_new());
    g_dbus_message_set_message_type(reply.get(), G_DBUS_MESSAGE_TYPE_ERROR);
    g_dbus_message_set_flags(reply.get(), G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED);
    g_dbus_message_set_reply_serial(reply.get(), g_dbus_message_get_serial(call));
    g_dbus_message_set_destination(reply.get(), g_dbus_message_get_sender(call));
    g_dbus_message_set_error_name(reply.get(), script.text.c_str());
    if (script.message) {
        g_dbus_message_set_body(reply.get(), g_variant_new("(s)", script.message->c_str()));
    }
    return reply;
}

Message plain_reply(GDBusMessage* call, const Script& script)
{
    Message reply(g_dbus_message_new_method_reply(call));
    g_dbus_message_set_body(reply.get(), parsed(script.text).get());
    return reply;
}

} // namespace

class ScriptedService::Impl {
  public:
    explicit Impl(const std::string& address)
        : connection_(connect(address, context_)),
          thread_([this](const std::stop_token& stop) { serve(stop); })
    {
        g_signal_connect(connection_.get(), "closed", G_CALLBACK(on_closed), this);
        filter_ = g_dbus_connection_add_filter(connection_.get(), filter, this, nullptr);
    }

    ~Impl()
    {
        thread_.request_stop();
        thread_.join();
        g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
        while (!closed_) {
            g_main_context_iteration(context_.get(), TRUE);
        }
        // Of a closed connection, so that it is running nowhere any more.
        g_dbus_connection_remove_filter(connection_.get(), filter_);
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void own(const std::string& name) { own_name(connection_, name); }

    template <class Change>
    void change(const std::string& member, Change apply)
    {
        const std::lock_guard lock(mutex_);
        apply(scripts_[member]);
    }

    std::vector<ServiceCall> calls() const
    {
        const std::lock_guard lock(mutex_);
        return calls_;
    }

    void forget_calls()
    {
        const std::lock_guard lock(mutex_);
        calls_.clear();
    }

  private:
    static void on_closed(GDBusConnection* /*connection*/, gboolean /*vanished*/, GError* /*error*/,
                          gpointer self)
    {
        static_cast<Impl*>(self)->closed_ = true;
    }

    static GDBusMessage* filter(GDBusConnection* /*connection*/, GDBusMessage* message, gboolean incoming,
                                gpointer self)
    {
        if (incoming == FALSE ||
            g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL ||
            or_empty(g_dbus_message_get_interface(message)).starts_with("org.freedesktop.DBus")) {
            return message;
        }
        static_cast<Impl*>(self)->queue(Message(message));
        return nullptr;
    }

    void queue(Message message)
    {
        const std::lock_guard lock(mutex_);
        queued_.push_back(std::move(message));
        arrived_.notify_one();
    }

    void serve(const std::stop_token& stop)
    {
        std::unique_lock lock(mutex_);
        while (arrived_.wait(lock, stop, [this] { return !queued_.empty(); })) {
            const Message message = std::move(queued_.front());
            queued_.pop_front();
            calls_.push_back(described(message.get()));
            const auto scripted = scripts_.find(calls_.back().member);
            const Script script = scripted == scripts_.end() ? Script() : scripted->second;
            lock.unlock();
            react(message.get(), script);
            lock.lock();
        }
    }

    void react(GDBusMessage* call, const Script& script)
    {
        if (script.callback) {
            script.callback();
        }
        switch (script.reaction) {
        case Reaction::answer:
            send(plain_reply(call, script));
            break;
        case Reaction::fail:
            send(error_reply(call, script));
            break;
        case Reaction::die:
            hang_up();
            break;
        case Reaction::silent:
            break;
        }
    }

    void send(const Message& message)
    {
        // A caller that is gone by now is a test's own doing.
        g_dbus_connection_send_message(connection_.get(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                       nullptr, nullptr);
    }

    /// The bus sees the end of the stream, as when a process dies.
    void hang_up()
    {
        GIOStream* stream = g_dbus_connection_get_stream(connection_.get());
        g_socket_shutdown(g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream)), TRUE, TRUE, nullptr);
    }

    mutable std::mutex mutex_;
    std::condition_variable_any arrived_;
    std::deque<Message> queued_;
    std::map<std::string, Script> scripts_;
    std::vector<ServiceCall> calls_;
    Context context_{g_main_context_new()};
    Connection connection_;
    bool closed_ = false;
    guint filter_ = 0;
    std::jthread thread_;
};

ScriptedService::ScriptedService(const std::string& address, const std::string& name)
    : impl_(std::make_unique<Impl>(address))
{
    impl_->own(name); // by a whole object: its filter must be taken away where this fails
}

ScriptedService::~ScriptedService() = default;

void ScriptedService::answer(const std::string& member, const std::string& reply)
{
    parsed(reply);
    impl_->change(member, [&](Script& script) {
        script.reaction = Reaction::answer;
        script.text = reply;
    });
}

void ScriptedService::fail(const std::string& member, const std::string& error_name,
                           const std::optional<std::string>& message)
{
    impl_->change(member, [&](Script& script) {
        script.reaction = Reaction::fail;
        script.text = error_name;
        script.message = message;
    });
}

void ScriptedService::die_on(const std::string& member)
{
    impl_->change(member, [](Script& script) { script.reaction = Reaction::die; });
}

void ScriptedService::silent(const std::string& member)
{
    impl_->change(member, [](Script& script) { script.reaction = Reaction::silent; });
}

void ScriptedService::on_call(const std::string& member, std::function<void()> callback)
{
    impl_->change(member, [&](Script& script) { script.callback = std::move(callback); });
}

std::vector<ServiceCall> ScriptedService::calls() const
{
    return impl_->calls();
}

void ScriptedService::forget_calls()
{
    impl_->forget_calls();
}

} // namespace tresk::test
