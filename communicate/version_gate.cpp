// SPDX-License-Identifier: LGPL-2.1-or-later
#include "communicate/version_gate.h"

#include "common/framework.h"
#include "common/handles.h"
#include "common/report.h"
#include "communicate/kernel_channel.h"

#include <glib.h>

namespace tresk {

namespace {

constexpr double kFirstSupported = 4.2;

Malloced<char> version_text(int kind)
{
    char* text = nullptr;
    (void)tresk_version_get(kind, &text); // the text alone tells whether the version is known
    return Malloced<char>(text);
}

} // namespace

bool is_too_old(const char* version) noexcept
{
    return g_ascii_strtod(version, nullptr) < kFirstSupported; // strtod() would obey the program's locale
}

bool passes(const VersionGate& gate, const char* function)
{
    const Malloced<char> version = version_text(gate.kind);
    if (!version || !is_too_old(version.get())) {
        return true;
    }
    log_error(kCommunicateSource, function, gate.refusal);
    return false;
}

} // namespace tresk
