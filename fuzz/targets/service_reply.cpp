// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input chooses a function that asks the service (a byte), whether there is a reply or an error (a byte),
// and what it is: a tuple, as text or as a type, a NUL and its bytes; or an error's name, a NUL and its
// message. The function's result is what the first member of the reply or the error's code says.
#include "fuzz/support/error_table.h"
#include "fuzz/support/fake_bus.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <array>

namespace tresk::fuzz {

namespace {

using test::framework;

/// A function that answers the service's integer, and what it answers where there is none; 0: the code of the
/// failure.
struct NumberFunction {
    int (*ask)();
    std::optional<int> failure;
};

const std::array kNumbers = {
    NumberFunction{[] { return tresk_setstatus(1); }, {}},
    NumberFunction{[] { return tresk_set_func_status(7, 0); }, {}},
    NumberFunction{[] { return tresk_set_func_status(-1, 1); }, {}},
    NumberFunction{tresk_conf_add, {}},
    NumberFunction{tresk_conf_remove, {}},
    NumberFunction{[] { return tresk_conf_set("name", 1); }, {}},
    NumberFunction{[] { return getModuleStatus_dbus(1); }, {}},
    NumberFunction{[] { return setModuleStatus_dbus(1, 2, 3, 4, 5); }, {}},
    NumberFunction{[] { return setModuleStatusReboot_dbus(1, 2, 3, 4, 5, 6); }, {}},
    NumberFunction{[] { return getCurModuleStatus_dbus(1); }, {}},
    NumberFunction{[] { return setSelinuxPolicy("policy"); }, {}},
    NumberFunction{[] { return checkSecuritySwitchReboot_dbus(1); }, {}},
    NumberFunction{[] { return checkSetModuleStatusReboot_dbus(1, 2); }, {}},
    NumberFunction{[] { return processctrlPolkitForSetModuleStatus_dbus(1, 2); }, {}},
    NumberFunction{[] { return tresk_check_user_valid("user", "credential"); }, {}},
    NumberFunction{[] { return tresk_bwlist_add_zdk("white", "package", 1, ""); }, {}},
    NumberFunction{[] { return tresk_bwlist_del_zdk("white", "package", 1, ""); }, {}},
    NumberFunction{[] { return tresk_bwlist_get_root_distinguish_zdk(1, nullptr); }, {}},
    NumberFunction{[] { return tresk_bwlist_set_root_distinguish_zdk(1, 1, ""); }, {}},
    NumberFunction{[] { return tresk_bwlist_clear_policy_zdk(1, ""); }, {}},
    NumberFunction{getCurSecurityStatusForVexDefender, 0},
    NumberFunction{[] { return setSecurityForVexDefender(1, 2); }, 0},
    NumberFunction{[] { return setSecurityForVexDefenderReboot(1, 2, 3); }, 0},
    NumberFunction{tresk_netflow_perm_check, -1},
    NumberFunction{[] { return tresk_get_pid_by_path("/usr/bin/a"); }, -1},
    NumberFunction{[] { return tresk_ppro_add("/usr/bin/a", 1); }, -1},
    NumberFunction{[] { return tresk_ppro_remove_internal("/usr/bin/a", 1); }, -1},
    NumberFunction{[] { return tresk_netctl_set_user_distinguish(1); }, -1},
    NumberFunction{[] { return tresk_netctl_pkg_update(1, "a", 1, "", "", 0); }, -1},
    NumberFunction{[] { return check_kmod_in_sm("module"); }, -1},
    NumberFunction{[] {
                       const tresk_device_record record{};
                       return tresk_devctl_xdg_insert_record(&record, 1);
                   },
                   -1},
};

constexpr std::size_t kOthers = 5;
constexpr int kNoReply = -1011;

/// The reply's first member where it is of @type.
OwnedVariant member_of(const GVariantType* type)
{
    GVariant* const reply = fake_bus().reply.get();
    if (reply == nullptr || g_variant_n_children(reply) == 0) {
        return nullptr;
    }
    OwnedVariant first(g_variant_get_child_value(reply, 0));
    return g_variant_is_of_type(first.get(), type) != FALSE ? std::move(first) : nullptr;
}

/// What a function gives that answers why it failed.
int expected_code()
{
    if (!fake_bus().error) {
        return kNoReply;
    }
    const Handle<char, ::g_free> name(g_dbus_error_get_remote_error(fake_bus().error.get()));
    return code_of_error(name.get());
}

void check_number(const NumberFunction& function)
{
    const OwnedVariant number = member_of(G_VARIANT_TYPE_INT32);
    const int expected =
        number ? g_variant_get_int32(number.get()) : function.failure.value_or(expected_code());
    TRESK_REQUIRE(function.ask() == expected);
}

void check_hash(char* (*ask)(const char*))
{
    const OwnedVariant text = member_of(G_VARIANT_TYPE_STRING);
    const std::string expected = text ? g_variant_get_string(text.get(), nullptr) : "";
    const Malloced<char> hash(ask("/usr/bin/a"));
    TRESK_REQUIRE(expected == (hash ? hash.get() : ""));
}

void check_hashes(char** (*ask)(const char* const*, int))
{
    constexpr std::size_t wanted = 3;
    constexpr std::size_t longest = 64;
    const std::array<const char*, wanted> paths = {"/a", "/b", "/c"};
    const OwnedVariant texts = member_of(G_VARIANT_TYPE_STRING_ARRAY);
    const std::size_t answered = texts ? g_variant_n_children(texts.get()) : 0;
    const Malloced<char*> hashes(ask(paths.data(), wanted));
    TRESK_REQUIRE((hashes != nullptr) == (answered > 0));
    for (std::size_t index = 0; hashes && index < wanted; ++index) {
        const Malloced<char> hash(hashes.get()[index]);
        TRESK_REQUIRE((hash != nullptr) == (index < answered));
        if (hash) {
            const OwnedVariant text(g_variant_get_child_value(texts.get(), index));
            TRESK_REQUIRE(std::string(g_variant_get_string(text.get(), nullptr)).substr(0, longest) ==
                          hash.get());
        }
    }
}

/// Both outputs, or, where there is no answer, none.
void check_two_outputs()
{
    int first = kUntouched;
    int second = kUntouched;
    const OwnedVariant number = member_of(G_VARIANT_TYPE_INT32);
    TRESK_REQUIRE(getSecurityStatusForVexDefender(&first, &second) == (number ? 1 : 0));
    const int expected = number ? g_variant_get_int32(number.get()) : kUntouched;
    TRESK_REQUIRE(first == expected && second == expected);
    TRESK_REQUIRE(fake_bus().asked.size() == (number ? 2U : 1U));
}

void check_other(std::size_t which)
{
    switch (which) {
    case 0:
        return check_hash(tresk_calc_file_hash_value);
    case 1:
        return check_hash(tresk_get_file_hash_value);
    case 2:
        return check_hashes(tresk_calc_multi_file_hash_value);
    case 3:
        return check_hashes(tresk_get_multi_file_hash_value);
    default:
        return check_two_outputs();
    }
}

/// False where the input says no answer.
bool script_answer(Pieces& pieces)
{
    FakeBus& bus = fake_bus();
    bus.reset();
    if (pieces.byte() % 4 != 3) {
        bus.reply = reply_in(pieces);
        return bus.reply != nullptr;
    }
    bus.reply.reset();
    const std::string name = pieces.text();
    bus.error = remote_error(name, std::string(pieces.text()));
    return true;
}

} // namespace

void set_up() {}

void run(std::string_view input)
{
    framework().reset();
    Pieces pieces(input);
    const std::size_t which = pieces.below(kNumbers.size() + kOthers);
    if (!script_answer(pieces)) {
        return;
    }
    if (which < kNumbers.size()) {
        check_number(kNumbers[which]);
        TRESK_REQUIRE(fake_bus().asked.size() == 1);
    } else {
        check_other(which - kNumbers.size());
    }
    for (const test::ErrorRecord& record : framework().errors) {
        TRESK_REQUIRE(record.code >= -1015 && record.code <= -1001);
    }
}

} // namespace tresk::fuzz
