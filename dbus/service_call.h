// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The one way from a family to the framework's service: build the argument tuple, call, read the answer's
// first member. What GLib cannot carry never reaches it.
#ifndef TRESK_DBUS_SERVICE_CALL_H
#define TRESK_DBUS_SERVICE_CALL_H

#include "common/handles.h"
#include "common/report.h"

#include <gio/gio.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <utility>
#include <vector>

namespace tresk {

/// A GVariant that is owned, never floating.
using Variant = Handle<GVariant, ::g_variant_unref>;

/// One of the service's objects.
struct ServiceObject {
    const char* path;
    const char* interface;
};

/// What concerns files and users: more than one family asks it.
inline constexpr ServiceObject kXattrService = {"/xattr", "com.meron.tresk.xattr"};

/// The exported function on whose behalf something is done: its module and name appear in its failures.
struct Caller {
    Source source;
    const char* function;
};

/// What came of a call: the service's integer, or the status code that says why there is none.
struct ServiceAnswer {
    std::optional<std::int32_t> value;
    std::int32_t error_code = 0;

    /// The answer, or the fixed failure value of a function that drops the code.
    [[nodiscard]] std::int32_t value_or(std::int32_t failure) const noexcept
    {
        return value.value_or(failure);
    }

    /// The answer, or the code.
    [[nodiscard]] std::int32_t value_or_error() const noexcept { return value.value_or(error_code); }
};

/// True when each text can travel as a D-Bus string. Else the failure is reported on @caller's behalf: errno
/// EINVAL, logged and recorded as -1007. Edits ask this before their first step, so that none is half done.
bool can_travel(const Caller& caller, std::initializer_list<const char*> texts);

/// Texts that travel as one array.
struct TextArray {
    const char* const* texts;
    std::size_t count;
};

/// The members of an argument tuple, in order: numbers, texts, arrays of texts, or values that a family built
/// (null: one of its texts cannot travel).
class ServiceArguments {
  public:
    template <class... Members>
    explicit ServiceArguments(Members... members)
    {
        members_.reserve(sizeof...(members));
        (add(std::move(members)), ...);
    }

    /// False when a text cannot travel.
    [[nodiscard]] bool sendable() const noexcept { return sendable_; }

    /// The tuple, or null when a text cannot travel.
    [[nodiscard]] Variant tuple() const;

  private:
    void add(std::int32_t member) { own(g_variant_new_int32(member)); }

    void add(std::uint32_t member) { own(g_variant_new_uint32(member)); }

    void add(const char* member);

    void add(const TextArray& member);

    void add(Variant member);

    void own(GVariant* member) { members_.emplace_back(g_variant_ref_sink(member)); }

    std::vector<Variant> members_;
    bool sendable_ = true;
};

/// What came of a call: the reply's first member, or the status code that says why there is none.
struct ServiceReply {
    Variant member;
    std::int32_t error_code = 0;
};

/// Calls @method of @object and takes the reply's first member, which has to be of @type.
ServiceReply call_service(const Caller& caller, const ServiceObject& object, const char* method,
                          const ServiceArguments& arguments, const GVariantType* type);

/// The same for the many methods that answer an int32.
ServiceAnswer ask_service(const Caller& caller, const ServiceObject& object, const char* method,
                          const ServiceArguments& arguments);

} // namespace tresk

#endif
