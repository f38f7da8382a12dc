// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/policy/subject.h"

#include "common/handles.h"

#include <array>
#include <filesystem>

namespace tresk::ctl {

namespace {

constexpr const char* kData = "/data";
constexpr std::array kBoundFromData = {"/home", "/root"};

/// Whether @folder shows the one of that name below "/data".
bool is_bound(const std::string& root, const std::string& folder)
{
    std::error_code error;
    return std::filesystem::equivalent(root + kData + folder, root + folder, error) && !error;
}

bool is_below(const std::string& path, const std::string& folder)
{
    return path == folder || path.starts_with(folder + "/");
}

} // namespace

Subject::Subject(std::string word, std::string root)
    : word_(std::move(word)), root_(std::move(root)), is_path_(word_.find('/') != std::string::npos)
{
    if (!is_path_) {
        return;
    }
    const std::filesystem::path absolute = std::filesystem::absolute(word_);
    file_ = resolved(absolute);
    add_path(absolute);
    add_path(absolute.lexically_normal());
    if (file_) {
        add_path(*file_);
    }
}

/// The name that the system gives the file.
std::optional<std::string> Subject::resolved(const std::string& path) const
{
    if (!root_.empty()) {
        std::error_code error;
        const bool there = std::filesystem::exists(root_ + path, error);
        return there ? std::optional(path) : std::nullopt;
    }
    const Malloced<char> real(::realpath(path.c_str(), nullptr));
    return real ? std::optional<std::string>(real.get()) : std::nullopt;
}

void Subject::add_path(const std::string& path)
{
    paths_.insert(path);
    for (const std::string folder : kBoundFromData) {
        if (is_below(path, folder) && is_bound(root_, folder)) {
            paths_.insert(kData + path);
        }
        if (is_below(path, kData + folder) && is_bound(root_, folder)) {
            paths_.insert(path.substr(std::string_view(kData).size()));
        }
    }
}

bool Subject::is_at(const std::string& path) const
{
    if (!is_path_) {
        return false;
    }
    const auto other = paths_.contains(path) || !file_ ? std::nullopt : resolved(path);
    return paths_.contains(path) || (other && paths_.contains(*other));
}

} // namespace tresk::ctl
