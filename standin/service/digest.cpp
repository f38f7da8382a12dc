// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/digest.h"

#include "standin/service/glib_handles.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>
#include <string_view>
#include <vector>

namespace tresk::service {

namespace {

using Digest = std::array<unsigned char, kDigestDigits / 2>;
using DigestContext = Handle<EVP_MD_CTX, EVP_MD_CTX_free>;

constexpr std::size_t kBlockBytes = 65536;

void require_done(int outcome)
{
    if (outcome != 1) {
        throw std::bad_alloc();
    }
}

std::string hexadecimal(const Digest& digest)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : digest) {
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

std::string digest_of(const std::string& text, const EVP_MD* kind)
{
    Digest digest{};
    require_done(EVP_Digest(text.data(), text.size(), digest.data(), nullptr, kind, nullptr));
    return hexadecimal(digest);
}

} // namespace

std::string sha256_of(const std::string& text)
{
    return digest_of(text, EVP_sha256());
}

std::optional<std::string> sha256_of_content(int descriptor)
{
    const DigestContext context(EVP_MD_CTX_new());
    require_done(EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr));
    std::vector<char> block(kBlockBytes);
    ssize_t length = 0;
    while ((length = ::read(descriptor, block.data(), block.size())) != 0) {
        if (length < 0 && errno != EINTR) {
            return std::nullopt;
        }
        require_done(EVP_DigestUpdate(context.get(), block.data(), length < 0 ? 0 : std::size_t(length)));
    }
    Digest digest{};
    require_done(EVP_DigestFinal_ex(context.get(), digest.data(), nullptr));
    return hexadecimal(digest);
}

std::string sm3_of(const std::string& text)
{
    return digest_of(text, EVP_sm3());
}

} // namespace tresk::service
