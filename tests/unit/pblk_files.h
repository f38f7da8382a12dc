// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The policy file of process blocking as tests write it, and every reader behind one face: what it is asked
// and what it gives as plain values.
#ifndef TRESK_TESTS_UNIT_PBLK_FILES_H
#define TRESK_TESTS_UNIT_PBLK_FILES_H

#include "common/handles.h"
#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tresk::test {

inline constexpr char kPolicyFile[] = "/etc/tresk/pblk/pblk.xml";
inline constexpr char kOtherFile[] = "/etc/tresk/pblk/other.xml";
/// What a reader leaves behind where it found no policy.
inline constexpr char kEmptyPolicy[] = "<?xml version=\"1.0\"?>\n<pblk_root/>\n";

/// A counter's value before a call that must not write it.
inline constexpr int kUnwritten = -7777;

/// A record's values.
struct Record {
    std::string path;
    std::string hash;
    bool operator==(const Record&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Record& record);

using Records = std::vector<Record>;

/// What a reader gave. The counter of a reader of one record stays unwritten.
struct Listing {
    bool null = true;
    int count = kUnwritten;
    Records records;
};

/// Calls an array reader with a counter that shows whether it was written.
Listing list(const std::function<pblk_node_info*(int*)>& reader);

/// Takes over the result of a reader of one record.
std::optional<Record> one(pblk_node_info* record);

/// What a reader is asked; each takes of it what it can.
struct Query {
    const char* file = kPolicyFile;
    const char* path = "/a";
    const char* hash = "h";
    int type = 1;
    const char* name = "";
};

struct Reader {
    const char* name;
    const char* function; ///< that its messages name
    bool single;
    bool takes_file;
    bool gives_hash;
    Listing (*read)(const Query&);
};

std::ostream& operator<<(std::ostream& out, const Reader& reader);

/// Every reader.
const std::vector<Reader>& readers();

/// Names the instances of a test with parameters after their rows.
inline constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

/// A document whose root holds @nodes and no blanks.
std::string policy(std::string_view nodes);
void write_policy(std::string_view nodes);

/// The source by which every reader finds a node: type 1 and the name "".
inline constexpr char kUsualSource[] = R"(data_source_type="1" data_source_name="")";

/// A node with these attributes after its path, and its hash.
std::string node(std::string_view path, std::string_view hash, std::string_view attributes = kUsualSource);

/// Tests of what reads below "/etc/tresk/pblk"; libxml2 keeps quiet about the documents they feed it.
class PblkFilesTest : public FrameworkTest {
  protected:
    void SetUp() override;
    void TearDown() override;
};

class PblkReaderTest : public PblkFilesTest, public ::testing::WithParamInterface<Reader> {
  protected:
    static Listing read(const Query& query = {}) { return GetParam().read(query); }

    /// The record as the reader gives it.
    static Record visible(const Record& record)
    {
        return {record.path, GetParam().gives_hash ? record.hash : ""};
    }

    /// The call failed: no record, and the counter as it was.
    static void expect_failure(const Listing& listing);
    /// The call found nothing: no record, and a counter of 0 where there is one.
    static void expect_nothing(const Listing& listing);
};

} // namespace tresk::test

#endif
