// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_STANDIN_SERVICE_DESCRIPTOR_H
#define TRESK_STANDIN_SERVICE_DESCRIPTOR_H

#include <unistd.h>

namespace tresk::service {

/// Owner of a file descriptor; negative where there is none.
class Descriptor {
  public:
    explicit Descriptor(int number) noexcept : number_(number) {}

    ~Descriptor()
    {
        if (number_ >= 0) {
            ::close(number_);
        }
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    [[nodiscard]] int get() const noexcept { return number_; }

  private:
    int number_;
};

} // namespace tresk::service

#endif
