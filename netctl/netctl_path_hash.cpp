// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The key under which a program's network policy is kept: the SM3 digest of its path, and of its user while
// users are distinguished. The framework computes the digest.
#include "common/edge.h"
#include "common/handles.h"
#include "common/report.h"
#include "common/text.h"
#include "netctl/netctl_policy.h"
#include "netctl/user_distinction.h"
#include "tresk_extend.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

namespace tresk::netctl {

namespace {

using Digest = std::array<unsigned char, 32>;

constexpr std::size_t kHashDigits = 2 * std::tuple_size_v<Digest>;

/// While this function of the framework is on, all programs share one key.
constexpr int kOneKeyFunction = 8;

/// Room for what follows the path. A user id of more than nine characters loses its end, and a path beyond
/// kPathMeasured bytes takes room from its user: both are kept, because the service keys its entries so.
constexpr std::size_t kUserRoom = 10;
constexpr std::size_t kPathMeasured = 4085;
constexpr std::size_t kLongestText = kPathMeasured + kUserRoom;

/// The text that names @path, or @path of @uid.
std::string key_text(const char* path, std::int32_t uid)
{
    std::string text(path, strnlen(path, kLongestText));
    const std::size_t room = std::min(text.size(), kPathMeasured) + kUserRoom;
    if (user_distinction() != 0) {
        text += "+" + std::to_string(uid);
    }
    text.resize(std::min(text.size(), room));
    return text;
}

Digest digest_of(const std::string& text)
{
    Digest digest = {};
    if (tresk_get_func_status(kOneKeyFunction) != 1) {
        // Zeros also where the framework computes nothing.
        (void)tresk_sm3_file_path(text.c_str(), text.size(), digest.data());
    }
    return digest;
}

Malloced<char> path_hash(const char* function, const char* path, std::int32_t uid)
{
    if (path == nullptr) {
        return nullptr;
    }
    Malloced<char> hash(static_cast<char*>(std::calloc(kHashDigits + 1, 1)));
    if (!hash) {
        log_error(kSource, function, "%s: failed to malloc XML hash!\n", function);
        errno = ENOMEM;
        return nullptr;
    }
    write_hex(digest_of(key_text(path, uid)), hash.get());
    return hash;
}

} // namespace

} // namespace tresk::netctl

using namespace tresk;

TRESK_EXPORT char* tresk_netctl_get_path_hash(const char* path, int32_t uid)
{
    return at_edge<char*>(
        nullptr, [&] { return netctl::path_hash("tresk_netctl_get_path_hash", path, uid).release(); });
}
