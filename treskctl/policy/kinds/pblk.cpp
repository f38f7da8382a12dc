// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Process blocking: an entry is named by its path and the source that asked for it, a type and a name.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/kinds/reading.h"

#include <algorithm>
#include <memory>

namespace tresk::ctl {

namespace {

constexpr const char* kFile = "/etc/tresk/pblk/pblk.xml";

/// An entry that does not say its source is told as one of the usual source.
void read_entry(Reading& reading, const XmlElement& node)
{
    require_known(reading, node, {"path", "data_source_type", "data_source_name"}, {"hash"});
    if (!is_entry(reading, node, "path", {"hash"})) {
        return;
    }
    const auto source_type = node.attribute("data_source_type");
    const auto source = node.attribute("data_source_name");
    if (!source_type || !source) {
        complain(reading, node,
                 "the entry does not say its source: it counts for every one, and is on no one's list");
    }
    const std::string path = *node.first_attribute("path");
    const std::string hash = *child_text(reading, node, "hash");
    require_absolute(reading, node, path);
    require_hash(reading, node, hash,
                 [&path] { return Malloced<char>(tresk_pblk_get_path_hash(path.c_str())); });
    reading.entries.push_back({{source_type_in(reading, node, source_type), source.value_or(""),
                                fitting(reading, node, "the hash", hash, kLongestHash), path},
                               node.place,
                               {}});
}

class Reader final : public PolicyReader {
  public:
    void read_root(Reading& reading, const XmlElement& root) override
    {
        require_known(reading, root, {}, {"pblk_node"});
    }

    void read_entry(Reading& reading, const XmlElement& entry) override
    {
        tresk::ctl::read_entry(reading, entry);
    }
};

constexpr XmlShape kShape = {.root = "pblk_root", .group = "", .entry = "pblk_node"};

Reading read(const std::string& root)
{
    Reader reader;
    return read_policy(root + kFile, kShape, reader, pblk_kind());
}

std::unique_ptr<EntryStream> stream(const std::string& root)
{
    return stream_policy(root + kFile, kShape, [] { return std::make_unique<Reader>(); });
}

/// The library takes paths as they are, so that the list may have one that leads through a link.
void normalise(Entry& entry, const Reading& machine)
{
    const std::size_t field = index_of(pblk_kind(), "path");
    Value& path = entry.values[field];
    const Value usual = policy_path(std::get<std::string>(path));
    const bool is_listed = usual != path && std::ranges::any_of(machine.entries, [&](const Entry& listed) {
                               return listed.values[field] == path;
                           });
    if (!is_listed) {
        path = usual;
    }
}

std::vector<LibraryCall> calls(Operation operation, const Entry& wanted)
{
    const Kind& kind = pblk_kind();
    const std::string& path = text_at(kind, wanted, "path");
    const std::string& source = text_at(kind, wanted, "source");
    const int type = static_cast<int>(number_at(kind, wanted, "source_type"));
    return operation == Operation::Remove
               ? std::vector{TRESKCTL_CALL(tresk_pblk_remove_zdk, path, type, source)}
               : std::vector{TRESKCTL_CALL(tresk_pblk_add_zdk, path, type, source)};
}

} // namespace

const Kind& pblk_kind()
{
    static const Kind kind = {
        .name = "pblk",
        .title = "process blocking",
        .fields =
            {
                {.name = "source_type",
                 .role = Role::Key,
                 .type = FieldType::Number,
                 .option = "--source-type",
                 .help = "Type of the source that asks for it, a number of the framework; 1 if not said",
                 .standard = Value(std::int64_t{1})},
                {.name = "source",
                 .role = Role::Key,
                 .type = FieldType::Text,
                 .option = "--source",
                 .help = "Name of that source; none if not said",
                 .standard = Value("")},
                {.name = "hash", .role = Role::Derived, .type = FieldType::Text},
                {.name = "path", .role = Role::Key, .type = FieldType::Path, .help = "A program's path"},
            },
        .file = kFile,
        .read = read,
        .stream = stream,
        .normalise = normalise,
        .calls = calls,
        .added = "blocked",
        .updated = "updated",
        .removed = "unblocked",
    };
    return kind;
}

} // namespace tresk::ctl
