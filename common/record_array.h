// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The array of records that a reader returns: malloc'd, because a C caller will free() it.
#ifndef TRESK_COMMON_RECORD_ARRAY_H
#define TRESK_COMMON_RECORD_ARRAY_H

#include "common/handles.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

namespace tresk {

/// One zeroed record for a C caller, or an exception where memory runs out.
template <class Record>
Malloced<Record> make_record()
{
    static_assert(std::is_trivially_copyable_v<Record>);
    Malloced<Record> record(static_cast<Record*>(std::calloc(1, sizeof(Record))));
    if (!record) {
        throw std::bad_alloc();
    }
    return record;
}

/// A growing array of plain records.
template <class Record>
class RecordArray {
    static_assert(std::is_trivially_copyable_v<Record>);

  public:
    /// Appends a record of zeros and returns it, to be filled; valid until the next append.
    Record& append()
    {
        if (count_ == capacity_) {
            grow(capacity_ == 0 ? 1 : capacity_ * 2);
        }
        Record& record = records_.get()[count_++];
        std::memset(&record, 0, sizeof(Record));
        return record;
    }

    [[nodiscard]] std::size_t size() const noexcept { return count_; }

    /// Hands the array over to a C caller, cut to its size; null where it is empty.
    [[nodiscard]] Record* release() noexcept
    {
        if (count_ == 0) {
            return nullptr;
        }
        void* cut = std::realloc(records_.get(), count_ * sizeof(Record));
        if (cut != nullptr) {
            (void)records_.release(); // realloc has taken it over
            return static_cast<Record*>(cut);
        }
        return records_.release(); // could not be made smaller: still the same records
    }

  private:
    void grow(std::size_t capacity)
    {
        constexpr std::size_t most = std::numeric_limits<std::int32_t>::max(); // the counts are int32
        void* grown = capacity > most ? nullptr : std::realloc(records_.get(), capacity * sizeof(Record));
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        (void)records_.release();
        records_.reset(static_cast<Record*>(grown));
        capacity_ = capacity;
    }

    Malloced<Record> records_;
    std::size_t count_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace tresk

#endif
