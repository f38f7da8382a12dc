// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The form of a path in a policy, on machines with and without users' folders below "/data". A link stands
// for the bind: both show one folder under two names.
#include "standin/service/method.h"
#include "standin/service/policy_path.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

namespace tresk::test {

namespace {

using service::lookup_form;

class PolicyPath : public ::testing::Test {
  protected:
    void bind(const std::string& folder) const
    {
        std::filesystem::create_directories(root / "data" / folder);
        std::filesystem::create_directory_symlink(root / "data" / folder, root / folder);
    }

    TempDir machine;
    std::filesystem::path root = machine.path();
};

} // namespace

TEST_F(PolicyPath, StaysAsItIsWithoutABind)
{
    std::filesystem::create_directories(root / "home");
    std::filesystem::create_directories(root / "data" / "home");
    EXPECT_EQ(lookup_form("/home/u/app", root), "/home/u/app");
    EXPECT_EQ(lookup_form("/root/app", root), "/root/app");
}

TEST_F(PolicyPath, GetsTheDataFormUnderABoundFolder)
{
    bind("home");
    EXPECT_EQ(lookup_form("/home/u/app", root), "/data/home/u/app");
    EXPECT_EQ(lookup_form("/homework/app", root), "/data/homework/app");
    EXPECT_EQ(lookup_form("/root/app", root), "/root/app");
    EXPECT_EQ(lookup_form("/usr/bin/app", root), "/usr/bin/app");
    bind("root");
    EXPECT_EQ(lookup_form("/root/app", root), "/data/root/app");
}

TEST_F(PolicyPath, InTheDataFormStaysAsItIs)
{
    bind("home");
    EXPECT_EQ(lookup_form("/data/home/u/app", root), "/data/home/u/app");
}

TEST(PolicyText, WithoutAFormInXmlIsRefused)
{
    EXPECT_THROW(service::require_storable("a\x01"), service::Refusal);
    EXPECT_THROW(service::require_storable("\xEF\xBF\xBF"), service::Refusal);
    EXPECT_NO_THROW(service::require_storable("tab\t line\n \xC3\xBC \xF0\x9F\x90\xA7"));
}

TEST(PolicyText, OfAFieldHasUpTo4095Bytes)
{
    EXPECT_NO_THROW(service::require_field(std::string(4095, 'a')));
    EXPECT_THROW(service::require_field(std::string(4096, 'a')), service::Refusal);
    EXPECT_THROW(service::require_field("\x02"), service::Refusal);
}

TEST(PolicyText, OfAPathIsAbsoluteAndHasUpTo4095Bytes)
{
    EXPECT_NO_THROW(service::require_path("/" + std::string(4094, 'a')));
    EXPECT_THROW(service::require_path("/" + std::string(4095, 'a')), service::Refusal);
    EXPECT_THROW(service::require_path(""), service::Refusal);
    EXPECT_THROW(service::require_path("a"), service::Refusal);
}

} // namespace tresk::test
