// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is a command line of treskctl, a word a line. The whole program runs it, in a process without
// service, kernel module and pipelines: the exit status is one of those that there are, what is to be JSON is
// JSON, and a run that is to change nothing tells neither scene nor service of a change.
#include "fuzz/support/fake_bus.h"
#include "fuzz/support/fake_channel.h"
#include "fuzz/support/fake_pipeline.h"
#include "fuzz/support/policy_place.h"
#include "treskctl/failure.h"

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <sys/mman.h>

#include <array>
#include <cstdio>

/// treskctl's main(), which the compiler was told to call so.
int treskctl_main(int count, char** words);

namespace tresk::fuzz {

namespace {

constexpr std::size_t kMostWords = 24;

using Words = std::vector<std::string>;

/// A vertical tab stands for a line feed within a word.
Words words_in(std::string_view input)
{
    Words words = {"treskctl"};
    while (!input.empty() && words.size() < kMostWords) {
        std::string word(input.substr(0, input.find('\n')));
        input.remove_prefix(std::min(word.size() + 1, input.size()));
        word.resize(std::min(word.find('\0'), word.size()));
        std::replace(word.begin(), word.end(), '\v', '\n');
        words.push_back(std::move(word));
    }
    return words;
}

/// Time-outs end the process, and these files have no end.
bool is_left_out(const std::string& word)
{
    constexpr std::array<std::string_view, 6> parts = {"--timeout", "dev/", "proc", "sys/", "fd/", ".."};
    return std::any_of(parts.begin(), parts.end(),
                       [&](std::string_view part) { return word.find(part) != std::string::npos; });
}

/// A standard stream in memory for a while.
class StreamInMemory {
  public:
    explicit StreamInMemory(int stream)
        : stream_(stream), kept_(::fcntl(stream, F_DUPFD_CLOEXEC, 3)),
          memory_(::memfd_create("stream", MFD_CLOEXEC))
    {
        TRESK_REQUIRE(kept_ && memory_ && ::dup2(memory_.get(), stream_) == stream_);
    }

    ~StreamInMemory() { ::dup2(kept_.get(), stream_); }

    StreamInMemory(const StreamInMemory&) = delete;
    StreamInMemory& operator=(const StreamInMemory&) = delete;

    [[nodiscard]] std::string text() const
    {
        std::string content(static_cast<std::size_t>(::lseek(memory_.get(), 0, SEEK_END)), '\0');
        TRESK_REQUIRE(::pread(memory_.get(), content.data(), content.size(), 0) ==
                      static_cast<ssize_t>(content.size()));
        return content;
    }

  private:
    int stream_;
    Descriptor kept_;
    Descriptor memory_;
};

struct Ended {
    int status;
    std::string output;
    std::string error;
};

Ended run_line(Words& words)
{
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    (void)std::fflush(nullptr);
    const StreamInMemory output(STDOUT_FILENO);
    const StreamInMemory error(STDERR_FILENO);
    const int status = treskctl_main(static_cast<int>(words.size()), pointers.data());
    (void)std::fflush(nullptr);
    return {status, output.text(), error.text()};
}

/// True when @first begins the line and nothing later in it begins so: it could mean the contrary.
bool begins_with(const Words& words, std::string_view first)
{
    return words.size() > 1 && words[1] == first &&
           std::none_of(words.begin() + 2, words.end(),
                        [first](const std::string& word) { return word.starts_with(first); });
}

void check_status(const Ended& ended)
{
    const auto table = ctl::exit_table();
    TRESK_REQUIRE(std::any_of(table.begin(), table.end(),
                              [&](const ctl::ExitRow& row) { return row.status == ended.status; }));
    // Failures are told, and answers of "no" are none.
    TRESK_REQUIRE(ended.status < 2 || !ended.error.empty());
}

bool is_json(const std::string& text)
{
    return text.empty() || nlohmann::json::accept(text);
}

/// Where JSON is asked for before anything that could make the words mean something else.
void check_form(const Words& words, const Ended& ended)
{
    if (begins_with(words, "--json")) {
        TRESK_REQUIRE(is_json(ended.output));
        TRESK_REQUIRE(is_json(ended.error));
    }
}

/// What the service is asked that changes something.
bool is_change(const Asked& asked)
{
    constexpr std::array<std::string_view, 11> parts = {"_add",    "_remove", "_update",  "_del",
                                                        "_insert", "_clear",  "_set",     "setModule",
                                                        "setSec",  "setSel",  "PolkitFor"};
    return std::any_of(parts.begin(), parts.end(),
                       [&](std::string_view part) { return asked.method.find(part) != std::string::npos; });
}

void check_dry_run(const Words& words)
{
    if (begins_with(words, "--dry-run")) {
        const auto& asked = fake_bus().asked;
        TRESK_REQUIRE(std::none_of(asked.begin(), asked.end(), is_change));
        TRESK_REQUIRE(fake_channel().sent_times == 0);
    }
}

constexpr char kPpro[] = "<ppro_root><ppro_node path=\"/usr/bin/a\"><hash>aa</hash><type>1</type></ppro_node>"
                         "</ppro_root>";
constexpr char kPblk[] = "<pblk_root><pblk_node path=\"/usr/bin/a\"><hash>aa</hash></pblk_node></pblk_root>";
constexpr char kNetctl[] =
    "<tresk_root user_dist=\"1\"><tresk_user userID=\"0\"><tresk_node path=\"/usr/bin/a\">"
    "<type>2</type><hash>aa</hash></tresk_node></tresk_user></tresk_root>";
constexpr char kLists[] = "<tresk_root><tresk_bwlist bw_value=\"white\"><tresk_node rpm_name=\"a\" "
                          "data_source_type=\"1\" data_source_name=\"source\"/></tresk_bwlist></tresk_root>";
constexpr char kDocument[] = R"({"version": 1, "policy": {"ppro": [{"path": "/usr/bin/a", "type": 2}]}})";

/// The same machine for every line: what a line may have changed is written again.
void restore_machine()
{
    place("/etc/tresk/ppro/ppro.xml", kPpro);
    place("/etc/tresk/pblk/pblk.xml", kPblk);
    place("/etc/tresk/netctl/netctl.xml", kNetctl);
    place("/etc/tresk/bwlist/bwlist.xml", kLists);
    place("/data/files/policy.json", kDocument);
    place("/data/files/list", "/usr/bin/a\n/usr/bin/env\n");
    fake_bus().reset();
    fake_channel() = {};
    fake_pipeline() = {};
}

} // namespace

void set_up()
{
    enter_sandbox();
    restore_machine();
    TRESK_REQUIRE(::chdir("/data/files") == 0);
    TRESK_REQUIRE(std::freopen("/dev/null", "r", stdin) != nullptr);
}

void run(std::string_view input)
{
    Words words = words_in(input);
    if (std::any_of(words.begin(), words.end(), is_left_out)) {
        return;
    }
    restore_machine();
    const Words given = words;
    const Ended ended = run_line(words);
    check_status(ended);
    check_form(given, ended);
    check_dry_run(given);
    constexpr std::size_t most = 1U << 22U;
    TRESK_REQUIRE(ended.output.size() < most);
}

} // namespace tresk::fuzz
