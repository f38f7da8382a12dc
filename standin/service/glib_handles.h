// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Owners for what GLib hands out.
#ifndef TRESK_STANDIN_SERVICE_GLIB_HANDLES_H
#define TRESK_STANDIN_SERVICE_GLIB_HANDLES_H

#include <gio/gio.h>

#include <memory>
#include <string>

namespace tresk::service {

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

using Variant = Handle<GVariant, g_variant_unref>;
using Connection = Handle<GDBusConnection, g_object_unref>;
using Invocation = Handle<GDBusMethodInvocation, g_object_unref>;
using Message = Handle<GDBusMessage, g_object_unref>;
using NodeInfo = Handle<GDBusNodeInfo, g_dbus_node_info_unref>;
using MainLoop = Handle<GMainLoop, g_main_loop_unref>;
using GlibText = Handle<char, g_free>;

/// A GLib out-parameter for errors: pass out(), then ask.
class Error {
  public:
    Error() = default;

    ~Error() { g_clear_error(&error_); }

    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;
    Error(Error&&) = delete;
    Error& operator=(Error&&) = delete;

    [[nodiscard]] GError** out() noexcept { return &error_; }

    [[nodiscard]] std::string text() const { return error_ == nullptr ? std::string() : error_->message; }

  private:
    GError* error_ = nullptr;
};

/// Takes over a variant that may be floating.
inline Variant own(GVariant* value)
{
    return Variant(g_variant_ref_sink(value));
}

/// @value in GVariant text form: one line, whatever it holds.
inline std::string printed(GVariant* value)
{
    const GlibText text(g_variant_print(value, FALSE));
    return text.get();
}

} // namespace tresk::service

#endif
