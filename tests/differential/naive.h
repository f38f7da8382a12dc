// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The policy readers written a second time, to be compared with the library's. Nothing is shared with the
// library but its public header, and nothing here is clever: libxml2's tree is walked by its pointers, each
// rule is a line, repetition is left standing where it keeps a rule visible.
//
// A reader can be told to break one of its rules. The tests do so with each, to see that the comparison
// notices.
#ifndef TRESK_TESTS_DIFFERENTIAL_NAIVE_H
#define TRESK_TESTS_DIFFERENTIAL_NAIVE_H

#include "tresk_extend.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tresk::test {

/// Every rule that can be broken, once each; X(name).
#define TRESK_DIFFERENTIAL_RULES(X)                                                                          \
    X(None)                                                                                                  \
    X(RootName)                                                                                              \
    X(WrongRootIsLogged)                                                                                     \
    X(GeneralFormIsNamed)                                                                                    \
    X(MissingFileIsCreated)                                                                                  \
    X(EmptyFileIsFilled)                                                                                     \
    X(OtherFilesAreKept)                                                                                     \
    X(DamageIsRecovered)                                                                                     \
    X(FirstAttribute)                                                                                        \
    X(NodeName)                                                                                              \
    X(ElementsOnly)                                                                                          \
    X(LastChildCounts)                                                                                       \
    X(EmptyElementIsPresent)                                                                                 \
    X(AllTextBelow)                                                                                          \
    X(CommentsAreNoText)                                                                                     \
    X(NumbersAreCut)                                                                                         \
    X(NumbersAreDecimal)                                                                                     \
    X(LongIdentityIsLeftOut)                                                                                 \
    X(LongProgramIsLeftOut)                                                                                  \
    X(HashIsCut)                                                                                             \
    X(HashIsRequired)                                                                                        \
    X(TypeIsRequired)                                                                                        \
    X(NameIsCut)                                                                                             \
    X(IconIsCut)                                                                                             \
    X(DesktopIsCut)                                                                                          \
    X(MissingTextIsUnknown)                                                                                  \
    X(UserElement)                                                                                           \
    X(UserAttributeFirst)                                                                                    \
    X(OtherUsersAreSkipped)                                                                                  \
    X(FirstGroupOfUserAlone)                                                                                 \
    X(DistinctionOffReadsAll)                                                                                \
    X(FirstNodeDecides)                                                                                      \
    X(SearchGoesOnToNextUser)                                                                                \
    X(SettingIsFirstAttribute)                                                                               \
    X(SettingIsOneOrZero)                                                                                    \
    X(SettingIsCutToNineBytes)                                                                               \
    X(MissingProgramDropsRule)                                                                               \
    X(EveryProgramIsTested)                                                                                  \
    X(SingleRuleIsNotTested)                                                                                 \
    X(OrdinaryModeHides)                                                                                     \
    X(OwnerIsNumber)                                                                                         \
    X(SmModeShowsAll)                                                                                        \
    X(ModeIsExactText)                                                                                       \
    X(MissingModeIsZero)                                                                                     \
    X(SourceIsExact)                                                                                         \
    X(MissingSourceIsEmpty)                                                                                  \
    X(MissingSourceIsNull)                                                                                   \
    X(EmptySourceIsNotNull)                                                                                  \
    X(HomeIsBelowData)                                                                                       \
    X(RootIsBelowData)                                                                                       \
    X(PathIsMadeAbsolute)                                                                                    \
    X(PathFailureIsRecorded)                                                                                 \
    X(NumericSearchGoesOn)                                                                                   \
    X(ExactSearchStops)                                                                                      \
    X(FirstChildIsHash)                                                                                      \
    X(EqualHashIsPassedOver)                                                                                 \
    X(MissingTypeEndsSearch)                                                                                 \
    X(OwnershipIgnoresName)                                                                                  \
    X(OwnershipNeedsType)                                                                                    \
    X(OwnedOnlyBySm)                                                                                         \
    X(CountStopsAtTwo)                                                                                       \
    X(CountAddsUp)                                                                                           \
    X(CountedHashIsFirstChild)                                                                               \
    X(CountNamesNodeInLog)                                                                                   \
    X(ListNeedsType)                                                                                         \
    X(ListNeedsSource)                                                                                       \
    X(MissingTypePasses)                                                                                     \
    X(MissingSourcePasses)                                                                                   \
    X(TypeTextIsCut)                                                                                         \
    X(ListLeavesHashEmpty)                                                                                   \
    X(OtherReadersTakeAnyPlace)                                                                              \
    X(FirstEqualHashCounts)                                                                                  \
    X(CountStopsAboveOne)                                                                                    \
    X(ListNameIsExact)                                                                                       \
    X(AllListsAreSearched)                                                                                   \
    X(PackageIsExact)                                                                                        \
    X(SourceTypeIsExact)                                                                                     \
    X(SourceNameIsExact)                                                                                     \
    X(NullSourceIsEmpty)                                                                                     \
    X(ModeThreeIgnoresSource)                                                                                \
    X(VerdictNeedsWhite)                                                                                     \
    X(VerdictNeedsNoBlack)                                                                                   \
    X(ParseErrorEndsVerdict)                                                                                 \
    X(OldErrorEndsVerdict)                                                                                   \
    X(SimpleLookupForgetsErrors)                                                                             \
    X(ShortLinesAreSkipped)                                                                                  \
    X(LeadingBlanksAreCut)                                                                                   \
    X(CommentLinesAreSkipped)                                                                                \
    X(SettingNeedsName)                                                                                      \
    X(SettingFollowsFirstSign)                                                                               \
    X(SettingIsNotTrimmed)                                                                                   \
    X(LaterSettingReplaces)                                                                                  \
    X(NoSettingIsNoWrite)                                                                                    \
    X(StarIsSubstring)                                                                                       \
    X(PlainLineIsWhole)                                                                                      \
    X(MissingListFails)

enum class Rule {
#define TRESK_RULE_MEMBER(name) name,
    TRESK_DIFFERENTIAL_RULES(TRESK_RULE_MEMBER)
#undef TRESK_RULE_MEMBER
};

/// The rule's name, as it stands above.
const char* name_of(Rule rule);

/// One reading: the rule it breaks, and what it tells the framework.
struct Naive {
    Rule broken = Rule::None;
    std::vector<std::string> logs;   ///< texts at error level
    std::vector<std::string> errors; ///< "CODE SUBJECT TEXT"

    [[nodiscard]] bool keeps(Rule rule) const { return rule != broken; }
};

/// An array reader's result. @read: the count was written.
template <class Record>
struct Listing {
    bool read = false;
    std::vector<Record> records;
};

using Text = std::optional<std::string>; ///< nothing for a null pointer, or for what is not there

// Network control. The functions are those of the public header, with the file as an argument.
Listing<netctl_node_data> naive_netctl_all(Naive& naive, const std::string& file);
Listing<netctl_node_info> naive_netctl_users(Naive& naive, std::uint32_t uid, const std::string& file);
Listing<netctl_ext_node_info> naive_netctl_ext_users(Naive& naive, std::uint32_t uid,
                                                     const std::string& file);
std::optional<netctl_node_info> naive_netctl_node(Naive& naive, std::uint32_t uid, const std::string& path);
std::optional<netctl_ext_node_info> naive_netctl_ext_node(Naive& naive, std::uint32_t uid,
                                                          const std::string& path);
int naive_netctl_distinction(Naive& naive);
Listing<netctl_pkg_node_info> naive_netctl_packages(Naive& naive, std::uint32_t uid, const std::string& file);
std::optional<netctl_pkg_node_info> naive_netctl_package(Naive& naive, std::uint32_t uid,
                                                         const std::string& package);
std::optional<netctl_pkg_path_node_info> naive_netctl_package_path(Naive& naive, std::uint32_t uid,
                                                                   const std::string& package);

/// Where a path is looked up; scripted by the questions.
struct Binds {
    bool home = false;
    bool root = false;
};

// Process protection.
Listing<ppro_node_info> naive_ppro_all(Naive& naive, const std::string& file, int mode);
Listing<ppro_node_info> naive_ppro_all_exact(Naive& naive, const std::string& file, int mode,
                                             const Text& source);
/// @absolute: what the framework makes of @path; nothing when it fails with @failure
std::optional<ppro_node_info> naive_ppro_by_path(Naive& naive, const std::string& path, const Text& absolute,
                                                 int failure, Binds binds, int mode);
std::optional<ppro_node_info> naive_ppro_by_path_exact(Naive& naive, const std::string& path,
                                                       const Text& absolute, int failure, Binds binds,
                                                       int mode, const Text& source);
std::optional<ppro_node_info> naive_ppro_by_hash(Naive& naive, const Text& hash, int mode,
                                                 const Text& source);
int naive_ppro_owned_by_sm(Naive& naive, const Text& hash);
int naive_ppro_count(Naive& naive, const Text& hash, int* count);

// Process blocking.
Listing<pblk_node_info> naive_pblk_all(Naive& naive, const std::string& file);
Listing<pblk_node_info> naive_pblk_all_of_source(Naive& naive, const std::string& file, int type,
                                                 const Text& name);
std::optional<pblk_node_info> naive_pblk_by_path(Naive& naive, const Text& path, Binds binds, int type,
                                                 const Text& name);
std::optional<pblk_node_info> naive_pblk_by_hash(Naive& naive, const Text& hash, int type, const Text& name);
int naive_pblk_count(Naive& naive, const Text& hash, int* count);

// Package lists.
int naive_bwlist_unite(Naive& naive, const Text& list, const Text& package);
int naive_bwlist_independence(Naive& naive, const Text& list, const Text& package, int type,
                              const Text& name);
int naive_bwlist_select(Naive& naive, const Text& list, const Text& package, int mode, const Text& name);

// Settings of process protection.
int naive_ppro_action(Naive& naive, Text* action);
int naive_ppro_blacklisted(Naive& naive, const Text& path);

} // namespace tresk::test

#endif
