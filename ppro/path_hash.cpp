// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ppro/path_hash.h"

#include "common/data_path.h"
#include "common/text.h"

#include <openssl/sha.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>

namespace tresk {

namespace {

using Digest = std::array<unsigned char, SHA256_DIGEST_LENGTH>;

constexpr std::size_t kHashDigits = 2 * std::tuple_size_v<Digest>;

std::optional<Digest> digest_of(std::string_view text)
{
    SHA256_CTX context;
    Digest digest;
    if (SHA256_Init(&context) != 1 || SHA256_Update(&context, text.data(), text.size()) != 1 ||
        SHA256_Final(digest.data(), &context) != 1) {
        return std::nullopt;
    }
    return digest;
}

} // namespace

Malloced<char> path_hash(Source source, const char* function, const char* path)
{
    if (path == nullptr) {
        return nullptr;
    }
    Malloced<char> hash(static_cast<char*>(std::calloc(kHashDigits + 1, 1)));
    if (!hash) {
        log_error(source, "malloc", "%s: failed to malloc XML hash!\n", function);
        errno = ENOMEM;
        return nullptr;
    }
    const std::optional<Digest> digest = digest_of({path, strnlen(path, kPathKept)});
    if (!digest) {
        return nullptr;
    }
    write_hex(*digest, hash.get());
    return hash;
}

} // namespace tresk
