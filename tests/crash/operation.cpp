// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/crash/operation.h"

#include "tests/support/policy_files.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <fstream>

namespace tresk::test {

namespace {

/// The states before and after, and the calls in between.
struct Undisturbed {
    State before;
    State after;
    std::vector<WatchedSystemCall> calls;
};

std::string shown(const State& state)
{
    std::string text;
    for (const auto& [name, content] : state) {
        text += "  " + name + " " + content + "\n";
    }
    return text.empty() ? "  nothing\n" : text;
}

std::string part(const State& state, const std::string& name)
{
    const auto found = state.find(name);
    return found == state.end() ? "(missing)" : found->second;
}

/// Takes all room of the file system but some pages.
void fill_disk(const std::filesystem::path& filler, std::size_t pages_left)
{
    constexpr std::size_t page = 4096;
    const std::string content(page, 'x');
    std::ofstream stream(filler, std::ios::binary);
    while (stream.write(content.data(), page).flush()) {
    }
    stream.close();
    const std::size_t size = std::filesystem::file_size(filler);
    std::filesystem::resize_file(filler, size - std::min(size, pages_left * page));
}

class Check {
  public:
    explicit Check(const Operation& operation) : operation_(operation)
    {
        operation_.prepare();
        undisturbed_.before = operation_.state();
        const TracedRun run = run_traced(operation_.act);
        undisturbed_.calls = run.calls;
        undisturbed_.after = operation_.state();
        object_unless(run.reported_success, "undisturbed, it fails");
        object_unless(undisturbed_.before != undisturbed_.after, "undisturbed, it changes nothing");
        object_unless(!undisturbed_.calls.empty(), "undisturbed, no call was seen");
    }

    [[nodiscard]] const std::vector<WatchedSystemCall>& calls() const { return undisturbed_.calls; }

    void killed_at(std::size_t number)
    {
        what_ = "killed at " + std::to_string(number) + " of" + shown(undisturbed_.calls);
        operation_.prepare();
        const TracedRun run = run_traced(operation_.act, {Interference::Kind::Kill, number});
        object_unless(run.killed, "it was not killed");
        ++tally_.runs;
        (void)judge_state(operation_.file_by_file);
        tally_.left_drafts += operation_.drafts().empty() ? 0U : 1U;
        recover();
    }

    void refused_at(std::size_t number, int error)
    {
        const WatchedSystemCall& call = undisturbed_.calls[number - 1];
        what_ = "refused " + std::to_string(number) + " of" + shown(undisturbed_.calls);
        operation_.prepare();
        const TracedRun run = run_traced(operation_.act, {Interference::Kind::Refuse, number, error});
        // A folder is synchronised when the new files stand in it already; several are put in place one by
        // one.
        judge_failure(run.reported_success, call.on_directory, call.name.starts_with("rename"));
    }

    void limited_to(std::size_t bytes)
    {
        what_ = "files limited to " + std::to_string(bytes) + " bytes";
        operation_.prepare();
        const bool success = run_apart([&] {
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit limit = {bytes, bytes};
            return ::setrlimit(RLIMIT_FSIZE, &limit) == 0 && operation_.act();
        });
        judge_failure(success, false, false);
    }

    void with_room(const std::filesystem::path& filler, std::size_t pages)
    {
        what_ = "with room for " + std::to_string(pages) + " pages";
        operation_.prepare();
        fill_disk(filler, pages);
        const bool success = run_apart(operation_.act);
        std::filesystem::remove(filler);
        judge_failure(success, false, false);
    }

    Tally tally() { return tally_; }

  private:
    void object_unless(bool well, const std::string& objection)
    {
        if (!well) {
            tally_.objections.push_back(operation_.name + ", " + what_ + ": " + objection);
        }
    }

    /// Whether each file for itself is an old or a new one.
    [[nodiscard]] bool is_mixture(const State& state) const
    {
        State all = undisturbed_.before;
        all.insert(undisturbed_.after.begin(), undisturbed_.after.end());
        all.insert(state.begin(), state.end());
        return std::all_of(all.begin(), all.end(), [&](const auto& entry) {
            const std::string now = part(state, entry.first);
            return now == part(undisturbed_.before, entry.first) ||
                   now == part(undisturbed_.after, entry.first);
        });
    }

    /// Whether the new state was found.
    bool judge_state(bool may_be_mixture)
    {
        const State state = operation_.state();
        const bool is_old = state == undisturbed_.before;
        const bool is_new = state == undisturbed_.after;
        tally_.found_old += is_old ? 1U : 0U;
        tally_.found_new += is_new ? 1U : 0U;
        object_unless(is_old || is_new || (may_be_mixture && is_mixture(state)),
                      "neither the old nor the new state is there, but\n" + shown(state) + "old:\n" +
                          shown(undisturbed_.before) + "new:\n" + shown(undisturbed_.after));
        return is_new;
    }

    void judge_failure(bool reported_success, bool may_be_new, bool may_be_mixture)
    {
        ++tally_.runs;
        const bool is_new = judge_state(operation_.file_by_file && may_be_mixture);
        if (!operation_.silent) {
            object_unless(!reported_success || is_new,
                          "success was reported, but the new state is not there");
            object_unless(reported_success || !is_new || may_be_new,
                          "failure was reported, but the new state is there");
        }
        const State drafts = operation_.drafts();
        object_unless(drafts.empty(), "it left lying about:\n" + shown(drafts));
        recover();
    }

    void recover()
    {
        // What is there already is no failure of the second run, but no success either.
        (void)run_apart(operation_.act);
        const State state = operation_.state();
        object_unless(state == undisturbed_.after,
                      "the next run did not put the new state in place:\n" + shown(state));
    }

    const Operation& operation_;
    Undisturbed undisturbed_;
    std::string what_ = "at first";
    Tally tally_;
};

} // namespace

Tally kill_at_each_call(const Operation& operation)
{
    Check check(operation);
    for (std::size_t number = 1; number <= check.calls().size(); ++number) {
        check.killed_at(number);
    }
    return check.tally();
}

Tally refuse_each_call(const Operation& operation, int error)
{
    Check check(operation);
    for (std::size_t number = 1; number <= check.calls().size(); ++number) {
        if (check.calls()[number - 1].needs_space) {
            check.refused_at(number, error);
        }
    }
    return check.tally();
}

Tally limit_file_size(const Operation& operation, const std::vector<std::size_t>& bytes)
{
    Check check(operation);
    for (const std::size_t limit : bytes) {
        check.limited_to(limit);
    }
    return check.tally();
}

Tally run_with_room(const Operation& operation, const std::filesystem::path& filler,
                    const std::vector<std::size_t>& pages)
{
    Check check(operation);
    for (const std::size_t room : pages) {
        check.with_room(filler, room);
    }
    return check.tally();
}

State files_below(const std::vector<std::filesystem::path>& folders,
                  const std::function<bool(const std::string&)>& wanted)
{
    State files;
    for (const auto& folder : folders) {
        if (!std::filesystem::exists(folder)) {
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file() && wanted(entry.path().filename().string())) {
                struct stat status = {};
                ::stat(entry.path().c_str(), &status);
                files[entry.path().string()] = std::to_string(status.st_mode & 0777U) + " " +
                                               read_file(entry.path()).value_or("(unreadable)");
            }
        }
    }
    return files;
}

std::string shown(const std::vector<WatchedSystemCall>& calls)
{
    std::string text;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        text += " " + std::to_string(i + 1) + ":" + calls[i].name;
    }
    return text;
}

} // namespace tresk::test
