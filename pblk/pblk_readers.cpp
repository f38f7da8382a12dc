// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The readers of process blocking entries: one plan, which a reader's row fills in. Each call reads the
// policy file afresh.
#include "common/data_path.h"
#include "common/edge.h"
#include "common/record_array.h"
#include "pblk/pblk_policy.h"
#include "ppro/path_hash.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

namespace tresk::pblk {

namespace {

/// A count ends once it is above this: who counts wants to know whether an entry is alone.
constexpr std::int64_t kCountCutOff = 1;

/// A reader as its messages name it, and what it accepts.
struct Reader {
    const char* function;
    Acceptance rules;
};

constexpr Reader kAll = {
    "tresk_pblk_read_all_data_with_file",
    {PathRule::first_attribute, SourceRule::ignored, HashRule::last},
};
constexpr Reader kAllOfSource = {
    "tresk_pblk_read_all_data_with_file_zdk",
    {PathRule::any_attribute, SourceRule::required, HashRule::unread},
};
constexpr Reader kOneOfPath = {
    "tresk_pblk_read_node_with_path_zdk",
    {PathRule::any_attribute, SourceRule::if_present, HashRule::last},
};
constexpr Reader kOneOfHash = {
    "tresk_pblk_read_node_with_hash_zdk",
    {PathRule::any_attribute, SourceRule::if_present, HashRule::wanted},
};

pblk_node_info* read_all(const Reader& reader, const Wanted& wanted, const char* file, int* count)
{
    if (file == nullptr || count == nullptr) {
        return nullptr;
    }
    PackedEntries<Entry> accepted;
    const bool read =
        read_policy(kFormat, file, reader.function,
                    {[&](const PolicyNode& /*root*/) { accepted.clear(); }, nullptr,
                     [&](const PolicyNode& node) {
                         if (const std::optional<Entry> entry = accepted_entry(node, reader.rules, wanted)) {
                             accepted.append(*entry);
                         }
                         return Walk::on;
                     }});
    return read ? to_records<pblk_node_info>(accepted, count, fill_record) : nullptr;
}

pblk_node_info* read_first(const Reader& reader, const Wanted& wanted)
{
    Malloced<pblk_node_info> record;
    const auto look_at = [&](const PolicyNode& node) {
        const std::optional<Entry> entry = accepted_entry(node, reader.rules, wanted);
        if (!entry) {
            return Walk::on;
        }
        record = make_record<pblk_node_info>();
        fill_record(*record, *entry);
        return Walk::stop;
    };
    const bool read = read_policy(kFormat, kPolicyFile, reader.function,
                                  {[&](const PolicyNode& /*root*/) { record.reset(); }, nullptr, look_at,
                                   wanted.path ? only_with(kPath, *wanted.path) : NodeSieve()});
    return read ? record.release() : nullptr;
}

pblk_node_info* read_node_with_path(const char* path, Wanted wanted)
{
    if (path == nullptr) {
        return nullptr;
    }
    const std::string key = lookup_key(path);
    wanted.path = key;
    return read_first(kOneOfPath, wanted);
}

pblk_node_info* read_node_with_hash(const char* hash, Wanted wanted)
{
    if (hash == nullptr) {
        return nullptr;
    }
    wanted.hash = hash;
    return read_first(kOneOfHash, wanted);
}

int count_nodes_with_hash(const char* hash, int* count)
{
    if (hash == nullptr || count == nullptr) {
        return -1;
    }
    std::int64_t found = *count;
    const PolicyWalk counting{[&](const PolicyNode& /*root*/) { found = *count; }, nullptr,
                              [&](const PolicyNode& node) {
                                  found += carries_hash(node, hash) ? 1 : 0;
                                  return found > kCountCutOff ? Walk::stop : Walk::on;
                              }};
    if (!read_policy(kFormat, kPolicyFile, "tresk_pblk_get_same_node_by_hash", counting)) {
        return -1;
    }
    *count = static_cast<int>(std::min<std::int64_t>(found, std::numeric_limits<int>::max()));
    return 0;
}

} // namespace

} // namespace tresk::pblk

using namespace tresk;

TRESK_EXPORT char* tresk_pblk_get_path_hash(const char* path)
{
    return at_edge<char*>(
        nullptr, [&] { return path_hash(pblk::kSource, "tresk_pblk_get_path_hash", path).release(); });
}

TRESK_EXPORT pblk_node_info* tresk_pblk_read_all_data_with_file(const char* file, int* count)
{
    return at_edge<pblk_node_info*>(nullptr, [&] { return pblk::read_all(pblk::kAll, {}, file, count); });
}

TRESK_EXPORT pblk_node_info* tresk_pblk_read_all_data(int* count)
{
    return tresk_pblk_read_all_data_with_file(pblk::kPolicyFile, count);
}

TRESK_EXPORT pblk_node_info* tresk_pblk_read_all_data_with_file_zdk(const char* file, int type,
                                                                    const char* name, int* count)
{
    return at_edge<pblk_node_info*>(nullptr, [&] {
        return pblk::read_all(pblk::kAllOfSource, {type, name}, file, count);
    });
}

TRESK_EXPORT pblk_node_info* tresk_pblk_read_all_data_zdk(int type, const char* name, int* count)
{
    return tresk_pblk_read_all_data_with_file_zdk(pblk::kPolicyFile, type, name, count);
}

TRESK_EXPORT pblk_node_info* tresk_pblk_read_node_with_path_zdk(const char* path, int type, const char* name)
{
    return at_edge<pblk_node_info*>(nullptr, [&] { return pblk::read_node_with_path(path, {type, name}); });
}

TRESK_EXPORT pblk_node_info* tresk_pblk_read_node_with_path(const char* path)
{
    return tresk_pblk_read_node_with_path_zdk(path, 1, "");
}

TRESK_EXPORT pblk_node_info* tresk_pblk_read_node_with_hash_zdk(const char* hash, int type, const char* name)
{
    return at_edge<pblk_node_info*>(nullptr, [&] { return pblk::read_node_with_hash(hash, {type, name}); });
}

TRESK_EXPORT int tresk_pblk_get_same_node_by_hash(const char* hash, int* count)
{
    return at_edge(-1, [&] { return pblk::count_nodes_with_hash(hash, count); });
}
