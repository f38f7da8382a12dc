// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/crash/call_registers.h"

#include <sys/ptrace.h>
#include <sys/user.h>

#include <cerrno>
#include <system_error>

namespace tresk::test {

namespace {

user_regs_struct registers_of(pid_t child)
{
    user_regs_struct registers = {};
    if (::ptrace(PTRACE_GETREGS, child, nullptr, &registers) != 0) {
        throw std::system_error(errno, std::generic_category(), "PTRACE_GETREGS");
    }
    return registers;
}

void set_registers(pid_t child, user_regs_struct registers)
{
    if (::ptrace(PTRACE_SETREGS, child, nullptr, &registers) != 0) {
        throw std::system_error(errno, std::generic_category(), "PTRACE_SETREGS");
    }
}

} // namespace

bool registers_are_known()
{
    return true;
}

void make_call_void(pid_t child)
{
    user_regs_struct registers = registers_of(child);
    registers.orig_rax = ~0ULL;
    set_registers(child, registers);
}

void fail_void_call(pid_t child, int error)
{
    user_regs_struct registers = registers_of(child);
    registers.rax = static_cast<unsigned long long>(-static_cast<long long>(error));
    set_registers(child, registers);
}

} // namespace tresk::test
