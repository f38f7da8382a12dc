// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_TESTS_INTEGRATION_COMMUNICATE_NOTIFICATION_FIXTURE_H
#define TRESK_TESTS_INTEGRATION_COMMUNICATE_NOTIFICATION_FIXTURE_H

#include "tests/integration/communicate_fixture.h"
#include "tests/support/policy_files.h"

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace tresk::test {

/// A hash of 64 equal characters.
inline std::string hash_of(char character)
{
    std::string hash(64, character);
    return hash;
}

/// A whole payload about @hash, of at most 65 characters.
inline std::string hash_payload(std::uint32_t value, const std::string& hash)
{
    std::string payload(sizeof(value), '\0');
    std::memcpy(payload.data(), &value, sizeof(value));
    return padded(payload + hash);
}

/// A test of a notification: a peer, a policy and a version of the framework.
class NotificationTest : public PeerTest {
  protected:
    void SetUp() override
    {
        PeerTest::SetUp();
        write_policy("");
    }

    /// Writes a policy with these nodes.
    static void write_policy(const std::string& nodes)
    {
        write_file("/etc/tresk/ppro/ppro.xml", "<ppro_root>" + nodes + "</ppro_root>");
    }

    /// An entry whose first child is its hash.
    static std::string entry(const std::string& hash, const std::string& attributes = "")
    {
        return "<ppro_node path=\"/usr/bin/" + hash.substr(0, 1) + "\" " + attributes + "><hash>" + hash +
               "</hash><type>1</type></ppro_node>";
    }

    void set_version(const char* text)
    {
        framework().version_get = [this, text](int kind, char** version) {
            asked_kinds_.push_back(kind);
            *version = ::strdup(text);
            return 0;
        };
    }

    /// Only @payload was sent, with @type.
    void expect_sent(std::uint16_t type, const std::string& payload)
    {
        const standin::Received received = only_message();
        EXPECT_EQ(received.message.header.nlmsg_type, type);
        EXPECT_EQ(payload_of(received), payload);
    }

    void expect_nothing_sent() { EXPECT_TRUE(peer_.received().empty()); }

    std::vector<int> asked_kinds_;
};

} // namespace tresk::test

#endif
