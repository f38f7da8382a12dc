// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/differential/round.h"

namespace tresk::test {

namespace {

using Lines = std::vector<std::string>;

std::optional<std::string> random_lines(Random& random, const Lines& choices)
{
    if (random.once_in(12)) {
        return std::nullopt;
    }
    std::string text;
    for (std::size_t i = random.below(6); i > 0; --i) {
        text += random.once_in(6) ? random.one_of(Lines{" ", "\t", "  # "}) : "";
        text += random.one_of(choices);
        text += random.once_in(12) ? random.one_of(Lines{" ", "\r", "x"}) : "";
        text += "\n";
    }
    if (!text.empty() && random.once_in(4)) {
        text.pop_back();
    }
    if (random.once_in(20)) {
        text.insert(random.below(text.size() + 1), 1, '\0');
    }
    return text;
}

const Lines& settings()
{
    static const Lines lines{"action=kill",
                             "action = stop",
                             "  action=warn",
                             "#action=no",
                             "action",
                             "=",
                             "",
                             "a",
                             "reaction=1=2",
                             "\taction=\tx",
                             "other=1",
                             "action=",
                             "x=action",
                             std::string(5000, 'z') + "action=far"};
    return lines;
}

const Lines& patterns()
{
    static const Lines lines{"/usr/bin/ab*",
                             "/usr/bin/ab",
                             "#/usr/bin/a",
                             "*",
                             "**",
                             "a",
                             "",
                             "  /usr/bin/a",
                             "/usr/bin/a",
                             "/home*",
                             "/usr/*/a",
                             "b",
                             "x*",
                             "/opt/long/" + std::string(300, 'l')};
    return lines;
}

void add_action(Round& round)
{
    round.questions.push_back({"get_action",
                               [] {
                                   char untouched[] = "untouched";
                                   char* action = untouched;
                                   const int result = tresk_ppro_get_action(&action);
                                   std::string answer = std::to_string(result) + " " + action;
                                   if (action != untouched) {
                                       std::free(action);
                                   }
                                   return answer;
                               },
                               [](Naive& naive) {
                                   Text action = "untouched";
                                   const int result = naive_ppro_action(naive, &action);
                                   return std::to_string(result) + " " + *action;
                               }});
    round.questions.push_back(
        {"get_action into nothing", [] { return std::to_string(tresk_ppro_get_action(nullptr)); },
         [](Naive& naive) { return std::to_string(naive_ppro_action(naive, nullptr)); }});
}

void add_path(Round& round, Random& random)
{
    static const Lines paths{"/usr/bin/a", "/usr/bin/ab", "/opt/x/usr/bin/abc", "/usr/bin", "b",  "bb", "",
                             "/home/u",    "/usr/*/a",    "/usr/bin/ax",        "#/usr",    "a ", "*"};
    const Text path = random.once_in(20) ? Text() : Text(random.one_of(paths));
    round.questions.push_back(
        {"path_in_blacklist " + shown(path),
         [path] {
             Text copy = path;
             return std::to_string(ppro_path_in_blacklist(copy ? copy->data() : nullptr));
         },
         [path](Naive& naive) { return std::to_string(naive_ppro_blacklisted(naive, path)); }});
}

Round settings_round(Random& random)
{
    Round round{"/etc/tresk/ppro", {}, 0, false, {}};
    round.add_file("/etc/tresk/ppro/ppro.conf", random_lines(random, settings()));
    round.add_file("/etc/tresk/ppro/ppro_blacklist", random_lines(random, patterns()));
    add_action(round);
    for (int i = 0; i < 4; ++i) {
        add_path(round, random);
    }
    return round;
}

} // namespace

Family settings_family()
{
    return {"settings",
            settings_round,
            {Rule::ShortLinesAreSkipped, Rule::LeadingBlanksAreCut, Rule::CommentLinesAreSkipped,
             Rule::SettingNeedsName, Rule::SettingFollowsFirstSign, Rule::SettingIsNotTrimmed,
             Rule::LaterSettingReplaces, Rule::NoSettingIsNoWrite, Rule::StarIsSubstring,
             Rule::PlainLineIsWhole, Rule::MissingListFails}};
}

} // namespace tresk::test
