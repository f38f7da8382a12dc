// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The policy that a reader creates where there is none. The reader fails in any case; what counts is the
// file.
#include "tests/crash/operation.h"
#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"

#include <gmock/gmock.h>
#include <libxml/xmlerror.h>

#include <cerrno>
#include <iostream>

namespace tresk::test {
namespace {

struct Reader {
    const char* test;
    const char* file;
    const char* content; ///< the old file's; null for none
    void (*read)();
};

std::ostream& operator<<(std::ostream& out, const Reader& reader)
{
    return out << reader.test;
}

void read_programs()
{
    std::uint32_t count = 0;
    std::free(tresk_netctl_read_all_data(&count));
}

void read_packages()
{
    std::uint32_t count = 0;
    std::free(tresk_netctl_pkg_read_all_data_with_uid(0, &count));
}

void read_protected()
{
    int count = 0;
    std::free(tresk_ppro_read_all_data(&count));
}

void read_blocked()
{
    int count = 0;
    std::free(tresk_pblk_read_all_data(&count));
}

constexpr Reader kReaders[] = {
    {"ProgramsMissing", "/etc/tresk/netctl/netctl.xml", nullptr, read_programs},
    {"ProgramsEmpty", "/etc/tresk/netctl/netctl.xml", "", read_programs},
    {"PackagesMissing", "/etc/tresk/netctl/netctl_pkg.xml", nullptr, read_packages},
    {"PackagesEmpty", "/etc/tresk/netctl/netctl_pkg.xml", "", read_packages},
    {"ProtectedMissing", "/etc/tresk/ppro/ppro.xml", nullptr, read_protected},
    {"ProtectedEmpty", "/etc/tresk/ppro/ppro.xml", "", read_protected},
    {"BlockedMissing", "/etc/tresk/pblk/pblk.xml", nullptr, read_blocked},
    {"BlockedEmpty", "/etc/tresk/pblk/pblk.xml", "", read_blocked},
};

void be_silent(void*, const char*, ...) {}

class DefaultPolicyCrash : public ::testing::TestWithParam<Reader> {
  protected:
    void SetUp() override
    {
        framework().reset();
        xmlSetGenericErrorFunc(nullptr, be_silent);
    }

    [[nodiscard]] static Operation operation()
    {
        const Reader reader = GetParam();
        const std::filesystem::path file = reader.file;
        const std::filesystem::path folder = file.parent_path();
        const auto is_policy = [name = file.filename().string()](const std::string& other) {
            return other == name;
        };
        return {reader.test,
                [=] {
                    std::filesystem::remove_all(folder);
                    std::filesystem::create_directories(folder);
                    if (reader.content != nullptr) {
                        write_file(file, reader.content);
                    }
                },
                [=] {
                    reader.read();
                    return true;
                },
                [=] { return files_below({folder}, is_policy); },
                [=] { return files_below({folder}, std::not_fn(is_policy)); },
                true};
    }
};

TEST_P(DefaultPolicyCrash, LeavesTheOldFileOrTheNewOne)
{
    const Tally tally = kill_at_each_call(operation());
    EXPECT_THAT(tally.objections, ::testing::IsEmpty());
    EXPECT_GT(tally.found_old, 0U);
    EXPECT_GT(tally.found_new, 0U);
    std::cout << GetParam().test << ": killed " << tally.runs << " times, old " << tally.found_old << ", new "
              << tally.found_new << ", drafts left " << tally.left_drafts << "\n";
}

TEST_P(DefaultPolicyCrash, LeavesTheOldFileOnAFullDisk)
{
    const Tally limited = limit_file_size(operation(), {0, 1, 20});
    EXPECT_THAT(limited.objections, ::testing::IsEmpty());
    EXPECT_EQ(limited.found_old, limited.runs);
    if (!can_refuse()) {
        GTEST_SKIP() << "system calls cannot be refused on this machine";
    }
    const Tally refused = refuse_each_call(operation(), ENOSPC);
    EXPECT_THAT(refused.objections, ::testing::IsEmpty());
    EXPECT_GT(refused.runs, 0U);
    EXPECT_EQ(refused.found_old, refused.runs);
}

INSTANTIATE_TEST_SUITE_P(Of, DefaultPolicyCrash, ::testing::ValuesIn(kReaders),
                         [](const auto& row) { return std::string(row.param.test); });

} // namespace
} // namespace tresk::test
