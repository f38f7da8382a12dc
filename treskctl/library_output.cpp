// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/library_output.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace tresk::ctl {

namespace {

Descriptor checked(int number, const char* what)
{
    if (number < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return Descriptor(number);
}

void redirect(int target, const Descriptor& source)
{
    if (::dup2(source.get(), target) < 0) {
        throw std::system_error(errno, std::generic_category(), "standard stream");
    }
}

/// A stream that the caller closed is left closed afterwards.
Descriptor duplicate_if_open(int number)
{
    return Descriptor(::fcntl(number, F_DUPFD_CLOEXEC, 0));
}

} // namespace

CapturedStream::CapturedStream(std::FILE* stream)
    : stream_(stream), memory_(checked(::memfd_create("treskctl", MFD_CLOEXEC), "memory file")),
      original_(duplicate_if_open(::fileno(stream)))
{
    std::fflush(stream_);
    redirect(::fileno(stream_), memory_);
}

CapturedStream::~CapturedStream()
{
    std::fflush(stream_);
    if (original_) {
        ::dup2(original_.get(), ::fileno(stream_));
    } else {
        ::close(::fileno(stream_));
    }
}

std::string CapturedStream::text() const
{
    std::fflush(stream_);
    std::string content;
    std::array<char, 1024> chunk;
    ssize_t length = 0;
    while ((length = ::pread(memory_.get(), chunk.data(), chunk.size(), static_cast<off_t>(content.size()))) >
           0) {
        content.append(chunk.data(), static_cast<std::size_t>(length));
    }
    if (length < 0) {
        throw std::system_error(errno, std::generic_category(), "memory file");
    }
    return content;
}

} // namespace tresk::ctl
