// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Process protection: an entry is named by its path and the source that asked for it.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/kinds/reading.h"

#include <memory>

namespace tresk::ctl {

namespace {

constexpr const char* kFile = "/etc/tresk/ppro/ppro.xml";

/// The side that owns the entry, 0 or 1. Readers of one side compare the text, others the number.
bool is_sm_owned(Reading& reading, const XmlElement& node)
{
    const std::string status = node.attribute("sm_status").value_or("0");
    if (status != "0" && status != "1") {
        complain(reading, node,
                 "sm_status \"" + status + "\" is neither 0 nor 1: readers disagree on who owns the entry");
    }
    return leading_number(status) != 0;
}

void read_entry(Reading& reading, const XmlElement& node)
{
    require_known(reading, node, {"path", "sm_status", "data_source_name"}, {"hash", "type"});
    if (!is_entry(reading, node, "path", {"hash", "type"})) {
        return;
    }
    if (node.children.front().name != "hash") {
        complain(reading, node, "<hash> does not come first: look-ups by hash overlook the entry");
    }
    const std::string path = *node.first_attribute("path");
    const std::string hash = *child_text(reading, node, "hash");
    const std::int64_t type = number_in(reading, node, "type", *child_text(reading, node, "type"));
    require_resolved(reading, node, path);
    require_hash(reading, node, hash,
                 [&path] { return Malloced<char>(tresk_ppro_get_path_hash(path.c_str())); });
    reading.entries.push_back({{type, std::string(is_sm_owned(reading, node) ? "sm" : "ordinary"),
                                node.attribute("data_source_name").value_or(""),
                                fitting(reading, node, "the hash", hash, kLongestHash), path},
                               node.place,
                               {}});
}

class Reader final : public PolicyReader {
  public:
    void read_root(Reading& reading, const XmlElement& root) override
    {
        require_known(reading, root, {}, {"ppro_node"});
    }

    void read_entry(Reading& reading, const XmlElement& entry) override
    {
        tresk::ctl::read_entry(reading, entry);
    }
};

constexpr XmlShape kShape = {.root = "ppro_root", .group = "", .entry = "ppro_node"};

Reading read(const std::string& root)
{
    Reader reader;
    return read_policy(root + kFile, kShape, reader, ppro_kind());
}

std::unique_ptr<EntryStream> stream(const std::string& root)
{
    return stream_policy(root + kFile, kShape, [] { return std::make_unique<Reader>(); });
}

void normalise(Entry& entry, const Reading& /*machine*/)
{
    Value& path = entry.values[index_of(ppro_kind(), "path")];
    path = policy_path(std::get<std::string>(path));
}

std::vector<LibraryCall> calls(Operation operation, const Entry& wanted)
{
    const Kind& kind = ppro_kind();
    const std::string& path = text_at(kind, wanted, "path");
    const std::string& source = text_at(kind, wanted, "source");
    const int type = static_cast<int>(number_at(kind, wanted, "type"));
    const int mode = text_at(kind, wanted, "owner") == "sm" ? 1 : 0;
    switch (operation) {
    case Operation::Add:
        return {TRESKCTL_CALL(tresk_ppro_add_zdk, path, type, mode, source)};
    case Operation::Update:
        return {TRESKCTL_CALL(tresk_ppro_update_zdk, path, type, mode, source)};
    default:
        return {TRESKCTL_CALL(tresk_ppro_remove_zdk, path, mode, source)};
    }
}

} // namespace

const Kind& ppro_kind()
{
    static const Kind kind = {
        .name = "ppro",
        .title = "process protection",
        .fields =
            {
                {.name = "type",
                 .role = Role::Setting,
                 .type = FieldType::Number,
                 .option = "--type",
                 .help = "Protection type, a number of the framework; a new entry needs it"},
                {.name = "owner",
                 .role = Role::Setting,
                 .type = FieldType::Word,
                 .option = "--owner",
                 .help = "Who owns the entry; ordinary if not said",
                 .standard = Value("ordinary"),
                 .words = {"ordinary", "sm"},
                 .fixed = true},
                {.name = "source",
                 .role = Role::Key,
                 .type = FieldType::Text,
                 .option = "--source",
                 .help = "Name of the source that asks for it; none if not said",
                 .standard = Value("")},
                {.name = "hash", .role = Role::Derived, .type = FieldType::Text},
                {.name = "path",
                 .role = Role::Key,
                 .type = FieldType::Path,
                 .help = "A program's path",
                 .resolved = true},
            },
        .file = kFile,
        .read = read,
        .stream = stream,
        .normalise = normalise,
        .calls = calls,
        .added = "protected",
        .updated = "updated",
        .removed = "unprotected",
    };
    return kind;
}

} // namespace tresk::ctl
