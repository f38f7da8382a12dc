// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The key of a path, beside the digest of the same text and its digits in a buffer of the caller's.
#include "bench/library/contest.h"
#include "common/handles.h"
#include "tresk_extend.h"

#include <benchmark/benchmark.h>
#include <openssl/sha.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace tresk::bench {

namespace {

void hash_barely(const std::string& path)
{
    constexpr char digits[] = "0123456789abcdef";
    SHA256_CTX context;
    unsigned char digest[SHA256_DIGEST_LENGTH];
    char text[2 * SHA256_DIGEST_LENGTH + 1];
    SHA256_Init(&context);
    SHA256_Update(&context, path.data(), path.size());
    SHA256_Final(digest, &context);
    char* out = text;
    for (const unsigned char byte : digest) {
        *out++ = digits[byte >> 4U];
        *out++ = digits[byte & 0xFU];
    }
    *out = '\0';
    ::benchmark::DoNotOptimize(text);
}

void hash_straight_on(const std::string& path)
{
    const Malloced<char> copy(static_cast<char*>(std::calloc(4096, 1)));
    const Malloced<char> text(static_cast<char*>(std::calloc(65, 1)));
    std::strncpy(copy.get(), path.c_str(), 4095);
    SHA256_CTX context;
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256_Init(&context);
    SHA256_Update(&context, copy.get(), ::strnlen(copy.get(), 4096));
    SHA256_Final(digest, &context);
    for (std::size_t i = 0; i < sizeof(digest); ++i) {
        (void)std::snprintf(text.get() + 2 * i, 3, "%02x", static_cast<unsigned>(digest[i]));
    }
    ::benchmark::DoNotOptimize(text.get());
}

Contest contest_of(std::size_t length)
{
    const std::string path = "/" + std::string(length - 1, 'p');
    Contest contest;
    contest.name = "path hash, " + std::to_string(length) + " bytes";
    contest.bound = 1.30;
    contest.series = "path hash by length";
    contest.size = static_cast<std::int64_t>(length);
    contest.clock = Clock::thread;
    contest.calls = 5'000;
    contest.turns = 41;
    contest.quick_turns = 15;
    contest.instructions_bound = 1.30;
    contest.library = [path] {
        const Malloced<char> hash(tresk_ppro_get_path_hash(path.c_str()));
        require(hash != nullptr, "no hash");
    };
    contest.yardstick = [path] { hash_barely(path); };
    contest.naive = [path] { hash_straight_on(path); };
    return contest;
}

} // namespace

Subject path_hash()
{
    return {"hash", {contest_of(16), contest_of(100), contest_of(1000), contest_of(4000)}, {}};
}

} // namespace tresk::bench
