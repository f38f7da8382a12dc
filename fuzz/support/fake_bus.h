// SPDX-License-Identifier: LGPL-2.1-or-later
//
// GDBus as far as one call needs it, in its place by the linker (see CMakeLists.txt): nothing is connected,
// what is asked is kept, and the answer is whatever a bus could have delivered.
#ifndef TRESK_FUZZ_SUPPORT_FAKE_BUS_H
#define TRESK_FUZZ_SUPPORT_FAKE_BUS_H

#include "common/handles.h"
#include "fuzz/support/target.h"

#include <gio/gio.h>

#include <optional>
#include <string>
#include <vector>

namespace tresk::fuzz {

using OwnedVariant = Handle<GVariant, ::g_variant_unref>;
using OwnedError = Handle<GError, ::g_error_free>;

struct Asked {
    std::string object;
    std::string interface;
    std::string method;
    OwnedVariant arguments;
};

struct FakeBus {
    std::vector<Asked> asked;
    /// What is answered: the reply, or, where there is none, the error.
    OwnedVariant reply;
    OwnedError error;

    void answer_number(std::int32_t number);
    /// Nothing asked, and 0 as the answer.
    void reset();
};

FakeBus& fake_bus();

/// The texts anywhere in @value, in their order; each has to be one that D-Bus can carry.
std::vector<std::string> texts_in(GVariant* value);

/// A tuple that could come over a bus, made of what is left of @pieces; null where that says none.
OwnedVariant reply_in(Pieces& pieces);

/// An error as it comes out of an error reply of that name. What no bus delivers is replaced.
OwnedError remote_error(const std::string& name, const std::optional<std::string>& message);

} // namespace tresk::fuzz

#endif
