// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Permitted wireless networks, which the scene library keeps by their names.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"

#include <cstring>
#include <span>

namespace tresk::ctl {

namespace {

/// The library takes one byte more and registers an empty name then.
constexpr std::size_t kLongestName = 126;

Reading read(const std::string& root)
{
    Reading reading;
    int count = 0;
    const Malloced<tresk_wireless_name> names(root.empty() ? tresk_devctl_read_all_ssid_data(&count)
                                                           : nullptr);
    for (const tresk_wireless_name& network :
         std::span(names.get(), names ? static_cast<std::size_t>(count) : 0)) {
        reading.entries.push_back(
            {{std::string(network.name, ::strnlen(network.name, sizeof network.name))}, {}, {}});
    }
    return reading;
}

void normalise(Entry& /*entry*/, const Reading& /*machine*/) {}

std::vector<LibraryCall> calls(Operation operation, const Entry& wanted)
{
    const std::string& name = text_at(wireless_kind(), wanted, "name");
    return operation == Operation::Remove ? std::vector{TRESKCTL_CALL(tresk_devctl_wireless_ctl_del, name)}
                                          : std::vector{TRESKCTL_CALL(tresk_devctl_wireless_ctl_add, name)};
}

} // namespace

const Kind& wireless_kind()
{
    static const Kind kind = {
        .name = "wireless",
        .title = "permitted wireless networks",
        .fields = {{.name = "name",
                    .role = Role::Key,
                    .type = FieldType::Text,
                    .help = "A network's name",
                    .longest = kLongestName}},
        .file = "",
        .read = read,
        .stream = nullptr,
        .normalise = normalise,
        .calls = calls,
        .added = "permitted",
        .updated = "updated",
        .removed = "removed",
    };
    return kind;
}

} // namespace tresk::ctl
