// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/faults/memory_watch.h"

#include "tests/support/failing_memory.h"

#include <dlfcn.h>
#include <execinfo.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <string_view>

namespace tresk::test {

namespace {

constexpr int kDeepestCall = 200;

Dl_info about(const void* address)
{
    Dl_info info = {};
    (void)::dladdr(address, &info);
    return info;
}

std::string_view or_empty(const char* text)
{
    return text == nullptr ? "" : text;
}

/// Where an object is loaded.
const void* base_of(const void* address)
{
    return about(address).dli_fbase;
}

using Frames = std::span<void* const>;

/// The calls from here outwards.
class Backtrace {
  public:
    Backtrace() : depth_(::backtrace(frames_.data(), static_cast<int>(frames_.size()))) {}

    [[nodiscard]] Frames frames() const { return Frames(frames_).first(static_cast<std::size_t>(depth_)); }

  private:
    std::array<void*, kDeepestCall> frames_{};
    int depth_;
};

bool lies_in(const void* address, std::string_view library)
{
    return or_empty(about(address).dli_fname).find(library) != std::string_view::npos;
}

/// Objects of the process that a request may come from.
enum class Object { program, c_library, glib, other };

Object object_of(const void* address)
{
    static const void* const program = base_of(reinterpret_cast<const void*>(&object_of));
    if (base_of(address) == program) {
        return Object::program;
    }
    if (lies_in(address, "/libc.so")) {
        return Object::c_library;
    }
    for (const std::string_view library : {"/libglib-2.0.so", "/libgobject-2.0.so", "/libgio-2.0.so"}) {
        if (lies_in(address, library)) {
            return Object::glib;
        }
    }
    return Object::other;
}

/// The same, of an object that was asked about before without the asking.
Object known_object_of(const void* address)
{
    static std::map<const void*, Object> known;
    const auto [found, is_new] = known.try_emplace(base_of(address), Object::other);
    if (is_new) {
        found->second = object_of(address);
    }
    return found->second;
}

/// For what the C library asks, its caller is asked about.
bool is_glibs(const void* caller)
{
    const Object direct = known_object_of(caller);
    if (direct != Object::c_library) {
        return direct == Object::glib;
    }
    const Backtrace calls;
    const auto first = std::find_if(calls.frames().begin(), calls.frames().end(), [](const void* frame) {
        return known_object_of(frame) == Object::c_library;
    });
    const auto behind = std::find_if(first, calls.frames().end(), [](const void* frame) {
        return known_object_of(frame) != Object::c_library;
    });
    return behind != calls.frames().end() && known_object_of(*behind) == Object::glib;
}

/// The outermost call into another library before the calls come back to this program: what the library
/// under test had called. Null where it asked for memory itself.
const void* called_by_library(Frames frames)
{
    const auto is_own = [](const void* frame) { return known_object_of(frame) == Object::program; };
    const auto outside = std::find_if_not(frames.begin(), frames.end(), is_own);
    const auto back = std::find_if(outside, frames.end(), is_own);
    const bool found = outside != frames.end() && back != frames.end();
    return found ? static_cast<const char*>(*(back - 1)) - 1 : nullptr; // within the call
}

std::string_view file_of(const void* address)
{
    const std::string_view path = or_empty(about(address).dli_fname);
    return path.substr(path.rfind('/') + 1);
}

/// Which function has the address is a guess where a library exports few of its functions: GLib's are told
/// by @Refusals::glib.
std::string_view site_of(const void* called)
{
    if (called == nullptr) {
        return "(its own)";
    }
    const char* name = about(called).dli_sname;
    return name == nullptr ? file_of(called) : name;
}

void record(const void* called, Refusals& refusals)
{
    if (refusals.sites == 0 && called != nullptr && known_object_of(called) == Object::glib) {
        file_of(called).copy(refusals.glib.data(), Refusals::kNameBytes - 1);
    }
    refusals.add(site_of(called));
}

class Observer : public RequestObserver {
  public:
    void begin(Requests whose, Refusals& refusals)
    {
        whose_ = whose;
        refusals_ = &refusals;
    }

    bool counts(const void* caller) override
    {
        return whose_ == Requests::everybodys || is_glibs(caller) == (whose_ == Requests::glibs);
    }

    /// GLib's message about it, with which the process ends, gets its memory.
    bool refused(const void* caller) override
    {
        record(called_by_library(Backtrace().frames()), *refusals_);
        return !is_glibs(caller);
    }

  private:
    Requests whose_ = Requests::everybodys;
    Refusals* refusals_ = nullptr;
};

Observer& observer()
{
    static Observer instance;
    return instance;
}

std::optional<FailingMemory>& failing()
{
    static std::optional<FailingMemory> memory;
    return memory;
}

} // namespace

bool memory_is_watched()
{
    return true;
}

Blocks allocated_blocks()
{
    const LiveBlocks blocks = live_blocks();
    return {blocks.main, blocks.others};
}

void begin_refusing(long nth, bool stays, Requests whose, Refusals& refusals)
{
    (void)Backtrace(); // loads what it needs at its first call
    refusals = {};
    observer().begin(whose, refusals);
    failing().emplace(nth, stays, &observer());
}

bool end_refusing()
{
    failing()->stop();
    return failing()->refused();
}

} // namespace tresk::test
