// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is the policy of the package lists. All look-ups read it, and treskctl's own reading; they agree,
// and leave it as it is.
#include "fuzz/support/own_reading.h"
#include "tresk_extend.h"
#include "treskctl/policy/kinds/kinds.h"

#include <libxml/xmlerror.h>

#include <array>
#include <set>
#include <tuple>

namespace tresk::fuzz {

namespace {

constexpr int kUnite = 3;

struct Question {
    std::string list;
    std::string package;

    bool operator<(const Question& other) const
    {
        return std::tie(list, package) < std::tie(other.list, other.package);
    }
};

std::string text(const ctl::Entry& entry, const char* field)
{
    return text_at(ctl::bwlist_kind(), entry, field);
}

bool is_listed(const Question& question)
{
    const int answer = _bwlist_unite_select_by_rpm_name(question.list.c_str(), question.package.c_str());
    TRESK_REQUIRE(answer == 0 || answer == 1);
    return answer == 1;
}

/// One source's answer, over both ways to ask for it. Every look-up parses the file again, so another
/// question is asked for another source.
void check_source(const Question& question, std::size_t number, bool listed)
{
    constexpr std::array types = {0, 1, 2, -1, 1234567};
    const int type = types[number % types.size()];
    const char* const name = number % 2 == 0 ? "" : "source";
    const int of_source =
        _bwlist_independence_select_by_rpm_name(question.list.c_str(), question.package.c_str(), type, name);
    TRESK_REQUIRE(of_source == 0 || (of_source == 1 && listed));
    TRESK_REQUIRE(tresk_bwlist_select_by_rpm_name_zdk(question.list.c_str(), question.package.c_str(), type,
                                                      name) == of_source);
}

void check_list(const Question& question, const ctl::Reading& reading, std::size_t number)
{
    const bool listed = is_listed(question);
    const auto is_it = [&](const ctl::Entry& entry) {
        return text(entry, "list") == question.list && text(entry, "package") == question.package;
    };
    if (!reading.failure) {
        TRESK_REQUIRE(listed == std::any_of(reading.entries.begin(), reading.entries.end(), is_it));
    }
    check_source(question, number, listed);
    if (question.list != "bwlist") {
        TRESK_REQUIRE(tresk_bwlist_select_by_rpm_name_zdk(question.list.c_str(), question.package.c_str(),
                                                          kUnite, nullptr) == (listed ? 1 : 0));
    }
}

/// The verdict over both lists, which the parser's complaints make a failure.
void check_verdict(const std::string& package)
{
    xmlResetLastError();
    const int verdict = tresk_bwlist_select_by_rpm_name_zdk("bwlist", package.c_str(), kUnite, nullptr);
    TRESK_REQUIRE(verdict == -1 || verdict == 2 || verdict == 3);
    if (verdict != -1) {
        const bool permitted = is_listed({"white", package}) && !is_listed({"black", package});
        TRESK_REQUIRE(verdict == (permitted ? 2 : 3));
    }
}

} // namespace

void set_up()
{
    enter_sandbox();
}

void run(std::string_view input)
{
    const char* const file = ctl::bwlist_kind().file;
    place(file, input);
    const ctl::Reading reading = ctl::bwlist_kind().read("");
    std::set<Question> questions = {{"white", "a"}, {"black", "a"}, {"", ""}, {"bwlist", "a"}};
    constexpr std::size_t enough = 4; // entries are looked up one by one
    for (std::size_t index = 0; index < std::min(reading.entries.size(), enough); ++index) {
        questions.insert({text(reading.entries[index], "list"), text(reading.entries[index], "package")});
    }
    std::size_t number = input.size();
    for (const Question& question : questions) {
        check_list(question, reading, number++);
        check_verdict(question.package);
    }
    TRESK_REQUIRE(content_of(file) == input); // no look-up makes a policy where there is none
}

} // namespace tresk::fuzz
