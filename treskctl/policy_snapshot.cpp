// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy_snapshot.h"

#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/policy_records.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace tresk::ctl {

namespace {

constexpr const char* kPolicyFile = "/etc/tresk/ppro/ppro.xml";

using Entries = std::vector<Entry>;

/// Runs one of the library's array readers; the entries count as the given owner's.
template <class Reader>
std::optional<Entries> read_array(Run& run, bool sm, Reader reader)
{
    const auto records = ask_for_records<int>(run, reader);
    if (!records) {
        return std::nullopt;
    }
    Entries entries;
    for (const ppro_node_info& record : records->all()) {
        entries.push_back({record.path, record.hash, record.type, sm});
    }
    return entries;
}

/// A descriptor's name, which the readers can open as often as they like.
std::string file_of(const Descriptor& descriptor)
{
    return "/proc/self/fd/" + std::to_string(descriptor.get());
}

Descriptor open_policy()
{
    return Descriptor(::open(kPolicyFile, O_RDONLY | O_CLOEXEC));
}

/// Opens the policy. A reader makes a missing one and fails this once.
Descriptor open_or_create_policy(Run& run)
{
    Descriptor file = open_policy();
    if (!file && errno == ENOENT) {
        listen_to([] {
            int count = 0;
            return Malloced<ppro_node_info>(tresk_ppro_read_all_data(&count)) != nullptr;
        });
        file = open_policy();
    }
    if (!file) {
        run.fail(
            {Cause::Policy, std::string("cannot read the policy: ") + std::strerror(errno), {}, kPolicyFile});
    }
    return file;
}

/// Of @all, the entries that are not in @ordinary, which is a part of it in the same order, are the "sm"
/// side's.
void mark_owners(Entries& all, const Entries& ordinary)
{
    auto next = ordinary.begin();
    for (Entry& entry : all) {
        entry.sm = next == ordinary.end() || entry != *next;
        next += entry.sm ? 0 : 1;
    }
}

std::optional<Entries> read_by_owner(Run& run, std::string file)
{
    auto all =
        read_array(run, false, [&](int* n) { return tresk_ppro_read_all_data_with_file_sm(file.data(), n); });
    const auto ordinary =
        read_array(run, false, [&](int* n) { return tresk_ppro_read_all_data_with_file(file.data(), n); });
    if (!all || !ordinary) {
        return std::nullopt;
    }
    mark_owners(*all, *ordinary);
    return all;
}

std::optional<Entries> read_by_source(Run& run, const std::string& file, const std::string& source)
{
    const auto read = [&](int mode) {
        return read_array(run, mode == 1, [&](int* n) {
            return tresk_ppro_read_all_data_with_file_zdk(file.c_str(), n, mode, source.c_str());
        });
    };
    auto entries = read(0);
    const auto of_sm = read(1);
    if (!entries || !of_sm) {
        return std::nullopt;
    }
    entries->insert(entries->end(), of_sm->begin(), of_sm->end());
    return entries;
}

} // namespace

std::optional<Entries> read_entries(Run& run, const EntryFilter& filter)
{
    const Descriptor policy = open_or_create_policy(run);
    if (!policy) {
        return std::nullopt;
    }
    auto entries = filter.source ? read_by_source(run, file_of(policy), *filter.source)
                                 : read_by_owner(run, file_of(policy));
    if (!entries) {
        run.fail({Cause::Policy, "the file is no process protection policy", {}, kPolicyFile});
    } else if (!filter.all) {
        std::erase_if(*entries, [&](const Entry& entry) { return entry.sm != filter.sm; });
    }
    return entries;
}

} // namespace tresk::ctl
