// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/round.h"
#include "tests/support/framework_double.h"

#include <cstring>

namespace tresk::test {

namespace {

constexpr char kPolicy[] = "/etc/tresk/pblk/pblk.xml";
constexpr char kOther[] = "/etc/tresk/pblk/other.xml";

const Shape& shape()
{
    static const Shape pblk{"pblk_root",
                            {},
                            nullptr,
                            {"", Meaning::User},
                            "pblk_node",
                            {{"path", Meaning::Path, 15},
                             {"data_source_type", Meaning::SourceType, 3},
                             {"data_source_name", Meaning::SourceName, 3}},
                            {{"hash", Meaning::Hash, 12}}};
    return pblk;
}

void bind(Binds binds)
{
    framework().path_is_mount_bind = [binds](const char* source, const char* target) {
        if (std::strcmp(source, "/data") != 0) {
            return 0;
        }
        return static_cast<int>((binds.home && std::strcmp(target, "/home") == 0) ||
                                (binds.root && std::strcmp(target, "/root") == 0));
    };
}

/// What a question asks for, drawn from what documents hold.
struct Asked {
    Text path;
    Text hash;
    Binds binds;
    int type = 0;
    Text name;
    int start = 0;
};

Asked asked_for(Random& random)
{
    Asked asked;
    asked.path = random.once_in(20) ? Text() : Text(random_text(random, Meaning::Path));
    asked.hash = random.once_in(20) ? Text() : Text(random_text(random, Meaning::Hash));
    asked.binds = {random.once_in(2), random.once_in(2)};
    asked.type = random.one_of(std::vector<int>{1, 1, 1, 0, 5, -1, 12345678, 1234567, -1234567, 2147483647});
    asked.name = random.once_in(8) ? Text() : Text(random_text(random, Meaning::SourceName));
    asked.start = random.one_of(std::vector<int>{0, 0, 0, 1, 2, 5, -1, -2});
    return asked;
}

std::string source_shown(const Asked& asked)
{
    return " type " + std::to_string(asked.type) + " name " + shown(asked.name);
}

void add_arrays(Round& round, Random& random)
{
    const std::string file = random.once_in(3) ? kOther : kPolicy;
    const Asked asked = asked_for(random);
    round.questions.push_back({"read_all_data_with_file " + file,
                               [=] {
                                   return library_array<int>([&](int* n) {
                                       return tresk_pblk_read_all_data_with_file(file.c_str(), n);
                                   });
                               },
                               [=](Naive& naive) { return naive_array(naive_pblk_all(naive, file)); }});
    round.questions.push_back(
        {"read_all_data",
         [] { return library_array<int>([](int* n) { return tresk_pblk_read_all_data(n); }); },
         [](Naive& naive) { return naive_array(naive_pblk_all(naive, kPolicy)); }});
    round.questions.push_back({"read_all_data_with_file_zdk " + file + source_shown(asked),
                               [=] {
                                   return library_array<int>([&](int* n) {
                                       return tresk_pblk_read_all_data_with_file_zdk(file.c_str(), asked.type,
                                                                                     c_text(asked.name), n);
                                   });
                               },
                               [=](Naive& naive) {
                                   return naive_array(
                                       naive_pblk_all_of_source(naive, file, asked.type, asked.name));
                               }});
    round.questions.push_back(
        {"read_all_data_zdk" + source_shown(asked),
         [=] {
             return library_array<int>(
                 [&](int* n) { return tresk_pblk_read_all_data_zdk(asked.type, c_text(asked.name), n); });
         },
         [=](Naive& naive) {
             return naive_array(naive_pblk_all_of_source(naive, kPolicy, asked.type, asked.name));
         }});
}

void add_singles(Round& round, Random& random)
{
    const Asked asked = asked_for(random);
    const std::string path =
        shown(asked.path) + (asked.binds.home ? " home bound" : "") + (asked.binds.root ? " root bound" : "");
    round.questions.push_back(
        {"read_node_with_path_zdk " + path + source_shown(asked),
         [=] {
             bind(asked.binds);
             return library_record(
                 tresk_pblk_read_node_with_path_zdk(c_text(asked.path), asked.type, c_text(asked.name)));
         },
         [=](Naive& naive) {
             return naive_record(naive_pblk_by_path(naive, asked.path, asked.binds, asked.type, asked.name));
         }});
    round.questions.push_back({"read_node_with_path " + path,
                               [=] {
                                   bind(asked.binds);
                                   return library_record(tresk_pblk_read_node_with_path(c_text(asked.path)));
                               },
                               [=](Naive& naive) {
                                   return naive_record(
                                       naive_pblk_by_path(naive, asked.path, asked.binds, 1, ""));
                               }});
    round.questions.push_back(
        {"read_node_with_hash_zdk " + shown(asked.hash) + source_shown(asked),
         [=] {
             return library_record(
                 tresk_pblk_read_node_with_hash_zdk(c_text(asked.hash), asked.type, c_text(asked.name)));
         },
         [=](Naive& naive) {
             return naive_record(naive_pblk_by_hash(naive, asked.hash, asked.type, asked.name));
         }});
    round.questions.push_back(
        {"get_same_node_by_hash " + shown(asked.hash) + " from " + std::to_string(asked.start),
         [=] {
             int count = asked.start;
             const int result = tresk_pblk_get_same_node_by_hash(c_text(asked.hash), &count);
             return std::to_string(result) + " count " + std::to_string(count);
         },
         [=](Naive& naive) {
             int count = asked.start;
             const int result = naive_pblk_count(naive, asked.hash, &count);
             return std::to_string(result) + " count " + std::to_string(count);
         }});
}

Round pblk_round(Random& random)
{
    Round round{"/etc/tresk/pblk", {}, 0, random.once_in(4), {}};
    round.add_file(kPolicy, random_document(random, shape()));
    round.add_file(kOther, random_document(random, shape()));
    add_arrays(round, random);
    add_singles(round, random);
    add_singles(round, random);
    return round;
}

} // namespace

Family pblk_family()
{
    return {"pblk",
            pblk_round,
            {Rule::RootName,
             Rule::WrongRootIsLogged,
             Rule::GeneralFormIsNamed,
             Rule::MissingFileIsCreated,
             Rule::EmptyFileIsFilled,
             Rule::OtherFilesAreKept,
             Rule::DamageIsRecovered,
             Rule::FirstAttribute,
             Rule::NodeName,
             Rule::ElementsOnly,
             Rule::LastChildCounts,
             Rule::EmptyElementIsPresent,
             Rule::AllTextBelow,
             Rule::CommentsAreNoText,
             Rule::LongIdentityIsLeftOut,
             Rule::HashIsCut,
             Rule::HashIsRequired,
             Rule::HomeIsBelowData,
             Rule::RootIsBelowData,
             Rule::ListNeedsType,
             Rule::ListNeedsSource,
             Rule::MissingTypePasses,
             Rule::MissingSourcePasses,
             Rule::TypeTextIsCut,
             Rule::ListLeavesHashEmpty,
             Rule::OtherReadersTakeAnyPlace,
             Rule::FirstEqualHashCounts,
             Rule::SourceTypeIsExact,
             Rule::SourceNameIsExact,
             Rule::CountAddsUp,
             Rule::CountStopsAboveOne}};
}

} // namespace tresk::test
