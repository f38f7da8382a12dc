// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The fence at the C edge, record arrays and the two standard reports.
#include "common/edge.h"
#include "common/handles.h"
#include "common/record_array.h"
#include "common/report.h"
#include "tests/support/framework_double.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace tresk::test {

namespace {

// --- the fence ---

TEST(AtEdge, GivesTheBodysResultAndLeavesErrno)
{
    errno = ENOTTY;
    EXPECT_EQ(at_edge(-1, [] { return 5; }), 5);
    EXPECT_EQ(errno, ENOTTY);
}

TEST(AtEdge, TurnsNoMemoryIntoFailureAndEnomem)
{
    errno = 0;
    EXPECT_EQ(at_edge(-1, []() -> int { throw std::bad_alloc(); }), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(AtEdge, TurnsKindsOfNoMemoryIntoEnomem)
{
    errno = 0;
    EXPECT_EQ(at_edge(-1, []() -> int { throw std::bad_array_new_length(); }), -1);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(AtEdge, TurnsAnyOtherExceptionIntoFailureAndEio)
{
    errno = 0;
    EXPECT_EQ(at_edge(-7, []() -> int { throw std::runtime_error("odd"); }), -7);
    EXPECT_EQ(errno, EIO);
    errno = 0;
    EXPECT_EQ(at_edge(-7, []() -> int { throw 5; }), -7);
    EXPECT_EQ(errno, EIO);
}

TEST(AtEdge, GivesAFailingPointer)
{
    EXPECT_EQ(at_edge(static_cast<char*>(nullptr), []() -> char* { throw std::bad_alloc(); }), nullptr);
}

// --- records ---

struct Record {
    char name[13];
    std::int32_t number;
};

TEST(MakeRecord, IsZeroed)
{
    const Malloced<Record> record = make_record<Record>();
    const Record zero = {};
    EXPECT_EQ(std::memcmp(record.get(), &zero, sizeof(Record)), 0);
}

TEST(RecordArray, IsNullWhereItIsEmpty)
{
    RecordArray<Record> records;
    EXPECT_EQ(records.size(), 0U);
    EXPECT_EQ(records.release(), nullptr);
}

TEST(RecordArray, AppendsZeroedRecords)
{
    RecordArray<Record> records;
    for (int i = 0; i < 5; ++i) {
        Record& record = records.append();
        const Record zero = {};
        EXPECT_EQ(std::memcmp(&record, &zero, sizeof(Record)), 0);
        std::memset(&record, 0xff, sizeof(Record)); // what is moved must not show up in the next one
    }
}

TEST(RecordArray, KeepsTheRecordsWhileItGrows)
{
    constexpr int kRecords = 1000;
    RecordArray<Record> records;
    for (int i = 0; i < kRecords; ++i) {
        records.append().number = i;
    }
    EXPECT_EQ(records.size(), std::size_t{kRecords});
    const Malloced<Record> released(records.release());
    for (int i = 0; i < kRecords; ++i) {
        EXPECT_EQ(released.get()[i].number, i);
    }
}

TEST(RecordArray, FreesWhatNobodyTook) // a leak sanitizer judges
{
    RecordArray<Record> records;
    records.append();
    EXPECT_EQ(records.size(), 1U);
}

// A sanitizer's allocator ends the process instead of giving no memory.
#ifndef TRESK_SANITIZED

TEST(RecordArray, RunsOutOfMemoryAsAnException)
{
    struct Huge {
        char bytes[std::size_t{1} << 56];
    };

    RecordArray<Huge> records;
    EXPECT_THROW(records.append(), std::bad_alloc);
    EXPECT_EQ(records.size(), 0U);
}

#endif

/// An entry as the readers of policies keep them.
struct Pair {
    std::string_view name;
    NodeText number;
};

template <class Entry, class Visit>
void for_each_text(Entry& pair, Visit visit)
{
    visit(pair.name);
    visit(pair.number);
}

void fill_record(Record& record, const Pair& pair)
{
    set_text(record.name, pair.name);
    record.number = pair.number ? std::stoi(std::string(*pair.number)) : -1;
}

TEST(PackedEntries, OutliveTheTextsThatTheyWereMadeOf)
{
    constexpr int kEntries = 5000; // more than a block of them
    PackedEntries<Pair> entries;
    for (int i = 0; i < kEntries; ++i) {
        std::string name = "name " + std::to_string(i);
        std::string number = std::to_string(i);
        entries.append({name, i % 2 == 0 ? NodeText(number) : std::nullopt});
        name.assign(name.size(), '!');
        number.assign(number.size(), '!');
    }
    EXPECT_EQ(entries.size(), std::size_t{kEntries});
    int count = -7;
    const Malloced<Record> records(to_records<Record>(entries, &count, fill_record));
    ASSERT_EQ(count, kEntries);
    for (int i = 0; i < kEntries; ++i) {
        EXPECT_EQ(records.get()[i].name, "name " + std::to_string(i));
        EXPECT_EQ(records.get()[i].number, i % 2 == 0 ? i : -1);
    }
    EXPECT_EQ(entries.size(), 0U);
}

TEST(PackedEntries, HoldATextThatIsLongerThanABlock)
{
    const std::string text(100'000, 'x');
    PackedEntries<Pair> entries;
    entries.append({"short", std::nullopt});
    entries.append({text, "5"});
    std::vector<std::size_t> lengths;
    entries.take_all([&](const Pair& pair) { lengths.push_back(pair.name.size()); });
    EXPECT_EQ(lengths, (std::vector<std::size_t>{5, text.size()}));
}

TEST(PackedEntries, AreForgottenWhenCleared)
{
    PackedEntries<Pair> entries;
    entries.append({"one", "1"});
    entries.clear();
    int count = -7;
    EXPECT_EQ((to_records<Record>(entries, &count, fill_record)), nullptr);
    EXPECT_EQ(count, 0);
}

TEST(MakeRecords, AreZeroedAlsoWhereTheirPagesAreAskedForAtOnce)
{
    for (const std::size_t number : {std::size_t{1}, std::size_t{3} << 18U}) {
        const Malloced<Record> records = make_records<Record>(number);
        const auto* bytes = reinterpret_cast<const char*>(records.get());
        EXPECT_TRUE(std::all_of(bytes, bytes + number * sizeof(Record), [](char byte) { return byte == 0; }));
    }
}

// --- descriptors ---

Descriptor any_descriptor()
{
    return Descriptor(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

bool is_open(int number)
{
    return ::fcntl(number, F_GETFD) >= 0;
}

TEST(DescriptorOwner, ClosesItsDescriptor)
{
    int number = -1;
    {
        const Descriptor owner = any_descriptor();
        number = owner.get();
        ASSERT_TRUE(owner);
        EXPECT_TRUE(is_open(number));
    }
    EXPECT_FALSE(is_open(number));
}

TEST(DescriptorOwner, GivesItsDescriptorToOneThatIsMadeOfIt)
{
    Descriptor first = any_descriptor();
    const int number = first.get();
    const Descriptor second(std::move(first));
    EXPECT_EQ(second.get(), number);
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move,hicpp-invalid-access-moved): what is left is told
    EXPECT_TRUE(is_open(number));
}

TEST(DescriptorOwner, KeepsOneAndLosesNoneWhenItIsAssigned)
{
    int old_number = -1;
    Descriptor target;
    EXPECT_FALSE(target);
    {
        Descriptor source = any_descriptor();
        const int number = source.get();
        target = any_descriptor();
        old_number = target.get();
        target = std::move(source);
        EXPECT_EQ(target.get(), number);
    }
    EXPECT_TRUE(is_open(target.get()));
    EXPECT_FALSE(is_open(old_number));
}

TEST(DescriptorOwner, OwnsTheNumberZero)
{
    const Descriptor input(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
    ASSERT_EQ(::dup2(input.get(), STDIN_FILENO), STDIN_FILENO);
    {
        const Descriptor owner(STDIN_FILENO);
        EXPECT_TRUE(owner);
    }
    EXPECT_FALSE(is_open(STDIN_FILENO));
    ASSERT_EQ(::dup2(input.get(), STDIN_FILENO), STDIN_FILENO);
}

// --- reports ---

using Report = FrameworkTest;

TEST_F(Report, SourceKnowsTheLineThatWroteIt)
{
    const int line = __LINE__ + 1;
    log_error("module", "subject", "%d of %s", 3, "them");
    ASSERT_EQ(framework().logs.size(), 1U);
    const LogLine& log = framework().logs[0];
    EXPECT_FALSE(log.old_call);
    EXPECT_EQ(log.level, 3);
    EXPECT_EQ(log.subject, "subject");
    EXPECT_EQ(log.source, "module");
    EXPECT_EQ(log.line, line);
    EXPECT_EQ(log.format, "%d of %s");
    EXPECT_EQ(log.text, "3 of them");
}

TEST_F(Report, LogHasTheGivenLevelAndNoSubject)
{
    log_at(1, "module", nullptr, "text");
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, 1);
    EXPECT_EQ(framework().logs[0].subject, std::nullopt);
}

TEST_F(Report, RecordWithoutAFormatHasNoText)
{
    record_error(-1008, nullptr, nullptr);
    ASSERT_EQ(framework().errors.size(), 1U);
    EXPECT_EQ(framework().errors[0].code, -1008);
    EXPECT_EQ(framework().errors[0].subject, std::nullopt);
    EXPECT_EQ(framework().errors[0].format, std::nullopt);
    EXPECT_EQ(framework().errors[0].text, std::nullopt);
}

TEST_F(Report, BadArgumentIsLoggedRecordedAndEinval)
{
    errno = 0;
    report_bad_argument("module", "the_function");
    EXPECT_EQ(errno, EINVAL);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, 3);
    EXPECT_EQ(framework().logs[0].subject, "the_function");
    EXPECT_EQ(framework().logs[0].source, "module");
    EXPECT_EQ(framework().logs[0].text, "Invalid argument");
    ASSERT_EQ(framework().errors.size(), 1U);
    EXPECT_EQ(framework().errors[0].code, -1007);
    EXPECT_EQ(framework().errors[0].subject, "the_function");
    EXPECT_EQ(framework().errors[0].format, "%s");
    EXPECT_EQ(framework().errors[0].text, "Invalid argument");
    EXPECT_EQ(framework().order, (std::vector<std::string>{"log", "error"}));
}

TEST_F(Report, UnresolvedPathIsToldWithItsCauseAndKeepsErrno)
{
    errno = ELOOP;
    report_unresolved_path("module", "/a/b");
    EXPECT_EQ(errno, ELOOP);
    ASSERT_EQ(framework().logs.size(), 1U);
    EXPECT_EQ(framework().logs[0].level, 3);
    EXPECT_EQ(framework().logs[0].subject, "/a/b");
    EXPECT_EQ(framework().logs[0].format, "faile to get absolute path: %s");
    EXPECT_EQ(framework().logs[0].text, "faile to get absolute path: Too many levels of symbolic links");
    ASSERT_EQ(framework().errors.size(), 1U);
    EXPECT_EQ(framework().errors[0].code, -1011);
    EXPECT_EQ(framework().errors[0].subject, "/a/b");
    EXPECT_EQ(framework().errors[0].format, "faile to get absolute path: %s");
    EXPECT_EQ(framework().errors[0].text, "faile to get absolute path: Too many levels of symbolic links");
    EXPECT_EQ(framework().order, (std::vector<std::string>{"log", "error"}));
}

TEST_F(Report, UnresolvedPathMayBeNull)
{
    errno = EINVAL;
    report_unresolved_path("module", nullptr);
    ASSERT_EQ(framework().errors.size(), 1U);
    EXPECT_EQ(framework().errors[0].subject, std::nullopt);
    EXPECT_EQ(framework().errors[0].text, "faile to get absolute path: Invalid argument");
}

} // namespace

} // namespace tresk::test
