// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A directory of many files labelled in one call, and what that costs.
#include "common/framework.h"
#include "common/handles.h"
#include "tests/support/policy_files.h"
#include "tresk_extend.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace tresk::test {

namespace {

constexpr int kMany = 50000;
constexpr char kFolder[] = "/data/labelled";

std::filesystem::path state_file(const char* name)
{
    return std::filesystem::path(std::getenv("TRESK_STANDIN_STATE")) / name;
}

/// One path a line.
std::string protected_files()
{
    return read_file(state_file("scene/filectl")).value_or("");
}

/// Empty files with long names; their paths in order, one a line.
std::string make_files(const std::string& folder, int count, std::size_t name_length)
{
    std::filesystem::create_directories(folder);
    std::string made;
    for (int number = 0; number < count; ++number) {
        std::string digits = std::to_string(number);
        const std::string path = folder + "/" + std::string(name_length - digits.size(), '0') + digits;
        const Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        EXPECT_TRUE(file) << path;
        made += path + "\n";
    }
    return made;
}

TEST(LabelledDirectory, OfFiftyThousandFilesIsProtectedAndReleasedInOneCallEach)
{
    const std::string files = make_files(kFolder, kMany, 20);
    EXPECT_EQ(tresk_protect_set_for_dir(kFolder, "readonly"), 0);
    EXPECT_TRUE(protected_files() == files);
    EXPECT_EQ(tresk_protect_set_for_dir(kFolder, "none"), 0);
    EXPECT_EQ(protected_files(), "");
}

TEST(LabelledDirectory, IsReleasedByABatchOfItsFiles)
{
    constexpr int kFiles = 1000;
    const std::string files = make_files(kFolder, kFiles, 20);
    ASSERT_EQ(tresk_protect_set("/usr/bin/env", "readonly"), 0);
    ASSERT_EQ(tresk_protect_set_for_dir_sm(kFolder, "verify"), 0);
    std::vector<tresk_label_record> records;
    for (std::size_t at = 0; at < files.size(); at = files.find('\n', at) + 1) {
        std::strcpy(records.emplace_back().label, "none");
        files.copy(records.back().path, files.find('\n', at) - at, at);
    }
    ASSERT_EQ(records.size(), std::size_t{kFiles});
    EXPECT_EQ(tresk_protect_multi_set(records.data(), kFiles), kFiles);
    const Malloced<char> other(::realpath("/usr/bin/env", nullptr));
    EXPECT_EQ(protected_files(), std::string(other.get()) + "\n");
}

TEST(LabelledDirectory, WithoutFilesIsDone)
{
    std::filesystem::create_directories(kFolder);
    EXPECT_EQ(tresk_protect_set_for_dir(kFolder, "readonly"), 0);
    EXPECT_EQ(tresk_protect_set_for_dir(kFolder, "none"), 0);
    EXPECT_EQ(protected_files(), "");
}

TEST(LabelledDirectory, BelowABoundHomeHasItsFilesUnderTheirShortNames)
{
    make_files("/data/home/u/b", 2, 1);
    EXPECT_EQ(tresk_protect_set_for_dir("/data/home/u", "readonly"), 0);
    EXPECT_EQ(protected_files(), "/home/u/b/0\n/home/u/b/1\n");
    EXPECT_EQ(tresk_protect_set("/data/home/u/b/0", "none"), 0);
    EXPECT_EQ(protected_files(), "/home/u/b/1\n");
}

TEST(LabelledDirectory, ThatTheSceneRefusesIsLoggedWithItsLabel)
{
    make_files(kFolder, 2, 1);
    write_file(state_file("scene-faults"), "tresk_scene_filectl_multi_add_by_path -7\n");
    EXPECT_EQ(tresk_protect_set_for_dir(kFolder, "verify"), -7);
    EXPECT_EQ(protected_files(), "");
    const std::string log = read_file(std::getenv("TRESK_STANDIN_LOG")).value_or("");
    EXPECT_NE(log.find("failed to set fpro label to verify, scene returned -7"), std::string::npos) << log;
}

// --- what it costs ---

/// The most memory that this process ever had, in bytes.
long peak_memory()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return std::stol(line.substr(std::strlen("VmHWM:"))) * 1024;
        }
    }
    return -1;
}

long memory_in_use()
{
    const auto info = ::mallinfo2();
    return static_cast<long>(info.uordblks + info.hblkhd);
}

struct Cost {
    long peak = -1; ///< by how much the peak rose
    long left = -1; ///< allocated and not released
};

/// Measured in a process of its own, which starts as this one is.
Cost cost_of(int (*work)())
{
    std::filesystem::remove(state_file("scene/filectl"));
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const long peak_before = peak_memory();
        const long before = memory_in_use();
        const int result = work();
        const Cost cost = {peak_memory() - peak_before, memory_in_use() - before};
        const bool told = ::write(ends[1], &cost, sizeof(cost)) == sizeof(cost);
        ::_exit(told && result == 0 ? 0 : 1);
    }
    ::close(ends[1]);
    Cost cost;
    EXPECT_EQ(::read(ends[0], &cost, sizeof(cost)), ssize_t{sizeof(cost)});
    ::close(ends[0]);
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    return cost;
}

/// What the framework's own libraries need for the same: the list, and what the scene does with it. @copies
/// of the list are made beside it.
int protect_without_the_library(int copies)
{
    int count = 0;
    const Malloced<char*> list(get_path_list_from_dir(kFolder, &count));
    std::vector<std::string> copied;
    for (int copy = 0; copy < copies; ++copy) {
        copied.insert(copied.end(), list.get(), list.get() + count);
    }
    const int code = tresk_scene_filectl_multi_add_by_path(list.get(), count);
    for (int index = 0; index < count; ++index) {
        std::free(list.get()[index]);
    }
    return code;
}

TEST(LabelledDirectory, CostsTheListOfItsFilesAndNoMore)
{
    constexpr std::size_t kNameLength = 200;
    make_files(kFolder, kMany, kNameLength);
    constexpr long kList = long{kMany} * (sizeof(kFolder) + kNameLength + 1 + sizeof(char*));
    // A tenth of the list: 20 bytes a file, far less than a copy and far more than pages that happen to
    // differ.
    constexpr long kBound = kList / 10;
    // What was left once is the stream's and the locale's, whatever the number of files.
    constexpr long kLeft = 64L * 1024;

    const Cost framework = cost_of([] { return protect_without_the_library(0); });
    const Cost with_copy = cost_of([] { return protect_without_the_library(1); });
    const Cost library = cost_of([] { return tresk_protect_set_for_dir(kFolder, "readonly"); });
    EXPECT_GT(framework.peak, kList) << "the measure does not see the list";
    EXPECT_GT(with_copy.peak - framework.peak, kBound) << "the measure does not see a copy of the list";
    EXPECT_LT(library.peak - framework.peak, kBound);
    EXPECT_LT(library.left, kLeft);
    RecordProperty("list", std::to_string(kList));
    RecordProperty("framework_peak", std::to_string(framework.peak));
    RecordProperty("with_copy_peak", std::to_string(with_copy.peak));
    RecordProperty("library_peak", std::to_string(library.peak));
    RecordProperty("library_left", std::to_string(library.left));
}

} // namespace

} // namespace tresk::test
