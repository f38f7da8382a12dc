// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A family of the service is a table of methods: what a call takes, what it answers, and the function that
// does the work. Objects, introspection and dispatch are made from these tables alone.
#ifndef TRESK_STANDIN_SERVICE_METHOD_H
#define TRESK_STANDIN_SERVICE_METHOD_H

#include "standin/service/glib_handles.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>

namespace tresk::service {

/// The error names of the framework that this service answers by itself.
namespace error_name {
inline constexpr char kAuthFailed[] = "MERON.TRESK.AUTH.FAILED";
inline constexpr char kAuthCancelled[] = "MERON.TRESK.CANCEL.AUTH";
inline constexpr char kDisabled[] = "MERON.TRESK.DISABLED";
inline constexpr char kDatabase[] = "MERON.TRESK.DATABASE.ERR";
inline constexpr char kFileAttribute[] = "MERON.TRESK.FILE.ATTR.ERR";
inline constexpr char kInvalidArgument[] = "MERON.TRESK.INVALID.ARG";
inline constexpr char kConfiguration[] = "MERON.TRESK.CONF.ERR";
} // namespace error_name

/// Ends a call with a D-Bus error instead of a reply.
class Refusal : public std::runtime_error {
  public:
    /// @name is a string literal of error_name.
    Refusal(const char* name, const std::string& text) : std::runtime_error(text), name_(name) {}

    [[nodiscard]] const char* name() const noexcept { return name_; }

  private:
    const char* name_;
};

/// The folders that the service works in.
struct Folders {
    /// The switches' model, the faults and the audit log.
    std::filesystem::path state;
    /// The policy files, in one folder per family.
    std::filesystem::path etc;
};

/// The outcomes that an edit reports in its reply rather than as an error.
inline constexpr int kDone = 0;
inline constexpr int kPresentAlready = -2;
inline constexpr int kNotPresent = -3;

/// Who may call a method where the service asks polkit. A method that says nothing asks: forgetting it closes
/// a door instead of opening one.
enum class Access {
    kAuthorised, ///< whom polkit authorises for the action "com.meron.tresk.WORD"
    kOpen,       ///< everybody: the method changes nothing
};

struct Method {
    const char* name;
    /// The complete D-Bus types of the arguments and of the answer, without the tuple's parentheses.
    const char* input;
    const char* output;
    /// Gets the argument tuple, of the type of @input; returns the answer tuple, or throws Refusal.
    Variant (*handler)(const Folders& folders, GVariant* arguments);
    Access access = Access::kAuthorised;
    /// Whether the arguments stay out of the audit log.
    bool confidential = false;
};

/// The methods that one family brings to the object "/word" with the interface "com.meron.tresk.word". Two
/// families may share an object.
struct MethodTable {
    const char* word;
    std::span<const Method> methods;
};

/// The answer tuple of the methods that answer one int32.
inline Variant number(int value)
{
    return own(g_variant_new("(i)", value));
}

/// The signed 32-bit member @index of an argument tuple.
inline int integer_at(GVariant* arguments, gsize index)
{
    const Variant member(g_variant_get_child_value(arguments, index));
    return g_variant_get_int32(member.get());
}

/// The unsigned 32-bit member @index of an argument tuple.
inline std::uint32_t unsigned_at(GVariant* arguments, gsize index)
{
    const Variant member(g_variant_get_child_value(arguments, index));
    return g_variant_get_uint32(member.get());
}

/// The string member @index of an argument tuple.
inline std::string text_at(GVariant* arguments, gsize index)
{
    const Variant member(g_variant_get_child_value(arguments, index));
    return g_variant_get_string(member.get(), nullptr);
}

} // namespace tresk::service

#endif
