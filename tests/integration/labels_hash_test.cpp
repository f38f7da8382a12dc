// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/integration/dbus_fixture.h"
#include "tests/support/capture.h"

#include <barrier>
#include <cerrno>
#include <climits>
#include <ostream>
#include <thread>

namespace tresk::test {

namespace {

/// What a function gave for each path; nothing for null.
using Hash = std::optional<std::string>;
using Hashes = std::optional<std::vector<Hash>>;
using Paths = std::vector<const char*>;

Hashes of_one(char* hash)
{
    const Malloced<char> owner(hash);
    return owner ? Hashes({std::string(owner.get())}) : std::nullopt;
}

Hashes of_many(char** hashes, std::size_t count)
{
    const Malloced<char*> owner(hashes);
    if (!owner) {
        return std::nullopt;
    }
    std::vector<Hash> texts;
    for (std::size_t index = 0; index < count; ++index) {
        const Malloced<char> hash(hashes[index]);
        texts.push_back(hash ? Hash(hash.get()) : std::nullopt);
    }
    return texts;
}

template <auto function>
Hashes ask_one(const Paths& paths)
{
    return of_one(function(paths.front()));
}

template <auto function>
Hashes ask_many(const Paths& paths)
{
    return of_many(function(paths.data(), static_cast<int>(paths.size())), paths.size());
}

struct HashFunction {
    const char* name;
    const char* function;
    const char* method;
    const char* signature;
    Hashes (*ask)(const Paths& paths); ///< one path where the function takes one
    const char* open;                  ///< the beginning of a tuple of one text
    const char* close;
    char** (*ask_with_count)(const char* const* paths, int count); ///< null where the function takes one
};

std::ostream& operator<<(std::ostream& out, const HashFunction& row)
{
    return out << row.function;
}

const HashFunction kSingle[] = {
    {"Calculate", "tresk_calc_file_hash_value", "tresk_xattr_calc_hash_by_path", "s",
     ask_one<tresk_calc_file_hash_value>, "('", "',)", nullptr},
    {"Get", "tresk_get_file_hash_value", "tresk_xattr_get_file_hash_value", "s",
     ask_one<tresk_get_file_hash_value>, "('", "',)", nullptr},
};

const HashFunction kMany[] = {
    {"CalculateMany", "tresk_calc_multi_file_hash_value", "tresk_xattr_calc_multi_file_hash_value", "as",
     ask_many<tresk_calc_multi_file_hash_value>, "(['", "'],)", tresk_calc_multi_file_hash_value},
    {"GetMany", "tresk_get_multi_file_hash_value", "tresk_xattr_get_multi_file_hash_value", "as",
     ask_many<tresk_get_multi_file_hash_value>, "(['", "'],)", tresk_get_multi_file_hash_value},
};

constexpr auto by_name = [](const auto& row) { return std::string(row.param.name); };

/// A tuple of a text, or of an array of it alone.
std::string tuple_of(const std::string& text, const HashFunction& row)
{
    return row.open + text + row.close;
}

template <class Fixture>
class HashFixture : public Fixture, public ::testing::WithParamInterface<HashFunction> {
  protected:
    using ::testing::WithParamInterface<HashFunction>::GetParam;

    static Hashes ask(const Paths& paths = {"/usr/bin/a"}) { return GetParam().ask(paths); }
};

class FileHash : public HashFixture<ServiceTest> {
  protected:
    /// With @text where the function's reply holds its first hash.
    void answer(const std::string& text) { service.answer(GetParam().method, tuple_of(text, GetParam())); }

    static ServiceCall question_about(const std::string& path)
    {
        return {"/xattr", "com.meron.tresk.xattr", GetParam().method, GetParam().signature,
                tuple_of(path, GetParam())};
    }
};

// --- where all four are alike ---

INSTANTIATE_TEST_SUITE_P(One, FileHash, ::testing::ValuesIn(kSingle), by_name);
INSTANTIATE_TEST_SUITE_P(Many, FileHash, ::testing::ValuesIn(kMany), by_name);

TEST_P(FileHash, IsAskedOfTheServiceOnce)
{
    answer("abc");
    EXPECT_EQ(ask(), (Hashes({"abc"})));
    EXPECT_EQ(service.calls(), std::vector<ServiceCall>{question_about("/usr/bin/a")});
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(FileHash, IsAskedWithThePathAsItIs)
{
    answer("abc");
    for (const std::string& path : {std::string(), std::string("relative/../b"), std::string("/data/home/a"),
                                    std::string("\u00e4 b/%s"), std::string(9000, 'p')}) {
        service.forget_calls();
        EXPECT_EQ(ask({path.c_str()}), (Hashes({"abc"})));
        EXPECT_EQ(service.calls(), std::vector<ServiceCall>{question_about(path)});
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(FileHash, IsTheAnsweredTextUpTo64Bytes)
{
    for (const std::string& hash :
         {std::string("x"), std::string("\u00e4 %s"), std::string(63, 'f'), std::string(64, 'f')}) {
        answer(hash);
        EXPECT_EQ(ask(), (Hashes({hash})));
    }
}

TEST_P(FileHash, IsInTheFirstMemberOfALongerReply)
{
    std::string reply = tuple_of("abc", GetParam());
    reply.replace(reply.rfind(','), 2, ", 'more', int32 7)");
    service.answer(GetParam().method, reply);
    EXPECT_EQ(ask(), (Hashes({"abc"})));
}

TEST_P(FileHash, IsAskedWithoutAWord)
{
    answer("abc");
    EXPECT_EQ(captured_stdout([] { ask(); }), "");
    EXPECT_EQ(captured_stderr([] { ask(); }), "");
}

TEST_P(FileHash, IsNoneForAPathThatCannotBeSent)
{
    for (const char* path : {static_cast<const char*>(nullptr), "\xFF", "cut \xE2\x82", "\xED\xA0\x80"}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(ask({path}), std::nullopt);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(GetParam().function, "libtresk_dbus");
    }
    EXPECT_TRUE(service.calls().empty());
}

TEST_P(FileHash, IsNoneForAnErrorOfTheService)
{
    service.fail(GetParam().method, "MERON.TRESK.LABEL.GET.ERR", "/usr/bin/a:not readable,%s");
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(only_log().text, "MERON.TRESK.LABEL.GET.ERR: /usr/bin/a:not readable,%s\n");
    EXPECT_EQ(only_error().code, -1005);
    EXPECT_EQ(only_error().subject, "/usr/bin/a");
    EXPECT_EQ(only_error().text, "not readable");
}

TEST_P(FileHash, IsNoneForTheServicesOwnOk)
{
    service.fail(GetParam().method, "MERON.TRESK.OK", "fine");
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(FileHash, IsNoneForAReplyOfAnotherKind)
{
    const char* const other = GetParam().ask_with_count == nullptr ? "(['abc'],)" : "('abc',)";
    for (const char* reply : {other, "()", "(int32 5,)", "(<'abc'>,)", "(objectpath '/abc',)", "(b'abc',)",
                              "([<'abc'>],)", "([objectpath '/abc'],)", "((['abc'],),)", "(@as [], 5)"}) {
        if (std::string_view(reply) == "(@as [], 5)" && GetParam().ask_with_count != nullptr) {
            continue; // of the right kind, and empty
        }
        framework().reset();
        service.answer(GetParam().method, reply);
        EXPECT_EQ(ask(), std::nullopt) << reply;
        expect_interface_error_was_told();
    }
}

TEST_P(FileHash, IsNoneWhenTheServiceDies)
{
    service.die_on(GetParam().method);
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(only_error().code, -1011);
    EXPECT_EQ(framework().logs.size(), 1U);
}

TEST_P(FileHash, IsNoneWithoutABus)
{
    bus.stop();
    EXPECT_EQ(ask(), std::nullopt);
    expect_interface_error_was_told();
}

TEST_P(FileHash, IsGivenToFourThreadsAtOnce)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 10;
    answer(std::string(64, 'f'));
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&start] {
            start.arrive_and_wait();
            for (int round = 0; round < kRounds; ++round) {
                EXPECT_EQ(ask(), (Hashes({std::string(64, 'f')})));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(service.calls(),
              std::vector<ServiceCall>(std::size_t{kThreads} * kRounds, question_about("/usr/bin/a")));
    EXPECT_TRUE(framework().order.empty());
}

class FileHashAlone : public HashFixture<BusTest> {};

INSTANTIATE_TEST_SUITE_P(One, FileHashAlone, ::testing::ValuesIn(kSingle), by_name);
INSTANTIATE_TEST_SUITE_P(Many, FileHashAlone, ::testing::ValuesIn(kMany), by_name);

TEST_P(FileHashAlone, IsNoneWithoutTheService)
{
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_EQ(only_error().code, -1011);
    EXPECT_EQ(framework().logs.size(), 1U);
}

// --- of one file ---

class SingleFileHash : public FileHash {};

INSTANTIATE_TEST_SUITE_P(One, SingleFileHash, ::testing::ValuesIn(kSingle), by_name);

TEST_P(SingleFileHash, IsTheWholeTextHoweverLongItIs)
{
    for (const std::size_t length : {65U, 128U, 10000U}) {
        answer(std::string(length, 'f'));
        EXPECT_EQ(ask(), (Hashes({std::string(length, 'f')})));
    }
}

TEST_P(SingleFileHash, IsNoneWhereItIsEmpty)
{
    answer("");
    EXPECT_EQ(ask(), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

// --- of many files ---

class ManyFileHashes : public FileHash {
  protected:
    void answer_all(const std::string& array) { service.answer(GetParam().method, "(" + array + ",)"); }
};

INSTANTIATE_TEST_SUITE_P(Many, ManyFileHashes, ::testing::ValuesIn(kMany), by_name);

TEST_P(ManyFileHashes, AreAskedForInOrderAndInOneCall)
{
    answer_all("['1', '2', '3']");
    EXPECT_EQ(ask({"/b", "/a", "/b"}), (Hashes({"1", "2", "3"})));
    EXPECT_EQ(service.calls(),
              (std::vector<ServiceCall>{
                  {"/xattr", "com.meron.tresk.xattr", GetParam().method, "as", "(['/b', '/a', '/b'],)"}}));
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(ManyFileHashes, AreNullBehindTheLastThatWasAnswered)
{
    answer_all("['1', '2']");
    EXPECT_EQ(ask({"/a", "/b", "/c", "/d"}), (Hashes({"1", "2", std::nullopt, std::nullopt})));
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(ManyFileHashes, AreNoMoreThanThePaths)
{
    answer_all("['1', '2', '3', '4']");
    EXPECT_EQ(ask({"/a", "/b"}), (Hashes({"1", "2"})));
    EXPECT_EQ(ask({"/a"}), (Hashes({"1"})));
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(ManyFileHashes, AreNoneWhereNoneWasAnswered)
{
    answer_all("@as []");
    EXPECT_EQ(ask({"/a", "/b"}), std::nullopt);
    EXPECT_TRUE(framework().order.empty());
}

TEST_P(ManyFileHashes, KeepTheirPlaceWhereOneIsEmpty)
{
    answer_all("['', '2', '']");
    EXPECT_EQ(ask({"/a", "/b", "/c"}), (Hashes({"", "2", ""})));
    EXPECT_EQ(ask({"/a"}), (Hashes({""})));
}

TEST_P(ManyFileHashes, AreCutTo64BytesEach)
{
    const std::string full(64, 'f');
    answer_all("['" + full + "g', '" + full + std::string(5000, 'h') + "', '" + std::string(63, 'f') +
               "\u00e4', 'i']");
    EXPECT_EQ(ask({"/a", "/b", "/c", "/d"}), (Hashes({full, full, std::string(63, 'f') + "\xC3", "i"})));
}

TEST_P(ManyFileHashes, AreRefusedWithoutPaths)
{
    const char* const path = "/a";

    struct Row {
        const char* const* paths;
        int count;
    };

    for (const Row& row : {Row{nullptr, 1}, Row{nullptr, 0}, Row{nullptr, -1}, Row{&path, 0}, Row{&path, -1},
                           Row{&path, INT_MIN}}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(GetParam().ask_with_count(row.paths, row.count), nullptr);
        EXPECT_EQ(errno, EINVAL);
        expect_bad_argument_was_told(GetParam().function, "libtresk_dbus");
        EXPECT_EQ(only_log().format, "%s");
    }
    EXPECT_TRUE(service.calls().empty());
}

TEST_P(ManyFileHashes, AreRefusedAllWhereOnePathCannotBeSent)
{
    for (const char* bad : {static_cast<const char*>(nullptr), "\xFF"}) {
        for (const Paths& paths :
             {Paths{bad, "/a", "/b"}, Paths{"/a", bad, "/b"}, Paths{"/a", "/b", bad}, Paths{bad, bad}}) {
            framework().reset();
            errno = 0;
            EXPECT_EQ(ask(paths), std::nullopt);
            EXPECT_EQ(errno, EINVAL);
            expect_bad_argument_was_told(GetParam().function, "libtresk_dbus");
        }
    }
    EXPECT_TRUE(service.calls().empty());
}

TEST_P(ManyFileHashes, AreAskedForTenThousandFilesInOneCall)
{
    constexpr std::size_t kFiles = 10000;
    std::vector<std::string> texts;
    std::string listed;
    for (std::size_t number = 0; number < kFiles; ++number) {
        texts.push_back("/f" + std::to_string(number));
        listed += (number == 0 ? "'" : ", '") + texts.back() + "'";
    }
    Paths paths;
    std::vector<Hash> hashes;
    for (const std::string& text : texts) {
        paths.push_back(text.c_str());
        hashes.emplace_back(text);
    }
    answer_all("[" + listed + "]");
    EXPECT_TRUE(ask(paths) == Hashes(hashes));
    ASSERT_EQ(service.calls().size(), 1U);
    EXPECT_TRUE(service.calls()[0].arguments == "([" + listed + "],)");
}

TEST_P(ManyFileHashes, AreNoneForMoreThanOneMessageHolds)
{
    const std::string path(1 << 20U, 'p');
    EXPECT_EQ(ask(Paths(65, path.c_str())), std::nullopt); // an array holds 64 megabytes
    expect_interface_error_was_told();
    EXPECT_TRUE(service.calls().empty());
}

} // namespace

} // namespace tresk::test
