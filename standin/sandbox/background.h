// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The programs that run beside the command: the bus, the service and the kernel peer. Each says when it is
// ready; what it writes to standard error goes to NAME.err in the state directory.
#ifndef TRESK_STANDIN_SANDBOX_BACKGROUND_H
#define TRESK_STANDIN_SANDBOX_BACKGROUND_H

#include "common/handles.h"
#include "standin/sandbox/process.h"

#include <string>
#include <vector>

namespace tresk::standin {

class Background {
  public:
    /// Makes a command line out of the number of the descriptor on which readiness is to be told.
    using CommandLine = std::function<std::vector<std::string>(const std::string& ready_descriptor)>;

    Background(Children& children, const SignalQueue& signals) : children_{children}, signals_{signals} {}

    /// Starts a program. @name is what messages call it.
    void start(const std::string& name, const CommandLine& command);
    /// Waits until the program said that it is ready. Returns what it said, without the line feed.
    std::string wait_ready(const std::string& name);
    [[nodiscard]] pid_t process(const std::string& name) const;
    /// Ends all, the one that was started last first. True when each ended as it should; reports the others.
    bool end();

  private:
    struct Program {
        std::string name;
        pid_t process;
        Descriptor ready;
    };

    [[noreturn]] void run(const std::string& name, const CommandLine& command, int ready) const;
    [[nodiscard]] const Program& find(const std::string& name) const;

    Children& children_;
    const SignalQueue& signals_;
    std::vector<Program> programs_;
};

} // namespace tresk::standin

#endif
