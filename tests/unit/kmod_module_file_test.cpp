// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A module's name out of its file, on a platform whose libkmod does not read it itself.
#include "kmod/module_file.h"
#include "tests/support/capture.h"
#include "tests/support/framework_double.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/kmod_files.h"
#include "tresk_extend.h"

#include <elf.h>
#include <libkmod.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace tresk::test {

namespace {

/// What libkmod and the allocator are asked, and whether they fail.
struct Watched {
    bool no_context = false;
    bool no_name_buffer = false;
    int contexts = 0;
    bool defaults_only = true;
};

Watched& watched()
{
    static Watched value;
    return value;
}

class ModuleFileTest : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        watched() = {};
        ::unsetenv("KMOD_LOG");
    }

    /// Reads the name of @path into buffer_; gives what went to standard error.
    std::string read(const char* path)
    {
        return captured_stderr([&] { buffer_.reset(get_kmod_name_from_ko(path)); });
    }

    std::string read(const std::string& path) { return read(path.c_str()); }

    /// The whole buffer.
    [[nodiscard]] std::string buffer() const { return {buffer_.get(), kModuleNameBytes}; }

    void expect_name(const std::string& name)
    {
        ASSERT_NE(buffer_, nullptr);
        std::string expected = name;
        expected.resize(kModuleNameBytes);
        EXPECT_EQ(buffer(), expected);
    }

    void expect_refused(const std::string& path, const std::string& line)
    {
        EXPECT_EQ(read(path), line);
        EXPECT_EQ(buffer_, nullptr);
    }

    TempDir folder_;
    Malloced<char> buffer_;
};

TEST_F(ModuleFileTest, TheNameComesFromTheFileNotFromItsName)
{
    EXPECT_EQ(read(plain_module()), "");
    expect_name("real_name");
}

TEST_F(ModuleFileTest, FileMayBeCalledAnything)
{
    for (const char* name : {"a", "other.txt", "with blank.ko", "\xC3\xA4.ko", "%s%n.ko", "a.ko.b.ko"}) {
        const auto copy = folder_ / name;
        std::filesystem::copy_file(plain_module(), copy);
        EXPECT_EQ(read(copy.string()), "") << name;
        expect_name("real_name");
    }
}

TEST_F(ModuleFileTest, RelativePathCountsFromTheWorkingDirectory)
{
    std::filesystem::copy_file(plain_module(), folder_ / "here.ko");
    std::filesystem::current_path(folder_.path());
    EXPECT_EQ(read("here.ko"), "");
    expect_name("real_name");
    std::filesystem::current_path("/");
}

TEST_F(ModuleFileTest, LinkIsFollowed)
{
    std::filesystem::create_symlink(plain_module(), folder_ / "link.ko");
    EXPECT_EQ(read((folder_ / "link.ko").string()), "");
    expect_name("real_name");
}

TEST_F(ModuleFileTest, CompressedFileIsRead)
{
    for (const char* name : {"packed.ko.xz", "packed.ko.zst"}) {
        EXPECT_EQ(read(module_file(name)), "") << name;
        expect_name("real_name");
    }
}

TEST_F(ModuleFileTest, FirstNameCounts)
{
    EXPECT_EQ(read(module_file("two_names.ko")), "");
    expect_name("first");
}

TEST_F(ModuleFileTest, NameIsNoFormat)
{
    EXPECT_EQ(read(module_file("format_name.ko")), "");
    expect_name("%s%n");
}

TEST_F(ModuleFileTest, ShortestName)
{
    EXPECT_EQ(read(module_file("one_letter.ko")), "");
    expect_name("x");
}

TEST_F(ModuleFileTest, LongestNameFillsTheBufferUpToItsTerminator)
{
    EXPECT_EQ(read(module_file("name_of_1023.ko")), "");
    expect_name(std::string(1023, 'n'));
}

TEST_F(ModuleFileTest, LibkmodIsAskedWithItsDefaults)
{
    read(plain_module());
    EXPECT_EQ(watched().contexts, 1);
    EXPECT_TRUE(watched().defaults_only);
}

TEST_F(ModuleFileTest, NothingIsLogged)
{
    read(plain_module());
    read("/no/such/file");
    EXPECT_TRUE(framework().order.empty());
}

// --- failures ---

TEST_F(ModuleFileTest, NullPathIsRefused)
{
    EXPECT_EQ(read(nullptr), "Ko file is Null\n");
    EXPECT_EQ(buffer_, nullptr);
    EXPECT_EQ(watched().contexts, 0);
}

TEST_F(ModuleFileTest, MissingContextIsTold)
{
    watched().no_context = true;
    expect_refused(plain_module(), "Failed to kmod new\n");
}

TEST_F(ModuleFileTest, MissingMemoryForTheNameIsTold)
{
    watched().no_name_buffer = true;
    expect_refused(plain_module(), "Failed to malloc\n");
}

TEST_F(ModuleFileTest, MissingFileIsTold)
{
    for (const char* path : {"/no/such/file.ko", "", "/", "100%s%n.ko"}) {
        expect_refused(path, no_module_line(path));
    }
}

TEST_F(ModuleFileTest, FileBehindAFileIsMissing)
{
    const std::string path = plain_module() + "/x.ko";
    expect_refused(path, no_module_line(path));
}

TEST_F(ModuleFileTest, DirectoryHasNoName)
{
    const std::string path = folder_.path().string();
    expect_refused(path, no_name_line(path));
}

TEST_F(ModuleFileTest, EmptyFileHasNoName)
{
    const std::string path = (folder_ / "empty.ko").string();
    write_file(path, "");
    expect_refused(path, no_name_line(path));
}

TEST_F(ModuleFileTest, PathInTheLineIsNoFormat)
{
    const std::string path = (folder_ / "100%s%n.ko").string();
    write_file(path, "");
    expect_refused(path, no_name_line(path));
}

TEST_F(ModuleFileTest, FileThatIsNoModuleHasNoName)
{
    const std::string path = (folder_ / "text.ko").string();
    for (const char* content : {"x", "name=text", "\177ELF", "#!/bin/sh\nexit 0\n"}) {
        write_file(path, content);
        expect_refused(path, no_name_line(path));
    }
}

class NamelessModule : public ModuleFileTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Files, NamelessModule,
                         ::testing::Values("no_name", "no_information", "similar_keys", "empty_name",
                                           "name_of_1024", "name_of_100000"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(NamelessModule, IsTold)
{
    const std::string path = module_file(std::string(GetParam()) + ".ko");
    expect_refused(path, no_name_line(path));
}

class BrokenModule : public ModuleFileTest, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Files, BrokenModule,
                         ::testing::Values("file-name.ko", "packed.ko.xz", "packed.ko.zst"));

TEST_P(BrokenModule, HasNoNameWhereverItIsCut)
{
    const std::string whole = read_file(module_file(GetParam())).value();
    const std::string path = (folder_ / "cut.ko").string();
    for (const std::size_t length : {std::size_t{1}, std::size_t{6}, std::size_t{7}, std::size_t{63},
                                     std::size_t{64}, whole.size() / 2, whole.size() * 3 / 4}) {
        write_file(path, whole.substr(0, length));
        SCOPED_TRACE(length);
        expect_refused(path, no_name_line(path));
    }
}

// The table of sections stands at a file's end.
TEST_F(ModuleFileTest, FileWithoutItsLastByteHasNoName)
{
    const std::string whole = read_file(plain_module()).value();
    const std::string path = (folder_ / "cut.ko").string();
    write_file(path, whole.substr(0, whole.size() - 1));
    expect_refused(path, no_name_line(path));
}

/// Which section holds the sections' names, and how many sections there are. libkmod ends the process where
/// the one is not among the others.
bool names_the_sections(std::size_t offset)
{
    return offset >= offsetof(Elf64_Ehdr, e_shnum) && offset < sizeof(Elf64_Ehdr);
}

TEST_F(ModuleFileTest, BrokenByteLeavesANameOrALine)
{
    const std::string whole = read_file(plain_module()).value();
    const std::string path = (folder_ / "broken.ko").string();
    long names = 0;
    long lines = 0;
    for (std::size_t at = 0; at < whole.size(); at += at < sizeof(Elf64_Ehdr) ? 1 : 13) {
        if (names_the_sections(at)) {
            continue;
        }
        std::string broken = whole;
        broken[at] = static_cast<char>(~broken[at]);
        write_file(path, broken);
        const std::string said = read(path);
        (buffer_ ? names : lines) += 1;
        EXPECT_EQ(said, buffer_ ? "" : no_name_line(path)) << at;
    }
    EXPECT_GT(names, 0);
    EXPECT_GT(lines, 0);
}

// --- libkmod's own lines ---

TEST_F(ModuleFileTest, LibkmodSaysNothingOfTheModule)
{
    ::setenv("KMOD_LOG", "debug", 1);
    const std::string said = read(plain_module());
    EXPECT_NE(said.find("kmod_new"), std::string::npos) << "libkmod would not have spoken in any case";
    EXPECT_EQ(said.find("kmod_module"), std::string::npos) << said;
    EXPECT_EQ(said.find("kmod_unref"), std::string::npos) << said;
    expect_name("real_name");
}

TEST_F(ModuleFileTest, LibkmodSaysNothingOfAFileThatIsMissing)
{
    ::setenv("KMOD_LOG", "debug", 1);
    const std::string said = read("/no/such/file.ko");
    EXPECT_TRUE(said.ends_with(no_module_line("/no/such/file.ko"))) << said;
    EXPECT_EQ(said.find("stat /no/such"), std::string::npos) << said;
}

// --- who reads ---

TEST(ModuleNameReaderTest, IsTheNameEntryWhereThePlatformHasNone)
{
    EXPECT_EQ(module_name_reader(), read_name_entry);
}

} // namespace

} // namespace tresk::test

using namespace tresk::test;

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

void* __real_calloc(std::size_t count, std::size_t size);
kmod_ctx* __real_kmod_new(const char* folder, const char* const* configuration);
void* __wrap_calloc(std::size_t count, std::size_t size);
kmod_ctx* __wrap_kmod_new(const char* folder, const char* const* configuration);

void* __wrap_calloc(std::size_t count, std::size_t size)
{
    if (count * size == tresk::kModuleNameBytes && watched().no_name_buffer) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_calloc(count, size);
}

kmod_ctx* __wrap_kmod_new(const char* folder, const char* const* configuration)
{
    ++watched().contexts;
    watched().defaults_only &= folder == nullptr && configuration == nullptr;
    return watched().no_context ? nullptr : __real_kmod_new(folder, configuration);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
