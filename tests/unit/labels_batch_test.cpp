// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The labels of many files in one call, and the end of all protection.
#include "common/handles.h"
#include "tests/unit/labels_scene.h"

#include <climits>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <utility>

namespace tresk::test {

namespace {

using PathAndLabel = std::pair<std::string, std::string>;

/// A zeroed field of a record gets @text; what follows its terminator is no part of it.
template <std::size_t N>
void fill(char (&field)[N], const std::string& text)
{
    if (!text.empty()) {
        std::memset(field, '#', N);
        std::memcpy(field, text.c_str(), std::min(text.size() + 1, N));
    }
}

/// Zeroed records; those that stay so take no memory.
template <class Record>
Malloced<Record> zeroed_records(std::size_t count)
{
    return Malloced<Record>(static_cast<Record*>(std::calloc(count, sizeof(Record))));
}

Malloced<tresk_label_record> records_of(const std::vector<PathAndLabel>& texts)
{
    auto records = zeroed_records<tresk_label_record>(texts.size());
    for (std::size_t index = 0; index < texts.size(); ++index) {
        fill(records.get()[index].path, texts[index].first);
        fill(records.get()[index].label, texts[index].second);
    }
    return records;
}

template <class Function>
int call_with(Function function, const std::vector<PathAndLabel>& texts)
{
    return function(records_of(texts).get(), static_cast<int>(texts.size()));
}

int set_for_dpkg(const std::vector<PathAndLabel>& texts)
{
    auto records = zeroed_records<tresk_dpkg_label_record>(texts.size());
    for (std::size_t index = 0; index < texts.size(); ++index) {
        fill(records.get()[index].path, texts[index].first);
        fill(records.get()[index].unread, texts[index].second);
    }
    return tresk_exectl_multi_set_for_dpkg(records.get(), static_cast<int>(texts.size()));
}

// --- all setters: what is refused ---

/// An exported setter, over records of its own kind.
struct Batch {
    const char* name;
    const char* function;
    int (*call)(const std::vector<PathAndLabel>& texts);
    int (*call_without_records)(int count);
    int (*call_with_count)(int count); ///< with a record
};

std::ostream& operator<<(std::ostream& out, const Batch& batch)
{
    return out << batch.name;
}

template <auto function, class Record>
int with_count(int count)
{
    const auto record = std::make_unique<Record>();
    return function(record.get(), count);
}

template <auto function>
constexpr Batch label_batch(const char* name, const char* symbol)
{
    return {name, symbol, [](const std::vector<PathAndLabel>& texts) { return call_with(function, texts); },
            [](int count) { return function(nullptr, count); }, with_count<function, tresk_label_record>};
}

const Batch kProtectBatch = label_batch<tresk_protect_multi_set>("Protect", "tresk_protect_multi_set");
const Batch kIdentifyBatch = label_batch<tresk_identify_multi_set>("Identify", "tresk_identify_multi_set");
const Batch kExectlBatch = label_batch<tresk_exectl_multi_set>("Exectl", "tresk_exectl_multi_set");
const Batch kDpkgBatch = {"Dpkg", "tresk_exectl_multi_set_for_dpkg", set_for_dpkg,
                          [](int count) { return tresk_exectl_multi_set_for_dpkg(nullptr, count); },
                          with_count<tresk_exectl_multi_set_for_dpkg, tresk_dpkg_label_record>};

class LabelBatch : public FrameworkTest, public ::testing::WithParamInterface<Batch> {};

INSTANTIATE_TEST_SUITE_P(Setters, LabelBatch,
                         ::testing::Values(kProtectBatch, kIdentifyBatch, kExectlBatch, kDpkgBatch), by_name);

TEST_P(LabelBatch, IsRefusedWhereItIsNull)
{
    for (const int count : {3, 1, 0, -1, INT_MIN}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(GetParam().call_without_records(count), -2);
        expect_refused(GetParam().function);
        EXPECT_EQ(framework().logs[0].format, "%s");
    }
}

TEST_P(LabelBatch, IsRefusedWithoutRecords)
{
    errno = 0;
    EXPECT_EQ(GetParam().call_with_count(0), -2);
    expect_refused(GetParam().function);
}

class LabelBatchOfOneCall : public LabelBatch {};

INSTANTIATE_TEST_SUITE_P(Setters, LabelBatchOfOneCall,
                         ::testing::Values(kProtectBatch, kExectlBatch, kDpkgBatch), by_name);

TEST_P(LabelBatchOfOneCall, IsRefusedWithANegativeCount)
{
    for (const int count : {-1, INT_MIN}) {
        framework().reset();
        errno = 0;
        EXPECT_EQ(GetParam().call_with_count(count), -2);
        expect_refused(GetParam().function);
    }
}

TEST_P(LabelBatchOfOneCall, HandsOnAHundredThousandPathsWholeAndInOrder)
{
    constexpr int kMany = 100000;
    constexpr int kNamed = 10; // each tenth has a path, since a record with one takes a page
    std::string expected;
    std::vector<PathAndLabel> texts(kMany);
    for (int number = 0; number < kMany; ++number) {
        std::string& path = texts[static_cast<std::size_t>(number)].first;
        path = number % kNamed == 0 ? "/b/file-" + std::to_string(number) : "";
        expected += path + " ";
    }
    const int result = GetParam().call(texts);
    EXPECT_EQ(result, GetParam().function == std::string("tresk_protect_multi_set") ? kMany : 0);
    ASSERT_EQ(framework().scene_calls.size(), 1U);
    EXPECT_TRUE(framework().scene_calls[0].argument == expected + std::to_string(kMany));
}

// --- setters of one call: which, with what, and what comes of its code ---

/// A batch's first label and the function of the scene that it leads to.
struct FirstLabel {
    const char* name;
    Batch batch;
    const char* label;
    const char* scene;
    bool counts; ///< the records where the scene answers 0
};

std::ostream& operator<<(std::ostream& out, const FirstLabel& first)
{
    return out << first.name;
}

const FirstLabel kFirstLabels[] = {
    {"ProtectNone", kProtectBatch, "none", kUnprotectAll, true},
    {"ProtectReadonly", kProtectBatch, "readonly", kProtectAll, true},
    {"ProtectVerify", kProtectBatch, "verify", kProtectAll, true},
    {"ProtectUnknown", kProtectBatch, "unknown", kProtectAll, true},
    {"ProtectCapital", kProtectBatch, "None", kProtectAll, true},
    {"ProtectBlank", kProtectBatch, "none ", kProtectAll, true},
    {"ProtectEmpty", kProtectBatch, "", kProtectAll, true},
    {"ExectlUnknown", kExectlBatch, "unknown", kEndPermissions, false},
    {"ExectlTrusted", kExectlBatch, "trusted", kPermitAll, false},
    {"ExectlNone", kExectlBatch, "none", kPermitAll, false},
    {"ExectlCapital", kExectlBatch, "Unknown", kPermitAll, false},
    {"ExectlBlank", kExectlBatch, " unknown", kPermitAll, false},
    {"ExectlEmpty", kExectlBatch, "", kPermitAll, false},
    {"Dpkg", kDpkgBatch, "", kSetAttributes, false},
};

class FirstLabelOfBatch : public FrameworkTest, public ::testing::WithParamInterface<FirstLabel> {
  protected:
    /// The batch with the label in front of @others.
    static int set(const std::vector<PathAndLabel>& others = {})
    {
        std::vector<PathAndLabel> texts = {{"/first", GetParam().label}};
        texts.insert(texts.end(), others.begin(), others.end());
        return GetParam().batch.call(texts);
    }
};

INSTANTIATE_TEST_SUITE_P(Labels, FirstLabelOfBatch, ::testing::ValuesIn(kFirstLabels), by_name);

TEST_P(FirstLabelOfBatch, DecidesForAllRecords)
{
    EXPECT_EQ(set({{"/b", "none"}, {"/a", "unknown"}, {"/b", "readonly"}, {"/c", "trusted"}}),
              GetParam().counts ? 5 : 0);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{GetParam().scene, "/first /b /a /b /c 5"}}));
    expect_nothing_told();
}

TEST_P(FirstLabelOfBatch, DecidesForItselfAlone)
{
    EXPECT_EQ(set(), GetParam().counts ? 1 : 0);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{GetParam().scene, "/first 1"}}));
}

TEST_P(FirstLabelOfBatch, ReturnsEveryOtherCodeOfTheScene)
{
    for (const int code : {-1, -2, -3, -7, 1, INT_MIN}) {
        framework().reset();
        framework().scene_results[GetParam().scene] = code;
        EXPECT_EQ(set({{"/b", ""}}), code);
        EXPECT_EQ(framework().scene_calls, (SceneCalls{{GetParam().scene, "/first /b 2"}}));
        expect_nothing_told();
    }
}

TEST_P(FirstLabelOfBatch, TakesThePathsAsTheyAre)
{
    const auto unexpected = [](const std::string& question) { ADD_FAILURE() << question; };
    framework().get_absolute_path = [&](const char* path) {
        unexpected(path);
        return static_cast<char*>(nullptr);
    };
    framework().path_is_same = [&](const char* path, const char*) {
        unexpected(path);
        return 1;
    };
    set({{"/data/home/a", ""}, {"relative/../b", ""}, {"", ""}, {"\xFF", ""}, {"%s", ""}});
    EXPECT_EQ(framework().scene_calls,
              (SceneCalls{{GetParam().scene, "/first /data/home/a relative/../b  \xFF %s 6"}}));
}

TEST_P(FirstLabelOfBatch, GoesWithPathsThatFillTheirField)
{
    const std::string most(4095, 'm');
    const std::string unterminated(4096, 'u');
    set({{most, ""}, {unterminated, "no end"}, {"/last", ""}});
    EXPECT_EQ(framework().scene_calls,
              (SceneCalls{{GetParam().scene, "/first " + most + " " + unterminated + " /last 4"}}));
}

TEST_F(FrameworkTest, LabelThatFillsItsFieldIsNoneOfTheVocabulary)
{
    const std::string full = "none" + std::string(28, 'x');
    EXPECT_EQ(call_with(tresk_protect_multi_set, {{"/a", full}}), 1);
    EXPECT_EQ(call_with(tresk_exectl_multi_set, {{"/a", std::string(32, 'u')}}), 0);
    EXPECT_EQ(call_with(tresk_identify_multi_set, {{"/a", full}}), 1);
    EXPECT_EQ(framework().scene_calls,
              (SceneCalls{{kProtectAll, "/a 1"}, {kPermitAll, "/a 1"}, {kDeny, "/a"}}));
}

// --- roles, record by record ---

class IdentifyBatch : public FrameworkTest {
  protected:
    static int set(const std::vector<PathAndLabel>& texts)
    {
        return call_with(tresk_identify_multi_set, texts);
    }
};

TEST_F(IdentifyBatch, IsNothingWithANegativeCount)
{
    const auto records = records_of({{"/a", "secadm"}});
    for (const int count : {-1, INT_MIN}) {
        EXPECT_EQ(tresk_identify_multi_set(records.get(), count), 0);
    }
    EXPECT_TRUE(framework().order.empty());
}

TEST_F(IdentifyBatch, LooksAtEveryRecordsOwnLabel)
{
    EXPECT_EQ(set({{"/a", "secadm"}, {"/b", "none"}, {"/c", "audadm"}, {"/d", "other"}}), 4);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{kDeny, "/a"},
                                                   {kGive, "1 /a"},
                                                   {kEndDenial, "/b"},
                                                   {kTake, "1 /b"},
                                                   {kTake, "2 /b"},
                                                   {kDeny, "/c"},
                                                   {kGive, "2 /c"},
                                                   {kDeny, "/d"}}));
    expect_nothing_told();
}

TEST_F(IdentifyBatch, OnlyDeniesForEveryLabelThatIsNone)
{
    const std::vector<std::string> labels = {"", "None", "none ", "Secadm", "secadm ", "audad", "readonly"};
    std::vector<PathAndLabel> texts;
    SceneCalls expected;
    for (const std::string& label : labels) {
        texts.emplace_back("/" + label, label);
        expected.push_back({kDeny, "/" + label});
    }
    EXPECT_EQ(set(texts), static_cast<int>(labels.size()));
    EXPECT_EQ(framework().scene_calls, expected);
}

TEST_F(IdentifyBatch, GoesOnBehindARecordThatFails)
{
    framework().scene_results = {{std::string(kDeny) + " /bad", -1}, {std::string(kEndDenial) + " /bad", -7}};
    EXPECT_EQ(set({{"/bad", "secadm"}, {"/a", "audadm"}, {"/bad", "none"}, {"/b", ""}, {"/bad", ""}}), 2);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{kDeny, "/bad"},
                                                   {kDeny, "/a"},
                                                   {kGive, "2 /a"},
                                                   {kEndDenial, "/bad"},
                                                   {kDeny, "/b"},
                                                   {kDeny, "/bad"}}));
    expect_nothing_told();
}

TEST_F(IdentifyBatch, IsZeroWhereEveryRecordFails)
{
    framework().scene_results[kDeny] = -7;
    EXPECT_EQ(set({{"/a", "secadm"}, {"/b", "audadm"}, {"/c", ""}}), 0);
    expect_nothing_told();
}

TEST_F(IdentifyBatch, TakesPathsThatFillTheirField)
{
    const std::string unterminated(4096, 'u');
    EXPECT_EQ(set({{unterminated, "secadm"}, {"/data/home/a", "none"}}), 2);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{kDeny, unterminated},
                                                   {kGive, "1 " + unterminated},
                                                   {kEndDenial, "/data/home/a"},
                                                   {kTake, "1 /data/home/a"},
                                                   {kTake, "2 /data/home/a"}}));
}

TEST_F(IdentifyBatch, GoesThroughAHundredThousandRecords)
{
    constexpr int kMany = 100000;
    const auto records = zeroed_records<tresk_label_record>(kMany); // without path and label
    EXPECT_EQ(tresk_identify_multi_set(records.get(), kMany), kMany);
    EXPECT_EQ(framework().scene_calls.size(), std::size_t{kMany});
}

/// One step of a record's steps: what follows when the scene answers it with a code.
struct Step {
    const char* name;
    const char* label;
    std::vector<std::pair<std::string, std::string>> calls; ///< all of the label's, each with its argument
    std::size_t index;                                      ///< of this step
    int settled_code;
};

std::ostream& operator<<(std::ostream& out, const Step& step)
{
    return out << step.name;
}

const std::vector<std::pair<std::string, std::string>> kSecadm = {{kDeny, "/a"}, {kGive, "1 /a"}};
const std::vector<std::pair<std::string, std::string>> kAudadm = {{kDeny, "/a"}, {kGive, "2 /a"}};
const std::vector<std::pair<std::string, std::string>> kRelease = {
    {kEndDenial, "/a"}, {kTake, "1 /a"}, {kTake, "2 /a"}};

const Step kSteps[] = {
    {"DenyForSecadm", "secadm", kSecadm, 0, -2},    {"GiveToSecadm", "secadm", kSecadm, 1, -2},
    {"DenyForAudadm", "audadm", kAudadm, 0, -2},    {"GiveToAudadm", "audadm", kAudadm, 1, -2},
    {"DenyAlone", "other", {{kDeny, "/a"}}, 0, -2}, {"EndDenial", "none", kRelease, 0, -3},
    {"TakeFromSecadm", "none", kRelease, 1, -3},    {"TakeFromAudadm", "none", kRelease, 2, -3},
};

class IdentifyStep : public IdentifyBatch, public ::testing::WithParamInterface<Step> {
  protected:
    static int set_with(int code)
    {
        framework().reset();
        const auto& [function, argument] = GetParam().calls[GetParam().index];
        framework().scene_results[function + " " + argument] = code;
        return IdentifyBatch::set({{"/a", GetParam().label}});
    }

    static SceneCalls calls_up_to(std::size_t count)
    {
        SceneCalls calls;
        for (std::size_t index = 0; index < count; ++index) {
            calls.push_back({GetParam().calls[index].first, GetParam().calls[index].second});
        }
        return calls;
    }
};

INSTANTIATE_TEST_SUITE_P(Steps, IdentifyStep, ::testing::ValuesIn(kSteps), by_name);

TEST_P(IdentifyStep, GoesOnWhereItIsDoneOrWasSoAlready)
{
    for (const int code : {0, GetParam().settled_code}) {
        EXPECT_EQ(set_with(code), 1);
        EXPECT_EQ(framework().scene_calls, calls_up_to(GetParam().calls.size()));
    }
}

TEST_P(IdentifyStep, EndsItsRecordAsFailedForEveryOtherCode)
{
    const int other_settled_code = -5 - GetParam().settled_code; // of adding and of removing
    for (const int code : {-1, other_settled_code, -7, 1, INT_MIN}) {
        EXPECT_EQ(set_with(code), 0) << code;
        EXPECT_EQ(framework().scene_calls, calls_up_to(GetParam().index + 1));
        expect_nothing_told();
    }
}

// --- the end of all protection ---

class ClearPolicy : public FrameworkTest {
  protected:
    /// Holds @paths as the protected files.
    static void hold(const std::vector<std::string>& paths)
    {
        framework().protected_files = [paths](int* count) {
            EXPECT_EQ(*count, 0);
            *count = static_cast<int>(paths.size());
            return malloced_list(paths);
        };
    }

    /// An array without a path.
    static char** empty_array() { return static_cast<char**>(std::calloc(1, sizeof(char*))); }
};

TEST_F(ClearPolicy, TakesTheFilesOffOneByOne)
{
    hold({"/b", "/data/home/a", "/c d"});
    EXPECT_EQ(tresk_fpro_clear_policy_zdk(), 0);
    EXPECT_EQ(framework().scene_calls,
              (SceneCalls{{kUnprotect, "/b"}, {kUnprotect, "/data/home/a"}, {kUnprotect, "/c d"}}));
    EXPECT_EQ(framework().order.front(), "scene tresk_scene_filectl_get_policy");
    expect_nothing_told();
}

TEST_F(ClearPolicy, IsDoneWhereNothingIsProtected)
{
    EXPECT_EQ(tresk_fpro_clear_policy_zdk(), 0);
    framework().protected_files = [](int*) { return empty_array(); };
    EXPECT_EQ(tresk_fpro_clear_policy_zdk(), 0);
    EXPECT_TRUE(framework().scene_calls.empty());
    expect_nothing_told();
}

TEST_F(ClearPolicy, IsDoneWithoutAListWhateverTheCountIs)
{
    for (const int number : {5, -4}) {
        framework().protected_files = [number](int* count) {
            *count = number;
            return static_cast<char**>(nullptr);
        };
        EXPECT_EQ(tresk_fpro_clear_policy_zdk(), 0);
    }
    EXPECT_TRUE(framework().scene_calls.empty());
    expect_nothing_told();
}

TEST_F(ClearPolicy, StopsAtTheFirstFileThatStays)
{
    for (const int code : {-1, -2, -3, -7, 1}) {
        framework().reset();
        hold({"/a", "/b", "/c", "/d"});
        framework().scene_results[std::string(kUnprotect) + " /b"] = code;
        EXPECT_EQ(tresk_fpro_clear_policy_zdk(), code);
        EXPECT_EQ(framework().scene_calls, (SceneCalls{{kUnprotect, "/a"}, {kUnprotect, "/b"}}));
        expect_nothing_told();
    }
}

TEST_F(ClearPolicy, PassesOverAGapInTheList)
{
    framework().protected_files = [](int* count) {
        auto** list = static_cast<char**>(std::calloc(3, sizeof(char*)));
        list[0] = ::strdup("/a");
        list[2] = ::strdup("/c");
        *count = 3;
        return list;
    };
    EXPECT_EQ(tresk_fpro_clear_policy_zdk(), 0);
    EXPECT_EQ(framework().scene_calls, (SceneCalls{{kUnprotect, "/a"}, {kUnprotect, "/c"}}));
}

TEST_F(ClearPolicy, ReturnsTheCodeOfTheLastFile)
{
    hold({"/a", "/b"});
    framework().scene_results[std::string(kUnprotect) + " /b"] = -7;
    EXPECT_EQ(tresk_fpro_clear_policy_zdk(), -7);
    EXPECT_EQ(framework().scene_calls.size(), 2U);
}

} // namespace

} // namespace tresk::test
