// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Tests of the kernel channel in a virtual machine: no stand-in between the library and the kernel. A process
// finds its protocol out once, so tests of one process find the module on the same one: 27, but for the tests
// of just that, which need a process each.
#ifndef TRESK_TESTS_KERNEL_CHANNEL_FIXTURE_H
#define TRESK_TESTS_KERNEL_CHANNEL_FIXTURE_H

#include "tests/kernel/kernel_module.h"
#include "tests/kernel/log_lines.h"
#include "tests/support/policy_files.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace tresk::test {

inline const std::string kHash = "0123456789abcdeffedcba98765432100011223344556677fedcba9876543210";

/// A message as the kernel has to get it, written down byte for byte.
std::string message_bytes(std::uint16_t type, std::uint32_t thread, const std::string& payload);

class ChannelTest : public testing::Test {
  protected:
    /// Empty policies, so that the library finds what it looks up before it notifies.
    void SetUp() override;
    /// The module can be unloaded only when the library has left no socket open.
    void TearDown() override;

    /// Loads the kernel module; it listens on protocol 27.
    void load(const std::string& parameters = "");
    void load_on(const std::string& protocols, const std::string& parameters = "");

    KernelModule& kernel() { return *kernel_; }

    [[nodiscard]] std::vector<KernelRecord> records() const;

    /// The only datagram that the kernel got.
    KernelRecord only_record();

    void expect_nothing_sent() const { EXPECT_EQ(records().size(), 0U); }

    /// The library's only diagnostic, which must be the channel's and at the level of failures.
    static std::string only_log();

    static void expect_no_log() { EXPECT_EQ(log_lines().size(), 0U); }

  private:
    std::optional<KernelModule> kernel_;
};

} // namespace tresk::test

#endif
