// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The readers of process protection entries: arrays of all that a filter shows, or the one entry of a path.
// Each call reads the policy file afresh.
#include "common/data_path.h"
#include "common/edge.h"
#include "common/record_array.h"
#include "ppro/path_hash.h"
#include "ppro/ppro_policy.h"

#include <string>

namespace tresk::ppro {

namespace {

/// What an array reader's public faces differ in.
struct ArrayReader {
    const char* function;
    Filter shows;
};

ppro_node_info* read_all(const ArrayReader& reader, const char* file, int* count)
{
    if (file == nullptr || count == nullptr) {
        return nullptr;
    }
    PackedEntries<Entry> shown;
    const bool read = read_policy(kFormat, file, reader.function,
                                  {[&](const PolicyNode& /*root*/) { shown.clear(); }, nullptr,
                                   [&](const PolicyNode& node) {
                                       const std::optional<Entry> entry = complete_entry(node);
                                       if (entry && reader.shows(node)) {
                                           shown.append(*entry);
                                       }
                                       return Walk::on;
                                   }});
    return read ? to_records<ppro_node_info>(shown, count, fill_record) : nullptr;
}

ppro_node_info* read_all_by_owner(const char* file, int* count, int mode)
{
    return at_edge<ppro_node_info*>(nullptr, [&] {
        return read_all({"tresk_ppro_read_all_data_with_file_internal", numeric_filter(mode)}, file, count);
    });
}

/// Looks at the node of the path that was asked for: sets the result, and stops the walk once it stands.
using PathVisit = std::function<Walk(const PolicyNode&, Malloced<ppro_node_info>& result)>;

ppro_node_info* read_node_with_path(const char* function, const char* path, const PathVisit& visit)
{
    const Malloced<char> absolute = absolute_path(path);
    if (!absolute) {
        report_unresolved_path(kSource, path);
        return nullptr;
    }
    const std::string key = lookup_key(absolute.get());
    Malloced<ppro_node_info> result;
    const bool read =
        read_policy(kFormat, kPolicyFile, function,
                    {[&](const PolicyNode& /*root*/) { result.reset(); }, nullptr,
                     [&](const PolicyNode& node) {
                         return entry_path(node) == std::string_view(key) ? visit(node, result) : Walk::on;
                     },
                     only_with(kPath, key)});
    return read ? result.release() : nullptr;
}

/// Takes the first complete entry that @shows lets through.
PathVisit first_complete(Filter shows)
{
    return [shows = std::move(shows)](const PolicyNode& node, Malloced<ppro_node_info>& result) {
        const std::optional<Entry> entry = complete_entry(node);
        if (!entry || !shows(node)) {
            return Walk::on;
        }
        result = new_record(*entry);
        return Walk::stop;
    };
}

/// Takes the first entry that @shows lets through, which gives no record where it is incomplete.
PathVisit first_shown(Filter shows)
{
    return [shows = std::move(shows)](const PolicyNode& node, Malloced<ppro_node_info>& result) {
        if (!shows(node)) {
            return Walk::on;
        }
        if (const std::optional<Entry> entry = complete_entry(node)) {
            result = new_record(*entry);
        }
        return Walk::stop;
    };
}

} // namespace

} // namespace tresk::ppro

using namespace tresk;

TRESK_EXPORT char* tresk_ppro_get_path_hash(const char* path)
{
    return at_edge<char*>(
        nullptr, [&] { return path_hash(ppro::kSource, "tresk_ppro_get_path_hash", path).release(); });
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_all_data_with_file(char* file, int* count)
{
    return ppro::read_all_by_owner(file, count, 0);
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_all_data_with_file_sm(char* file, int* count)
{
    return ppro::read_all_by_owner(file, count, 1);
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_all_data_internal(int* count, int mode)
{
    return ppro::read_all_by_owner(ppro::kPolicyFile, count, mode);
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_all_data(int* count)
{
    return tresk_ppro_read_all_data_internal(count, 0);
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_all_data_sm(int* count)
{
    return tresk_ppro_read_all_data_internal(count, 1);
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_all_data_with_file_zdk(const char* file, int* count, int mode,
                                                                    const char* data_source)
{
    return at_edge<ppro_node_info*>(nullptr, [&] {
        return ppro::read_all(
            {"tresk_ppro_read_all_data_with_file_zdk", ppro::exact_filter(mode, data_source)}, file, count);
    });
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_all_data_zdk(int* count, int mode, const char* data_source)
{
    return tresk_ppro_read_all_data_with_file_zdk(ppro::kPolicyFile, count, mode, data_source);
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_node_with_path_internal(const char* path, int mode)
{
    return at_edge<ppro_node_info*>(nullptr, [&] {
        return ppro::read_node_with_path("tresk_ppro_read_node_with_path_internal", path,
                                         ppro::first_complete(ppro::numeric_filter(mode)));
    });
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_node_with_path(const char* path)
{
    return tresk_ppro_read_node_with_path_internal(path, 0);
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_node_with_path_sm(const char* path)
{
    return tresk_ppro_read_node_with_path_internal(path, 1);
}

TRESK_EXPORT ppro_node_info* tresk_ppro_read_node_with_path_zdk(const char* path, int mode,
                                                                const char* data_source)
{
    return at_edge<ppro_node_info*>(nullptr, [&] {
        return ppro::read_node_with_path("tresk_ppro_read_node_with_path_zdk", path,
                                         ppro::first_shown(ppro::exact_filter(mode, data_source)));
    });
}
