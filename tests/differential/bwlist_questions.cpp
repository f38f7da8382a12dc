// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/round.h"

namespace tresk::test {

namespace {

const Shape& shape()
{
    static const Shape bwlist{"tresk_root",
                              {},
                              "tresk_bwlist",
                              {"bw_value", Meaning::List},
                              "tresk_node",
                              {{"rpm_name", Meaning::Package},
                               {"data_source_type", Meaning::SourceType},
                               {"data_source_name", Meaning::SourceName}},
                              {}};
    return bwlist;
}

Text maybe(Random& random, Meaning meaning)
{
    return random.once_in(15) ? Text() : Text(random_text(random, meaning));
}

void add_questions(Round& round, Random& random)
{
    const Text list = maybe(random, Meaning::List);
    const Text package = maybe(random, Meaning::Package);
    const Text name = maybe(random, Meaning::SourceName);
    const int type = random.one_of(std::vector<int>{1, 1, 0, 3, 5, -1, 12345678, -1234567, 2147483647});
    const int mode = random.one_of(std::vector<int>{3, 3, 3, type});
    const std::string asked = " " + shown(list) + " " + shown(package);
    round.questions.push_back(
        {"unite" + asked,
         [=] { return std::to_string(_bwlist_unite_select_by_rpm_name(c_text(list), c_text(package))); },
         [=](Naive& naive) { return std::to_string(naive_bwlist_unite(naive, list, package)); }});
    round.questions.push_back(
        {"independence" + asked + " type " + std::to_string(type) + " name " + shown(name),
         [=] {
             return std::to_string(
                 _bwlist_independence_select_by_rpm_name(c_text(list), c_text(package), type, c_text(name)));
         },
         [=](Naive& naive) {
             return std::to_string(naive_bwlist_independence(naive, list, package, type, name));
         }});
    round.questions.push_back(
        {"select" + asked + " mode " + std::to_string(mode) + " name " + shown(name),
         [=] {
             return std::to_string(
                 tresk_bwlist_select_by_rpm_name_zdk(c_text(list), c_text(package), mode, c_text(name)));
         },
         [=](Naive& naive) {
             return std::to_string(naive_bwlist_select(naive, list, package, mode, name));
         }});
    round.questions.push_back(
        {"verdict " + shown(package),
         [=] {
             return std::to_string(
                 tresk_bwlist_select_by_rpm_name_zdk("bwlist", c_text(package), 3, nullptr));
         },
         [=](Naive& naive) { return std::to_string(naive_bwlist_select(naive, "bwlist", package, 3, {})); }});
}

Round bwlist_round(Random& random)
{
    Round round{"/etc/tresk/bwlist", {}, 0, random.once_in(4), {}};
    round.add_file("/etc/tresk/bwlist/bwlist.xml", random_document(random, shape()));
    for (int i = 0; i < 4; ++i) {
        add_questions(round, random);
    }
    return round;
}

} // namespace

Family bwlist_family()
{
    return {"bwlist",
            bwlist_round,
            {Rule::RootName, Rule::DamageIsRecovered, Rule::NodeName, Rule::ListNameIsExact,
             Rule::AllListsAreSearched, Rule::PackageIsExact, Rule::SourceTypeIsExact,
             Rule::SourceNameIsExact, Rule::TypeTextIsCut, Rule::NullSourceIsEmpty,
             Rule::ModeThreeIgnoresSource, Rule::VerdictNeedsWhite, Rule::VerdictNeedsNoBlack,
             Rule::ParseErrorEndsVerdict, Rule::OldErrorEndsVerdict, Rule::SimpleLookupForgetsErrors}};
}

} // namespace tresk::test
