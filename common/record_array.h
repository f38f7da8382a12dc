// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The array of records that a reader returns: malloc'd, because a C caller will free() it.
//
// A record is thousands of bytes, nearly all of them zeros, so what a reader finds is kept packed until all
// is found. The array is then allocated once, in its size: its pages come zeroed from the kernel, and only
// the texts are written.
#ifndef TRESK_COMMON_RECORD_ARRAY_H
#define TRESK_COMMON_RECORD_ARRAY_H

#include "common/handles.h"
#include "common/policy_node.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string_view>
#include <type_traits>
#include <vector>

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

/// The counts of records are int32.
inline constexpr std::size_t kMostRecords = std::numeric_limits<std::int32_t>::max();

/// Copies as many bytes of @text to the field, which is all zeros, as leave room for the terminator.
template <std::size_t N>
void set_text(char (&field)[N], std::string_view text) noexcept
{
    text.copy(field, N - 1);
}

namespace detail {

/// Zeros that a C caller will free(). The pages of many are asked for in one go.
Malloced<void> zeroed_records(std::size_t count, std::size_t bytes_of_one);

inline std::string_view* text_in(std::string_view& text) noexcept
{
    return &text;
}

inline std::string_view* text_in(NodeText& text) noexcept
{
    return text ? &*text : nullptr;
}

} // namespace detail

/// @count records of zeros for a C caller, at least one, or an exception where memory runs out.
template <class Record>
Malloced<Record> make_records(std::size_t count)
{
    static_assert(std::is_trivially_copyable_v<Record>);
    return Malloced<Record>(static_cast<Record*>(detail::zeroed_records(count, sizeof(Record)).release()));
}

/// Entries of a policy with their texts, kept beyond the nodes that they were found in. An Entry is made of
/// texts, std::string_view or NodeText, which its for_each_text(entry, visit) visits.
template <class Entry>
class PackedEntries {
    static_assert(std::is_trivially_copyable_v<Entry>);

  public:
    void append(const Entry& entry)
    {
        Entry packed = entry;
        std::size_t bytes = sizeof(Entry);
        for_each_text(packed, [&](auto& text) { bytes += length_of(text); });
        std::byte* place = room_for(bytes);
        std::byte* end = place + sizeof(Entry);
        for_each_text(packed, [&](auto& text) { end = move_text(text, end); });
        std::memcpy(place, &packed, sizeof(Entry));
        ++count_;
    }

    void clear() noexcept
    {
        blocks_.clear();
        count_ = 0;
    }

    [[nodiscard]] std::size_t size() const noexcept { return count_; }

    /// Hands all entries to @take, in order, and releases them on the way.
    template <class Take>
    void take_all(Take take)
    {
        for (Block& block : blocks_) {
            for (std::size_t at = 0; at < block.used;) {
                Entry entry;
                std::memcpy(&entry, block.bytes.get() + at, sizeof(Entry));
                std::size_t bytes = sizeof(Entry);
                for_each_text(entry, [&](auto& text) { bytes += length_of(text); });
                at += bytes;
                take(entry);
            }
            block.bytes.reset();
        }
        clear();
    }

  private:
    struct Block {
        std::unique_ptr<std::byte[]> bytes;
        std::size_t size;
        std::size_t used;
    };

    static constexpr std::size_t kBlockBytes = std::size_t{32} * 1024;

    template <class Text>
    static std::size_t length_of(Text& text) noexcept
    {
        const std::string_view* there = detail::text_in(text);
        return there == nullptr ? 0 : there->size();
    }

    template <class Text>
    static std::byte* move_text(Text& text, std::byte* place) noexcept
    {
        std::string_view* there = detail::text_in(text);
        if (there == nullptr) {
            return place;
        }
        auto* copy = reinterpret_cast<char*>(place);
        there->copy(copy, there->size());
        *there = {copy, there->size()};
        return place + there->size();
    }

    std::byte* room_for(std::size_t bytes)
    {
        if (blocks_.empty() || blocks_.back().size - blocks_.back().used < bytes) {
            const std::size_t size = std::max(bytes, kBlockBytes);
            blocks_.push_back({std::unique_ptr<std::byte[]>(new std::byte[size]), size, 0});
        }
        Block& block = blocks_.back();
        block.used += bytes;
        return block.bytes.get() + block.used - bytes;
    }

    std::vector<Block> blocks_;
    std::size_t count_ = 0;
};

/// The array of records that @fill makes of @entries, for a C caller, and their number in @count, which is
/// written last. Null where there are none.
template <class Record, class Entry, class Count, class Fill>
Record* to_records(PackedEntries<Entry>& entries, Count* count, Fill fill)
{
    const std::size_t size = entries.size();
    if (size == 0) {
        *count = 0;
        return nullptr;
    }
    Malloced<Record> array = make_records<Record>(size);
    Record* next = array.get();
    entries.take_all([&](const Entry& entry) { fill(*next++, entry); });
    *count = static_cast<Count>(size);
    return array.release();
}

/// A growing array of plain records, for those whose source is no policy.
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
        void* grown =
            capacity > kMostRecords ? nullptr : std::realloc(records_.get(), capacity * sizeof(Record));
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
