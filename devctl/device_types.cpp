// SPDX-License-Identifier: LGPL-2.1-or-later
#include "devctl/device_types.h"

#include "devctl/device_policy.h"

#include <cstddef>
#include <span>

namespace tresk::devctl {

namespace {

/// The scene's classes.
constexpr std::uint32_t kInterface = 1;
constexpr std::uint32_t kDevice = 2;
constexpr std::uint32_t kUsb = 3;

constexpr SceneType kUnmapped = {0, 0}; // no scene class is 0

/// By library type.
constexpr SceneType kSceneTypes[kLastType + 1] = {
    /*  0 */ kUnmapped,
    /*  1 */ kUnmapped,
    /*  2 */ {kInterface, 1},
    /*  3 */ {kInterface, 2},
    /*  4 */ {kInterface, 5},
    /*  5 */ {kDevice, 15},
    /*  6 */ {kDevice, 12},
    /*  7 */ {kDevice, 11},
    /*  8 */ {kDevice, 10},
    /*  9 */ {kDevice, 1},
    /* 10 */ {kUsb, 13},
    /* 11 */ {kInterface, 8},
    /* 12 */ {kUsb, 2},
    /* 13 */ {kInterface, 3},
    /* 14 */ {kInterface, 4},
    /* 15 */ {kInterface, 9},
    /* 16 */ {kInterface, 10},
    /* 17 */ kUnmapped,
    /* 18 */ kUnmapped,
    /* 19 */ {kInterface, 6},
    /* 20 */ {kInterface, 7},
    /* 21 */ {kDevice, 2},
    /* 22 */ {kDevice, 3},
    /* 23 */ {kInterface, 11},
    /* 24 */ {kDevice, 5},
    /* 25 */ {kDevice, 5},
    /* 26 */ {kUsb, 13},
    /* 27 */ {kUsb, 6},
    /* 28 */ {kDevice, 9},
    /* 29 */ {kDevice, 6},
    /* 30 */ {kDevice, 13},
    /* 31 */ {kDevice, 14},
    /* 32 */ kUnmapped,
    /* 33 */ kUnmapped,
    /* 34 */ kUnmapped,
    /* 35 */ kUnmapped,
    /* 36 */ kUnmapped,
    /* 37 */ kUnmapped,
    /* 38 */ kUnmapped,
    /* 39 */ kUnmapped,
    /* 40 */ kUnmapped,
    /* 41 */ kUnmapped,
    /* 42 */ {kDevice, 16},
    /* 43 */ {kDevice, 17},
};

/// By subtype, within each class.
constexpr std::int32_t kInterfaceTypes[] = {kNoType, 2, 3, 13, 14, 4, 19, 20};
constexpr std::int32_t kDeviceTypes[] = {kNoType, 9, 21, 22, kNoType, 24, 29, 25, kNoType,
                                         28,      8, 7,  6,  30,      31, 5,  42, 43};
constexpr std::int32_t kUsbTypes[] = {kNoType, 7,  8,  9,  10, 11, 12, 3,  6,  13,
                                      14,      15, 16, 26, 7,  17, 18, 19, 20, 21};

/// What one scene class means to this library.
struct SceneClass {
    std::uint32_t number;
    std::span<const std::int32_t> types;
    const char* unknown_subtype; ///< format for the log
};

constexpr SceneClass kClasses[] = {
    {kInterface, kInterfaceTypes, "failed to convert from invalid scene devctl interface type %d\n"},
    {kDevice, kDeviceTypes, "failed to convert from invalid scene devctl device type %d\n"},
    {kUsb, kUsbTypes, "failed to convert from invalid scene devctl usb type %d\n"},
};

std::int32_t type_within(const char* function, const SceneClass& scene_class, std::uint32_t subtype)
{
    const std::int32_t dtype = subtype < scene_class.types.size() ? scene_class.types[subtype] : kNoType;
    if (dtype == kNoType) {
        log_error(kSource, function, scene_class.unknown_subtype, static_cast<std::int32_t>(subtype));
    }
    return dtype;
}

} // namespace

std::optional<SceneType> scene_type(std::int64_t dtype) noexcept
{
    if (dtype < 0 || dtype > kLastType || kSceneTypes[dtype].device_class == kUnmapped.device_class) {
        return std::nullopt;
    }
    return kSceneTypes[dtype];
}

std::int32_t library_type(const char* function, SceneType type)
{
    for (const SceneClass& known : kClasses) {
        if (known.number == type.device_class) {
            return type_within(function, known, type.subtype);
        }
    }
    log_error(kSource, function, "failed to convert from invalid scene devctl type %d\n",
              static_cast<std::int32_t>(type.device_class));
    return kNoType;
}

} // namespace tresk::devctl
