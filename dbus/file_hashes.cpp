// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Hashes of files, which the service computes or has stored.
#include "common/edge.h"
#include "common/handles.h"
#include "dbus/service_call.h"
#include "dbus/service_error.h"
#include "tresk_extend.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tresk {

namespace {

/// The most bytes of a hash that a list of hashes takes.
constexpr std::size_t kHashBytes = 64;

/// An exported function and the method that answers it.
struct Question {
    const char* function;
    const char* method;
};

Malloced<char> copy_of(const char* text, std::size_t length)
{
    Malloced<char> copy(::strndup(text, length));
    if (!copy) {
        throw std::bad_alloc();
    }
    return copy;
}

char* hash_of(const Question& question, const char* path)
{
    const Variant hash = call_service({kDbusSource, question.function}, kXattrService, question.method,
                                      ServiceArguments(path), G_VARIANT_TYPE_STRING)
                             .member;
    const char* text = hash ? g_variant_get_string(hash.get(), nullptr) : "";
    return *text == '\0' ? nullptr : copy_of(text, std::strlen(text)).release();
}

/// An array of texts for a C caller; slots that were not filled are null.
class TextSlots {
  public:
    explicit TextSlots(std::size_t count)
        : count_(count), slots_(static_cast<char**>(std::calloc(count, sizeof(char*))))
    {
        if (!slots_) {
            throw std::bad_alloc();
        }
    }

    ~TextSlots()
    {
        for (std::size_t index = 0; slots_ && index < count_; ++index) {
            std::free(slots_.get()[index]);
        }
    }

    TextSlots(const TextSlots&) = delete;
    TextSlots& operator=(const TextSlots&) = delete;

    void fill(std::size_t index, Malloced<char> text) { slots_.get()[index] = text.release(); }

    char** release() noexcept { return slots_.release(); }

  private:
    std::size_t count_;
    Malloced<char*> slots_;
};

/// The answered hashes in the first slots; those without a slot are left out.
char** slots_of(GVariant* hashes, std::size_t count)
{
    const std::size_t answered = g_variant_n_children(hashes);
    if (answered == 0) {
        return nullptr;
    }
    TextSlots slots(count);
    for (std::size_t index = 0; index < std::min(answered, count); ++index) {
        const Variant hash(g_variant_get_child_value(hashes, index));
        slots.fill(index, copy_of(g_variant_get_string(hash.get(), nullptr), kHashBytes));
    }
    return slots.release();
}

char** hashes_of(const Question& question, const char* const* paths, int count)
{
    if (paths == nullptr || count <= 0) {
        report_bad_argument(kDbusSource, question.function);
        return nullptr;
    }
    const auto wanted = static_cast<std::size_t>(count);
    const Variant hashes =
        call_service({kDbusSource, question.function}, kXattrService, question.method,
                     ServiceArguments(TextArray{paths, wanted}), G_VARIANT_TYPE_STRING_ARRAY)
            .member;
    return hashes ? slots_of(hashes.get(), wanted) : nullptr;
}

constexpr Question kCalculate = {"tresk_calc_file_hash_value", "tresk_xattr_calc_hash_by_path"};
constexpr Question kGet = {"tresk_get_file_hash_value", "tresk_xattr_get_file_hash_value"};
constexpr Question kCalculateMany = {"tresk_calc_multi_file_hash_value",
                                     "tresk_xattr_calc_multi_file_hash_value"};
constexpr Question kGetMany = {"tresk_get_multi_file_hash_value", "tresk_xattr_get_multi_file_hash_value"};

} // namespace

} // namespace tresk

using namespace tresk;

TRESK_EXPORT char* tresk_calc_file_hash_value(const char* path)
{
    return at_edge<char*>(nullptr, [&] { return hash_of(kCalculate, path); });
}

TRESK_EXPORT char* tresk_get_file_hash_value(const char* path)
{
    return at_edge<char*>(nullptr, [&] { return hash_of(kGet, path); });
}

TRESK_EXPORT char** tresk_calc_multi_file_hash_value(const char* const* paths, int count)
{
    return at_edge<char**>(nullptr, [&] { return hashes_of(kCalculateMany, paths, count); });
}

TRESK_EXPORT char** tresk_get_multi_file_hash_value(const char* const* paths, int count)
{
    return at_edge<char**>(nullptr, [&] { return hashes_of(kGetMany, paths, count); });
}
