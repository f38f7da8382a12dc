// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/sandbox/polkit.h"

#include "standin/sandbox/failure.h"

#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace tresk::standin {

namespace {

namespace fs = std::filesystem;

constexpr const char* PROGRAMS[] = {"/usr/lib/polkit-1/polkitd", "/usr/libexec/polkitd",
                                    "/usr/libexec/polkit-1/polkitd"};
constexpr const char* ACTIONS = "/usr/share/polkit-1";
constexpr const char* RULES = "/etc/polkit-1";

std::string content_of(const fs::path& file)
{
    std::ifstream stream{file, std::ios::binary};
    std::string content{std::istreambuf_iterator<char>{stream}, {}};
    if (!stream.is_open() || stream.bad()) {
        throw std::runtime_error{"cannot read " + file.string()};
    }
    return content;
}

/// polkitd reads as another user, whatever the umask.
void open_to_all(const fs::path& place)
{
    fs::permissions(place, fs::is_directory(place) ? fs::perms{0755} : fs::perms{0644});
}

void hide(const std::string& directory)
{
    require(::mount("tresk-sandbox", directory.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755"),
            "make a private " + directory);
}

void write_files(const fs::path& directory, const Files& files)
{
    fs::create_directories(directory);
    open_to_all(directory);
    for (const auto& [name, content] : files) {
        std::ofstream{directory / name, std::ios::binary} << content;
        open_to_all(directory / name);
    }
}

} // namespace

std::string find_polkitd()
{
    if (::geteuid() != 0) {
        throw std::runtime_error{"--polkit needs the superuser: polkitd changes to a user of its own"};
    }
    for (const char* program : PROGRAMS) {
        if (::access(program, X_OK) == 0) {
            return program;
        }
    }
    throw std::runtime_error{"--polkit needs polkitd, which is not installed"};
}

Files read_rules(const std::string& folder)
{
    Files rules;
    if (!folder.empty()) {
        for (const auto& entry : fs::directory_iterator{folder}) {
            rules[entry.path().filename()] = content_of(entry.path());
        }
    }
    return rules;
}

void lay_out_polkit(const std::string& actions, const Files& rules)
{
    const Files action_files{{fs::path{actions}.filename(), content_of(actions)}};
    hide(ACTIONS);
    hide(RULES);
    write_files(fs::path{ACTIONS} / "actions", action_files);
    write_files(fs::path{ACTIONS} / "rules.d", {});
    write_files(fs::path{RULES} / "rules.d", rules);
}

} // namespace tresk::standin
