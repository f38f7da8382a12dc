// SPDX-License-Identifier: LGPL-2.1-or-later
//
// What the scene library is told about devices, and what is said when that fails.
#ifndef TRESK_TESTS_UNIT_DEVCTL_SCENE_H
#define TRESK_TESTS_UNIT_DEVCTL_SCENE_H

#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tresk::test {

/// One call of a scene function: its name without "tresk_scene_" and the bytes of its records.
struct Told {
    std::string function;
    std::string bytes;
    bool operator==(const Told&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Told& told)
{
    return out << told.function << ' ' << ::testing::PrintToString(told.bytes);
}

/// What the scene was told so far.
inline std::vector<Told> told_to_scene()
{
    constexpr std::string_view prefix = "tresk_scene_";
    EXPECT_EQ(framework().scene_calls.size(), framework().scene_bytes.size());
    std::vector<Told> told;
    for (std::size_t i = 0; i < framework().scene_calls.size(); ++i) {
        told.push_back(
            {framework().scene_calls[i].function.substr(prefix.size()), framework().scene_bytes[i]});
    }
    return told;
}

/// A number as a record holds it.
inline std::string word(std::uint32_t number)
{
    std::string bytes(sizeof(number), '\0');
    std::memcpy(bytes.data(), &number, sizeof(number));
    return bytes;
}

/// A field of @size bytes that begins with @content.
inline std::string field(std::string content, std::size_t size)
{
    content.resize(size);
    return content;
}

inline std::string type_bytes(std::uint32_t device_class, std::uint32_t subtype, std::uint32_t perm)
{
    return word(device_class) + word(subtype) + word(perm);
}

inline std::string product_bytes(std::uint32_t usb_type, std::uint32_t dpid, std::uint32_t dvid,
                                 const std::string& serial, std::uint32_t perm)
{
    return word(usb_type) + word(dpid) + word(dvid) + field(serial, 256) + word(perm) + field("", 256);
}

inline std::string network_bytes(const std::string& name)
{
    return field(name, 128) + word(1);
}

/// One diagnostic was written on @function's behalf, and nothing was recorded.
inline void expect_logged(const std::string& function, const std::string& text, int level = 3)
{
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, level);
    EXPECT_FALSE(framework().logs[0].old_call);
    EXPECT_EQ(framework().logs[0].subject, function);
    EXPECT_EQ(framework().logs[0].source, "tresk_devctl");
    EXPECT_GT(framework().logs[0].line, 0);
    EXPECT_EQ(framework().logs[0].text, text);
    EXPECT_TRUE(framework().errors.empty());
}

inline void expect_nothing_logged()
{
    EXPECT_TRUE(framework().logs.empty());
    EXPECT_TRUE(framework().errors.empty());
}

/// Names the instances of a test with parameters after their rows.
inline constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

} // namespace tresk::test

#endif
