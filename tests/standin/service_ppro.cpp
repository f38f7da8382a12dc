// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

#include <sys/stat.h>

#include <atomic>
#include <thread>

namespace tresk::test {

namespace {

Outcome no_permission()
{
    return refused("MERON.TRESK.AUTH.FAILED", "no permission to change sm data.");
}

std::string document(const std::string& nodes)
{
    return kXmlHead + ("<ppro_root>" + nodes) + "</ppro_root>\n";
}

std::string app_node(int type, int sm_status, const std::string& source)
{
    return R"(<ppro_node path="/usr/bin/app" sm_status=")" + std::to_string(sm_status) +
           R"(" data_source_name=")" + source + R"("><hash>)" + kAppSha256 + "</hash><type>" +
           std::to_string(type) + "</type></ppro_node>";
}

class ServicePpro : public ServiceScene {
  protected:
    ServicePpro() { start_service(); }

    Outcome ppro(const std::string& method, const std::string& arguments)
    {
        return call("ppro", method, arguments);
    }

    Outcome add(const std::string& arguments) { return ppro("tresk_ppro_add_zdk", arguments); }
};

} // namespace

TEST_F(ServicePpro, AddWritesTheWholeDocument)
{
    EXPECT_EQ(add("('/usr/bin/app', 3, 0, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), document(app_node(3, 0, "")));
}

TEST_F(ServicePpro, AddAppendsAndEscapes)
{
    add("('/usr/bin/app', 3, 1, 'src')");
    add(R"(('/opt/"a"<&>\n', -7, 0, 'x&y'))");
    const std::string content = text_of(policy);
    EXPECT_EQ(content.find(app_node(3, 1, "src")), std::string(kXmlHead).size() + 11);
    EXPECT_NE(content.find(R"(<ppro_node path="/opt/&quot;a&quot;&lt;&amp;&gt;&#10;" sm_status="0" )"
                           R"(data_source_name="x&amp;y"><hash>)"),
              std::string::npos);
    EXPECT_NE(content.find("</hash><type>-7</type></ppro_node></ppro_root>\n"), std::string::npos);
}

TEST_F(ServicePpro, PolicyFileIsPublicAndAlone)
{
    add("('/usr/bin/app', 3, 0, '')");

    struct stat status {};

    ASSERT_EQ(::stat(policy.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
    const std::filesystem::directory_iterator files(policy.parent_path());
    EXPECT_EQ(std::distance(std::filesystem::begin(files), std::filesystem::end(files)), 1);
}

TEST_F(ServicePpro, AddOfAPresentEntryChangesNothing)
{
    add("('/usr/bin/app', 3, 0, '')");
    EXPECT_EQ(add("('/usr/bin/app', 4, 0, '')"), replied("(-2,)"));
    EXPECT_EQ(add("('/usr/bin/app', 4, 1, '')"), replied("(-2,)"));
    EXPECT_EQ(text_of(policy), document(app_node(3, 0, "")));
}

TEST_F(ServicePpro, EntriesOfTwoSourcesAreTwo)
{
    add("('/usr/bin/app', 3, 0, '')");
    EXPECT_EQ(add("('/usr/bin/app', 4, 0, 'src')"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), document(app_node(3, 0, "") + app_node(4, 0, "src")));
    EXPECT_EQ(ppro("tresk_ppro_remove", "('/usr/bin/app',)"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), document(app_node(4, 0, "src")));
}

TEST_F(ServicePpro, UpdateChangesTheTypeAlone)
{
    add("('/usr/bin/app', 3, 1, 'src')");
    EXPECT_EQ(ppro("tresk_ppro_update_zdk", "('/usr/bin/app', 8, 1, 'src')"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), document(app_node(8, 1, "src")));
}

TEST_F(ServicePpro, RemoveLeavesAnEmptyRoot)
{
    add("('/usr/bin/app', 3, 0, 'src')");
    EXPECT_EQ(ppro("tresk_ppro_remove_zdk", "('/usr/bin/app', 0, 'src')"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), std::string(kXmlHead) + "<ppro_root/>\n");
}

TEST_F(ServicePpro, OlderFormsWorkOnTheEmptySource)
{
    add("('/usr/bin/app', 3, 0, '')");
    EXPECT_EQ(ppro("tresk_ppro_update", "('/usr/bin/app', 4)"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), document(app_node(4, 0, "")));
    EXPECT_EQ(ppro("tresk_ppro_update_sm", "('/usr/bin/app', 5)"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), document(app_node(5, 0, "")));
    EXPECT_EQ(ppro("tresk_ppro_remove_sm", "('/usr/bin/app',)"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), std::string(kXmlHead) + "<ppro_root/>\n");
}

TEST_F(ServicePpro, MissingEntryIsReportedAndNothingWritten)
{
    EXPECT_EQ(ppro("tresk_ppro_remove_zdk", "('/usr/bin/app', 0, '')"), replied("(-3,)"));
    EXPECT_EQ(ppro("tresk_ppro_update_zdk", "('/usr/bin/app', 1, 1, '')"), replied("(-3,)"));
    EXPECT_FALSE(std::filesystem::exists(policy));
}

TEST_F(ServicePpro, OrdinarySideCannotTouchAnSmEntry)
{
    add("('/usr/bin/app', 3, 1, '')");
    EXPECT_EQ(add("('/usr/bin/app', 4, 0, '')"), no_permission());
    EXPECT_EQ(ppro("tresk_ppro_update_zdk", "('/usr/bin/app', 4, 0, '')"), no_permission());
    EXPECT_EQ(ppro("tresk_ppro_remove_zdk", "('/usr/bin/app', 0, '')"), no_permission());
    EXPECT_EQ(ppro("tresk_ppro_update", "('/usr/bin/app', 4)"), no_permission());
    EXPECT_EQ(ppro("tresk_ppro_remove", "('/usr/bin/app',)"), no_permission());
    EXPECT_EQ(text_of(policy), document(app_node(3, 1, "")));
}

TEST_F(ServicePpro, DisabledFrameworkRefusesEdits)
{
    add("('/usr/bin/app', 3, 0, '')");
    call("xattr", "tresk_xattr_set_status", "(0,)");
    const Outcome disabled = refused("MERON.TRESK.DISABLED", "tresk is disabled.");
    EXPECT_EQ(add("('/usr/bin/b', 3, 0, '')"), disabled);
    EXPECT_EQ(ppro("tresk_ppro_update", "('/usr/bin/app', 4)"), disabled);
    EXPECT_EQ(ppro("tresk_ppro_remove_sm", "('/usr/bin/app',)"), disabled);
    EXPECT_EQ(text_of(policy), document(app_node(3, 0, "")));
}

TEST_F(ServicePpro, UnusablePathIsRefused)
{
    EXPECT_EQ(add("('', 1, 0, '')"), refused(kInvalidArgument, "the path is not absolute"));
    EXPECT_EQ(add("('usr/bin/app', 1, 0, '')"), refused(kInvalidArgument, "the path is not absolute"));
    EXPECT_EQ(add("('/a\\u0001', 1, 0, '')").error, kInvalidArgument);
    EXPECT_EQ(add("('/a', 1, 0, '\\u0001')").error, kInvalidArgument);
    EXPECT_EQ(add("('/a', 1, 2, '')"), refused(kInvalidArgument, "the mode is neither 0 nor 1"));
    EXPECT_FALSE(std::filesystem::exists(policy));
}

TEST_F(ServicePpro, PathHoldsUpTo4095Bytes)
{
    EXPECT_EQ(add("('/" + std::string(4095, 'a') + "', 1, 0, '')"),
              refused(kInvalidArgument, "the path is too long"));
    EXPECT_EQ(add("('/" + std::string(4094, 'a') + "', 1, 0, '')"), replied("(0,)"));
}

TEST_F(ServicePpro, BrokenPolicyIsNotReplaced)
{
    for (const std::string content : {"<ppro_root><ppro_node", "nonsense", "<ppro_root></ppro_root>x"}) {
        write_file(policy, content);
        EXPECT_EQ(add("('/usr/bin/app', 3, 0, '')").error, kDatabaseError);
        EXPECT_EQ(ppro("tresk_ppro_remove", "('/usr/bin/app',)").error, kDatabaseError);
        EXPECT_EQ(text_of(policy), content);
    }
}

TEST_F(ServicePpro, PolicyOfAnotherRootIsNotReplaced)
{
    write_file(policy, "<pblk_root/>");
    EXPECT_EQ(add("('/usr/bin/app', 3, 0, '')"),
              refused(kDatabaseError, policy.string() + ": the root is not ppro_root"));
    EXPECT_EQ(text_of(policy), "<pblk_root/>");
}

TEST_F(ServicePpro, EmptyPolicyFileCountsAsMissing)
{
    write_file(policy, "");
    EXPECT_EQ(add("('/usr/bin/app', 3, 0, '')"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), document(app_node(3, 0, "")));
}

TEST_F(ServicePpro, UnknownContentIsKept)
{
    const std::string known = R"(<other a="1"/><!-- note -->)";
    write_file(policy, document(known));
    add("('/usr/bin/app', 3, 0, '')");
    EXPECT_EQ(text_of(policy), document(known + app_node(3, 0, "")));
}

TEST_F(ServicePpro, EntryWithoutOptionalAttributesIsOrdinaryAndOfTheEmptySource)
{
    write_file(policy, R"(<ppro_root><ppro_node path="/a"><type>1</type></ppro_node></ppro_root>)");
    EXPECT_EQ(ppro("tresk_ppro_update", "('/a', 6)"), replied("(0,)"));
    EXPECT_EQ(text_of(policy), document(R"(<ppro_node path="/a"><type>6</type></ppro_node>)"));
}

TEST_F(ServicePpro, NodeWhosePathIsNotFirstIsNoEntry)
{
    write_file(policy, R"(<ppro_root><ppro_node sm_status="0" path="/a"/></ppro_root>)");
    EXPECT_EQ(ppro("tresk_ppro_remove", "('/a',)"), replied("(-3,)"));
}

TEST_F(ServicePpro, FolderThatCannotBeMadeIsADatabaseError)
{
    write_file(etc, "a file where the folder should be");
    EXPECT_EQ(add("('/usr/bin/app', 3, 0, '')").error, kDatabaseError);
}

TEST_F(ServicePpro, ReadersNeverSeeAPartOfTheDocument)
{
    add("('/usr/bin/app', 3, 0, '')");
    std::atomic<bool> stop = false;
    std::atomic<int> reads = 0;
    std::atomic<int> torn = 0;
    std::jthread reader([&] {
        const std::string without = document(app_node(3, 0, ""));
        const std::string tail = "<type>1</type></ppro_node></ppro_root>\n";
        while (!stop) {
            const std::string content = text_of(policy);
            torn += content == without || content.ends_with(tail) ? 0 : 1;
            ++reads;
        }
    });
    for (int round = 0; round < 100; ++round) {
        EXPECT_EQ(add("('/usr/bin/b', 1, 0, '')"), replied("(0,)"));
        EXPECT_EQ(ppro("tresk_ppro_remove", "('/usr/bin/b',)"), replied("(0,)"));
    }
    while (reads == 0) {
        std::this_thread::yield();
    }
    stop = true;
    reader.join();
    EXPECT_EQ(torn, 0);
}

TEST_F(ServicePpro, PidOfARunningProgramIsFoundByItsFileItsNameAndALink)
{
    const std::filesystem::path program = folder / "sleeper-of-this-test";
    std::filesystem::copy_file("/bin/sleep", program);
    EXPECT_EQ(ppro("tresk_get_pid_by_path", "('" + program.string() + "',)"), replied("(-1,)"));
    const ChildProcess child(
        Command{.words = {program.string(), "1000"}, .environment = {}, .error_file = {}});
    const std::string pid = std::to_string(child.pid());
    while (std::filesystem::read_symlink("/proc/" + pid + "/exe") != program) {
        std::this_thread::yield();
    }
    std::filesystem::create_symlink(program, folder / "link");
    for (const std::string& name :
         {program.string(), program.filename().string(), (folder / "link").string()}) {
        EXPECT_EQ(ppro("tresk_get_pid_by_path", "('" + name + "',)"), replied("(" + pid + ",)")) << name;
    }
}

TEST_F(ServicePpro, PidOfNoProgramIsMinusOne)
{
    EXPECT_EQ(ppro("tresk_get_pid_by_path", "('',)"), replied("(-1,)"));
    EXPECT_EQ(ppro("tresk_get_pid_by_path", "('/etc/passwd',)"), replied("(-1,)"));
}

} // namespace tresk::test
