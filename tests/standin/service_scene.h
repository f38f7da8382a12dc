// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The scene of the service's tests: a private bus, the real service on it with folders of its own, and a
// client that sees every message as it arrives.
#ifndef TRESK_TESTS_STANDIN_SERVICE_SCENE_H
#define TRESK_TESTS_STANDIN_SERVICE_SCENE_H

#include "tests/support/private_bus.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace tresk::test {

/// What came back for a call: a reply in GVariant text form, or an error with or without a message.
struct Outcome {
    std::string reply;
    std::string error;
    std::optional<std::string> message;
    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

inline constexpr char kInvalidArgument[] = "MERON.TRESK.INVALID.ARG";
inline constexpr char kDatabaseError[] = "MERON.TRESK.DATABASE.ERR";
/// The SHA-256 of "/usr/bin/app".
inline constexpr char kAppSha256[] = "c088972b8fb0ed477fe0058dba47bff2e310b150fa18db2845e3220189e552df";
/// What every policy file begins with.
inline constexpr char kXmlHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

inline Outcome replied(std::string text)
{
    return {.reply = std::move(text), .error = {}, .message = {}};
}

inline Outcome refused(std::string name, std::optional<std::string> message)
{
    return {.reply = {}, .error = std::move(name), .message = std::move(message)};
}

/// A call under way.
class PendingCall {
  public:
    PendingCall(GDBusConnection* client, const std::string& word, const std::string& method,
                const std::string& arguments);

    /// Whether an answer was received so far.
    [[nodiscard]] bool answered();
    /// Waits for the answer; throws std::runtime_error when none came or the service went away.
    Outcome outcome();

  private:
    struct State;
    std::shared_ptr<State> state_;
};

class ServiceScene : public ::testing::Test {
  protected:
    ServiceScene();

    /// Starts the service and waits until it owns its name.
    void start_service();
    /// What the service is started with.
    [[nodiscard]] Command service_command() const;

    /// Calls a method of "/word"; the arguments are a tuple in GVariant text form.
    Outcome call(const std::string& word, const std::string& method, const std::string& arguments = "()");
    [[nodiscard]] PendingCall begin(const std::string& word, const std::string& method,
                                    const std::string& arguments = "()") const;

    void set_faults(const std::string& lines) const { write_file(state / "service-faults", lines); }

    /// The text of a file that is there; "(no file)" where it is not.
    [[nodiscard]] static std::string text_of(const std::filesystem::path& file)
    {
        return read_file(file).value_or("(no file)");
    }

    [[nodiscard]] std::string state_file(const std::string& name) const { return text_of(state / name); }

    PrivateBus bus;
    TempDir folder;
    std::filesystem::path state = folder / "state";
    std::filesystem::path etc = folder / "etc";
    std::filesystem::path policy = etc / "ppro" / "ppro.xml";
    BusConnection client;
    ChildProcess service;
};

} // namespace tresk::test

#endif
