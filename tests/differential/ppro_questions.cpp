// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/round.h"
#include "tests/support/framework_double.h"

#include <cerrno>
#include <cstring>

namespace tresk::test {

namespace {

constexpr char kPolicy[] = "/etc/tresk/ppro/ppro.xml";
constexpr char kOther[] = "/etc/tresk/ppro/other.xml";

const Shape& shape()
{
    static const Shape ppro{"ppro_root",
                            {},
                            nullptr,
                            {"", Meaning::User},
                            "ppro_node",
                            {{"path", Meaning::Path, 15},
                             {"sm_status", Meaning::Mode, 3},
                             {"data_source_name", Meaning::SourceName, 2}},
                            {{"hash", Meaning::Hash, 12}, {"type", Meaning::Number, 6}}};
    return ppro;
}

/// A path as a caller gives it, and what the framework makes of it.
struct Asked {
    std::string path;
    Text absolute;
    Binds binds;
};

Asked asked_path(Random& random)
{
    Asked asked{random_text(random, Meaning::Path), {}, {random.once_in(2), random.once_in(2)}};
    if (!random.once_in(10)) {
        asked.absolute = random.once_in(5) ? random_text(random, Meaning::Path) : asked.path;
    }
    return asked;
}

/// Makes the framework answer as the question supposes.
void script(const Asked& asked)
{
    framework().get_absolute_path = [absolute = asked.absolute](const char*) -> char* {
        if (!absolute) {
            errno = ELOOP;
            return nullptr;
        }
        return ::strdup(absolute->c_str());
    };
    framework().path_is_mount_bind = [binds = asked.binds](const char* source, const char* target) {
        if (std::strcmp(source, "/data") != 0) {
            return 0;
        }
        return static_cast<int>((binds.home && std::strcmp(target, "/home") == 0) ||
                                (binds.root && std::strcmp(target, "/root") == 0));
    };
}

std::string asked_shown(const Asked& asked)
{
    return shown(Text(asked.path)) + " absolute " + shown(asked.absolute) +
           (asked.binds.home ? " home bound" : "") + (asked.binds.root ? " root bound" : "");
}

Text source_of(Random& random)
{
    return random.once_in(4)   ? Text()
           : random.once_in(2) ? Text("")
                               : Text(random_text(random, Meaning::SourceName));
}

Text hash_of(Random& random)
{
    return random.once_in(15) ? Text() : Text(random_text(random, Meaning::Hash));
}

int mode_of(Random& random)
{
    return random.one_of(std::vector<int>{0, 0, 0, 0, 1, 1, 2, -1, 10});
}

void add_arrays(Round& round, Random& random)
{
    const std::string file = random.once_in(3) ? kOther : kPolicy;
    const int mode = mode_of(random);
    const Text source = source_of(random);
    round.questions.push_back({"read_all_data_with_file " + file,
                               [file] {
                                   std::string name = file;
                                   return library_array<int>([&](int* n) {
                                       return tresk_ppro_read_all_data_with_file(name.data(), n);
                                   });
                               },
                               [file](Naive& naive) { return naive_array(naive_ppro_all(naive, file, 0)); }});
    round.questions.push_back({"read_all_data_with_file_sm " + file,
                               [file] {
                                   std::string name = file;
                                   return library_array<int>([&](int* n) {
                                       return tresk_ppro_read_all_data_with_file_sm(name.data(), n);
                                   });
                               },
                               [file](Naive& naive) { return naive_array(naive_ppro_all(naive, file, 1)); }});
    round.questions.push_back(
        {"read_all_data_internal mode " + std::to_string(mode),
         [mode] {
             return library_array<int>([&](int* n) { return tresk_ppro_read_all_data_internal(n, mode); });
         },
         [mode](Naive& naive) { return naive_array(naive_ppro_all(naive, kPolicy, mode)); }});
    round.questions.push_back(
        {"read_all_data",
         [] { return library_array<int>([](int* n) { return tresk_ppro_read_all_data(n); }); },
         [](Naive& naive) { return naive_array(naive_ppro_all(naive, kPolicy, 0)); }});
    round.questions.push_back(
        {"read_all_data_sm",
         [] { return library_array<int>([](int* n) { return tresk_ppro_read_all_data_sm(n); }); },
         [](Naive& naive) { return naive_array(naive_ppro_all(naive, kPolicy, 1)); }});
    const std::string asked = " mode " + std::to_string(mode) + " source " + shown(source);
    round.questions.push_back(
        {"read_all_data_with_file_zdk " + file + asked,
         [=] {
             return library_array<int>([&](int* n) {
                 return tresk_ppro_read_all_data_with_file_zdk(file.c_str(), n, mode, c_text(source));
             });
         },
         [=](Naive& naive) { return naive_array(naive_ppro_all_exact(naive, file, mode, source)); }});
    round.questions.push_back(
        {"read_all_data_zdk" + asked,
         [=] {
             return library_array<int>(
                 [&](int* n) { return tresk_ppro_read_all_data_zdk(n, mode, c_text(source)); });
         },
         [=](Naive& naive) { return naive_array(naive_ppro_all_exact(naive, kPolicy, mode, source)); }});
}

void add_paths(Round& round, Random& random)
{
    const Asked asked = asked_path(random);
    const int mode = mode_of(random);
    const Text source = source_of(random);
    const auto by_mode = [&](const std::string& name, int passed, ppro_node_info* (*read)(const char*, int)) {
        round.questions.push_back({name + " " + asked_shown(asked) + " mode " + std::to_string(passed),
                                   [=] {
                                       script(asked);
                                       return library_record(read(asked.path.c_str(), passed));
                                   },
                                   [=](Naive& naive) {
                                       return naive_record(naive_ppro_by_path(
                                           naive, asked.path, asked.absolute, ELOOP, asked.binds, passed));
                                   }});
    };
    by_mode("read_node_with_path_internal", mode, tresk_ppro_read_node_with_path_internal);
    by_mode("read_node_with_path", 0,
            [](const char* path, int) { return tresk_ppro_read_node_with_path(path); });
    by_mode("read_node_with_path_sm", 1,
            [](const char* path, int) { return tresk_ppro_read_node_with_path_sm(path); });
    round.questions.push_back({"read_node_with_path_zdk " + asked_shown(asked) + " mode " +
                                   std::to_string(mode) + " source " + shown(source),
                               [=] {
                                   script(asked);
                                   return library_record(tresk_ppro_read_node_with_path_zdk(
                                       asked.path.c_str(), mode, c_text(source)));
                               },
                               [=](Naive& naive) {
                                   return naive_record(naive_ppro_by_path_exact(
                                       naive, asked.path, asked.absolute, ELOOP, asked.binds, mode, source));
                               }});
}

void add_hashes(Round& round, Random& random)
{
    const Text hash = hash_of(random);
    const int mode = mode_of(random);
    const Text source = source_of(random);
    round.questions.push_back(
        {"read_node_with_hash_zdk " + shown(hash) + " mode " + std::to_string(mode) + " source " +
             shown(source),
         [=] {
             return library_record(tresk_ppro_read_node_with_hash_zdk(c_text(hash), mode, c_text(source)));
         },
         [=](Naive& naive) { return naive_record(naive_ppro_by_hash(naive, hash, mode, source)); }});
    round.questions.push_back(
        {"check_in_sm " + shown(hash), [=] { return std::to_string(tresk_ppro_check_in_sm(c_text(hash))); },
         [=](Naive& naive) { return std::to_string(naive_ppro_owned_by_sm(naive, hash)); }});
    const int start = random.one_of(std::vector<int>{0, 0, 1, 2, 3, 3, 7, -1});
    round.questions.push_back({"get_same_node_by_hash " + shown(hash) + " from " + std::to_string(start),
                               [=] {
                                   int count = start;
                                   const int result = tresk_ppro_get_same_node_by_hash(c_text(hash), &count);
                                   return std::to_string(result) + " count " + std::to_string(count);
                               },
                               [=](Naive& naive) {
                                   int count = start;
                                   const int result = naive_ppro_count(naive, hash, &count);
                                   return std::to_string(result) + " count " + std::to_string(count);
                               }});
}

Round ppro_round(Random& random)
{
    Round round{"/etc/tresk/ppro", {}, 0, random.once_in(4), {}};
    round.add_file(kPolicy, random_document(random, shape()));
    round.add_file(kOther, random_document(random, shape()));
    add_arrays(round, random);
    for (int i = 0; i < 2; ++i) {
        add_paths(round, random);
        add_hashes(round, random);
    }
    return round;
}

} // namespace

Family ppro_family()
{
    return {"ppro",
            ppro_round,
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
             Rule::NumbersAreCut,
             Rule::NumbersAreDecimal,
             Rule::LongIdentityIsLeftOut,
             Rule::HashIsCut,
             Rule::HashIsRequired,
             Rule::TypeIsRequired,
             Rule::OrdinaryModeHides,
             Rule::OwnerIsNumber,
             Rule::SmModeShowsAll,
             Rule::ModeIsExactText,
             Rule::MissingModeIsZero,
             Rule::SourceIsExact,
             Rule::MissingSourceIsEmpty,
             Rule::MissingSourceIsNull,
             Rule::EmptySourceIsNotNull,
             Rule::HomeIsBelowData,
             Rule::RootIsBelowData,
             Rule::PathIsMadeAbsolute,
             Rule::PathFailureIsRecorded,
             Rule::NumericSearchGoesOn,
             Rule::ExactSearchStops,
             Rule::FirstChildIsHash,
             Rule::EqualHashIsPassedOver,
             Rule::MissingTypeEndsSearch,
             Rule::OwnershipIgnoresName,
             Rule::OwnershipNeedsType,
             Rule::OwnedOnlyBySm,
             Rule::CountStopsAtTwo,
             Rule::CountAddsUp,
             Rule::CountedHashIsFirstChild,
             Rule::CountNamesNodeInLog}};
}

} // namespace tresk::test
