// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/round.h"

namespace tresk::test {

namespace {

constexpr char kPrograms[] = "/etc/tresk/netctl/netctl.xml";
constexpr char kPackages[] = "/etc/tresk/netctl/netctl_pkg.xml";
constexpr char kOther[] = "/etc/tresk/netctl/other.xml";

const Shape& programs_shape()
{
    static const Shape programs{"tresk_root",
                                {{"user_dist", Meaning::Number}},
                                "tresk_user",
                                {"userID", Meaning::User, 15},
                                "tresk_node",
                                {{"path", Meaning::Path, 15}},
                                {{"type", Meaning::Number, 12},
                                 {"hash", Meaning::Hash, 12},
                                 {"name", Meaning::Name, 3},
                                 {"ico", Meaning::Long, 3},
                                 {"desktop", Meaning::Long, 3},
                                 {"server_type", Meaning::Number, 3}}};
    return programs;
}

const Shape& packages_shape()
{
    static const Shape packages{"tresk_root",
                                {{"user_dist", Meaning::Number}},
                                "tresk_user",
                                {"userID", Meaning::User, 15},
                                "tresk_node",
                                {{"pkg", Meaning::Package, 15}},
                                {{"path", Meaning::Program, 2},
                                 {"type", Meaning::Number, 12},
                                 {"ico", Meaning::Long, 3},
                                 {"desktop", Meaning::Long, 3},
                                 {"server_type", Meaning::Number, 3}}};
    return packages;
}

std::int32_t distinction(Random& random)
{
    return random.one_of(std::vector<std::int32_t>{0, 0, 0, 1, 1, 1, 2, -1, 1234567890, -2147483647 - 1});
}

std::uint32_t user(Random& random)
{
    return random.one_of(std::vector<std::uint32_t>{0, 1000, 1000, 1000, 1001, 0xffffffff, 5});
}

std::string about_user(std::uint32_t uid)
{
    return " uid " + std::to_string(uid) + " ";
}

void add_program_arrays(Round& round, Random& random)
{
    const std::string file = random.once_in(3) ? kOther : kPrograms;
    const std::uint32_t uid = user(random);
    const auto signed_uid = static_cast<std::int32_t>(uid);
    round.questions.push_back({"read_all_data_inner " + file,
                               [=] {
                                   return library_array<std::uint32_t>([&](std::uint32_t* n) {
                                       return tresk_netctl_read_all_data_inner(file.c_str(), n);
                                   });
                               },
                               [=](Naive& naive) { return naive_array(naive_netctl_all(naive, file)); }});
    round.questions.push_back({"read_all_data",
                               [] {
                                   return library_array<std::uint32_t>(
                                       [](std::uint32_t* n) { return tresk_netctl_read_all_data(n); });
                               },
                               [](Naive& naive) { return naive_array(naive_netctl_all(naive, kPrograms)); }});
    round.questions.push_back(
        {"read_all_data_with_uid_inner" + about_user(uid) + file,
         [=] {
             return library_array<std::uint32_t>([&](std::uint32_t* n) {
                 return tresk_netctl_read_all_data_with_uid_inner(signed_uid, file.c_str(), n);
             });
         },
         [=](Naive& naive) { return naive_array(naive_netctl_users(naive, uid, file)); }});
    round.questions.push_back(
        {"read_all_data_with_uid" + about_user(uid),
         [=] {
             return library_array<std::uint32_t>(
                 [&](std::uint32_t* n) { return tresk_netctl_read_all_data_with_uid(uid, n); });
         },
         [=](Naive& naive) { return naive_array(naive_netctl_users(naive, uid, kPrograms)); }});
    round.questions.push_back(
        {"ext_read_all_data_with_uid_inner" + about_user(uid) + file,
         [=] {
             return library_array<std::int32_t>([&](std::int32_t* n) {
                 return tresk_netctl_ext_read_all_data_with_uid_inner(signed_uid, file.c_str(), n);
             });
         },
         [=](Naive& naive) { return naive_array(naive_netctl_ext_users(naive, uid, file)); }});
    round.questions.push_back(
        {"ext_read_all_data_with_uid" + about_user(uid),
         [=] {
             return library_array<std::int32_t>(
                 [&](std::int32_t* n) { return tresk_netctl_ext_read_all_data_with_uid(uid, n); });
         },
         [=](Naive& naive) { return naive_array(naive_netctl_ext_users(naive, uid, kPrograms)); }});
}

void add_programs(Round& round, Random& random)
{
    const std::uint32_t uid = user(random);
    const std::string path = random_text(random, Meaning::Path);
    round.questions.push_back(
        {"read_node_with_uid" + about_user(uid) + shown(path),
         [=] { return library_record(tresk_netctl_read_node_with_uid(uid, path.c_str())); },
         [=](Naive& naive) { return naive_record(naive_netctl_node(naive, uid, path)); }});
    round.questions.push_back(
        {"ext_read_node_with_uid" + about_user(uid) + shown(path),
         [=] { return library_record(tresk_netctl_ext_read_node_with_uid(uid, path.c_str())); },
         [=](Naive& naive) { return naive_record(naive_netctl_ext_node(naive, uid, path)); }});
}

Round programs_round(Random& random)
{
    Round round{"/etc/tresk/netctl", {}, distinction(random), random.once_in(4), {}};
    round.add_file(kPrograms, random_document(random, programs_shape()));
    round.add_file(kOther, random_document(random, programs_shape()));
    add_program_arrays(round, random);
    add_programs(round, random);
    add_programs(round, random);
    round.questions.push_back({"get_user_distinguish",
                               [] { return std::to_string(tresk_netctl_get_user_distinguish()); },
                               [](Naive& naive) { return std::to_string(naive_netctl_distinction(naive)); }});
    return round;
}

void add_packages(Round& round, Random& random)
{
    const std::uint32_t uid = user(random);
    const std::string package = random_text(random, Meaning::Package);
    round.questions.push_back(
        {"pkg_read_node_with_uid" + about_user(uid) + shown(package),
         [=] { return library_record(tresk_netctl_pkg_read_node_with_uid(uid, package.c_str())); },
         [=](Naive& naive) { return naive_record(naive_netctl_package(naive, uid, package)); }});
    round.questions.push_back(
        {"pkg_path_read_node_with_uid" + about_user(uid) + shown(package),
         [=] { return library_record(tresk_netctl_pkg_path_read_node_with_uid(uid, package.c_str())); },
         [=](Naive& naive) { return naive_record(naive_netctl_package_path(naive, uid, package)); }});
}

Round packages_round(Random& random)
{
    Round round{"/etc/tresk/netctl", {}, distinction(random), random.once_in(4), {}};
    round.add_file(kPackages, random_document(random, packages_shape()));
    round.add_file(kOther, random_document(random, packages_shape()));
    const std::string file = random.once_in(3) ? kOther : kPackages;
    const std::uint32_t uid = user(random);
    round.questions.push_back(
        {"pkg_read_all_data_with_uid_inner" + about_user(uid) + file,
         [=] {
             return library_array<std::uint32_t>([&](std::uint32_t* n) {
                 return tresk_netctl_pkg_read_all_data_with_uid_inner(uid, file.c_str(), n);
             });
         },
         [=](Naive& naive) { return naive_array(naive_netctl_packages(naive, uid, file)); }});
    round.questions.push_back(
        {"pkg_read_all_data_with_uid" + about_user(uid),
         [=] {
             return library_array<std::uint32_t>(
                 [&](std::uint32_t* n) { return tresk_netctl_pkg_read_all_data_with_uid(uid, n); });
         },
         [=](Naive& naive) { return naive_array(naive_netctl_packages(naive, uid, kPackages)); }});
    add_packages(round, random);
    add_packages(round, random);
    return round;
}

/// What the readers of programs and of packages go by alike.
std::vector<Rule> with_common_rules(std::vector<Rule> rules)
{
    rules.insert(rules.end(), {Rule::RootName,
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
                               Rule::TypeIsRequired,
                               Rule::IconIsCut,
                               Rule::DesktopIsCut,
                               Rule::MissingTextIsUnknown,
                               Rule::UserElement,
                               Rule::UserAttributeFirst,
                               Rule::OtherUsersAreSkipped,
                               Rule::FirstGroupOfUserAlone,
                               Rule::DistinctionOffReadsAll,
                               Rule::FirstNodeDecides,
                               Rule::SearchGoesOnToNextUser,
                               Rule::SettingIsCutToNineBytes});
    return rules;
}

} // namespace

Family netctl_family()
{
    return {"netctl", programs_round,
            with_common_rules({Rule::HashIsCut, Rule::HashIsRequired, Rule::NameIsCut,
                               Rule::SettingIsFirstAttribute, Rule::SettingIsOneOrZero})};
}

Family netctl_packages_family()
{
    return {"netctl_packages", packages_round,
            with_common_rules({Rule::MissingProgramDropsRule, Rule::EveryProgramIsTested,
                               Rule::SingleRuleIsNotTested, Rule::LongProgramIsLeftOut})};
}

} // namespace tresk::test
