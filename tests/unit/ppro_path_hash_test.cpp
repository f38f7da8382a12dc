// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/handles.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <openssl/sha.h>

#include <string>
#include <string_view>

namespace tresk::test {

namespace {

/// The step of the digest that fails, by its name; empty for none.
std::string_view failing_step;

std::string hash_of(const std::string& path)
{
    const Malloced<char> hash(tresk_ppro_get_path_hash(path.c_str()));
    return hash ? hash.get() : "(null)";
}

class PproPathHash : public FrameworkTest {};

TEST_F(PproPathHash, IsNoneWhereADigestCannotBeMade)
{
    for (const std::string_view step : {"SHA256_Init", "SHA256_Update", "SHA256_Final"}) {
        failing_step = step;
        EXPECT_EQ(hash_of("abc"), "(null)") << step;
        failing_step = {};
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(PproPathHash, OfTheEmptyTextIsTheKnownDigest)
{
    EXPECT_EQ(hash_of(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST_F(PproPathHash, OfAbcIsTheKnownDigest)
{
    EXPECT_EQ(hash_of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(PproPathHash, OfATwoBlockTextIsTheKnownDigest)
{
    EXPECT_EQ(hash_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST_F(PproPathHash, OfAPathIsTheDigestOfItsText)
{
    EXPECT_EQ(hash_of("/usr/bin/a"), "5c3584785ab7a515c4c7af3aa3590b0044d4c831b6aa9313e6314da9ee64b8ca");
}

TEST_F(PproPathHash, CountsTheFirst4095Bytes)
{
    const std::string kept(4095, 'a');
    EXPECT_EQ(hash_of(kept), "e2e8bab8dad4a3879ffed30a624fee2310f39141d454c57f89e908e527dfd8cd");
    EXPECT_EQ(hash_of(kept + "b"), hash_of(kept));
    EXPECT_EQ(hash_of(kept + std::string(100000, 'c')), hash_of(kept));
}

TEST_F(PproPathHash, TellsPathsApartBelow4095Bytes)
{
    EXPECT_EQ(hash_of(std::string(4094, 'a')),
              "642e0c0e001751f75dec3be23a1ef8b378e2f56ae0a249f363c2e4acd6098c15");
    EXPECT_EQ(hash_of(std::string(4085, 'a')),
              "4aec4826df6acf412acd1858181325c2939e520b33bbf7be631561d1b64f4b8e");
    EXPECT_EQ(hash_of(std::string(4086, 'a')),
              "4821ecb40a9328bb8c543a17729946fae3e8f223762f70f41538e339e528f6cb");
}

TEST_F(PproPathHash, CutsThroughACharacterAtTheLastByte)
{
    const std::string start(4094, 'a');
    EXPECT_EQ(hash_of(start + "\xC3\xA9"), hash_of(start + "\xC3"));
}

TEST_F(PproPathHash, TakesBytesThatAreNoText)
{
    EXPECT_EQ(hash_of("\xFF\x80\x01"), "1b28450642394cac2cd61bbfb2b88c6325ac0c94944091bfd1ffdd8fad6571f9");
}

TEST_F(PproPathHash, OfNullIsNullWithoutAReport)
{
    EXPECT_EQ(tresk_ppro_get_path_hash(nullptr), nullptr);
    EXPECT_TRUE(framework().order.empty());
}

bool fails(std::string_view step)
{
    return step == failing_step;
}

} // namespace

} // namespace tresk::test

// The names are the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

int __real_SHA256_Init(SHA256_CTX* context);
int __real_SHA256_Update(SHA256_CTX* context, const void* data, std::size_t length);
int __real_SHA256_Final(unsigned char* digest, SHA256_CTX* context);
int __wrap_SHA256_Init(SHA256_CTX* context);
int __wrap_SHA256_Update(SHA256_CTX* context, const void* data, std::size_t length);
int __wrap_SHA256_Final(unsigned char* digest, SHA256_CTX* context);

int __wrap_SHA256_Init(SHA256_CTX* context)
{
    return tresk::test::fails("SHA256_Init") ? 0 : __real_SHA256_Init(context);
}

int __wrap_SHA256_Update(SHA256_CTX* context, const void* data, std::size_t length)
{
    return tresk::test::fails("SHA256_Update") ? 0 : __real_SHA256_Update(context, data, length);
}

int __wrap_SHA256_Final(unsigned char* digest, SHA256_CTX* context)
{
    return tresk::test::fails("SHA256_Final") ? 0 : __real_SHA256_Final(digest, context);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
