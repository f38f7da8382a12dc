// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/service_scene.h"

#include <sys/stat.h>

namespace tresk::test {

namespace {

constexpr char kFileAttribute[] = "MERON.TRESK.FILE.ATTR.ERR";
/// The SHA-256 of "abc" and of no byte at all.
constexpr char kAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr char kNothing[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

class ServiceFileHashes : public ServiceScene {
  protected:
    ServiceFileHashes() { start_service(); }

    [[nodiscard]] std::string path(const std::string& name) const { return folder / name; }

    std::string file(const std::string& name, const std::string& content) const
    {
        write_file(path(name), content);
        return path(name);
    }

    Outcome one(const std::string& method, const std::string& path)
    {
        return call("xattr", "tresk_xattr_" + method, "(" + quoted(path) + ",)");
    }

    Outcome calc(const std::string& path) { return one("calc_hash_by_path", path); }

    Outcome get(const std::string& path) { return one("get_file_hash_value", path); }

    Outcome many(const std::string& method, const std::vector<std::string>& paths)
    {
        std::string list;
        for (const std::string& path : paths) {
            list += (list.empty() ? "" : ", ") + quoted(path);
        }
        return call("xattr", "tresk_xattr_" + method, "(@as [" + list + "],)");
    }

    Outcome calc_multi(const std::vector<std::string>& paths)
    {
        return many("calc_multi_file_hash_value", paths);
    }

    Outcome get_multi(const std::vector<std::string>& paths)
    {
        return many("get_multi_file_hash_value", paths);
    }

  private:
    /// A string in GVariant text form.
    static std::string quoted(const std::string& text)
    {
        std::string literal = "'";
        for (const char character : text) {
            literal += character == '\\' ? "\\\\" : character == '\n' ? "\\n" : std::string(1, character);
        }
        return literal + "'";
    }
};

Outcome hash(const std::string& text)
{
    return replied("('" + text + "',)");
}

} // namespace

TEST_F(ServiceFileHashes, HashIsThatOfTheContent)
{
    EXPECT_EQ(calc(file("abc", "abc")), hash(kAbc));
    EXPECT_EQ(calc(file("empty", "")), hash(kNothing));
}

TEST_F(ServiceFileHashes, FileOfManyBlocksIsHashedWhole)
{
    EXPECT_EQ(calc(file("million", std::string(1000000, 'a'))),
              hash("cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"));
}

TEST_F(ServiceFileHashes, LinkIsFollowed)
{
    std::filesystem::create_symlink(file("abc", "abc"), path("link"));
    EXPECT_EQ(calc(path("link")), hash(kAbc));
}

TEST_F(ServiceFileHashes, UnreadableFileIsRefused)
{
    EXPECT_EQ(calc(path("none")), refused(kFileAttribute, path("none") + ": No such file or directory"));
    EXPECT_FALSE(std::filesystem::exists(state / "file_hashes"));
}

TEST_F(ServiceFileHashes, WhatIsNoRegularFileIsRefused)
{
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    for (const std::string& other : {path("pipe"), path(""), std::string("/dev/null")}) {
        EXPECT_EQ(calc(other), refused(kFileAttribute, other + ": not a regular file"));
    }
}

TEST_F(ServiceFileHashes, RelativePathIsRefused)
{
    const Outcome relative = refused(kInvalidArgument, "the path is not absolute");
    EXPECT_EQ(calc("abc"), relative);
    EXPECT_EQ(calc(""), relative);
    EXPECT_EQ(get("abc"), relative);
}

TEST_F(ServiceFileHashes, CalculatedHashIsStored)
{
    const std::string abc = file("abc", "abc");
    EXPECT_EQ(get(abc), hash(""));
    calc(abc);
    EXPECT_EQ(get(abc), hash(kAbc));
    EXPECT_EQ(state_file("file_hashes"), std::string(kAbc) + " " + abc + "\n");
}

TEST_F(ServiceFileHashes, StoredHashIsThatOfTheLastCalculation)
{
    const std::string abc = file("abc", "abc");
    calc(abc);
    file("abc", "");
    EXPECT_EQ(get(abc), hash(kAbc));
    calc(abc);
    EXPECT_EQ(get(abc), hash(kNothing));
}

TEST_F(ServiceFileHashes, FailedCalculationLeavesTheStoredHash)
{
    const std::string abc = file("abc", "abc");
    calc(abc);
    std::filesystem::remove(abc);
    EXPECT_EQ(calc(abc).error, kFileAttribute);
    EXPECT_EQ(calc_multi({abc}), replied("([''],)"));
    EXPECT_EQ(get(abc), hash(kAbc));
}

TEST_F(ServiceFileHashes, StoredHashOutlivesTheService)
{
    const std::string abc = file("abc", "abc");
    calc(abc);
    service.terminate();
    start_service();
    EXPECT_EQ(get(abc), hash(kAbc));
}

TEST_F(ServiceFileHashes, NamesWithLineFeedsBackslashesAndBlanksAreKeptApart)
{
    const std::string feed = file("a \nb", "abc");
    const std::string letters = file("a \\nb", "");
    calc(feed);
    calc(letters);
    EXPECT_EQ(get(feed), hash(kAbc));
    EXPECT_EQ(get(letters), hash(kNothing));
}

TEST_F(ServiceFileHashes, ManyHashesComeInThePathsOrder)
{
    const std::string abc = file("abc", "abc");
    const std::string empty = file("empty", "");
    const Outcome expected =
        replied("(['" + std::string(kNothing) + "', '" + kAbc + "', '" + kNothing + "'],)");
    EXPECT_EQ(calc_multi({empty, abc, empty}), expected);
    EXPECT_EQ(get_multi({empty, abc, empty}), expected);
}

TEST_F(ServiceFileHashes, FileWithoutAHashHasAnEmptyTextInItsPlace)
{
    const std::string abc = file("abc", "abc");
    const Outcome expected = replied("(['', '" + std::string(kAbc) + "', '', ''],)");
    EXPECT_EQ(calc_multi({path("none"), abc, "abc", path("")}), expected);
    EXPECT_EQ(get_multi({path("none"), abc, "abc", path("")}), expected);
    EXPECT_EQ(state_file("file_hashes"), std::string(kAbc) + " " + abc + "\n");
}

TEST_F(ServiceFileHashes, NoPathsHaveNoHashes)
{
    EXPECT_EQ(calc_multi({}), replied("([],)"));
    EXPECT_EQ(get_multi({}), replied("([],)"));
    EXPECT_FALSE(std::filesystem::exists(state / "file_hashes"));
}

TEST_F(ServiceFileHashes, AreCalculatedWhileTheFrameworkIsDisabled)
{
    call("xattr", "tresk_xattr_set_status", "(0,)");
    const std::string abc = file("abc", "abc");
    EXPECT_EQ(calc(abc), hash(kAbc));
    EXPECT_EQ(get(abc), hash(kAbc));
}

TEST_F(ServiceFileHashes, UnreadableStoreIsReportedAndKept)
{
    const std::string abc = file("abc", "abc");
    const std::string upper_case = "BA" + std::string(kAbc).substr(2);
    for (const std::string& line : {std::string("nonsense"), std::string(kAbc), std::string(kAbc) + " ",
                                    upper_case + " /a", std::string(kAbc) + "0 /a"}) {
        write_file(state / "file_hashes", line + "\n");
        const Outcome unreadable = refused("MERON.TRESK.CONF.ERR", (state / "file_hashes").string() +
                                                                       ": unreadable line \"" + line + "\"");
        EXPECT_EQ(calc(abc), unreadable);
        EXPECT_EQ(calc_multi({abc}), unreadable);
        EXPECT_EQ(get(abc), unreadable);
        EXPECT_EQ(get_multi({abc}), unreadable);
        EXPECT_EQ(state_file("file_hashes"), line + "\n");
    }
}

TEST_F(ServiceFileHashes, UnchangedStoreIsNotWrittenAnew)
{
    const std::string abc = file("abc", "abc");
    calc(abc);
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(::stat((state / "file_hashes").c_str(), &before), 0);
    calc(abc);
    ASSERT_EQ(::stat((state / "file_hashes").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

} // namespace tresk::test
