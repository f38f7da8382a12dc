// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The look-ups of packages in the policy file:
//
//     <tresk_root>
//       <tresk_bwlist bw_value="white">
//         <tresk_node rpm_name="a" data_source_type="1" data_source_name="source"/>
//       </tresk_bwlist>
//     </tresk_root>
//
// A list may be spread over several elements. A file that cannot be read has no entries and is not reported,
// except to those who ask for the verdict of the white and the black list together.
#include "common/edge.h"
#include "common/policy_document.h"
#include "common/source_type.h"
#include "tresk_extend.h"

#include <functional>
#include <string_view>

namespace tresk::bwlist {

namespace {

constexpr char kPolicyFile[] = "/etc/tresk/bwlist/bwlist.xml";
/// Another root is no entry like any other missing one: neither is logged, and no file is created.
constexpr PolicyFormat kFormat = {"tresk_root", nullptr, nullptr, nullptr};

/// Mode that looks at all sources of a list at once.
constexpr int kUnite = 3;
/// In that mode, the name of the white and the black list together.
constexpr std::string_view kBothLists = "bwlist";

constexpr char kPackage[] = "rpm_name";

constexpr int kFailed = -1;
constexpr int kWhiteListed = 2;
constexpr int kNotWhiteListed = 3;

using Match = std::function<bool(const PolicyNode&)>;

/// Whether an entry of @package in @list matches.
bool finds(std::string_view list, std::string_view package, const Match& matches)
{
    bool found = false;
    const auto enter = [list](const PolicyNode& group) {
        return group.is_element("tresk_bwlist") && group.attribute("bw_value") == list ? Group::enter
                                                                                       : Group::pass;
    };
    const bool read = read_policy(kFormat, kPolicyFile, nullptr,
                                  {[&](const PolicyNode& /*root*/) { found = false; }, enter,
                                   [&](const PolicyNode& node) {
                                       found = node.is_element("tresk_node") &&
                                               node.attribute(kPackage) == package && matches(node);
                                       return found ? Walk::stop : Walk::on;
                                   },
                                   only_with(kPackage, package)});
    return read && found;
}

bool finds_of_any_source(std::string_view list, std::string_view package)
{
    return finds(list, package, [](const PolicyNode& /*node*/) { return true; });
}

bool finds_of_source(std::string_view list, std::string_view package, int type, std::string_view name)
{
    return finds(list, package, [&, type_text = source_type_text(type)](const PolicyNode& node) {
        return node.attribute("data_source_type") == std::string_view(type_text.data()) &&
               node.attribute("data_source_name") == name;
    });
}

/// The verdict of both lists. It fails on any error that libxml2 has to report, also on one that the thread's
/// earlier work left behind: the first reading does not reset it.
int verdict_of_both(std::string_view package)
{
    if (!reads_without_error(kPolicyFile)) {
        return kFailed;
    }
    const bool white = finds_of_any_source("white", package);
    if (xml_error_is_left()) {
        return kFailed;
    }
    const bool black = finds_of_any_source("black", package);
    if (xml_error_is_left()) {
        return kFailed;
    }
    return white && !black ? kWhiteListed : kNotWhiteListed;
}

} // namespace

} // namespace tresk::bwlist

using namespace tresk;

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that programs know.
TRESK_EXPORT int _bwlist_unite_select_by_rpm_name(const char* list, const char* rpm_name)
{
    return at_edge(0, [&] {
        return list != nullptr && rpm_name != nullptr && bwlist::finds_of_any_source(list, rpm_name) ? 1 : 0;
    });
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that programs know.
TRESK_EXPORT int _bwlist_independence_select_by_rpm_name(const char* list, const char* rpm_name, int type,
                                                         const char* name)
{
    return at_edge(0, [&] {
        const bool asked = list != nullptr && rpm_name != nullptr && name != nullptr;
        return asked && bwlist::finds_of_source(list, rpm_name, type, name) ? 1 : 0;
    });
}

TRESK_EXPORT int tresk_bwlist_select_by_rpm_name_zdk(const char* list, const char* rpm_name, int mode,
                                                     const char* name)
{
    if (list == nullptr || rpm_name == nullptr) {
        return bwlist::kFailed;
    }
    if (mode != bwlist::kUnite) {
        return _bwlist_independence_select_by_rpm_name(list, rpm_name, mode, name == nullptr ? "" : name);
    }
    if (list != bwlist::kBothLists) {
        return _bwlist_unite_select_by_rpm_name(list, rpm_name);
    }
    return at_edge(bwlist::kFailed, [&] { return bwlist::verdict_of_both(rpm_name); });
}
