// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The new root is built on top of /etc, the one directory that is never shown as a whole: so it hides nothing
// that is still to be bound, and binding an entry never drags the new root itself along. What lies below
// is reached through a descriptor of the old /etc.
#include "standin/sandbox/root.h"

#include "common/handles.h"
#include "standin/sandbox/failure.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace tresk::standin {

namespace {

namespace fs = std::filesystem;

constexpr mode_t OPEN_TO_ALL = 0755;
constexpr mode_t OPEN_TO_OWNER = 0700;
const std::string NEW_ROOT = "/etc";

using Names = std::vector<std::string>;

Descriptor open_directory(const std::string& path)
{
    Descriptor directory{::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)};
    require(directory.get(), path);
    return directory;
}

Names names_in(const std::string& directory, const Names& without)
{
    Names names;
    for (const auto& entry : fs::directory_iterator{directory}) {
        std::string name = entry.path().filename();
        if (std::ranges::find(without, name) == without.end()) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

void make_directory(const std::string& path, mode_t mode = OPEN_TO_ALL)
{
    if (::mkdir(path.c_str(), mode) != 0 && errno != EEXIST) {
        fail_with_errno(path);
    }
}

void bind(const std::string& source, const std::string& target)
{
    require(::mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr), "show " + source);
}

void copy_link(const std::string& source, const std::string& target)
{
    fs::create_symlink(fs::read_symlink(source), target);
}

void make_mount_point(const std::string& target, bool directory)
{
    if (directory) {
        make_directory(target);
    } else {
        const Descriptor file{::open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, OPEN_TO_OWNER)};
        require(file.get(), target);
    }
}

/// Shows one entry. One that went away since its directory was read is left out.
void show(const std::string& source, const std::string& target)
{
    struct stat status = {};
    if (::lstat(source.c_str(), &status) != 0) {
        return;
    }
    if (S_ISLNK(status.st_mode)) {
        copy_link(source, target);
        return;
    }
    make_mount_point(target, S_ISDIR(status.st_mode));
    if (::mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        const int reason = errno;
        fs::remove(target);
        if (reason != ENOENT) {
            errno = reason;
            fail_with_errno("show " + source);
        }
    }
}

/// The directories of a plan, opened while every path still leads where the user meant it.
struct OpenedPlan {
    Descriptor etc;
    Descriptor data;
    Descriptor standin;
    Descriptor seed;
};

Descriptor open_kept(const std::string& state, const char* name)
{
    make_directory(state + "/" + name);
    return open_directory(state + "/" + name);
}

OpenedPlan open_plan(const RootPlan& plan)
{
    OpenedPlan opened;
    if (!plan.state.empty()) {
        fs::create_directories(plan.state);
        opened.etc = open_kept(plan.state, "etc");
        opened.data = open_kept(plan.state, "data");
        opened.standin = open_kept(plan.state, "standin");
    }
    if (!plan.seed.empty()) {
        opened.seed = open_directory(plan.seed);
    }
    return opened;
}

/// An own directory: one that is kept between runs, or an empty one.
void make_own(const Descriptor& kept, const std::string& target)
{
    make_directory(target);
    if (kept) {
        require(::fchdir(kept.get()), target);
        bind(".", target);
    }
}

void copy_seed(const Descriptor& seed, const std::string& target)
{
    if (seed) {
        const std::string source = "/proc/self/fd/" + std::to_string(seed.get()) + "/.";
        fs::copy(source, target,
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks |
                     fs::copy_options::overwrite_existing);
    }
}

/// Whether @path lies below @directory, at least @depth names deep.
bool is_below(std::string_view path, std::string_view directory, std::ptrdiff_t depth)
{
    return path.starts_with(directory) && std::ranges::count(path.substr(directory.size()), '/') >= depth;
}

/// Home directories themselves stay private: only folders inside of them are kept.
std::string own_place_of(const std::string& path, bool bind_home)
{
    if (is_below(path, "/data", 1)) {
        return path;
    }
    const bool in_home = bind_home && (is_below(path, "/home", 2) || is_below(path, "/root", 1));
    return in_home ? "/data" + path : "";
}

void show_kept(const RootPlan& plan)
{
    for (const std::string& path : plan.kept) {
        const std::string place = own_place_of(path, plan.bind_home);
        if (!place.empty()) {
            fs::create_directories(NEW_ROOT + place);
            bind(path, NEW_ROOT + place);
        }
    }
}

void show_homes()
{
    make_directory(NEW_ROOT + "/data/home");
    make_directory(NEW_ROOT + "/data/root", OPEN_TO_OWNER);
    for (const char* home : {"/home", "/root"}) {
        make_directory(NEW_ROOT + home);
        bind(NEW_ROOT + "/data" + home, NEW_ROOT + home);
    }
}

void show_host(const Descriptor& old_etc, const Names& root_names, const Names& etc_names)
{
    const fs::path new_root{NEW_ROOT};
    for (const std::string& name : root_names) {
        show(fs::path{"/"} / name, new_root / name);
    }
    make_directory(new_root / "etc");
    require(::fchdir(old_etc.get()), "/etc");
    for (const std::string& name : etc_names) {
        show(name, new_root / "etc" / name);
    }
}

void make_own_directories(const RootPlan& plan, const OpenedPlan& opened)
{
    make_own(opened.data, NEW_ROOT + "/data");
    make_own(opened.etc, NEW_ROOT + "/etc/tresk");
    make_directory(NEW_ROOT + OWN_DIRECTORY);
    make_directory(NEW_ROOT + RUN_DIRECTORY);
    make_own(opened.standin, NEW_ROOT + STATE_DIRECTORY);
    copy_seed(opened.seed, NEW_ROOT + "/etc/tresk");
    show_kept(plan);
    if (plan.bind_home) {
        show_homes();
    }
}

/// Swapping the roots lets go of the old tree, so that the command may make namespaces itself. Where the old
/// root is no mount point (in a chroot) only the root of this process changes.
void move_to_new_root()
{
    require(::chdir(NEW_ROOT.c_str()), "the new root");
    if (::syscall(SYS_pivot_root, ".", ".") == 0) {
        require(::umount2(".", MNT_DETACH), "let go of the old root");
    } else {
        require(::chroot("."), "the new root");
    }
}

void return_to(const std::string& working_directory)
{
    if (working_directory.empty() || ::chdir(working_directory.c_str()) != 0) {
        require(::chdir("/"), "/");
    }
}

} // namespace

void enter_root(const RootPlan& plan)
{
    std::error_code gone;
    const std::string working_directory = fs::current_path(gone);
    const OpenedPlan opened = open_plan(plan);
    const Descriptor old_etc = open_directory("/etc");
    Names not_shown{"etc", "data", OWN_DIRECTORY + 1};
    if (plan.bind_home) {
        not_shown.insert(not_shown.end(), {"home", "root"});
    }
    const Names root_names = names_in("/", not_shown);
    const Names etc_names = names_in("/etc", {"tresk"});
    require(::mount("tresk-sandbox", NEW_ROOT.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755"),
            "mount the new root");
    show_host(old_etc, root_names, etc_names);
    make_own_directories(plan, opened);
    move_to_new_root();
    return_to(working_directory);
}

} // namespace tresk::standin
