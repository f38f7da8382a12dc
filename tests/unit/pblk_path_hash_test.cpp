// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/handles.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <string>

namespace tresk::test {

namespace {

std::string hash_of(const std::string& path)
{
    const Malloced<char> hash(tresk_pblk_get_path_hash(path.c_str()));
    return hash ? hash.get() : "(null)";
}

class PblkPathHash : public FrameworkTest {};

TEST_F(PblkPathHash, OfKnownTextsIsTheirKnownDigest)
{
    EXPECT_EQ(hash_of(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hash_of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hash_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST_F(PblkPathHash, CountsTheFirst4095Bytes)
{
    const std::string kept(4095, 'a');
    EXPECT_EQ(hash_of(kept), "e2e8bab8dad4a3879ffed30a624fee2310f39141d454c57f89e908e527dfd8cd");
    EXPECT_EQ(hash_of(kept + "b"), hash_of(kept));
    EXPECT_NE(hash_of(kept.substr(1)), hash_of(kept));
}

TEST_F(PblkPathHash, IsThatOfProcessProtection)
{
    for (const std::string& path :
         {std::string("/usr/bin/a"), std::string("\xFF\x80"), std::string(9000, 'x')}) {
        const Malloced<char> other(tresk_ppro_get_path_hash(path.c_str()));
        EXPECT_EQ(hash_of(path), other.get());
    }
}

TEST_F(PblkPathHash, OfNullIsNullWithoutAReport)
{
    EXPECT_EQ(tresk_pblk_get_path_hash(nullptr), nullptr);
    EXPECT_TRUE(framework().order.empty());
}

} // namespace

} // namespace tresk::test
