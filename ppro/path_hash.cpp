// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ppro/path_hash.h"

#include "common/data_path.h"
#include "common/text.h"

#include <openssl/sha.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace tresk {

namespace {

using Digest = std::array<unsigned char, SHA256_DIGEST_LENGTH>;

constexpr std::size_t kHashDigits = 2 * std::tuple_size_v<Digest>;

bool take_digest(std::string_view text, Digest& digest)
{
    SHA256_CTX context;
    return SHA256_Init(&context) == 1 && SHA256_Update(&context, text.data(), text.size()) == 1 &&
           SHA256_Final(digest.data(), &context) == 1;
}

} // namespace

Malloced<char> path_hash(Source source, const char* function, const char* path)
{
    if (path == nullptr) {
        return nullptr;
    }
    Malloced<char> hash(static_cast<char*>(std::malloc(kHashDigits + 1)));
    if (!hash) {
        log_error(source, "malloc", "%s: failed to malloc XML hash!\n", function);
        errno = ENOMEM;
        return nullptr;
    }
    Digest digest;
    if (!take_digest({path, strnlen(path, kPathKept)}, digest)) {
        return nullptr;
    }
    write_hex(digest, hash.get());
    hash.get()[kHashDigits] = '\0';
    return hash;
}

} // namespace tresk
