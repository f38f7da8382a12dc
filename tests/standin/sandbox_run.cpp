// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/standin/sandbox_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>

namespace tresk::test {

namespace {

constexpr std::chrono::seconds DEADLINE{30};
constexpr int OWNER_ONLY = 0600;

std::string content_of(const std::filesystem::path& file)
{
    std::ostringstream content;
    content << std::ifstream{file}.rdbuf();
    return content.str();
}

class FileActions {
  public:
    FileActions() { ::posix_spawn_file_actions_init(&actions_); }

    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    FileActions(FileActions&&) = delete;
    FileActions& operator=(FileActions&&) = delete;

    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

    void open(int descriptor, const std::string& file, int flags)
    {
        ::posix_spawn_file_actions_addopen(&actions_, descriptor, file.c_str(), flags, OWNER_ONLY);
    }

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_{};
};

} // namespace

std::ostream& operator<<(std::ostream& stream, const Result& result)
{
    return stream << "status " << result.status << "\noutput: " << result.output
                  << "\nerrors: " << result.errors;
}

Started::Started(std::vector<std::string> words)
{
    FileActions actions;
    actions.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    actions.open(STDOUT_FILENO, files_.path() / "output", O_WRONLY | O_CREAT | O_APPEND);
    actions.open(STDERR_FILENO, files_.path() / "errors", O_WRONLY | O_CREAT | O_APPEND);
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const int error =
        ::posix_spawnp(&process_, arguments.front(), actions.get(), nullptr, arguments.data(), environ);
    if (error != 0) {
        throw std::system_error{error, std::generic_category(), words.front()};
    }
}

Started::~Started()
{
    if (process_ > 0) {
        ::kill(process_, SIGTERM);
        ::waitpid(process_, nullptr, 0);
    }
}

std::string Started::output() const
{
    return content_of(files_.path() / "output");
}

std::string Started::first_line() const
{
    const bool written = eventually([&] { return output().find('\n') != std::string::npos; });
    return written ? output().substr(0, output().find('\n')) : "";
}

Result Started::wait()
{
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = -1;
    return {.status = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status),
            .output = output(),
            .errors = content_of(files_.path() / "errors")};
}

std::vector<std::string> sandbox_command(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), TRESK_SANDBOX);
    return arguments;
}

Result run_sandbox(std::vector<std::string> arguments)
{
    return Started{sandbox_command(std::move(arguments))}.wait();
}

Result run_script(const std::string& script, std::vector<std::string> options)
{
    options.insert(options.end(), {"--no-service", "--", "sh", "-c", script});
    return run_sandbox(std::move(options));
}

bool eventually(const std::function<bool()>& predicate)
{
    const auto deadline = std::chrono::steady_clock::now() + DEADLINE;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

bool is_running(pid_t process)
{
    std::ifstream file{"/proc/" + std::to_string(process) + "/stat"};
    std::string line;
    std::getline(file, line);
    const std::size_t name_end = line.rfind(") ");
    return name_end != std::string::npos && line[name_end + 2] != 'Z';
}

} // namespace tresk::test
