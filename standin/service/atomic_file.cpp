// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/atomic_file.h"

#include "standin/service/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <set>
#include <system_error>
#include <utility>

namespace tresk::service {

namespace {

[[noreturn]] void fail(const std::filesystem::path& subject)
{
    throw std::system_error(errno, std::generic_category(), subject.string());
}

/// The new content on its way: a file in the same folder that disappears unless it is moved into place.
class Draft {
  public:
    explicit Draft(const std::filesystem::path& target)
        : name_((target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string()),
          file_(::mkostemp(name_.data(), O_CLOEXEC))
    {
        if (file_.get() < 0) {
            fail(name_);
        }
    }

    ~Draft()
    {
        if (!name_.empty()) {
            ::unlink(name_.c_str());
        }
    }

    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;
    Draft(Draft&&) = delete;
    Draft& operator=(Draft&&) = delete;

    void fill(std::string_view content) const
    {
        while (!content.empty()) {
            const ssize_t written = ::write(file_.get(), content.data(), content.size());
            if (written < 0 && errno != EINTR) {
                fail(name_);
            }
            content.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
        }
        if (::fchmod(file_.get(), 0644) != 0 || ::fsync(file_.get()) != 0) {
            fail(name_);
        }
    }

    void move_to(const std::filesystem::path& target)
    {
        if (std::rename(name_.c_str(), target.c_str()) != 0) {
            fail(target);
        }
        name_.clear();
    }

  private:
    std::string name_;
    Descriptor file_;
};

void sync_folder(const std::filesystem::path& folder)
{
    const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.get() < 0 || ::fsync(opened.get()) != 0) {
        fail(folder);
    }
}

} // namespace

std::optional<std::string> read_whole(const std::filesystem::path& file)
{
    const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (opened.get() < 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        fail(file);
    }
    std::string content;
    std::array<char, 2048> block{};
    ssize_t length = 0;
    while ((length = ::read(opened.get(), block.data(), block.size())) != 0) {
        if (length < 0 && errno != EINTR) {
            fail(file);
        }
        content.append(block.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
    }
    return content;
}

void write_whole(const std::filesystem::path& file, std::string_view content)
{
    write_all_whole({{file, std::string(content)}});
}

void write_all_whole(const FileContents& files)
{
    std::list<Draft> drafts;
    for (const auto& [file, content] : files) {
        std::filesystem::create_directories(file.parent_path());
        drafts.emplace_back(file).fill(content);
    }
    std::set<std::filesystem::path> folders;
    auto draft = drafts.begin();
    for (const auto& [file, content] : files) {
        (draft++)->move_to(file);
        folders.insert(file.parent_path());
    }
    std::ranges::for_each(folders, sync_folder);
}

} // namespace tresk::service
