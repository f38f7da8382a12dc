// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The policy file of the package lists as tests write it.
#ifndef TRESK_TESTS_UNIT_BWLIST_FILES_H
#define TRESK_TESTS_UNIT_BWLIST_FILES_H

#include "tests/support/framework_double.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"

#include <string>
#include <string_view>

namespace tresk::test {

inline constexpr char kPolicyFile[] = "/etc/tresk/bwlist/bwlist.xml";

/// An entry of type 1 and the source "s".
std::string entry(std::string_view package);
/// One with these attributes after its package's name.
std::string entry_with(std::string_view package, std::string_view attributes);
std::string list_of(std::string_view name, std::string_view entries);
void write_policy(std::string_view lists);

/// Tests of what reads below "/etc/tresk/bwlist"; libxml2 keeps quiet about the documents they feed it, and
/// begins with no error.
class BwlistFilesTest : public FrameworkTest {
  protected:
    void SetUp() override;
    void TearDown() override;
};

} // namespace tresk::test

#endif
