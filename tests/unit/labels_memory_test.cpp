// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Every function that allocates, with its first, second, third... request for memory refused: it fails, or
// does its whole work all the same; and it leaks nothing.
#include "common/handles.h"
#include "tests/support/failing_memory.h"
#include "tests/unit/labels_scene.h"

#include <gio/gio.h>

#include <climits>
#include <cstdlib>
#include <optional>

namespace tresk::test {

namespace {

const std::string kLongName(300, 'n');
const std::string kLongPath = "/data/home/" + kLongName;

/// Three records with a path that no object holds within itself.
template <class Record>
std::vector<Record> long_records()
{
    std::vector<Record> records(3);
    for (Record& record : records) {
        std::strcpy(record.path, kLongPath.c_str());
    }
    return records;
}

const tresk_label_record* three_records()
{
    static const std::vector<tresk_label_record> records = [] {
        auto made = long_records<tresk_label_record>();
        for (tresk_label_record& record : made) {
            std::strcpy(record.label, "secadm");
        }
        return made;
    }();
    return records.data();
}

const tresk_dpkg_label_record* three_dpkg_records()
{
    static const auto records = long_records<tresk_dpkg_label_record>();
    return records.data();
}

/// The scene was told all of @calls calls.
Outcome of_setter(int result, int done, std::size_t calls, int failure = -1)
{
    return {result == failure, result == done && framework().scene_calls.size() == calls, nullptr};
}

Outcome set_directory(const char* label)
{
    framework().path_is_dir = [](const char*) { return 1; };
    framework().path_is_same = [](const char*, const char*) { return 1; };
    framework().paths_in_dir = [](const char* path) {
        return std::vector<std::string>{path + kLongName, path + kLongName, "/c"};
    };
    return of_setter(tresk_protect_set_for_dir(kLongPath.c_str(), label), 0, 1);
}

/// Where the scene itself has no memory for its list, nothing is protected as far as anybody knows.
Outcome clear()
{
    static bool listed;
    listed = false;
    framework().protected_files = [](int* count) {
        char** list = malloced_list({kLongPath, kLongName, "/c"});
        listed = list != nullptr;
        *count = 3;
        return list;
    };
    const int result = tresk_fpro_clear_policy_zdk();
    return {result == -1, result == 0 && framework().scene_calls.size() == (listed ? 3U : 0U), nullptr};
}

const WatchedCall kSetters[] = {
    {"LabelSet", [] { return of_setter(tresk_label_set(kLongPath.c_str()), 0, 1); }, 0},
    {"Protect", [] { return of_setter(tresk_protect_set(kLongPath.c_str(), "verify"), 0, 1); }, 0},
    {"Identify", [] { return of_setter(tresk_identify_set(kLongPath.c_str(), "audadm"), 0, 2); }, 0},
    {"Exectl", [] { return of_setter(tresk_exectl_set(kLongPath.c_str(), "trusted"), 0, 1); }, 0},
    {"RefusedLabel",
     [] {
         const Outcome outcome = of_setter(tresk_exectl_set(kLongPath.c_str(), kLongName.c_str()), -1, 0);
         return Outcome{outcome.failed, outcome.complete && framework().errors.size() == 1, nullptr};
     },
     0},
    {"Directory", [] { return set_directory("readonly"); }, 0},
    {"DirectoryNone", [] { return set_directory("none"); }, 0},
    {"ProtectBatch", [] { return of_setter(tresk_protect_multi_set(three_records(), 3), 3, 1, 0); }, 0},
    {"IdentifyBatch", [] { return of_setter(tresk_identify_multi_set(three_records(), 3), 3, 6); }, 0},
    {"ExectlBatch", [] { return of_setter(tresk_exectl_multi_set(three_records(), 3), 0, 1); }, 0},
    {"DpkgBatch", [] { return of_setter(tresk_exectl_multi_set_for_dpkg(three_dpkg_records(), 3), 0, 1); },
     0},
    {"Clear", clear, 0},
};

class LabelsWithoutMemory : public FrameworkTest, public ::testing::WithParamInterface<WatchedCall> {};

INSTANTIATE_TEST_SUITE_P(Functions, LabelsWithoutMemory, ::testing::ValuesIn(kSetters), by_name);

TEST_P(LabelsWithoutMemory, FailOrAreSetAtEachRefusal)
{
    EXPECT_GT(refuse_each(GetParam(), false), 0);
}

TEST_P(LabelsWithoutMemory, FailOrAreSetWhenMemoryStaysOut)
{
    EXPECT_GT(refuse_each(GetParam(), true), 0);
}

/// The library's own requests are the first ones of a batch: the scene is told nothing without them.
TEST_F(FrameworkTest, BatchTellsTheSceneNothingWhereItsPathsFindNoMemory)
{
    struct Row {
        int (*call)();
        int failure;
    };

    const Row rows[] = {
        {[] { return tresk_protect_multi_set(three_records(), 3); }, 0},
        {[] { return tresk_exectl_multi_set(three_records(), 3); }, -1},
        {[] { return tresk_exectl_multi_set_for_dpkg(three_dpkg_records(), 3); }, -1},
    };
    for (const Row& row : rows) {
        for (long nth = 1; nth <= 2; ++nth) { // the texts, and the array
            framework().reset();
            row.call(); // the records are made
            framework().reset();
            errno = 0;
            FailingMemory memory(nth, true);
            const int result = row.call();
            const int cause = errno;
            memory.stop();
            EXPECT_TRUE(memory.refused());
            EXPECT_EQ(result, row.failure);
            EXPECT_EQ(cause, ENOMEM);
            EXPECT_TRUE(framework().order.empty());
        }
    }
}

// --- hashes: from the reply on ---

/// What the service answers, and from which request behind the answer on memory is refused.
struct Answer {
    GVariant* reply = nullptr; ///< the test's, like the parameters that are kept
    GVariant* parameters = nullptr;
    long nth = 0;
    bool from_there_on = false;
    std::optional<FailingMemory> memory;
};

Answer& answer()
{
    static Answer instance;
    return instance;
}

const char* const kPaths[] = {"/a", "/b", "/c", "/d"};
const std::string kHash(64, 'f');

using Owned = Handle<GVariant, ::g_variant_unref>;

/// Not serialised, so that its members are taken out without memory.
Owned reply_of(GVariant* member)
{
    return Owned(g_variant_ref_sink(g_variant_new_tuple(&member, 1)));
}

Owned reply_of_three()
{
    const char* const hashes[] = {kHash.c_str(), kHash.c_str(), kHash.c_str()};
    return reply_of(g_variant_new_strv(hashes, 3));
}

/// What one call came to, with memory as answer() says.
struct Call {
    std::vector<std::string> hashes; ///< none: null
    int given = 0;                   ///< blocks
    long left = 0;
    bool refused = false;
    int cause = 0;
};

template <class Ask, class Read>
Call call_with(long nth, bool from_there_on, Ask ask, Read read)
{
    answer().nth = nth;
    answer().from_there_on = from_there_on;
    errno = 0;
    const auto result = ask();
    Call call;
    call.cause = errno;
    answer().memory->stop();
    call.left = answer().memory->left();
    call.refused = answer().memory->refused();
    answer().memory.reset();
    g_variant_unref(answer().parameters);
    read(result, call);
    return call;
}

Call ask_one(char* (*function)(const char*), long nth, bool from_there_on)
{
    return call_with(
        nth, from_there_on, [&] { return function(kPaths[0]); },
        [](char* hash, Call& call) {
            const Malloced<char> owner(hash);
            if (hash != nullptr) {
                call.hashes = {hash};
                call.given = 1;
            }
        });
}

Call ask_many(char** (*function)(const char* const*, int), long nth, bool from_there_on)
{
    return call_with(
        nth, from_there_on, [&] { return function(kPaths, 4); },
        [](char** hashes, Call& call) {
            const Malloced<char*> owner(hashes);
            for (int index = 0; hashes != nullptr && index < 4; ++index) {
                const Malloced<char> hash(hashes[index]);
                call.hashes.push_back(hash ? hash.get() : "null");
                call.given += hash ? 1 : 0;
            }
            call.given += hashes != nullptr ? 1 : 0;
        });
}

struct HashRow {
    const char* name;
    Owned (*reply)();
    Call (*ask)(long nth, bool from_there_on);
    std::vector<std::string> expected;
};

std::ostream& operator<<(std::ostream& out, const HashRow& row)
{
    return out << row.name;
}

Owned reply_of_one()
{
    return reply_of(g_variant_new_string(kHash.c_str()));
}

const std::vector<std::string> kThree = {kHash, kHash, kHash, "null"};

const HashRow kHashes[] = {
    {"Calculate",
     reply_of_one,
     [](long nth, bool on) { return ask_one(tresk_calc_file_hash_value, nth, on); },
     {kHash}},
    {"Get",
     reply_of_one,
     [](long nth, bool on) { return ask_one(tresk_get_file_hash_value, nth, on); },
     {kHash}},
    {"CalculateMany", reply_of_three,
     [](long nth, bool on) { return ask_many(tresk_calc_multi_file_hash_value, nth, on); }, kThree},
    {"GetMany", reply_of_three,
     [](long nth, bool on) { return ask_many(tresk_get_multi_file_hash_value, nth, on); }, kThree},
};

class HashWithoutMemory : public FrameworkTest, public ::testing::WithParamInterface<HashRow> {
  protected:
    /// Refuses ever later requests until none is refused.
    static void refuse_each_behind_the_reply(bool from_there_on)
    {
        const Owned reply = GetParam().reply();
        answer().reply = reply.get();
        const Call whole = GetParam().ask(LONG_MAX, false);
        ASSERT_EQ(whole.hashes, GetParam().expected);
        const long left_by_the_way = whole.left - whole.given; // what was there before and is released now
        for (int nth = 1; nth <= whole.given; ++nth) {
            const Call call = GetParam().ask(nth, from_there_on);
            EXPECT_TRUE(call.refused);
            EXPECT_TRUE(call.hashes.empty());
            EXPECT_EQ(call.cause, ENOMEM);
            EXPECT_EQ(call.left, left_by_the_way) << "leak at request " << nth;
        }
        EXPECT_FALSE(GetParam().ask(whole.given + 1, from_there_on).refused) << "there are other requests";
        answer().reply = nullptr;
    }
};

INSTANTIATE_TEST_SUITE_P(Functions, HashWithoutMemory, ::testing::ValuesIn(kHashes), by_name);

TEST_P(HashWithoutMemory, IsNullAtEachRefusal)
{
    refuse_each_behind_the_reply(false);
}

TEST_P(HashWithoutMemory, IsNullWhenMemoryStaysOut)
{
    refuse_each_behind_the_reply(true);
}

} // namespace

} // namespace tresk::test

using namespace tresk::test;

// The name is the linker's. NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

GVariant* __wrap_process_dbus_method(const char* object_path, const char* interface_name,
                                     const char* method_name, GVariant* parameters, int* error_code);

GVariant* __wrap_process_dbus_method(const char* /*object_path*/, const char* /*interface_name*/,
                                     const char* /*method_name*/, GVariant* parameters, int* /*error_code*/)
{
    answer().parameters = g_variant_ref(parameters); // released while nobody counts
    answer().memory.emplace(answer().nth, answer().from_there_on);
    return g_variant_ref(answer().reply);
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier)
