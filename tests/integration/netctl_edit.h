// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The edits of network control as rows: what each takes and what it tells the service.
#ifndef TRESK_TESTS_INTEGRATION_NETCTL_EDIT_H
#define TRESK_TESTS_INTEGRATION_NETCTL_EDIT_H

#include "tests/integration/dbus_fixture.h"

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace tresk::test {

/// What edits take, with values that tell the arguments apart. Each takes of it what it can.
struct NetctlArguments {
    std::uint32_t uid = 4000000000U;
    const char* target = "/usr/bin/a"; ///< the program's path or the package's name
    std::int32_t type = 7;             ///< no type that concerns the scene
    const char* name = "Name";
    const char* ico = "a.png";
    const char* desktop = "a.desktop";
    const char* path = "/opt/a";
    std::int32_t server_type = -5;
};

/// One of the texts that edits take.
struct NetctlText {
    const char* name; ///< of the test's instance
    char letter;      ///< by which a row's members name it
    const char* NetctlArguments::*member;
    std::size_t most_bytes; ///< that are sent
};

inline constexpr NetctlText kNetctlTexts[] = {
    {"Target", 't', &NetctlArguments::target, 4095}, {"Name", 'n', &NetctlArguments::name, 254},
    {"Ico", 'i', &NetctlArguments::ico, 4095},       {"Desktop", 'd', &NetctlArguments::desktop, 4095},
    {"Path", 'p', &NetctlArguments::path, SIZE_MAX},
};

struct NetctlEdit {
    const char* function; ///< and the method's name
    const char* signature;
    /// What is sent, in order: (u)id, (t)arget, t(y)pe, (n)ame, (i)co, (d)esktop, (p)ath, (s)erver type.
    const char* members;
    /// The scene function that is asked first, whatever the type; null where none is.
    const char* scene;
    int (*call)(const NetctlArguments& given);
};

std::ostream& operator<<(std::ostream& out, const NetctlEdit& edit);

/// Every edit that asks the service.
const std::vector<NetctlEdit>& netctl_edits();

/// What the service is told by an edit of what is @given.
ServiceCall sent(const NetctlEdit& edit, const NetctlArguments& given);

/// Names the instances of a test with parameters after their edit.
inline constexpr auto by_function = [](const auto& row) { return std::string(row.param.function); };

/// One edit on a bus with a service.
class NetctlEditTest : public ServiceTest, public ::testing::WithParamInterface<NetctlEdit> {
  protected:
    static int edit(const NetctlArguments& given = {}) { return GetParam().call(given); }

    void expect_was_told(const NetctlArguments& given) const
    {
        EXPECT_EQ(service.calls(), std::vector<ServiceCall>{sent(GetParam(), given)});
    }
};

} // namespace tresk::test

#endif
