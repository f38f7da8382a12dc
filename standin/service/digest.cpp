// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/digest.h"

#include <openssl/evp.h>

#include <array>
#include <new>
#include <string_view>

namespace tresk::service {

namespace {

std::string hexadecimal(const std::string& text, const EVP_MD* kind)
{
    std::array<unsigned char, kDigestDigits / 2> digest{};
    if (EVP_Digest(text.data(), text.size(), digest.data(), nullptr, kind, nullptr) != 1) {
        throw std::bad_alloc();
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string key;
    for (const unsigned char byte : digest) {
        key += digits[byte >> 4U];
        key += digits[byte & 0xFU];
    }
    return key;
}

} // namespace

std::string sha256_of(const std::string& text)
{
    return hexadecimal(text, EVP_sha256());
}

std::string sm3_of(const std::string& text)
{
    return hexadecimal(text, EVP_sm3());
}

} // namespace tresk::service
