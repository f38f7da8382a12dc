// SPDX-License-Identifier: LGPL-2.1-or-later
//
// treskctl reads the policies itself, since the library's records have neither places nor users nor sources.
// What it finds has to be what the library's readers find, in every policy, however it came about.
#include "common/handles.h"
#include "tests/e2e/policy_generator.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"
#include "treskctl/policy/kind.h"
#include "treskctl/policy/kinds/kinds.h"

#include <gtest/gtest.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <span>

namespace tresk::ctl {

namespace {

using test::GeneratedPolicy;
using test::Origin;
using test::PolicyGenerator;

constexpr unsigned kPolicies = 400;

struct OriginName {
    Origin origin;
    const char* name;
};

constexpr OriginName kOrigins[] = {
    {Origin::Service, "TheServiceWrites"}, {Origin::Hand, "HandsEdit"}, {Origin::Damage, "DisksDamage"}};

void PrintTo(const OriginName& origin, std::ostream* stream)
{
    *stream << origin.name;
}

/// The parser's words about damaged files.
void say_nothing(void* /*context*/, const char* /*format*/, ...) {}

class ReadersAgreeTest : public ::testing::TestWithParam<OriginName> {
  protected:
    void SetUp() override
    {
        ASSERT_NE(std::getenv("TRESK_STANDIN_STATE"), nullptr) << "these tests run inside of the sandbox";
        xmlSetGenericErrorFunc(nullptr, say_nothing);
    }

    /// Makes many policies of a kind; those that count as policies go to @compare, after what is judged of
    /// all.
    template <class Make, class Compare>
    void for_each_policy(const Kind& kind, Make make, Compare compare)
    {
        unsigned compared = 0;
        for (unsigned seed = 0; seed < kPolicies && !HasFailure(); ++seed) {
            const auto generator = std::make_unique<PolicyGenerator>(seed, GetParam().origin);
            const GeneratedPolicy policy = make(*generator);
            SCOPED_TRACE(testing::Message() << "seed " << seed << ":\n" << policy.text.substr(0, 3000));
            test::write_file(kind.file, policy.text);
            const Reading reading = kind.read("");
            if (GetParam().origin == Origin::Service) {
                expect_sound(reading, policy);
            }
            // In the place of an empty file the library makes a policy without entries, and fails this once.
            if (!reading.failure && !policy.text.empty()) {
                compare(reading);
                ++compared;
            }
        }
        EXPECT_GT(compared, kPolicies / 2);
    }

  private:
    static void expect_sound(const Reading& reading, const GeneratedPolicy& policy)
    {
        EXPECT_FALSE(reading.failure.has_value());
        EXPECT_EQ(reading.entries.size(), policy.entries);
        for (const Problem& problem : reading.problems) {
            ADD_FAILURE() << text_of(problem.place) << ": " << problem.text;
        }
    }
};

/// Where something is wrong that begins with @beginning.
bool has_problem(const Reading& reading, const Entry& entry, std::string_view beginning = "")
{
    return std::ranges::any_of(reading.problems, [&](const Problem& problem) {
        return problem.place.line == entry.place.line && problem.place.column == entry.place.column &&
               problem.text.starts_with(beginning);
    });
}

/// The entries of a reading as texts of a library's record, in their order.
template <class Describe, class Choose>
std::vector<std::string> told(const Reading& reading, Describe describe, Choose choose)
{
    std::vector<std::string> texts;
    for (const Entry& entry : reading.entries) {
        if (choose(entry)) {
            texts.push_back(describe(entry));
        }
    }
    return texts;
}

constexpr auto kAll = [](const Entry& /*entry*/) { return true; };

/// The records of an array reader, as texts, in their order. A reader that fails leaves the count alone.
template <class Record, class Count, class Read, class Describe>
std::vector<std::string> records_of(Read read, Describe describe)
{
    constexpr Count untouched = 4242;
    Count count = untouched;
    const Malloced<Record> records(read(&count));
    EXPECT_NE(count, untouched) << "the library's reader failed";
    std::vector<std::string> texts;
    for (const Record& record : std::span(records.get(), records ? static_cast<std::size_t>(count) : 0)) {
        texts.push_back(describe(record));
    }
    return texts;
}

std::string joined(std::initializer_list<std::string> parts)
{
    std::string text;
    for (const std::string& part : parts) {
        text += part + "|";
    }
    return text;
}

/// What is missing reads as this in records, and as an empty text here.
std::string optional_text(const std::string& text)
{
    return text == "unknown" ? "" : text;
}

// --- process protection ---

std::string ppro_text(const Entry& entry)
{
    const Kind& kind = ppro_kind();
    return joined({text_at(kind, entry, "path"), text_at(kind, entry, "hash"),
                   std::to_string(number_at(kind, entry, "type"))});
}

std::string ppro_record_text(const ppro_node_info& record)
{
    return joined({record.path, record.hash, std::to_string(record.type)});
}

TEST_P(ReadersAgreeTest, OnProtectedPrograms)
{
    for_each_policy(
        ppro_kind(), [](PolicyGenerator& generator) { return generator.ppro(); },
        [](const Reading& reading) {
            std::string file = ppro_kind().file;
            EXPECT_EQ(
                told(reading, ppro_text, kAll),
                (records_of<ppro_node_info, int>(
                    [&](int* count) { return tresk_ppro_read_all_data_with_file_sm(file.data(), count); },
                    ppro_record_text)));
            const auto ordinary = [](const Entry& entry) {
                return text_at(ppro_kind(), entry, "owner") == "ordinary";
            };
            EXPECT_EQ(told(reading, ppro_text, ordinary),
                      (records_of<ppro_node_info, int>(
                          [&](int* count) { return tresk_ppro_read_all_data_with_file(file.data(), count); },
                          ppro_record_text)));
        });
}

/// Leaves out what entries with problems look like.
std::vector<std::string> without(std::vector<std::string> texts, const std::vector<std::string>& others)
{
    std::erase_if(texts, [&others](const std::string& text) {
        return std::ranges::find(others, text) != others.end();
    });
    return texts;
}

TEST_P(ReadersAgreeTest, OnProtectedProgramsOfASource)
{
    for_each_policy(
        ppro_kind(), [](PolicyGenerator& generator) { return generator.ppro(); },
        [](const Reading& reading) {
            const auto wrong =
                told(reading, ppro_text, [&](const Entry& entry) { return has_problem(reading, entry); });
            for (const auto& [mode, owner] : {std::pair(0, "ordinary"), std::pair(1, "sm")}) {
                for (const char* source : {"", "vendor", "x & y", "nobody"}) {
                    const auto of_source = [&, owner = owner](const Entry& entry) {
                        return text_at(ppro_kind(), entry, "owner") == owner &&
                               text_at(ppro_kind(), entry, "source") == source;
                    };
                    const auto read = [&, mode = mode](int* count) {
                        return tresk_ppro_read_all_data_with_file_zdk(ppro_kind().file, count, mode, source);
                    };
                    EXPECT_EQ(without(told(reading, ppro_text, of_source), wrong),
                              without(records_of<ppro_node_info, int>(read, ppro_record_text), wrong))
                        << "mode " << mode << ", source " << source;
                }
            }
        });
}

// --- process blocking ---

std::string pblk_text(const Entry& entry)
{
    return joined({text_at(pblk_kind(), entry, "path"), text_at(pblk_kind(), entry, "hash")});
}

std::string pblk_record_text(const pblk_node_info& record)
{
    return joined({record.path, record.hash});
}

TEST_P(ReadersAgreeTest, OnBlockedPrograms)
{
    for_each_policy(
        pblk_kind(), [](PolicyGenerator& generator) { return generator.pblk(); },
        [](const Reading& reading) {
            EXPECT_EQ(
                told(reading, pblk_text, kAll),
                (records_of<pblk_node_info, int>(
                    [](int* count) { return tresk_pblk_read_all_data_with_file(pblk_kind().file, count); },
                    pblk_record_text)));
        });
}

/// The paths of the entries of one source; its reader also takes some that have problems, or leaves them out.
TEST_P(ReadersAgreeTest, OnBlockedProgramsOfASource)
{
    const auto path_of = [](const Entry& entry) { return text_at(pblk_kind(), entry, "path"); };
    for_each_policy(
        pblk_kind(), [](PolicyGenerator& generator) { return generator.pblk(); },
        [&](const Reading& reading) {
            for (const int type : {1, 2, -3, 1234567}) {
                for (const char* source : {"", "vendor"}) {
                    const auto of_source = [&](const Entry& entry) {
                        return number_at(pblk_kind(), entry, "source_type") == type &&
                               text_at(pblk_kind(), entry, "source") == source &&
                               !has_problem(reading, entry);
                    };
                    const auto read = [&](int* count) {
                        return tresk_pblk_read_all_data_with_file_zdk(pblk_kind().file, type, source, count);
                    };
                    const auto records = records_of<pblk_node_info, int>(
                        read, [](const pblk_node_info& record) { return std::string(record.path); });
                    for (const std::string& path : told(reading, path_of, of_source)) {
                        EXPECT_TRUE(std::ranges::find(records, path) != records.end()) << path;
                    }
                    if (reading.problems.empty()) {
                        EXPECT_EQ(told(reading, path_of, of_source), records);
                    }
                }
            }
        });
}

// --- network control ---

std::string netctl_text(const Entry& entry)
{
    const Kind& kind = netctl_kind();
    return joined({text_at(kind, entry, "path"), text_at(kind, entry, "hash"),
                   std::to_string(number_at(kind, entry, "type")),
                   optional_text(text_at(kind, entry, "name")), text_at(kind, entry, "ico"),
                   text_at(kind, entry, "desktop"), std::to_string(number_at(kind, entry, "server_type"))});
}

std::string netctl_record_text(const netctl_ext_node_info& record)
{
    return joined({record.path, record.hash, std::to_string(record.type), optional_text(record.name),
                   optional_text(record.ico), optional_text(record.desktop),
                   std::to_string(record.server_type)});
}

/// Those whom the generator names, and one whom it does not.
constexpr std::int32_t kUsers[] = {0, 1000, 2000, -1, 7};

bool is_of(const Kind& kind, const Reading& reading, const Entry& entry, std::int32_t uid)
{
    return !reading.per_user || number_at(kind, entry, "uid") == static_cast<std::uint32_t>(uid);
}

TEST_P(ReadersAgreeTest, OnProgramsUnderNetworkControl)
{
    const auto make = [](PolicyGenerator& generator) { return generator.netctl(false); };
    for_each_policy(netctl_kind(), make, [](const Reading& reading) {
        user_distinguish = 0;
        (void)tresk_netctl_get_user_distinguish();
        EXPECT_EQ(reading.per_user, user_distinguish != 0);
        for (const std::int32_t uid : kUsers) {
            const auto read = [uid](std::int32_t* count) {
                return tresk_netctl_ext_read_all_data_with_uid_inner(uid, netctl_kind().file, count);
            };
            const auto of_user = [&](const Entry& entry) {
                return is_of(netctl_kind(), reading, entry, uid);
            };
            EXPECT_EQ(told(reading, netctl_text, of_user),
                      (records_of<netctl_ext_node_info, std::int32_t>(read, netctl_record_text)))
                << "user " << uid;
        }
    });
}

std::string pkg_text(const Entry& entry)
{
    const Kind& kind = pkg_kind();
    return joined({text_at(kind, entry, "package"), std::to_string(number_at(kind, entry, "type")),
                   text_at(kind, entry, "ico"), text_at(kind, entry, "desktop"),
                   std::to_string(number_at(kind, entry, "server_type"))});
}

std::string pkg_record_text(const netctl_pkg_node_info& record)
{
    return joined({record.pkg, std::to_string(record.type), optional_text(record.ico),
                   optional_text(record.desktop), std::to_string(record.server_type)});
}

/// Entries whose program is not there are shown, with that problem, and left out by the library.
TEST_P(ReadersAgreeTest, OnPackagesUnderNetworkControl)
{
    for (const char* setting : {"0", "1"}) {
        SCOPED_TRACE(setting);
        test::write_file(netctl_kind().file, std::string("<tresk_root user_dist=\"") + setting + "\"/>");
        user_distinguish = tresk_netctl_get_user_distinguish();
        const auto make = [setting](PolicyGenerator& generator) {
            GeneratedPolicy policy = generator.netctl(true);
            const std::string own = "user_dist=\"0\"";
            if (const std::size_t at = policy.text.find(own); at != std::string::npos) {
                policy.text.replace(at, own.size(), std::string("user_dist=\"") + setting + "\"");
            }
            return policy;
        };
        for_each_policy(pkg_kind(), make, [](const Reading& reading) {
            for (const std::int32_t uid : kUsers) {
                const auto read = [uid](std::uint32_t* count) {
                    return tresk_netctl_pkg_read_all_data_with_uid_inner(static_cast<std::uint32_t>(uid),
                                                                         pkg_kind().file, count);
                };
                const auto listed = [&](const Entry& entry) {
                    return is_of(pkg_kind(), reading, entry, uid) &&
                           !has_problem(reading, entry, "there is no file");
                };
                EXPECT_EQ(told(reading, pkg_text, listed),
                          (records_of<netctl_pkg_node_info, std::uint32_t>(read, pkg_record_text)))
                    << "user " << uid;
            }
        });
    }
}

// --- package lists ---

TEST_P(ReadersAgreeTest, OnPackageLists)
{
    const auto text = [](const Entry& entry, const char* field) {
        return text_at(bwlist_kind(), entry, field);
    };
    for_each_policy(
        bwlist_kind(), [](PolicyGenerator& generator) { return generator.bwlist(); },
        [&](const Reading& reading) {
            for (const std::string list : {"white", "black", "other", ""}) {
                for (const std::string package : {"package0", "package1", "package2", "package3", ""}) {
                    const auto is_it = [&](const Entry& entry) {
                        return text(entry, "list") == list && text(entry, "package") == package;
                    };
                    EXPECT_EQ(std::ranges::any_of(reading.entries, is_it) ? 1 : 0,
                              _bwlist_unite_select_by_rpm_name(list.c_str(), package.c_str()))
                        << list << " " << package;
                }
            }
        });
}

TEST_P(ReadersAgreeTest, OnPackageListsOfASource)
{
    const auto text = [](const Entry& entry, const char* field) {
        return text_at(bwlist_kind(), entry, field);
    };
    for_each_policy(
        bwlist_kind(), [](PolicyGenerator& generator) { return generator.bwlist(); },
        [&](const Reading& reading) {
            for (const Entry& entry : reading.entries) {
                for (const int type : {1, 2, 3}) {
                    for (const std::string source : {"", "vendor"}) {
                        const auto is_it = [&](const Entry& other) {
                            return text(other, "list") == text(entry, "list") &&
                                   text(other, "package") == text(entry, "package");
                        };
                        const auto is_of_source = [&](const Entry& other) {
                            return is_it(other) && text(other, "source") == source &&
                                   number_at(bwlist_kind(), other, "source_type") == type;
                        };
                        const bool wrong = std::ranges::any_of(reading.entries, [&](const Entry& other) {
                            return is_it(other) && has_problem(reading, other);
                        });
                        if (!wrong) {
                            EXPECT_EQ(std::ranges::any_of(reading.entries, is_of_source) ? 1 : 0,
                                      _bwlist_independence_select_by_rpm_name(text(entry, "list").c_str(),
                                                                              text(entry, "package").c_str(),
                                                                              type, source.c_str()));
                        }
                    }
                }
            }
        });
}

INSTANTIATE_TEST_SUITE_P(Policies, ReadersAgreeTest, ::testing::ValuesIn(kOrigins),
                         [](const auto& row) { return row.param.name; });

} // namespace

} // namespace tresk::ctl
