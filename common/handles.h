// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Owners for what C libraries hand out. A resource has its owner the moment it exists; release() is called
// only in the statement that gives ownership away.
#ifndef TRESK_COMMON_HANDLES_H
#define TRESK_COMMON_HANDLES_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace tresk {

template <auto Release>
struct ReleaseBy {
    template <class T>
    void operator()(T* resource) const noexcept
    {
        Release(resource);
    }
};

template <class T, auto Release>
using Handle = std::unique_ptr<T, ReleaseBy<Release>>;

/// Memory that a C function allocated, or that a C caller will release with free().
template <class T>
using Malloced = Handle<T, ::free>;
static_assert(sizeof(Malloced<char>) == sizeof(char*));

using File = Handle<std::FILE, ::fclose>;
/// A stream made by popen().
using Pipe = Handle<std::FILE, ::pclose>;

/// Owner of a file descriptor.
class Descriptor {
  public:
    Descriptor() = default;

    explicit Descriptor(int number) noexcept : number_(number) {}

    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    ~Descriptor()
    {
        if (number_ >= 0) {
            ::close(number_);
        }
    }

    [[nodiscard]] int get() const noexcept { return number_; }

    explicit operator bool() const noexcept { return number_ >= 0; }

  private:
    int number_ = -1;
};

} // namespace tresk

#endif
