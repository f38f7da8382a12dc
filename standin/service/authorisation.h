// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Asking polkit whether the caller of a method may call it. No answer of polkit, and no polkit, is a refusal.
#ifndef TRESK_STANDIN_SERVICE_AUTHORISATION_H
#define TRESK_STANDIN_SERVICE_AUTHORISATION_H

#include "standin/service/glib_handles.h"

#include <functional>
#include <string>

namespace tresk::service {

struct Question {
    std::string action;
    /// The caller's unique name on the bus: polkit finds out itself whose process that is.
    std::string caller;
    /// Told to polkit's rules as the detail "method".
    std::string method;
};

struct Ruling {
    enum class Verdict { kAllowed, kRefused, kCancelled };

    Verdict verdict = Verdict::kRefused;
    std::string reason;
};

/// Asks without waiting: polkit may have to ask a person first. @then is called from the main loop, once.
void ask_polkit(GDBusConnection* connection, const Question& question,
                std::function<void(const Ruling&)> then);

/// Calls @then from the main loop, once, when polkit has its name on the bus.
void when_polkit_is_there(GDBusConnection* connection, std::function<void()> then);

} // namespace tresk::service

#endif
