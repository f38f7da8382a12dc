// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The policy files of network control as tests write them, and every reader behind one face: what it is asked
// and what it gives as plain values.
#ifndef TRESK_TESTS_UNIT_NETCTL_FILES_H
#define TRESK_TESTS_UNIT_NETCTL_FILES_H

#include "common/handles.h"
#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tresk::test {

inline constexpr char kPrograms[] = "/etc/tresk/netctl/netctl.xml";
inline constexpr char kPackages[] = "/etc/tresk/netctl/netctl_pkg.xml";
inline constexpr char kOtherFile[] = "/etc/tresk/netctl/other.xml";

/// A counter's value before a call that must not write it.
inline constexpr std::int64_t kUnwritten = 7777;

/// The name by which tests know their only node.
inline constexpr char kName[] = "/usr/bin/a";
inline constexpr std::uint32_t kUid = 1000;

/// A record's fields as text; "-" for those that the record does not have.
struct Values {
    std::string identity;
    std::string type = "-";
    std::string hash = "-";
    std::string name = "-";
    std::string path = "-";
    std::string ico = "-";
    std::string desktop = "-";
    std::string server_type = "-";
    bool operator==(const Values&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Values& values);

/// What a reader gave. The counter of a reader of one record stays unwritten.
struct Listing {
    bool null = true;
    std::int64_t count = kUnwritten;
    std::vector<Values> records;

    /// The identities of the records.
    [[nodiscard]] std::vector<std::string> names() const;
};

/// What a reader is asked; each takes of it what it can.
struct Query {
    std::string file;
    std::uint32_t uid = kUid;
    std::string identity = kName;
};

struct Reader {
    const char* name;
    const char* function; ///< that its messages name
    const char* policy;   ///< the file it reads unless it is given another
    const char* identity; ///< the attribute that names its nodes
    const char* fields;   ///< of its record, by their first letters: (t)ype (h)ash (n)ame ...
    bool single = false;
    bool filtered = true;
    bool takes_file = false;
    std::function<Listing(const Query&)> read;

    [[nodiscard]] bool of_packages() const { return policy == kPackages; }

    /// @values with a "-" in the fields that the reader's record does not have.
    [[nodiscard]] Values visible(Values values) const;
};

std::ostream& operator<<(std::ostream& out, const Reader& reader);

/// Every reader.
const std::vector<Reader>& readers();
/// Those for which @chosen holds.
std::vector<Reader> readers_that(const std::function<bool(const Reader&)>& chosen);

/// Names the instances of a test with parameters after their rows.
inline constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

/// A document of these users, whose nodes hold "@name=" where the file's identity attribute belongs.
std::string document(std::string_view users, std::string_view identity);
std::string user(std::string_view nodes, std::string_view id = "1000");
/// A node with all of its children, type @type and hash "h".
std::string node(std::string_view identity, std::string_view type = "2");
std::string node_with(std::string_view identity, std::string_view children);
/// Writes both policies with these users.
void write_policies(std::string_view users);

/// What a reader leaves behind where it found no policy.
std::string empty_policy(std::string_view setting = "0");

/// Tests of what reads below "/etc/tresk/netctl"; libxml2 keeps quiet about the documents they feed it.
class NetctlFilesTest : public FrameworkTest {
  protected:
    void SetUp() override;
    void TearDown() override;
};

class NetctlReaderTest : public NetctlFilesTest, public ::testing::WithParamInterface<Reader> {
  protected:
    static Listing read(const Query& query)
    {
        Query complete = query;
        complete.file = query.file.empty() ? GetParam().policy : query.file;
        return GetParam().read(complete);
    }

    static Listing read() { return read(Query()); }

    /// Writes the reader's policy.
    static void write_users(std::string_view users)
    {
        write_file(GetParam().policy, document(users, GetParam().identity));
    }

    /// The call failed: no record, and the counter as it was.
    static void expect_failure(const Listing& listing);
    /// The call found nothing: no record, and a counter of 0 where there is one.
    static void expect_nothing(const Listing& listing);
};

} // namespace tresk::test

#endif
