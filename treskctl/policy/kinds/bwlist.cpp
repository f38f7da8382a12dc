// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Package lists: an entry is named by its list, its package and the source that asked for it.
#include "tresk_extend.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/kinds/reading.h"

#include <memory>

namespace tresk::ctl {

namespace {

constexpr const char* kFile = "/etc/tresk/bwlist/bwlist.xml";
/// What a look-up names both lists by.
constexpr std::string_view kBothLists = "bwlist";

void read_entry(Reading& reading, const std::string& list, const XmlElement& node)
{
    require_known(reading, node, {"rpm_name", "data_source_type", "data_source_name"}, {});
    const auto package = node.attribute("rpm_name");
    const auto type = node.attribute("data_source_type");
    const auto source = node.attribute("data_source_name");
    if (!package) {
        complain(reading, node, "no entry: it names no package");
        return;
    }
    if (!type || !source) {
        complain(reading, node, "the entry does not say its source: the service cannot remove it");
    }
    reading.entries.push_back(
        {{list, source_type_in(reading, node, type), source.value_or(""), *package}, node.place, {}});
}

/// Reads the lists of one policy in order.
class Reader final : public PolicyReader {
  public:
    void read_root(Reading& reading, const XmlElement& root) override
    {
        require_known(reading, root, {}, {"tresk_bwlist"});
    }

    bool read_group(Reading& reading, const XmlElement& list) override
    {
        require_known(reading, list, {"bw_value"}, {"tresk_node"});
        const auto name = list.attribute("bw_value");
        if (!name) {
            complain(reading, list, "no list: it has no name");
            return false;
        }
        if (*name == kBothLists) {
            complain(reading, list,
                     "look-ups that unite sources take this name for the white and the black list");
        }
        list_ = *name;
        return true;
    }

    void read_entry(Reading& reading, const XmlElement& entry) override
    {
        tresk::ctl::read_entry(reading, list_, entry);
    }

  private:
    /// The one whose entries come next.
    std::string list_;
};

constexpr XmlShape kShape = {.root = "tresk_root", .group = "tresk_bwlist", .entry = "tresk_node"};

Reading read(const std::string& root)
{
    Reader reader;
    return read_policy(root + kFile, kShape, reader, bwlist_kind());
}

std::unique_ptr<EntryStream> stream(const std::string& root)
{
    return stream_policy(root + kFile, kShape, [] { return std::make_unique<Reader>(); });
}

void normalise(Entry& /*entry*/, const Reading& /*machine*/) {}

std::vector<LibraryCall> calls(Operation operation, const Entry& wanted)
{
    const Kind& kind = bwlist_kind();
    const std::string& list = text_at(kind, wanted, "list");
    const std::string& package = text_at(kind, wanted, "package");
    const std::string& source = text_at(kind, wanted, "source");
    const int type = static_cast<int>(number_at(kind, wanted, "source_type"));
    return operation == Operation::Remove
               ? std::vector{TRESKCTL_CALL(tresk_bwlist_del_zdk, list, package, type, source)}
               : std::vector{TRESKCTL_CALL(tresk_bwlist_add_zdk, list, package, type, source)};
}

} // namespace

const Kind& bwlist_kind()
{
    static const Kind kind = {
        .name = "bwlist",
        .title = "package lists",
        .fields =
            {
                {.name = "list",
                 .role = Role::Key,
                 .type = FieldType::Text,
                 .help = "The list's name, such as white or black",
                 .words = {"white", "black"}},
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
                {.name = "package", .role = Role::Key, .type = FieldType::Text, .help = "A package's name"},
            },
        .file = kFile,
        .read = read,
        .stream = stream,
        .normalise = normalise,
        .calls = calls,
        .added = "listed",
        .updated = "updated",
        .removed = "unlisted",
    };
    return kind;
}

} // namespace tresk::ctl
