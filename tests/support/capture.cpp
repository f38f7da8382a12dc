// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/capture.h"

#include "common/handles.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace tresk::test {

namespace {

int checked(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

/// Sends a stream to a file in memory for as long as it lives.
class Redirection {
  public:
    Redirection(std::FILE* stream, int descriptor, const Descriptor& target)
        : stream_(stream), descriptor_(descriptor), kept_(checked(::dup(descriptor), "dup"))
    {
        (void)std::fflush(stream_);
        checked(::dup2(target.get(), descriptor_), "dup2");
    }

    ~Redirection()
    {
        (void)std::fflush(stream_);
        ::dup2(kept_.get(), descriptor_);
    }

    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

  private:
    std::FILE* stream_;
    int descriptor_;
    Descriptor kept_;
};

std::string content(const Descriptor& file)
{
    std::string result;
    std::array<char, 1024> part{};
    ssize_t length = 0;
    while ((length = ::pread(file.get(), part.data(), part.size(), static_cast<off_t>(result.size()))) > 0) {
        result.append(part.data(), static_cast<std::size_t>(length));
    }
    return result;
}

std::string captured(std::FILE* stream, int descriptor, const std::function<void()>& body)
{
    const Descriptor file(checked(::memfd_create("captured", MFD_CLOEXEC), "memfd_create"));
    {
        const Redirection redirection(stream, descriptor, file);
        body();
    }
    return content(file);
}

} // namespace

std::string captured_stdout(const std::function<void()>& body)
{
    return captured(stdout, STDOUT_FILENO, body);
}

std::string captured_stderr(const std::function<void()>& body)
{
    return captured(stderr, STDERR_FILENO, body);
}

} // namespace tresk::test
