// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk: the framework's state, as the stand-in service wrote it down:
//   status       one integer; 0 means that the framework is switched off
//   func_status  lines "INDEX STATUS"
//   version      the version text; empty for "unknown"
#include "common/edge.h"
#include "common/framework.h"
#include "standin/framework/state.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using namespace tresk::standin;

constexpr int ENABLED = 1;
/// Function 8 measures files with a hardware module, which a build machine does not have.
constexpr int FUNCTION_WITHOUT_HARDWARE = 8;
constexpr const char* DEFAULT_VERSION = "5.10";

bool is_switched_off()
{
    const auto status = read_state("status");
    return status && !status->empty() && std::strtol(status->c_str(), nullptr, 10) == 0;
}

int function_status(int index)
{
    const auto known = read_state_numbers("func_status");
    const auto entry = known.find(std::to_string(index));
    if (entry != known.end()) {
        return entry->second;
    }
    return index == FUNCTION_WITHOUT_HARDWARE ? 0 : ENABLED;
}

std::string version_text()
{
    if (const char* version = std::getenv("TRESK_STANDIN_VERSION")) {
        return version;
    }
    std::string version = read_state("version").value_or(DEFAULT_VERSION);
    version.resize(std::min(version.find('\n'), version.size()));
    return version;
}

} // namespace

TRESK_EXPORT int tresk_is_disabled(void)
{
    return tresk::at_edge(0, [] { return is_switched_off() ? 1 : 0; });
}

TRESK_EXPORT int tresk_get_func_status(int function_index)
{
    return tresk::at_edge(ENABLED, [&] { return function_status(function_index); });
}

TRESK_EXPORT int tresk_version_get(int /*kind*/, char** version)
{
    return tresk::at_edge(-1, [&] {
        if (version == nullptr) {
            return -1;
        }
        const std::string text = version_text();
        if (!text.empty()) {
            *version = ::strdup(text.c_str());
        }
        return 0;
    });
}
