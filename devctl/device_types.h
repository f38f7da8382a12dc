// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Two numberings of the types of devices: this library's, 0 to 43, and the scene library's classes with their
// subtypes. Several library types share one scene type, and the way back is not the inverse of the way there.
#ifndef TRESK_DEVCTL_DEVICE_TYPES_H
#define TRESK_DEVCTL_DEVICE_TYPES_H

#include <cstdint>
#include <optional>

namespace tresk::devctl {

inline constexpr std::uint32_t kLastType = 43;
/// A library type for a scene type that has none.
inline constexpr std::int32_t kNoType = -1;

struct SceneType {
    std::uint32_t device_class;
    std::uint32_t subtype;
};

/// The scene type of a library type; nothing where it has none.
std::optional<SceneType> scene_type(std::int64_t dtype) noexcept;

/// The library type of a scene type; kNoType where it has none, which is logged on @function's behalf.
std::int32_t library_type(const char* function, SceneType type);

} // namespace tresk::devctl

#endif
