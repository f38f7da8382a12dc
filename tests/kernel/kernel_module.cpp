// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/kernel/kernel_module.h"

#include "common/handles.h"
#include "tests/support/policy_files.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace tresk::test {

namespace {

constexpr char kName[] = "tresk_test_kernel";
constexpr char kRecords[] = "/sys/kernel/debug/tresk_test_kernel/messages";
constexpr char kParameters[] = "/sys/module/tresk_test_kernel/parameters/";

std::string bytes_of_hex(const std::string& digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

KernelRecord record_of_line(const std::string& line)
{
    std::istringstream words(line);
    KernelRecord record;
    std::string digits;
    if (!(words >> record.protocol >> record.port >> digits)) {
        throw std::runtime_error("no record of the kernel module: " + line);
    }
    record.bytes = bytes_of_hex(digits);
    return record;
}

} // namespace

KernelModule::KernelModule(const std::string& parameters)
{
    const Descriptor file(::open(TRESK_KERNEL_MODULE, O_RDONLY | O_CLOEXEC));
    if (!file || ::syscall(SYS_finit_module, file.get(), parameters.c_str(), 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "load " TRESK_KERNEL_MODULE);
    }
}

KernelModule::~KernelModule()
{
    unload();
}

void KernelModule::set(const std::string& parameter, const std::string& value)
{
    std::ofstream file(kParameters + parameter);
    file << value << std::flush;
    if (!file) {
        throw std::runtime_error("the kernel module takes no " + parameter + "=" + value);
    }
}

std::vector<KernelRecord> KernelModule::records() const
{
    std::ifstream file(kRecords);
    if (!file) {
        throw std::runtime_error(std::string("cannot read ") + kRecords);
    }
    std::vector<KernelRecord> records;
    for (std::string line; std::getline(file, line);) {
        records.push_back(record_of_line(line));
    }
    return records;
}

bool KernelModule::unload()
{
    if (loaded_ && ::syscall(SYS_delete_module, kName, O_NONBLOCK) == 0) {
        loaded_ = false;
    }
    return !loaded_;
}

} // namespace tresk::test
