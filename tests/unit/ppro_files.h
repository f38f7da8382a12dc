// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The files of process protection as tests write them, and what its readers return as plain values.
#ifndef TRESK_TESTS_UNIT_PPRO_FILES_H
#define TRESK_TESTS_UNIT_PPRO_FILES_H

#include "common/handles.h"
#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"

#include <cstring>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tresk::test {

inline constexpr char kPolicyFile[] = "/etc/tresk/ppro/ppro.xml";
inline constexpr char kConfigurationFile[] = "/etc/tresk/ppro/ppro.conf";
inline constexpr char kBlacklistFile[] = "/etc/tresk/ppro/ppro_blacklist";
/// What a reader leaves behind where it found no policy.
inline constexpr char kEmptyPolicy[] = "<?xml version=\"1.0\"?>\n<ppro_root/>\n";

/// A counter's value before a call that must not write it.
inline constexpr int kUnwritten = -7777;

/// A record's values.
struct Record {
    std::string path;
    std::string hash;
    int type = 0;
    bool operator==(const Record&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Record& record);

/// What an array reader gave.
struct Listing {
    bool null = true;
    int count = kUnwritten;
    std::vector<Record> records;
};

/// Calls an array reader with a counter that shows whether it was written.
Listing list(const std::function<ppro_node_info*(int*)>& reader);

/// Takes over the result of a reader of one record.
std::optional<Record> one(ppro_node_info* record);

/// A document whose root holds @nodes and no blanks.
std::string policy(std::string_view nodes);
void write_policy(std::string_view nodes);

/// A node with these attributes after its path, its hash and its type.
std::string node(std::string_view path, std::string_view hash, std::string_view type,
                 std::string_view attributes = "");

/// Names the instances of a test with parameters after their rows.
inline constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

/// Tests of what reads below "/etc/tresk/ppro"; libxml2 keeps quiet about the documents they feed it.
class PproFilesTest : public FrameworkTest {
  protected:
    void SetUp() override;
    void TearDown() override;
};

} // namespace tresk::test

#endif
