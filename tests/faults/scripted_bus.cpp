// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/scripted_bus.h"

#include "tests/faults/row.h"
#include "tests/support/private_bus.h"
#include "tests/support/scripted_service.h"

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <system_error>

namespace tresk::test {

namespace {

constexpr std::size_t kLongestAddress = 200;

/// An answer of another type than the right one.
std::string other_type(std::string_view right)
{
    return right.starts_with("(int32") ? "('text',)" : "(int32 7,)";
}

void script(ScriptedService& service, const Method& method, Service behaviour)
{
    switch (behaviour) {
    case Service::fails:
        return service.fail(method.name, "MERON.TRESK.AUTH.FAILED", "refused");
    case Service::answers_other_type:
        return service.answer(method.name, other_type(method.reply));
    case Service::answers_nothing:
        return service.answer(method.name, "()");
    case Service::dies:
        return service.die_on(method.name);
    default:
        return service.answer(method.name, method.reply);
    }
}

std::unique_ptr<ScriptedService> service_that(const std::string& address, Service behaviour)
{
    if (behaviour == Service::absent) {
        return nullptr;
    }
    auto service = std::make_unique<ScriptedService>(address);
    for (const Entry& entry : entries()) {
        for (const Method& method : entry.row->methods) {
            script(*service, method, behaviour);
        }
    }
    return service;
}

/// Until the other end of @channel is closed: does what it is told and says so.
void serve(int channel)
{
    PrivateBus bus;
    std::array<char, kLongestAddress> address{};
    bus.address().copy(address.data(), address.size() - 1);
    std::unique_ptr<ScriptedService> service;
    (void)!::write(channel, address.data(), address.size());
    auto behaviour = Service::absent;
    for (char command = 0; ::read(channel, &command, 1) == 1;) {
        if (Service{command} != behaviour || behaviour == Service::dies) { // a dead one does it once
            behaviour = Service{command};
            service.reset();
            service = service_that(bus.address(), behaviour);
        }
        (void)!::write(channel, &command, 1);
    }
}

[[noreturn]] void run(int channel)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        serve(channel);
    } catch (const std::exception&) {
        ::_exit(EXIT_FAILURE); // the other side reads the end of the channel
    }
    ::_exit(EXIT_SUCCESS);
}

void receive(int channel, void* bytes, std::size_t size)
{
    if (::recv(channel, bytes, size, MSG_WAITALL) != static_cast<ssize_t>(size)) {
        throw std::system_error(errno, std::generic_category(), "the scripted bus does not answer");
    }
}

} // namespace

ScriptedBus::ScriptedBus()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    process_ = ::fork();
    if (process_ == 0) {
        ::close(ends[0]);
        run(ends[1]);
    }
    ::close(ends[1]);
    channel_ = ends[0];
    std::array<char, kLongestAddress> address{};
    receive(channel_, address.data(), address.size());
    address_ = address.data();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
    let(Service::answers);
}

ScriptedBus::~ScriptedBus()
{
    ::shutdown(channel_, SHUT_RDWR); // also what children hold of it
    ::close(channel_);
    ::waitpid(process_, nullptr, 0);
}

void ScriptedBus::let(Service service) const
{
    char command = static_cast<char>(service);
    (void)!::send(channel_, &command, 1, MSG_NOSIGNAL);
    receive(channel_, &command, 1);
}

} // namespace tresk::test
