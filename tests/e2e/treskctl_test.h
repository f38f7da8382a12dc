// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Tests of treskctl inside of a sandbox: what the stand-ins are told to do, and what they were told.
#ifndef TRESK_TESTS_E2E_TRESKCTL_TEST_H
#define TRESK_TESTS_E2E_TRESKCTL_TEST_H

#include "tests/e2e/program.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace tresk::test {

inline constexpr const char* kPolicy = "/etc/tresk/ppro/ppro.xml";

/// A program that every machine has, as the policy names it, and the hash of that path.
inline const std::string kProgram = "/usr/bin/cat";
inline const std::string kProgramHash = "96a6d84030f1670694e159f2826dca46e11020bd83672c01bb92c5d11f5402fa";

/// A policy with an ordinary entry, one of the "sm" side, one of the source "vendor" and one of the "sm" side
/// of that source.
inline const std::string kMixedPolicy =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<ppro_root>
<ppro_node path="/opt/plain"><hash>a1</hash><type>1</type></ppro_node>
<ppro_node path="/opt/owned" sm_status="1"><hash>b2</hash><type>2</type></ppro_node>
<ppro_node path="/opt/vendor" data_source_name="vendor"><hash>c3</hash><type>3</type></ppro_node>
<ppro_node path="/opt/both" sm_status="1" data_source_name="vendor"><hash>d4</hash><type>4</type></ppro_node>
</ppro_root>
)";

class TreskctlTest : public ::testing::Test {
  protected:
    void SetUp() override;

    /// Runs treskctl with these arguments.
    static Outcome treskctl(const Words& arguments);
    /// The same with @input as its standard input.
    static Outcome treskctl_with_input(const std::string& input, const Words& arguments);
    /// The same with a system bus on which nobody listens.
    static Outcome treskctl_without_bus(const Words& arguments);

    /// A file of the stand-ins' state directory.
    static std::string state_file(const std::string& name);
    static std::string read_state(const std::string& name);
    static void write_state(const std::string& name, const std::string& content);

    /// The service answers @method with this D-Bus error from now on.
    static void refuse(const std::string& method, const std::string& error);

    /// Whether the service was called so, such as "tresk_conf_set ('a', 1)".
    static bool service_was_asked(const std::string& call);

    static void write_policy(const std::string& content);
    static std::string read_policy();
};

/// Parses standard output or standard error as one document; a test failure and null when it is none.
nlohmann::json parsed(const std::string& text);

/// What is known of a run that succeeded: no word on standard error.
Outcome succeeded(const std::string& output);

} // namespace tresk::test

#endif
