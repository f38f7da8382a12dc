// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

namespace tresk::test {

namespace {

std::string document(int distinction, const std::string& sections)
{
    return kXmlHead + ("<tresk_root user_dist=\"" + std::to_string(distinction)) + "\">" + sections +
           "</tresk_root>\n";
}

std::string section(int uid, const std::string& nodes)
{
    return "<tresk_user userID=\"" + std::to_string(uid) +
           (nodes.empty() ? "\"/>" : "\">" + nodes + "</tresk_user>");
}

std::string node(const std::string& children)
{
    return R"(<tresk_node pkg="bash">)" + children + "</tresk_node>";
}

/// What "(uint32 UID, 'bash', 2, 'i', 'd', 7)" stores.
constexpr char kChildren[] = "<type>2</type><ico>i</ico><desktop>d</desktop><server_type>7</server_type>";

std::string bash_of(int uid)
{
    return "(uint32 " + std::to_string(uid) + ", 'bash', 2, 'i', 'd', 7)";
}

class ServiceNetctlPkg : public ServiceScene {
  protected:
    ServiceNetctlPkg() { start_service(); }

    Outcome pkg(const std::string& method, const std::string& arguments)
    {
        return call("netctl", "tresk_netctl_pkg_" + method, arguments);
    }

    Outcome add(const std::string& arguments) { return pkg("add", arguments); }

    std::filesystem::path programs = etc / "netctl" / "netctl.xml";
    std::filesystem::path packages = etc / "netctl" / "netctl_pkg.xml";
};

} // namespace

TEST_F(ServiceNetctlPkg, AddWritesTheWholeDocument)
{
    EXPECT_EQ(add(bash_of(1000)), replied("(0,)"));
    EXPECT_EQ(text_of(packages), document(0, section(1000, node(kChildren))));
    EXPECT_FALSE(std::filesystem::exists(programs));
}

TEST_F(ServiceNetctlPkg, PackageIsOneForAllUsersWhileTheyAreNotDistinguished)
{
    add(bash_of(1000));
    EXPECT_EQ(add(bash_of(1001)), replied("(-2,)"));
    EXPECT_EQ(pkg("update", "(uint32 1001, 'bash', 1, '', 'x', 0)"), replied("(0,)"));
    EXPECT_EQ(text_of(packages), document(0, section(1000, node("<type>1</type><ico/><desktop>x</desktop>"
                                                                "<server_type>0</server_type>"))));
    EXPECT_EQ(pkg("remove", "(uint32 1001, 'bash')"), replied("(0,)"));
    EXPECT_EQ(text_of(packages), document(0, section(1000, "")));
}

TEST_F(ServiceNetctlPkg, DistinctionOfTheProgramsHolds)
{
    call("netctl", "tresk_netctl_set_user_distinguish", "(uint32 1,)");
    write_file(packages, document(0, section(1000, "")));
    EXPECT_EQ(add(bash_of(1000)), replied("(0,)"));
    EXPECT_EQ(add(bash_of(1001)), replied("(0,)"));
    EXPECT_EQ(text_of(packages),
              document(1, section(1000, node(kChildren)) + section(1001, node(kChildren))));
    EXPECT_EQ(pkg("remove", "(uint32 1002, 'bash')"), replied("(-3,)"));
    EXPECT_EQ(pkg("remove", "(uint32 1000, 'bash')"), replied("(0,)"));
    EXPECT_EQ(text_of(packages), document(1, section(1000, "") + section(1001, node(kChildren))));
}

TEST_F(ServiceNetctlPkg, EditIsRefusedWhenTheDistinctionCannotBeRead)
{
    write_file(programs, "nonsense");
    EXPECT_EQ(add(bash_of(1000)).error, kDatabaseError);
    EXPECT_FALSE(std::filesystem::exists(packages));
    EXPECT_EQ(text_of(programs), "nonsense");
}

TEST_F(ServiceNetctlPkg, PathUpdateAddsThePathWhichAPlainUpdateLeaves)
{
    add(bash_of(1000));
    EXPECT_EQ(pkg("path_update", "(uint32 1000, 'bash', '/bin/bash', 1, 'j', 'e', 8)"), replied("(0,)"));
    EXPECT_EQ(text_of(packages),
              document(0, section(1000, node("<type>1</type><ico>j</ico><desktop>e</desktop>"
                                             "<server_type>8</server_type><path>/bin/bash</path>"))));
    EXPECT_EQ(pkg("update", bash_of(1000)), replied("(0,)"));
    EXPECT_EQ(text_of(packages),
              document(0, section(1000, node(std::string(kChildren) + "<path>/bin/bash</path>"))));
}

TEST_F(ServiceNetctlPkg, PathUpdateTakesAPathThatIsNotThere)
{
    add(bash_of(1000));
    EXPECT_EQ(pkg("path_update", "(uint32 1000, 'bash', '/no/such/program', 2, 'i', 'd', 7)"),
              replied("(0,)"));
    EXPECT_EQ(text_of(packages),
              document(0, section(1000, node(std::string(kChildren) + "<path>/no/such/program</path>"))));
}

TEST_F(ServiceNetctlPkg, SpecialCharactersAreEscapedAndFoundAgain)
{
    const std::string name = R"('a "b" <&>\n ü')";
    EXPECT_EQ(add("(uint32 5, " + name + R"(, 1, '<i>&', '', 0))"), replied("(0,)"));
    EXPECT_EQ(text_of(packages),
              document(0, section(5, "<tresk_node pkg=\"a &quot;b&quot; &lt;&amp;&gt;&#10; \xC3\xBC\">"
                                     "<type>1</type><ico>&lt;i&gt;&amp;</ico><desktop/>"
                                     "<server_type>0</server_type></tresk_node>")));
    EXPECT_EQ(add("(uint32 5, " + name + ", 1, '', '', 0)"), replied("(-2,)"));
    EXPECT_EQ(pkg("remove", "(uint32 5, " + name + ")"), replied("(0,)"));
}

TEST_F(ServiceNetctlPkg, UnusableArgumentsAreRefused)
{
    EXPECT_EQ(add("(uint32 5, '', 1, '', '', 0)"), refused(kInvalidArgument, "the package's name is empty"));
    EXPECT_EQ(add("(uint32 5, '" + std::string(4096, 'p') + "', 1, '', '', 0)"),
              refused(kInvalidArgument, "a text is too long"));
    EXPECT_EQ(add("(uint32 5, '" + std::string(4095, 'p') + "', 1, '', '', 0)"), replied("(0,)"));
    const Outcome unstorable = refused(kInvalidArgument, "a text holds characters that a policy cannot hold");
    EXPECT_EQ(add("(uint32 5, '\\u0001', 1, '', '', 0)"), unstorable);
    EXPECT_EQ(add("(uint32 5, 'p', 1, '', '\\u0001', 0)"), unstorable);
}

TEST_F(ServiceNetctlPkg, UnusablePathIsRefused)
{
    for (const std::string path : {"", "bin/bash"}) {
        EXPECT_EQ(pkg("path_update", "(uint32 5, 'bash', '" + path + "', 1, '', '', 0)"),
                  refused(kInvalidArgument, "the path is not absolute"));
    }
    EXPECT_EQ(pkg("path_update", "(uint32 5, 'bash', '/" + std::string(4095, 'p') + "', 1, '', '', 0)"),
              refused(kInvalidArgument, "the path is too long"));
}

} // namespace tresk::test
