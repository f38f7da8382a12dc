// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The kernel module of module/, loaded into the running kernel. Only for a virtual machine of the tests' own.
#ifndef TRESK_TESTS_KERNEL_KERNEL_MODULE_H
#define TRESK_TESTS_KERNEL_KERNEL_MODULE_H

#include <cstdint>
#include <string>
#include <vector>

namespace tresk::test {

/// A datagram as the kernel got it.
struct KernelRecord {
    int protocol = 0;
    std::uint32_t port = 0; ///< the sender's
    std::string bytes;
};

class KernelModule {
  public:
    /// Loads the module with these parameters ("protocol=27 silent=1"); throws std::system_error.
    explicit KernelModule(const std::string& parameters);
    ~KernelModule();
    KernelModule(const KernelModule&) = delete;
    KernelModule& operator=(const KernelModule&) = delete;
    KernelModule(KernelModule&&) = delete;
    KernelModule& operator=(KernelModule&&) = delete;

    /// Changes a parameter, from the next datagram on; throws std::runtime_error.
    void set(const std::string& parameter, const std::string& value);

    /// All datagrams so far, in the order of their coming; throws std::runtime_error.
    [[nodiscard]] std::vector<KernelRecord> records() const;

    /// Takes the module out of the kernel. False, and nothing is done, while somebody has a socket of its
    /// protocols open.
    bool unload();

  private:
    bool loaded_ = true;
};

} // namespace tresk::test

#endif
