// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_DBUS_FRAMEWORK_PATHS_H
#define TRESK_DBUS_FRAMEWORK_PATHS_H

#include "common/handles.h"

#include <cstdlib>

namespace tresk {

/// A list of paths that the framework handed out: the array and each text in it are released with this.
class FrameworkPaths {
  public:
    /// @fetch: gets a counter, and returns the list or null
    template <class Fetch>
    explicit FrameworkPaths(Fetch fetch) : paths_(fetch(&count_))
    {
    }

    ~FrameworkPaths()
    {
        for (int index = 0; index < count(); ++index) {
            std::free(paths_.get()[index]);
        }
    }

    FrameworkPaths(const FrameworkPaths&) = delete;
    FrameworkPaths& operator=(const FrameworkPaths&) = delete;

    explicit operator bool() const noexcept { return paths_ != nullptr; }

    [[nodiscard]] char** get() const noexcept { return paths_.get(); }

    [[nodiscard]] int count() const noexcept { return paths_ ? count_ : 0; }

  private:
    int count_ = 0;
    Malloced<char*> paths_;
};

} // namespace tresk

#endif
