// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The root directory that the command sees: a fresh tmpfs that shows every entry of the host's root and of
// its /etc, except that /etc/tresk and /data are the sandbox's own. Nothing is created on the host, where
// neither has to exist.
#ifndef TRESK_STANDIN_SANDBOX_ROOT_H
#define TRESK_STANDIN_SANDBOX_ROOT_H

#include <string>
#include <vector>

namespace tresk::standin {

/// The sandbox's own files, as paths inside.
constexpr const char* OWN_DIRECTORY = "/tresk-standin";
constexpr const char* STATE_DIRECTORY = "/tresk-standin/state";
constexpr const char* RUN_DIRECTORY = "/tresk-standin/run";

struct RootPlan {
    /// The directory that keeps etc/, data/ and standin/; empty for memory only.
    std::string state;
    /// Copied to /etc/tresk; may be empty.
    std::string seed;
    /// Whether /home and /root show /data/home and /data/root.
    bool bind_home = false;
    /// Folders that stay visible although they lie where the sandbox has directories of its own.
    std::vector<std::string> kept;
};

/// Builds the root and moves this process into it; needs a mount namespace of its own. The working directory
/// stays the same where it exists inside, else it becomes "/". Throws std::exception.
void enter_root(const RootPlan& plan);

} // namespace tresk::standin

#endif
