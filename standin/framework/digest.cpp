// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_adv: the SM3 digest of a text.
#include "common/edge.h"
#include "common/framework.h"

#include <openssl/evp.h>

TRESK_EXPORT int tresk_sm3_file_path(const char* text, std::size_t length, unsigned char digest[32])
{
    if (text == nullptr || digest == nullptr) {
        return -1;
    }
    return EVP_Digest(text, length, digest, nullptr, EVP_sm3(), nullptr) == 1 ? 0 : -1;
}
