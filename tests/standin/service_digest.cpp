// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/digest.h"

#include <gtest/gtest.h>

namespace tresk::test {

TEST(ServiceDigest, Sha256OfKnownTexts)
{
    EXPECT_EQ(service::sha256_of(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(service::sha256_of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(ServiceDigest, Sm3OfKnownTexts)
{
    EXPECT_EQ(service::sm3_of("abc"), "66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0");
    EXPECT_EQ(service::sm3_of("abcdabcdabcdabcdabcdabcdabcdabcdabcdabcdabcdabcdabcdabcdabcdabcd"),
              "debe9ff92275b8a138604889c18e5a4d6fdb70e5387e5765293dcba39c0c5732");
}

} // namespace tresk::test
