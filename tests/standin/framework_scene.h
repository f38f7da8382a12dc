// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A fresh state directory for one test of the framework's libraries.
#ifndef TRESK_TESTS_STANDIN_FRAMEWORK_SCENE_H
#define TRESK_TESTS_STANDIN_FRAMEWORK_SCENE_H

#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

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

} // namespace tresk::test

#endif
