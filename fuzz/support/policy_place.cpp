// SPDX-License-Identifier: LGPL-2.1-or-later
#include "fuzz/support/policy_place.h"

#include "tests/support/policy_files.h"

#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace tresk::fuzz {

namespace {

void say_nothing(void* /*context*/, const char* /*format*/, ...) {}

} // namespace

void enter_sandbox()
{
    if (std::getenv("TRESK_STANDIN_STATE") == nullptr) {
        std::fprintf(stderr, "this target writes to \"/etc/tresk\" and runs in the sandbox alone\n");
        std::exit(2); // NOLINT(concurrency-mt-unsafe): nothing else runs yet
    }
    ::setenv("TRESK_STANDIN_LOG", "/dev/null", 1); // NOLINT(concurrency-mt-unsafe): nothing else runs yet
    xmlInitParser();
    xmlSetGenericErrorFunc(nullptr, say_nothing);
}

void place(const char* file, std::string_view content)
{
    Descriptor opened(::open(file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (!opened) {
        test::write_file(file, content);
        return;
    }
    TRESK_REQUIRE(::write(opened.get(), content.data(), content.size()) ==
                  static_cast<ssize_t>(content.size()));
}

std::string content_of(const char* file)
{
    const auto content = test::read_file(file);
    TRESK_REQUIRE(content.has_value());
    return *content;
}

} // namespace tresk::fuzz
