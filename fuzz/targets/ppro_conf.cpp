// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is the settings file of process protection. The action that is read from it is what a second,
// plain reading finds.
#include "fuzz/support/policy_place.h"
#include "fuzz/support/settings_lines.h"
#include "tresk_extend.h"

#include <optional>

namespace tresk::fuzz {

namespace {

constexpr char kFile[] = "/etc/tresk/ppro/ppro.conf";

std::optional<std::string> expected_action(std::string_view input)
{
    std::optional<std::string> action;
    for (const std::string& line : settings_lines(input)) {
        const std::string text = said_in(line);
        const std::size_t equals = text.find('=');
        if (!is_comment(text) && text.find("action") != std::string::npos && equals != std::string::npos) {
            action = text.substr(equals + 1);
        }
    }
    return action;
}

} // namespace

void set_up()
{
    enter_sandbox();
}

void run(std::string_view input)
{
    place(kFile, input);
    char before[] = "before";
    char* action = before;
    TRESK_REQUIRE(tresk_ppro_get_action(&action) == 0);
    const auto expected = expected_action(input);
    TRESK_REQUIRE((action == before) == !expected.has_value());
    if (action != before) {
        const Malloced<char> owner(action);
        TRESK_REQUIRE(*expected == action);
    }
    TRESK_REQUIRE(tresk_ppro_get_action(nullptr) == -1);
    judge(kFile);
    TRESK_REQUIRE(content_of(kFile) == input);
}

} // namespace tresk::fuzz
