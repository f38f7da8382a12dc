// SPDX-License-Identifier: LGPL-2.1-or-later
//
// tresk-standin-service: stands for the framework's system service where the framework is not installed. It
// protects nothing, and asks for authorisation only when it is told to.
#include "standin/service/authorisation.h"
#include "standin/service/dispatcher.h"
#include "standin/service/families.h"
#include "standin/service/service_name.h"

#include <glib-unix.h>
#include <libxml/parser.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>

namespace tresk::service {

namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

struct Options {
    Folders folders;
    int ready_fd = -1;
    bool ask_polkit = false;
};

void complain(const std::string& text)
{
    std::cerr << "tresk-standin-service: " << text << "\n";
}

using OptionContext = Handle<GOptionContext, g_option_context_free>;

/// The options, or nothing after a complaint.
std::optional<Options> parse_options(int argc, char** argv)
{
    char* state = nullptr;
    char* etc = nullptr;
    int ready_fd = -1;
    gboolean ask_polkit = FALSE;
    const GOptionEntry entries[] = {
        {"state", 0, 0, G_OPTION_ARG_FILENAME, &state, "Keep the state in DIR ($TRESK_STANDIN_STATE)", "DIR"},
        {"etc", 0, 0, G_OPTION_ARG_FILENAME, &etc, "Keep the policy files below DIR (/etc/tresk)", "DIR"},
        {"ready-fd", 0, 0, G_OPTION_ARG_INT, &ready_fd, "Write a line to descriptor N when ready", "N"},
        {"polkit", 0, 0, G_OPTION_ARG_NONE, &ask_polkit, "Ask polkit before anything is changed", nullptr},
        {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
    const OptionContext context(g_option_context_new("- development stand-in of the framework's service"));
    g_option_context_add_main_entries(context.get(), entries, nullptr);
    Error error;
    const bool parsed = g_option_context_parse(context.get(), &argc, &argv, error.out()) != FALSE;
    const GlibText state_owner(state);
    const GlibText etc_owner(etc);
    const char* chosen_state = state == nullptr ? std::getenv("TRESK_STANDIN_STATE") : state;
    if (!parsed || argc > 1 || chosen_state == nullptr || *chosen_state == '\0') {
        complain(!parsed    ? error.text()
                 : argc > 1 ? "unknown argument"
                            : "no folder for the state (--state)");
        return std::nullopt;
    }
    return Options{{chosen_state, etc == nullptr ? "/etc/tresk" : etc}, ready_fd, ask_polkit != FALSE};
}

void announce_ready(int descriptor)
{
    if (descriptor < 0) {
        return;
    }
    constexpr std::string_view line = "ready\n";
    if (::write(descriptor, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        complain("cannot announce that the service is ready");
    }
    ::close(descriptor);
}

/// How the main loop ends.
struct Run {
    MainLoop loop{g_main_loop_new(nullptr, FALSE)};
    int status = EXIT_SUCCESS;
};

gboolean on_signal(gpointer data)
{
    g_main_loop_quit(static_cast<Run*>(data)->loop.get());
    return G_SOURCE_CONTINUE;
}

void on_bus_closed(GDBusConnection* /*connection*/, gboolean /*remote*/, GError* error, gpointer data)
{
    complain("the bus went away: " + std::string(error == nullptr ? "closed" : error->message));
    auto& run = *static_cast<Run*>(data);
    run.status = kFailure;
    g_main_loop_quit(run.loop.get());
}

int serve(const Options& options)
{
    Run run;
    g_unix_signal_add(SIGTERM, on_signal, &run);
    g_unix_signal_add(SIGINT, on_signal, &run);
    std::filesystem::create_directories(options.folders.state);
    const Connection connection = connect_to_system_bus();
    const gulong closed = g_signal_connect(connection.get(), "closed", G_CALLBACK(on_bus_closed), &run);
    Dispatcher dispatcher(options.folders, options.ask_polkit);
    dispatcher.export_on(connection.get(), method_tables());
    own_service_name(connection.get());
    complain("development stand-in, not the framework's service; state in " + options.folders.state.string());
    if (options.ask_polkit) {
        when_polkit_is_there(connection.get(), [&options] { announce_ready(options.ready_fd); });
    } else {
        announce_ready(options.ready_fd);
    }
    g_main_loop_run(run.loop.get());
    g_dbus_connection_flush_sync(connection.get(), nullptr, nullptr);
    g_signal_handler_disconnect(connection.get(), closed);
    return run.status;
}

int run(int argc, char** argv)
{
    const std::optional<Options> options = parse_options(argc, argv);
    if (!options) {
        return kUsage;
    }
    xmlInitParser();
    // A ready line that nobody reads any more is no reason to end.
    std::signal(SIGPIPE, SIG_IGN);
    return serve(*options);
}

} // namespace

} // namespace tresk::service

int main(int argc, char** argv)
{
    try {
        return tresk::service::run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "tresk-standin-service: " << failure.what() << "\n";
        return tresk::service::kFailure;
    }
}
