// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/framework/scene_store.h"

#include "common/edge.h"
#include "common/handles.h"
#include "standin/framework/c_array.h"
#include "standin/framework/state.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <unordered_set>
#include <vector>

namespace {

using tresk::Descriptor;
using namespace tresk::standin;

enum SceneCode : int { DONE = 0, FAILED = -1, PRESENT_ALREADY = -2, NOT_PRESENT = -3 };

constexpr mode_t DIRECTORY_MODE = 0755;
constexpr mode_t FILE_MODE = 0644;

using Texts = std::vector<std::string>;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error{errno, std::generic_category(), what};
}

std::string escape(std::string_view text)
{
    std::string escaped;
    for (const char character : text) {
        if (character == '\\') {
            escaped += "\\\\";
        } else if (character == '\n') {
            escaped += "\\n";
        } else {
            escaped += character;
        }
    }
    return escaped;
}

std::string unescape(std::string_view line)
{
    std::string text;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '\\' && at + 1 < line.size()) {
            ++at;
            text += line[at] == 'n' ? '\n' : line[at];
        } else {
            text += line[at];
        }
    }
    return text;
}

/// One policy file, locked for the time of a change.
class Policy {
  public:
    explicit Policy(const std::string& name)
    {
        const auto state = state_directory();
        if (!state) {
            throw std::system_error{ENOENT, std::generic_category(), "no state directory"};
        }
        const std::string directory = *state + "/scene";
        if (::mkdir(directory.c_str(), DIRECTORY_MODE) != 0 && errno != EEXIST) {
            fail("scene directory");
        }
        path_ = directory + "/" + name;
        lock_ = Descriptor{::open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, FILE_MODE)};
        if (!lock_ || ::flock(lock_.get(), LOCK_EX) != 0) {
            fail("scene lock");
        }
    }

    [[nodiscard]] Texts read() const
    {
        const auto content = read_file(path_);
        if (!content && errno != ENOENT) {
            fail("scene policy");
        }
        Texts texts;
        std::istringstream lines{content.value_or("")};
        for (std::string line; std::getline(lines, line);) {
            texts.push_back(unescape(line));
        }
        return texts;
    }

    void write(const Texts& texts) const
    {
        std::string content;
        for (const std::string& text : texts) {
            content += escape(text) + "\n";
        }
        write_file(path_ + ".new", content);
        if (::rename((path_ + ".new").c_str(), path_.c_str()) != 0) {
            fail("scene policy");
        }
    }

  private:
    static void write_file(const std::string& path, const std::string& content)
    {
        const tresk::Descriptor file{
            ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, FILE_MODE)};
        if (!file || ::write(file.get(), content.data(), content.size()) != std::ssize(content)) {
            fail("scene policy");
        }
    }

    std::string path_;
    Descriptor lock_;
};

std::optional<int> fault_of(const char* function)
{
    const auto faults = read_state_numbers("scene-faults");
    const auto fault = faults.find(function);
    return fault == faults.end() ? std::nullopt : std::optional{fault->second};
}

using Batch = std::span<const char* const>;

Texts with(Texts texts, Batch added)
{
    std::unordered_set<std::string> present{texts.begin(), texts.end()};
    for (const char* text : added) {
        if (present.insert(text).second) {
            texts.emplace_back(text);
        }
    }
    return texts;
}

Texts without(Texts texts, Batch removed)
{
    const std::unordered_set<std::string_view> unwanted{removed.begin(), removed.end()};
    std::erase_if(texts, [&](const std::string& text) { return unwanted.contains(text); });
    return texts;
}

/// What a change does to a policy's texts: it adds some or takes some away, never both.
using Edit = Texts (*)(Texts texts, Batch batch);

/// Whether the edit changed the policy.
bool edited(const char* policy_name, Batch batch, Edit edit)
{
    const Policy policy{policy_name};
    const Texts texts = policy.read();
    const Texts changed = edit(texts, batch);
    if (changed.size() == texts.size()) {
        return false;
    }
    policy.write(changed);
    return true;
}

bool is_whole(const tresk_standin_scene_batch& batch)
{
    return batch.count == 0 || (batch.count > 0 && batch.texts != nullptr &&
                                std::none_of(batch.texts, batch.texts + batch.count,
                                             [](const char* text) { return text == nullptr; }));
}

/// Edits the policy unless a fault is set for @function.
int change(const char* function, const char* policy, const tresk_standin_scene_batch& batch,
           Edit edit) noexcept
{
    return tresk::at_edge<int>(FAILED, [&]() -> int {
        if (const auto fault = fault_of(function)) {
            return *fault;
        }
        if (!is_whole(batch)) {
            return FAILED;
        }
        const Batch texts{batch.texts, static_cast<std::size_t>(batch.count)};
        return edited(policy, texts, edit) || texts.empty() ? DONE : batch.unchanged;
    });
}

} // namespace

TRESK_EXPORT int tresk_standin_scene_add(const char* function, const char* policy, const char* text)
{
    return change(function, policy, {&text, 1, PRESENT_ALREADY}, with);
}

TRESK_EXPORT int tresk_standin_scene_remove(const char* function, const char* policy, const char* text)
{
    return change(function, policy, {&text, 1, NOT_PRESENT}, without);
}

TRESK_EXPORT int tresk_standin_scene_add_all(const char* function, const char* policy,
                                             tresk_standin_scene_batch batch)
{
    return change(function, policy, batch, with);
}

TRESK_EXPORT int tresk_standin_scene_remove_all(const char* function, const char* policy,
                                                tresk_standin_scene_batch batch)
{
    return change(function, policy, batch, without);
}

TRESK_EXPORT char** tresk_standin_scene_list(const char* function, const char* policy, int* count)
{
    return tresk::at_edge<char**>(nullptr, [&]() -> char** {
        if (count == nullptr) {
            return nullptr;
        }
        if (const auto fault = fault_of(function)) {
            *count = *fault;
            return nullptr;
        }
        const Texts texts = Policy{policy}.read();
        char** const array = copy_to_c(texts);
        if (array != nullptr) {
            *count = static_cast<int>(texts.size());
        }
        return array;
    });
}
