// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/sandbox/run.h"

#include "standin/sandbox/background.h"
#include "standin/sandbox/failure.h"
#include "standin/sandbox/namespace.h"
#include "standin/sandbox/places.h"
#include "standin/sandbox/polkit.h"
#include "standin/sandbox/root.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace tresk::standin {

namespace {

constexpr const char* BANNER =
    "tresk-sandbox: a development stand-in of the tresk framework. It protects nothing: /etc/tresk, /data, "
    "the\n"
    "system bus and the kernel module that you see here are private to this shell and go away with it.\n";

constexpr const char* BUS_CONFIGURATION =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=/tresk-standin/run/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="com.meron.tresk"/>
    <allow send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="signal"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
  </policy>
</busconfig>
)";

/// Inside of the configuration, where polkit is to be asked.
constexpr const char* BUS_POLICY_OF_POLKIT =
    R"(  <policy user="polkitd">
    <allow own="org.freedesktop.PolicyKit1"/>
  </policy>
)";

std::string bus_configuration(bool polkit)
{
    std::string text = BUS_CONFIGURATION;
    if (polkit) {
        text.insert(text.rfind("</busconfig>"), BUS_POLICY_OF_POLKIT);
    }
    return text;
}

void set(const char* name, const std::string& value)
{
    ::setenv(name, value.c_str(), 1);
}

/// Puts @value before what the variable holds.
void prepend(const char* name, const std::string& value)
{
    const char* present = std::getenv(name);
    set(name, present == nullptr || *present == '\0' ? value : value + ":" + present);
}

void append(const char* name, const std::string& value)
{
    const char* present = std::getenv(name);
    set(name, present == nullptr || *present == '\0' ? value : present + (":" + value));
}

/// One run's processes. The background programs are up while an object of this type lives.
class Run {
  public:
    Run(const Options& options, const SignalQueue& signals, pid_t guard)
        : options_{options}, places_{find_places(options.service_program)}, signals_{signals}, guard_{guard},
          children_{signals}, background_{children_, signals}
    {
    }

    int execute()
    {
        enter();
        set_common_environment();
        start_background();
        set_command_environment();
        const int status = run_command();
        return end() ? status : SANDBOX_FAILED;
    }

    /// Ends the background programs and what the command left running. True when they ended as they should.
    bool end()
    {
        const bool well = background_.end();
        end_all_children();
        return well;
    }

  private:
    void enter() const
    {
        std::error_code gone;
        const std::string working_directory = std::filesystem::current_path(gone);
        const Files rules = read_rules(options_.polkit_rules);
        enter_mount_namespace();
        enter_root({.state = options_.state,
                    .seed = options_.seed,
                    .bind_home = options_.bind_home,
                    .kept = {places_.prefix, working_directory}});
        if (options_.polkit) {
            lay_out_polkit(places_.actions, rules);
        }
    }

    void set_common_environment() const
    {
        set("TRESK_STANDIN_STATE", STATE_DIRECTORY);
        set("TRESK_STANDIN_LOG",
            options_.log.empty() ? std::string{STATE_DIRECTORY} + "/framework.log" : options_.log);
        set("DBUS_SYSTEM_BUS_ADDRESS", std::string{"unix:path="} + RUN_DIRECTORY + "/bus");
        prepend("LD_LIBRARY_PATH", places_.libraries);
    }

    [[nodiscard]] bool needs_kernel() const
    {
        return !options_.no_kernel && options_.kernel_protocol != "none";
    }

    [[nodiscard]] bool needs_polkit() const { return !options_.no_bus && options_.polkit; }

    [[nodiscard]] bool needs_service() const { return !options_.no_bus && !options_.no_service; }

    void start_background()
    {
        if (!options_.no_bus) {
            start_bus();
        }
        if (needs_kernel()) {
            start_kernel();
        }
        if (!options_.no_bus) {
            background_.wait_ready("bus");
        }
        if (needs_polkit()) {
            background_.start(
                "polkit", [&](const std::string& /*ready*/) { return std::vector<std::string>{polkitd_}; });
        }
        if (needs_service()) {
            start_service();
        }
    }

    void start_bus()
    {
        const std::string configuration = std::string{RUN_DIRECTORY} + "/bus.conf";
        std::ofstream{configuration} << bus_configuration(options_.polkit);
        background_.start("bus", [&](const std::string& ready) {
            return std::vector<std::string>{"dbus-daemon", "--config-file=" + configuration,
                                            "--nofork",    "--nopidfile",
                                            "--nosyslog",  "--print-address=" + ready};
        });
    }

    void start_kernel()
    {
        if (places_.kernel_program.empty()) {
            throw std::runtime_error{"cannot find tresk-standin-kernel beside this program"};
        }
        background_.start("kernel", [&](const std::string& ready) {
            return std::vector<std::string>{places_.kernel_program, "--ready-fd", ready};
        });
    }

    void start_service()
    {
        if (places_.service_program.empty()) {
            throw std::runtime_error{"cannot find tresk-standin-service (see --service and --no-service)"};
        }
        background_.start("service", [&](const std::string& ready) {
            std::vector<std::string> command{places_.service_program, "--ready-fd", ready};
            if (options_.polkit) {
                command.emplace_back("--polkit");
            }
            return command;
        });
    }

    void set_process(const char* variable, const std::string& name) const
    {
        set(variable, std::to_string(background_.process(name)));
    }

    void set_command_environment()
    {
        set("TRESK_STANDIN_KERNEL_PROTOCOL", options_.kernel_protocol);
        ::unsetenv("TRESK_STANDIN_KERNEL_PORT");
        if (needs_kernel()) {
            set("TRESK_STANDIN_KERNEL_PORT", background_.wait_ready("kernel"));
            set_process("TRESK_STANDIN_KERNEL_PID", "kernel");
        }
        if (!options_.no_bus) {
            set_process("TRESK_STANDIN_BUS_PID", "bus");
        }
        if (needs_polkit()) {
            set_process("TRESK_STANDIN_POLKIT_PID", "polkit");
        }
        if (needs_service()) {
            background_.wait_ready("service");
            set_process("TRESK_STANDIN_SERVICE_PID", "service");
            set("TRESK_STANDIN_SERVICE", places_.service_program);
        }
        prepend("LD_PRELOAD", places_.preload);
        // A sanitised command would refuse to start with another library before its sanitizer's.
        append("ASAN_OPTIONS", "verify_asan_link_order=0");
    }

    [[nodiscard]] std::vector<std::string> command() const
    {
        if (!options_.command.empty()) {
            return options_.command;
        }
        std::cerr << BANNER << std::flush;
        const char* shell = std::getenv("SHELL");
        return {shell == nullptr || *shell == '\0' ? "/bin/sh" : shell, "-i"};
    }

    int run_command()
    {
        const std::vector<std::string> line = command();
        command_ = fork_bound(SIGKILL, [&] {
            signals_.unblock();
            run_program(line);
        });
        for (children_.reap(); !children_.status_of(command_); children_.reap()) {
            if (const auto signal = signals_.wait()) {
                pass_on(*signal);
            }
        }
        return exit_status(*children_.status_of(command_));
    }

    void pass_on(const siginfo_t& signal) const
    {
        if (::getppid() != guard_) {
            ::kill(command_, SIGKILL);
        } else if (signal.si_signo != SIGCHLD && is_sent(signal)) {
            ::kill(command_, signal.si_signo);
        }
    }

    const Options& options_;
    Places places_;
    const SignalQueue& signals_;
    pid_t guard_;
    /// Looked for before the root changes; empty where it is not wanted.
    std::string polkitd_ = options_.polkit ? find_polkitd() : "";
    Children children_;
    Background background_;
    pid_t command_ = -1;
};

} // namespace

int run_sandbox(const Options& options, const SignalQueue& signals, pid_t guard)
{
    // What the command leaves running becomes a child of this process, which ends it.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    Run run{options, signals, guard};
    try {
        return run.execute();
    } catch (const std::exception& failure) {
        std::cerr << "tresk-sandbox: " << failure.what() << "\n";
        run.end();
        return SANDBOX_FAILED;
    }
}

} // namespace tresk::standin
