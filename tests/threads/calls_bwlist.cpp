// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Package black and white lists. The kept package is on the white list, of a source that nobody clears.
#include "tests/threads/call_parts.h"

namespace tresk::test {

namespace {

constexpr int kAnySource = 3;

const char* list(Random& random)
{
    static constexpr const char* kLists[] = {"white", "black"};
    return one_of<const char*>(random, kLists);
}

std::string kept_or_not(const char* package, int found)
{
    return package == kPackages[0] && found == 0 ? "lost" : shown(found);
}

} // namespace

std::vector<Call> bwlist_calls()
{
    constexpr Family bwlist = Family::bwlist;
    return {
        {"tresk_bwlist_add_zdk",
         bwlist,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_bwlist_add_zdk(list(random), passing_package(random), 1, kSource));
         },
         {"0", "-2"}},
        {"tresk_bwlist_del_zdk",
         bwlist,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_bwlist_del_zdk(list(random), passing_package(random), 1, kSource));
         },
         {"0", "-3"}},
        {"tresk_bwlist_get_root_distinguish_zdk",
         bwlist,
         Cost::bus,
         [](Random&) { return shown(tresk_bwlist_get_root_distinguish_zdk(1, kSource)); },
         {"0", "1"}},
        {"tresk_bwlist_set_root_distinguish_zdk",
         bwlist,
         Cost::bus,
         [](Random& random) {
             return shown(tresk_bwlist_set_root_distinguish_zdk(between(random, 0, 1), 1, kSource));
         },
         {"0"}},
        {"tresk_bwlist_clear_policy_zdk",
         bwlist,
         Cost::bus,
         [](Random&) { return shown(tresk_bwlist_clear_policy_zdk(1, kSource)); },
         {"0"}},
        // Nobody puts the kept package on the black list: 2, white-listed alone.
        {"tresk_bwlist_select_by_rpm_name_zdk",
         bwlist,
         Cost::reader,
         [](Random& random) {
             const char* package = any_package(random);
             const int verdict = tresk_bwlist_select_by_rpm_name_zdk("bwlist", package, kAnySource, "");
             return package == kPackages[0] && verdict != 2 ? "lost" : shown(verdict);
         },
         {"2", "3"}},
        {"_bwlist_unite_select_by_rpm_name",
         bwlist,
         Cost::reader,
         [](Random& random) {
             const char* package = any_package(random);
             return kept_or_not(package, _bwlist_unite_select_by_rpm_name("white", package));
         },
         {"0", "1"}},
        {"_bwlist_independence_select_by_rpm_name",
         bwlist,
         Cost::reader,
         [](Random& random) {
             const char* package = any_package(random);
             const bool kept = package == kPackages[0];
             return kept_or_not(
                 package, _bwlist_independence_select_by_rpm_name("white", package, kept ? kSourceType : 1,
                                                                  kept ? kKeptSource : kSource));
         },
         {"0", "1"}},
    };
}

} // namespace tresk::test
