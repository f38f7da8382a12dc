// SPDX-License-Identifier: LGPL-2.1-or-later
//
// tresk-standin-kernel: the stand-in for the framework's kernel module, as a program. For development and
// tests only. It writes its port and a line feed to descriptor FD (standard output if not given), answers
// every message as the file "kernel-answer" of the state directory says at that moment, and appends one line
// about it to "kernel.log" there before it answers, so that a client that got its answer finds the record.
#include "standin/kernel/answers.h"
#include "standin/kernel/peer.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

namespace {

using namespace tresk::standin;

constexpr const char* USAGE =
    "Usage: tresk-standin-kernel [--ready-fd FD]\n"
    "Development stand-in for the framework's kernel module; it protects nothing.\n"
    "Writes its netlink port to FD (standard output if not given) and answers until it is ended.\n"
    "TRESK_STANDIN_STATE names the directory of kernel-answer and kernel.log.\n";

class Files {
  public:
    explicit Files(std::string directory) : directory_{std::move(directory)} {}

    [[nodiscard]] std::string wishes() const
    {
        if (directory_.empty()) {
            return "";
        }
        std::ifstream file{directory_ + "/kernel-answer"};
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }

    void record(const std::string& line) const
    {
        if (!directory_.empty()) {
            std::ofstream{directory_ + "/kernel.log", std::ios::app} << line + "\n";
        }
    }

  private:
    std::string directory_;
};

Answer record_and_answer(const Files& files, const Received& received)
{
    std::vector<std::string> unknown;
    Answer answer = wished_answer(files.wishes(), received.message.header.nlmsg_type, unknown);
    for (const std::string& line : unknown) {
        files.record("unknown-wish " + line);
    }
    files.record(describe(received));
    return answer;
}

void tell_port(int descriptor, std::uint32_t port)
{
    const std::string line = std::to_string(port) + "\n";
    if (::write(descriptor, line.data(), line.size()) < 0) {
        std::perror("tresk-standin-kernel: ready descriptor");
    }
    if (descriptor != STDOUT_FILENO) {
        ::close(descriptor);
    }
}

int serve(int ready_descriptor)
{
    const char* state = std::getenv("TRESK_STANDIN_STATE");
    const Files files{state == nullptr ? "" : state};
    KernelPeer peer;
    tell_port(ready_descriptor, peer.port());
    for (;;) {
        peer.serve_once([&](const Received& received) { return record_and_answer(files, received); });
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc == 1) {
            return serve(STDOUT_FILENO);
        }
        if (argc == 3 && std::strcmp(argv[1], "--ready-fd") == 0) {
            return serve(std::stoi(argv[2]));
        }
        const bool asked = argc == 2 && std::strcmp(argv[1], "--help") == 0;
        (asked ? std::cout : std::cerr) << USAGE;
        return asked ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& failure) {
        std::cerr << "tresk-standin-kernel: " << failure.what() << "\n";
        return EXIT_FAILURE;
    }
}
