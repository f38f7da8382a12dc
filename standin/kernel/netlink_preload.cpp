// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Stand-in for the kernel module's netlink family, to be named in LD_PRELOAD. The module's protocol exists
// on no build machine, but the kernel carries netlink messages between programs: a socket of the module's
// protocol becomes one of NETLINK_USERSOCK, and what it sends to the kernel (port 0) goes to the port of the
// stand-in peer, whose answers in turn come from port 0. Everything else passes through untouched.
//
//   TRESK_STANDIN_KERNEL_PROTOCOL  26 or 27: the protocol that this "kernel" knows; the other one, and both
//                                  where it is unset, fail as on a kernel without the module
//   TRESK_STANDIN_KERNEL_PORT      the peer's port; where it is unset nobody listens (ECONNREFUSED)
//
// Both are read at each call. /proc/net/netlink, opened by its name, also lists a socket of that protocol,
// as the module's own socket would be.
//
// The mark of a mapped socket is a priority that netlink makes no other use of. It lives in the socket
// itself, so it needs no table of descriptors that dup, close, fork and exec would have to be followed into.
//
// Nothing here may need the C++ runtime: the library is loaded into programs of any kind.
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/netlink.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define TRESK_INTERPOSE extern "C" __attribute__((visibility("default")))

namespace {

constexpr int MARK = 5;
constexpr int FIRST_PROTOCOL = 26;
constexpr int LAST_PROTOCOL = 27;
constexpr const char* LISTING = "/proc/net/netlink";

/// The next definition of the function that @Own interposes.
template <auto* Own>
decltype(Own) next(const char* name)
{
    static std::atomic<void*> found{nullptr};
    void* function = found.load(std::memory_order_relaxed);
    if (function == nullptr) {
        function = ::dlsym(RTLD_NEXT, name);
        found.store(function, std::memory_order_relaxed);
    }
    return reinterpret_cast<decltype(Own)>(function);
}

unsigned long number_in_environment(const char* name)
{
    const char* text = ::getenv(name);
    return text == nullptr ? 0 : std::strtoul(text, nullptr, 10);
}

int known_protocol()
{
    const unsigned long protocol = number_in_environment("TRESK_STANDIN_KERNEL_PROTOCOL");
    return protocol >= FIRST_PROTOCOL && protocol <= LAST_PROTOCOL ? static_cast<int>(protocol) : 0;
}

unsigned peer_port()
{
    return static_cast<unsigned>(number_in_environment("TRESK_STANDIN_KERNEL_PORT"));
}

bool is_mapped(int socket)
{
    int protocol = 0;
    int priority = 0;
    socklen_t length = sizeof(int);
    return ::getsockopt(socket, SOL_SOCKET, SO_PROTOCOL, &protocol, &length) == 0 &&
           protocol == NETLINK_USERSOCK &&
           ::getsockopt(socket, SOL_SOCKET, SO_PRIORITY, &priority, &length) == 0 && priority == MARK;
}

bool is_netlink_address(const sockaddr* address, socklen_t length)
{
    return address != nullptr && length >= sizeof(sockaddr_nl) && address->sa_family == AF_NETLINK;
}

void mark(int socket)
{
    const int saved = errno;
    ::setsockopt(socket, SOL_SOCKET, SO_PRIORITY, &MARK, sizeof(MARK));
    errno = saved;
}

/// Shows an answer of the peer as one of the kernel.
void rename_peer(int socket, sockaddr* address, const socklen_t* length)
{
    const int saved = errno;
    if (length != nullptr && is_netlink_address(address, *length) && is_mapped(socket)) {
        sockaddr_nl sender;
        std::memcpy(&sender, address, sizeof(sender));
        if (sender.nl_pid == peer_port()) {
            sender.nl_pid = 0;
            std::memcpy(address, &sender, sizeof(sender));
        }
    }
    errno = saved;
}

bool is_listing(const char* path, int flags)
{
    return path != nullptr && std::strcmp(path, LISTING) == 0 && (flags & O_ACCMODE) == O_RDONLY &&
           known_protocol() != 0;
}

void copy_listing(int from, int to)
{
    char chunk[2048];
    ssize_t length = 0;
    while ((length = ::read(from, chunk, sizeof(chunk))) > 0 &&
           ::write(to, chunk, static_cast<std::size_t>(length)) == length) {
    }
}

/// Takes @real, the opened listing, and gives a file with one row more; @real itself where that is not
/// possible.
int with_own_row(int real, int flags)
{
    if (real < 0) {
        return real;
    }
    const int listing = ::memfd_create("netlink", (flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0U);
    if (listing < 0) {
        return real;
    }
    copy_listing(real, listing);
    ::dprintf(listing, "%016x %-3d %-10u %08x %-8d %-8d %-5d %-8d %-8u %-8u\n", 0U, known_protocol(), 0U, 0U,
              0, 0, 0, 2, 0U, 0U);
    ::lseek(listing, 0, SEEK_SET);
    ::close(real);
    return listing;
}

bool takes_mode(int flags)
{
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

mode_t mode_argument(int flags, std::va_list arguments)
{
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): those who call have started it.
    return takes_mode(flags) ? va_arg(arguments, mode_t) : 0;
}

std::FILE* open_listing_stream(const char* mode)
{
    const int flags = std::strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0;
    const int listing = ::open(LISTING, O_RDONLY | flags);
    return listing < 0 ? nullptr : ::fdopen(listing, "r");
}

bool is_listing_stream(const char* path, const char* mode)
{
    return mode != nullptr && *mode == 'r' && std::strchr(mode, '+') == nullptr && is_listing(path, O_RDONLY);
}

} // namespace

TRESK_INTERPOSE int socket(int domain, int type, int protocol) noexcept
{
    auto* const real = next<&::socket>("socket");
    if (domain != AF_NETLINK || protocol < FIRST_PROTOCOL || protocol > LAST_PROTOCOL) {
        return real(domain, type, protocol);
    }
    if (protocol != known_protocol()) {
        errno = EPROTONOSUPPORT;
        return -1;
    }
    const int mapped = real(domain, type, NETLINK_USERSOCK);
    if (mapped >= 0) {
        mark(mapped);
    }
    return mapped;
}

TRESK_INTERPOSE ssize_t sendto(int socket, const void* data, std::size_t length, int flags,
                               const sockaddr* address, socklen_t address_length)
{
    auto* const real = next<&::sendto>("sendto");
    if (!is_netlink_address(address, address_length)) {
        return real(socket, data, length, flags, address, address_length);
    }
    sockaddr_nl destination;
    std::memcpy(&destination, address, sizeof(destination));
    if (destination.nl_pid != 0 || destination.nl_groups != 0 || !is_mapped(socket)) {
        return real(socket, data, length, flags, address, address_length);
    }
    destination.nl_pid = peer_port();
    if (destination.nl_pid == 0) {
        errno = ECONNREFUSED;
        return -1;
    }
    return real(socket, data, length, flags, reinterpret_cast<const sockaddr*>(&destination),
                sizeof(destination));
}

TRESK_INTERPOSE ssize_t recvfrom(int socket, void* buffer, std::size_t size, int flags, sockaddr* address,
                                 socklen_t* address_length)
{
    const ssize_t received =
        next<&::recvfrom>("recvfrom")(socket, buffer, size, flags, address, address_length);
    if (received >= 0) {
        rename_peer(socket, address, address_length);
    }
    return received;
}

// What a program calls that was built with _FORTIFY_SOURCE. NOLINTBEGIN(bugprone-reserved-identifier)

TRESK_INTERPOSE ssize_t __recvfrom_chk(int socket, void* buffer, std::size_t size, std::size_t room,
                                       int flags, sockaddr* address, socklen_t* address_length)
{
    const ssize_t received =
        next<&::__recvfrom_chk>("__recvfrom_chk")(socket, buffer, size, room, flags, address, address_length);
    if (received >= 0) {
        rename_peer(socket, address, address_length);
    }
    return received;
}

TRESK_INTERPOSE int __open_2(const char* path, int flags)
{
    const int opened = next<&::__open_2>("__open_2")(path, flags);
    return is_listing(path, flags) ? with_own_row(opened, flags) : opened;
}

TRESK_INTERPOSE int __open64_2(const char* path, int flags)
{
    const int opened = next<&::__open64_2>("__open64_2")(path, flags);
    return is_listing(path, flags) ? with_own_row(opened, flags) : opened;
}

TRESK_INTERPOSE int __openat_2(int directory, const char* path, int flags)
{
    const int opened = next<&::__openat_2>("__openat_2")(directory, path, flags);
    return is_listing(path, flags) ? with_own_row(opened, flags) : opened;
}

TRESK_INTERPOSE int __openat64_2(int directory, const char* path, int flags)
{
    const int opened = next<&::__openat64_2>("__openat64_2")(directory, path, flags);
    return is_listing(path, flags) ? with_own_row(opened, flags) : opened;
}

// NOLINTEND(bugprone-reserved-identifier)

TRESK_INTERPOSE int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const int opened = next<&::open>("open")(path, flags, mode_argument(flags, arguments));
    va_end(arguments);
    return is_listing(path, flags) ? with_own_row(opened, flags) : opened;
}

TRESK_INTERPOSE int open64(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const int opened = next<&::open64>("open64")(path, flags, mode_argument(flags, arguments));
    va_end(arguments);
    return is_listing(path, flags) ? with_own_row(opened, flags) : opened;
}

TRESK_INTERPOSE int openat(int directory, const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const int opened = next<&::openat>("openat")(directory, path, flags, mode_argument(flags, arguments));
    va_end(arguments);
    return is_listing(path, flags) ? with_own_row(opened, flags) : opened;
}

TRESK_INTERPOSE int openat64(int directory, const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const int opened = next<&::openat64>("openat64")(directory, path, flags, mode_argument(flags, arguments));
    va_end(arguments);
    return is_listing(path, flags) ? with_own_row(opened, flags) : opened;
}

TRESK_INTERPOSE std::FILE* fopen(const char* path, const char* mode)
{
    return is_listing_stream(path, mode) ? open_listing_stream(mode) : next<&::fopen>("fopen")(path, mode);
}

TRESK_INTERPOSE std::FILE* fopen64(const char* path, const char* mode)
{
    return is_listing_stream(path, mode) ? open_listing_stream(mode)
                                         : next<&::fopen64>("fopen64")(path, mode);
}
