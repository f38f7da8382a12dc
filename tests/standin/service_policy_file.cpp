// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/policy_file.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

namespace tresk::test {

namespace {

/// The document after its root's attribute "first" was set to @value.
std::string with_first_attribute(const std::string& root, const std::string& value)
{
    const TempDir folder;
    const std::filesystem::path file = folder / "policy.xml";
    write_file(file, root);
    const service::PolicyFile policy(file, "r");
    service::set_first_attribute(policy.root(), "first", value);
    policy.save();
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    const std::string content = read_file(file).value_or("");
    return content.starts_with(head) ? content.substr(head.size()) : content;
}

} // namespace

TEST(ServicePolicyFile, FirstAttributeIsAddedToAnElementWithoutAny)
{
    EXPECT_EQ(with_first_attribute("<r/>", "x&\"y"), "<r first=\"x&amp;&quot;y\"/>\n");
}

TEST(ServicePolicyFile, FirstAttributeIsPutBeforeTheOthers)
{
    EXPECT_EQ(with_first_attribute(R"(<r a="1" b="2"/>)", "x"), "<r first=\"x\" a=\"1\" b=\"2\"/>\n");
    EXPECT_EQ(with_first_attribute(R"(<r a="1" first="0" b="2"/>)", "x"),
              "<r first=\"x\" a=\"1\" b=\"2\"/>\n");
    EXPECT_EQ(with_first_attribute(R"(<r a="1" b="2" first="0"/>)", "x"),
              "<r first=\"x\" a=\"1\" b=\"2\"/>\n");
}

TEST(ServicePolicyFile, FirstAttributeThatIsFirstGetsTheText)
{
    EXPECT_EQ(with_first_attribute(R"(<r first="0" b="2"/>)", "1"), "<r first=\"1\" b=\"2\"/>\n");
}

} // namespace tresk::test
