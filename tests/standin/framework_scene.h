// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A fresh state directory for one test of the framework's libraries, and what the scene's tests share.
#ifndef TRESK_TESTS_STANDIN_FRAMEWORK_SCENE_H
#define TRESK_TESTS_STANDIN_FRAMEWORK_SCENE_H

#include "standin/framework/c_array.h"
#include "standin/framework/scene_store.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace tresk::test {

class FrameworkScene : public ::testing::Test {
  protected:
    FrameworkScene()
    {
        ::setenv("TRESK_STANDIN_STATE", path("").c_str(), 1);
        ::setenv("TRESK_STANDIN_LOG", path("log").c_str(), 1);
        ::unsetenv("TRESK_STANDIN_VERSION");
    }

    FrameworkScene(const FrameworkScene&) = delete;
    FrameworkScene& operator=(const FrameworkScene&) = delete;
    FrameworkScene(FrameworkScene&&) = delete;
    FrameworkScene& operator=(FrameworkScene&&) = delete;

    ~FrameworkScene() override
    {
        ::unsetenv("TRESK_STANDIN_STATE");
        ::unsetenv("TRESK_STANDIN_LOG");
    }

    [[nodiscard]] std::string path(const std::string& name) const { return (state_.path() / name).string(); }

    void write(const std::string& name, const std::string& content) const
    {
        std::ofstream{path(name)} << content;
    }

    [[nodiscard]] std::string read(const std::string& name) const
    {
        std::ostringstream content;
        content << std::ifstream{path(name)}.rdbuf();
        return content.str();
    }

  private:
    TempDir state_;
};

/// The texts of a policy, or "null" where they cannot be listed.
inline std::vector<std::string> listed(const char* policy)
{
    int count = -1;
    char** const texts = tresk_standin_scene_list("list", policy, &count);
    if (texts == nullptr) {
        return {"null"};
    }
    std::vector<std::string> copy{texts, texts + count};
    standin::free_c_array(texts);
    return copy;
}

/// Runs @work(0) to @work(@count - 1) in as many processes at once; each of them has to return true.
template <class Work>
void run_in_children(int count, Work work)
{
    std::vector<pid_t> children;
    for (int index = 0; index < count; ++index) {
        children.push_back(::fork());
        if (children.back() == 0) {
            ::_exit(work(index) ? 0 : 1);
        }
    }
    for (const pid_t child : children) {
        int status = -1;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
}

} // namespace tresk::test

#endif
