// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/sandbox/places.h"

#include "standin/sandbox/failure.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <initializer_list>

namespace tresk::standin {

namespace {

namespace fs = std::filesystem;

constexpr const char* PRELOAD = "libtresk_standin_netlink.so";
constexpr const char* ACTIONS = "com.meron.tresk.policy";
constexpr const char* KERNEL = "tresk-standin-kernel";
constexpr const char* SERVICE = "tresk-standin-service";

std::string first_program(std::initializer_list<fs::path> candidates)
{
    for (const fs::path& candidate : candidates) {
        if (::access(candidate.c_str(), X_OK) == 0) {
            return candidate.lexically_normal();
        }
    }
    return "";
}

fs::path find_libraries(const fs::path& programs)
{
    for (const fs::path& folder : {programs / "../lib", programs / STANDIN_LIBRARIES_FROM_BIN}) {
        if (fs::exists(folder / PRELOAD)) {
            return folder.lexically_normal();
        }
    }
    throw std::runtime_error{std::string{"cannot find "} + PRELOAD + " beside " + programs.string()};
}

std::string find_service(const std::string& wanted, const fs::path& programs)
{
    if (!wanted.empty()) {
        return wanted;
    }
    if (const char* program = std::getenv("TRESK_STANDIN_SERVICE")) {
        return program;
    }
    return first_program(
        {programs / SERVICE, programs / "../service" / SERVICE, programs / "../standin/service" / SERVICE});
}

} // namespace

Places find_places(const std::string& service_program)
{
    const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path libraries = find_libraries(programs);
    return {.prefix = programs.parent_path(),
            .libraries = libraries,
            .preload = libraries / PRELOAD,
            .actions = (programs / STANDIN_DATA_FROM_BIN / ACTIONS).lexically_normal(),
            .kernel_program = first_program({programs / KERNEL}),
            .service_program = find_service(service_program, programs)};
}

} // namespace tresk::standin
