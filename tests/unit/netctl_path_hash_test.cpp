// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/handles.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <openssl/evp.h>

#include <cstring>
#include <string>

namespace tresk::test {

namespace {

/// The framework's digest, done by a library that knows it.
int sm3(const char* text, std::size_t length, unsigned char* digest)
{
    return EVP_Digest(text, length, digest, nullptr, EVP_sm3(), nullptr) == 1 ? 0 : -1;
}

const std::string kZeros(64, '0');

class NetctlPathHash : public FrameworkTest {
  protected:
    void SetUp() override
    {
        FrameworkTest::SetUp();
        user_distinguish = 0;
        framework().sm3_file_path = [this](const char* text, std::size_t length, unsigned char* digest) {
            hashed.assign(text, length);
            return sm3(text, length, digest);
        };
    }

    void TearDown() override { user_distinguish = 0; }

    static std::string hash_of(const std::string& path, std::int32_t uid = 1000)
    {
        const Malloced<char> hash(tresk_netctl_get_path_hash(path.c_str(), uid));
        return hash ? hash.get() : "(null)";
    }

    /// The text that is hashed for @path and @uid.
    std::string text_of(const std::string& path, std::int32_t uid)
    {
        hashed = "(nothing)";
        hash_of(path, uid);
        return hashed;
    }

    std::string hashed;
};

TEST_F(NetctlPathHash, OfAbcIsTheKnownDigest)
{
    EXPECT_EQ(hash_of("abc"), "66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0");
}

TEST_F(NetctlPathHash, OfAWholeBlockIsTheKnownDigest)
{
    std::string text;
    for (int i = 0; i < 16; ++i) {
        text += "abcd";
    }
    EXPECT_EQ(hash_of(text), "debe9ff92275b8a138604889c18e5a4d6fdb70e5387e5765293dcba39c0c5732");
}

TEST_F(NetctlPathHash, OfTheEmptyTextIsTheKnownDigest)
{
    EXPECT_EQ(hash_of(""), "1ab21d8355cfa17f8e61194831e81a8f22bec8c728fefb747ed035eb5082aa2b");
    EXPECT_EQ(hashed, "");
}

TEST_F(NetctlPathHash, IsThePathsAloneWhileUsersAreNotDistinguished)
{
    EXPECT_EQ(text_of("/usr/bin/x", 1000), "/usr/bin/x");
    EXPECT_EQ(hash_of("/usr/bin/x", 1000), hash_of("/usr/bin/x", -1));
}

TEST_F(NetctlPathHash, IsOfThePathAndTheUserWhileUsersAreDistinguished)
{
    for (const std::int32_t setting : {1, 2, -1}) {
        user_distinguish = setting;
        EXPECT_EQ(text_of("/usr/bin/x", 1000), "/usr/bin/x+1000");
        EXPECT_EQ(text_of("/usr/bin/x", -1), "/usr/bin/x+-1");
        EXPECT_EQ(text_of("", 0), "+0");
    }
    const std::string of_user = hash_of("/usr/bin/x", 1000);
    user_distinguish = 0;
    EXPECT_EQ(hash_of("/usr/bin/x+1000"), of_user);
}

TEST_F(NetctlPathHash, KeepsNineCharactersOfTheUser)
{
    user_distinguish = 1;
    EXPECT_EQ(text_of("/a", 999999999), "/a+999999999");
    EXPECT_EQ(text_of("/a", 2147483647), "/a+214748364");
    EXPECT_EQ(text_of("/a", -2147483647 - 1), "/a+-21474836");
}

TEST_F(NetctlPathHash, KeepsTheWholeUserAfter4085BytesOfPath)
{
    user_distinguish = 1;
    const std::string path(4085, 'p');
    EXPECT_EQ(text_of(path, 123456789), path + "+123456789");
}

TEST_F(NetctlPathHash, LetsALongerPathPushTheUserOut)
{
    user_distinguish = 1;
    const std::string path(4095, 'p');
    EXPECT_EQ(text_of(path.substr(0, 4090), 123456789), path.substr(0, 4090) + "+1234");
    EXPECT_EQ(text_of(path.substr(0, 4094), 123456789), path.substr(0, 4094) + "+");
    EXPECT_EQ(text_of(path, 123456789), path);
    EXPECT_EQ(text_of(path + "q", 123456789), path);
}

TEST_F(NetctlPathHash, CountsTheFirst4095BytesOfThePath)
{
    const std::string path(4095, 'p');
    EXPECT_EQ(text_of(path + std::string(100'000, 'q'), 0), path);
    EXPECT_EQ(text_of(path.substr(0, 4094) + "\xC3\xA9", 0), path.substr(0, 4094) + "\xC3");
}

TEST_F(NetctlPathHash, IsOfTheBytesAsTheyAre)
{
    EXPECT_EQ(text_of("/usr/\xFF%s%n \n", 0), "/usr/\xFF%s%n \n");
}

TEST_F(NetctlPathHash, IsAllZerosWhileOneKeyServesAll)
{
    framework().func_status[8] = 1;
    EXPECT_EQ(hash_of("/usr/bin/x"), kZeros);
    user_distinguish = 1;
    EXPECT_EQ(hash_of("/usr/bin/x"), kZeros);
    EXPECT_EQ(hashed, "") << "the digest was asked for";
}

TEST_F(NetctlPathHash, GoesByThatOneFunctionBeingOnAlone)
{
    const std::string usual = hash_of("/usr/bin/x");
    for (const int status : {0, 2, -1}) {
        framework().func_status[8] = status;
        EXPECT_EQ(hash_of("/usr/bin/x"), usual);
    }
    framework().func_status.clear();
    for (const int other : {0, 1, 7, 9}) {
        framework().func_status[other] = 1;
    }
    EXPECT_EQ(hash_of("/usr/bin/x"), usual);
}

TEST_F(NetctlPathHash, IsWrittenInLowercaseDigits)
{
    framework().sm3_file_path = [](const char*, std::size_t, unsigned char* digest) {
        for (unsigned char i = 0; i < 32; ++i) {
            digest[i] = static_cast<unsigned char>(i * 9);
        }
        return 0;
    };
    EXPECT_EQ(hash_of("/a"), "0009121b242d363f48515a636c757e879099a2abb4bdc6cfd8e1eaf3fc050e17");
}

TEST_F(NetctlPathHash, IsOfZerosWhereTheDigestFails)
{
    framework().sm3_file_path = [](const char*, std::size_t, unsigned char*) { return -1; };
    EXPECT_EQ(hash_of("/a"), kZeros);
}

TEST_F(NetctlPathHash, IsNoneForNull)
{
    EXPECT_EQ(tresk_netctl_get_path_hash(nullptr, 1000), nullptr);
    EXPECT_TRUE(framework().order.empty());
}

} // namespace

} // namespace tresk::test
