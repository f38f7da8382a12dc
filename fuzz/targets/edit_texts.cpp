// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input chooses an edit that goes to the service, and its texts: a byte for the edit, one for what the
// machine is like, and of each text a byte (null or not, and how often it is repeated) and, up to a NUL, its
// bytes. What reaches the scene and the service is exactly the texts, normalised and cut as the edit says;
// where one of them cannot travel, nothing is changed anywhere.
#include "fuzz/support/fake_bus.h"
#include "fuzz/support/text_rules.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tresk::fuzz {

namespace {

using test::framework;

constexpr std::size_t kMostTexts = 4;
constexpr int kServiceAnswer = 4711;
constexpr int kBadArgument = -1007;
constexpr int kUnresolved = -1011;

/// What is done with a text before it is sent.
enum class Rule {
    as_is,
    stored_path, ///< made absolute and shortened
    own_path,    ///< shortened in the caller's memory
    cut,         ///< to 4095 bytes; null is the empty text
    cut_name,    ///< the same to 254 bytes
    or_empty,    ///< null is the empty text
};

using Texts = std::array<char*, kMostTexts>;

struct Edit {
    const char* name;
    std::vector<Rule> rules;
    int (*make)(const Texts& texts);
    /// The result where nothing can be sent.
    int refusal;
    /// The scene is told the first text.
    bool scene;
};

int ask_module(const Texts& texts)
{
    return check_kmod_in_sm(texts[0]);
}

const std::vector<Edit>& edits()
{
    using R = Rule;
    static const std::vector<Edit> all = {
        {"ppro_add_zdk",
         {R::stored_path, R::as_is},
         [](const Texts& t) { return tresk_ppro_add_zdk(t[0], 1, 0, t[1]); },
         -1,
         true},
        {"ppro_remove_zdk",
         {R::stored_path, R::as_is},
         [](const Texts& t) { return tresk_ppro_remove_zdk(t[0], 0, t[1]); },
         -1,
         true},
        {"ppro_update_zdk",
         {R::stored_path, R::as_is},
         [](const Texts& t) { return tresk_ppro_update_zdk(t[0], 1, 0, t[1]); },
         -1,
         false},
        {"ppro_add", {R::stored_path}, [](const Texts& t) { return tresk_ppro_add(t[0], 1); }, -1, true},
        {"ppro_add_sm",
         {R::stored_path},
         [](const Texts& t) { return tresk_ppro_add_sm(t[0], 1); },
         -1,
         true},
        {"ppro_remove", {R::stored_path}, [](const Texts& t) { return tresk_ppro_remove(t[0]); }, -1, true},
        {"ppro_remove_sm",
         {R::stored_path},
         [](const Texts& t) { return tresk_ppro_remove_sm(t[0]); },
         -1,
         true},
        {"ppro_update",
         {R::stored_path},
         [](const Texts& t) { return tresk_ppro_update(t[0], 1); },
         -1,
         false},
        {"ppro_update_sm",
         {R::stored_path},
         [](const Texts& t) { return tresk_ppro_update_sm(t[0], 1); },
         -1,
         false},
        {"ppro_remove_internal",
         {R::stored_path},
         [](const Texts& t) { return tresk_ppro_remove_internal(t[0], 1); },
         -1,
         false},
        {"ppro_update_internal",
         {R::stored_path},
         [](const Texts& t) { return tresk_ppro_update_internal(t[0], 1, 0); },
         -1,
         false},
        {"get_pid_by_path",
         {R::as_is},
         [](const Texts& t) { return tresk_get_pid_by_path(t[0]); },
         -1,
         false},
        {"pblk_add_zdk",
         {R::own_path, R::as_is},
         [](const Texts& t) { return tresk_pblk_add_zdk(t[0], 1, t[1]); },
         -1,
         true},
        {"pblk_add", {R::own_path}, [](const Texts& t) { return tresk_pblk_add(t[0]); }, -1, true},
        {"pblk_remove_zdk",
         {R::own_path, R::as_is},
         [](const Texts& t) { return tresk_pblk_remove_zdk(t[0], 1, t[1]); },
         -1,
         true},
        {"pblk_remove", {R::own_path}, [](const Texts& t) { return tresk_pblk_remove(t[0]); }, -1, true},
        {"netctl_add",
         {R::cut, R::cut_name, R::cut},
         [](const Texts& t) { return tresk_netctl_add(1, t[0], 2, t[1], t[2], 0); },
         -1,
         true},
        {"netctl_ext_add",
         {R::cut, R::cut_name, R::cut, R::cut},
         [](const Texts& t) { return tresk_netctl_ext_add(1, t[0], 2, t[1], t[2], t[3], 0); },
         -1,
         true},
        {"netctl_remove", {R::cut}, [](const Texts& t) { return tresk_netctl_remove(1, t[0]); }, -1, true},
        {"netctl_update",
         {R::cut, R::cut_name, R::cut},
         [](const Texts& t) { return tresk_netctl_update(1, t[0], 1, t[1], t[2], 0); },
         -1,
         true},
        {"netctl_ext_update",
         {R::cut, R::cut_name, R::cut, R::cut},
         [](const Texts& t) { return tresk_netctl_ext_update(1, t[0], 3, t[1], t[2], t[3], 0); },
         -1,
         false},
        {"netctl_pkg_add",
         {R::cut, R::cut, R::cut},
         [](const Texts& t) { return tresk_netctl_pkg_add(1, t[0], 2, t[1], t[2], 0); },
         -1,
         true},
        {"netctl_pkg_remove",
         {R::cut},
         [](const Texts& t) { return tresk_netctl_pkg_remove(1, t[0]); },
         -1,
         true},
        {"netctl_pkg_update",
         {R::cut, R::cut, R::cut},
         [](const Texts& t) { return tresk_netctl_pkg_update(1, t[0], 1, t[1], t[2], 0); },
         -1,
         true},
        {"netctl_pkg_path_update",
         {R::cut, R::as_is, R::cut, R::cut},
         [](const Texts& t) { return tresk_netctl_pkg_path_update(1, t[0], t[1], 2, t[2], t[3], 0); },
         -1,
         false},
        {"bwlist_add_zdk",
         {R::as_is, R::as_is, R::as_is},
         [](const Texts& t) { return tresk_bwlist_add_zdk(t[0], t[1], 1, t[2]); },
         kBadArgument,
         false},
        {"bwlist_del_zdk",
         {R::as_is, R::as_is, R::as_is},
         [](const Texts& t) { return tresk_bwlist_del_zdk(t[0], t[1], 1, t[2]); },
         kBadArgument,
         false},
        {"bwlist_get_root_distinguish_zdk",
         {R::or_empty},
         [](const Texts& t) { return tresk_bwlist_get_root_distinguish_zdk(1, t[0]); },
         kBadArgument,
         false},
        {"bwlist_set_root_distinguish_zdk",
         {R::as_is},
         [](const Texts& t) { return tresk_bwlist_set_root_distinguish_zdk(1, 1, t[0]); },
         kBadArgument,
         false},
        {"bwlist_clear_policy_zdk",
         {R::as_is},
         [](const Texts& t) { return tresk_bwlist_clear_policy_zdk(1, t[0]); },
         kBadArgument,
         false},
        {"conf_set", {R::as_is}, [](const Texts& t) { return tresk_conf_set(t[0], 1); }, kBadArgument, false},
        {"setSelinuxPolicy",
         {R::as_is},
         [](const Texts& t) { return setSelinuxPolicy(t[0]); },
         kBadArgument,
         false},
        {"check_user_valid",
         {R::as_is, R::as_is},
         [](const Texts& t) {
             const int result = tresk_check_user_valid(t[0], t[1]);
             return t[0] == nullptr || t[1] == nullptr ? (result == -2 ? kBadArgument : 0) : result;
         },
         kBadArgument,
         false},
        {"check_kmod_in_sm", {R::as_is}, ask_module, -1, false},
    };
    return all;
}

/// A text as the caller gives it; nothing for null.
using Given = std::optional<std::string>;

Given given_in(Pieces& pieces)
{
    constexpr std::uint8_t null = 255;
    constexpr std::uint8_t long_ones = 192;
    const std::uint8_t how = pieces.byte();
    std::string text = pieces.text();
    if (how == null) {
        return std::nullopt;
    }
    if (how >= long_ones && !text.empty()) {
        // About as long as what is cut, and a little more or less.
        std::string repeated;
        const std::size_t longest = (how % 2 == 0 ? 4095U : 254U) + how % 8U;
        while (repeated.size() < longest) {
            repeated += text;
        }
        return repeated;
    }
    return text;
}

/// A caller's texts in memory of their own, which the edit may write to.
class CallerTexts {
  public:
    explicit CallerTexts(const std::vector<Given>& given)
    {
        for (std::size_t index = 0; index < given.size(); ++index) {
            if (given[index]) {
                owned_[index].reset(::strdup(given[index]->c_str()));
                texts_[index] = owned_[index].get();
            }
        }
    }

    [[nodiscard]] const Texts& get() const { return texts_; }

  private:
    std::array<Malloced<char>, kMostTexts> owned_;
    Texts texts_{};
};

/// What the machine is like: whether "/home" and "/root" are bound from "/data", and whether paths resolve.
struct Machine {
    bool bound;
    bool resolves;
};

std::string shortened(const std::string& path, const Machine& machine)
{
    constexpr std::size_t kept = 4095;
    const std::string rest = past_data(path);
    if (!machine.bound || rest == path) {
        return path;
    }
    return is_utf8(rest) ? whole_characters(rest, kept) : rest;
}

/// The text as it goes out; nothing where there is none to go.
Given sent_text(Rule rule, const Given& text, const Machine& machine)
{
    constexpr std::size_t text_kept = 4095;
    constexpr std::size_t name_kept = 254;
    switch (rule) {
    case Rule::as_is:
        return text;
    case Rule::stored_path:
    case Rule::own_path:
        return text ? Given(shortened(*text, machine)) : std::nullopt;
    case Rule::cut:
        return whole_characters(text.value_or(""), text_kept);
    case Rule::cut_name:
        return whole_characters(text.value_or(""), name_kept);
    case Rule::or_empty:
        return text.value_or("");
    }
    return std::nullopt;
}

void prepare(const Machine& machine)
{
    framework().reset();
    framework().get_absolute_path = [resolves = machine.resolves](const char* path) -> char* {
        errno = path == nullptr ? EINVAL : ENOENT;
        return path == nullptr || !resolves ? nullptr : ::strdup(path);
    };
    framework().path_is_same = [bound = machine.bound](const char* path, const char* rest) {
        TRESK_REQUIRE(past_data(path) == rest);
        return bound ? 1 : 0;
    };
    fake_bus().reset();
    fake_bus().answer_number(kServiceAnswer);
}

void require_nothing_changed()
{
    TRESK_REQUIRE(framework().scene_calls.empty());
    TRESK_REQUIRE(fake_bus().asked.empty());
}

/// The path that the scene is told: as the edit stores it, and of network control as the caller gave it.
std::string told_scene(const Edit& edit, const Given& given, const Given& sent)
{
    return edit.rules.front() == Rule::cut ? given.value_or("") : *sent;
}

void require_everything_changed(const Edit& edit, const std::vector<Given>& given,
                                const std::vector<Given>& sent)
{
    TRESK_REQUIRE(framework().scene_calls.size() == (edit.scene ? 1U : 0U));
    if (edit.scene) {
        TRESK_REQUIRE(framework().scene_calls.front().argument ==
                      told_scene(edit, given.front(), sent.front()));
    }
    TRESK_REQUIRE(fake_bus().asked.size() == 1);
    std::vector<std::string> texts = texts_in(fake_bus().asked.front().arguments.get());
    // The plain edits of process protection and blocking have the empty source besides.
    texts.resize(std::min(texts.size(), sent.size()));
    TRESK_REQUIRE(texts.size() == sent.size());
    TRESK_REQUIRE(std::equal(sent.begin(), sent.end(), texts.begin(),
                             [](const Given& one, const std::string& text) { return one == text; }));
}

/// And in no record: the functions of modules do where there is no name.
bool says_so_on_standard_error(const Edit& edit, const Given& name)
{
    return edit.make == ask_module && !name;
}

bool needs_resolving(const Edit& edit)
{
    return edit.rules.front() == Rule::stored_path;
}

/// Cutting by whole characters is only said of UTF-8. Of other bytes it is enough that no wrong text goes
/// out.
bool is_said(const std::vector<Given>& given)
{
    return std::all_of(given.begin(), given.end(),
                       [](const Given& text) { return !text || text->size() < 250 || is_utf8(*text); });
}

} // namespace

void set_up()
{
    // What the edits print of refusals is nobody's here.
    TRESK_REQUIRE(std::freopen("/dev/null", "w", stdout) != nullptr);
}

void run(std::string_view input)
{
    Pieces pieces(input);
    const Edit& edit = edits()[pieces.below(edits().size())];
    const std::uint8_t flags = pieces.byte();
    const Machine machine{(flags & 1U) != 0, (flags & 2U) == 0};
    std::vector<Given> given;
    std::vector<Given> sent;
    for (const Rule rule : edit.rules) {
        given.push_back(given_in(pieces));
        sent.push_back(sent_text(rule, given.back(), machine));
    }
    prepare(machine);
    const CallerTexts texts(given);
    errno = 0;
    const int result = edit.make(texts.get());
    if (!is_said(given)) {
        TRESK_REQUIRE(result == kServiceAnswer || result == edit.refusal);
        return;
    }
    const bool travels =
        std::all_of(sent.begin(), sent.end(), [](const Given& text) { return text && is_utf8(*text); });
    const bool resolved = !needs_resolving(edit) || machine.resolves;
    if (travels && resolved) {
        TRESK_REQUIRE(result == kServiceAnswer);
        require_everything_changed(edit, given, sent);
    } else {
        TRESK_REQUIRE(result == edit.refusal);
        require_nothing_changed();
        if (says_so_on_standard_error(edit, given.front())) {
            return;
        }
        TRESK_REQUIRE(framework().errors.size() == 1);
        const int code = framework().errors.front().code;
        TRESK_REQUIRE(code == kBadArgument || (code == kUnresolved && needs_resolving(edit)));
    }
    if (edit.rules.front() == Rule::own_path && given.front()) {
        TRESK_REQUIRE(*sent.front() == texts.get().front());
    }
}

} // namespace tresk::fuzz
