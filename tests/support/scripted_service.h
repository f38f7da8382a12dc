// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A service on a bus that answers what a test scripted. It accepts any object path, interface and member,
// records each call before it answers, and works on a thread and a connection of its own, so that it answers
// while the test's thread waits inside the library.
#ifndef TRESK_TESTS_SUPPORT_SCRIPTED_SERVICE_H
#define TRESK_TESTS_SUPPORT_SCRIPTED_SERVICE_H

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tresk::test {

struct ServiceCall {
    std::string path;
    std::string interface;
    std::string member;
    std::string signature; ///< without the tuple's parentheses: "si"
    std::string arguments; ///< as GVariant text without type annotations: "('/usr/bin/a', 1)"; "()" for none
    bool operator==(const ServiceCall&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const ServiceCall& call)
{
    return out << call.path << ' ' << call.interface << '.' << call.member << ' ' << call.signature << ' '
               << call.arguments;
}

class ScriptedService {
  public:
    /// Owns @name on the bus at @address when it returns; throws std::runtime_error where it cannot.
    explicit ScriptedService(const std::string& address, const std::string& name = "com.meron.tresk");
    ~ScriptedService();
    ScriptedService(const ScriptedService&) = delete;
    ScriptedService& operator=(const ScriptedService&) = delete;

    /// Answers with the tuple @reply, written as GVariant text: "(int32 5,)". Unscripted members answer
    /// "(int32 0,)". Throws std::invalid_argument when @reply is no tuple.
    void answer(const std::string& member, const std::string& reply);
    /// Answers with an error; without @message it has no body at all.
    void fail(const std::string& member, const std::string& error_name,
              const std::optional<std::string>& message);
    /// Drops off the bus instead of answering.
    void die_on(const std::string& member);
    /// Never answers.
    void silent(const std::string& member);
    /// Runs @callback on the service's thread after the call was recorded and before it is answered.
    void on_call(const std::string& member, std::function<void()> callback);

    /// The calls so far, in order; those of the interfaces "org.freedesktop.DBus.*" are left out.
    [[nodiscard]] std::vector<ServiceCall> calls() const;
    void forget_calls();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tresk::test

#endif
