// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input chooses a change that the scene library alone is told of (a byte), numbers and texts for it. What
// reaches the scene is the texts, whole or cut to their fields, each with its end; a change that is refused
// reaches it in no part.
#include "common/handles.h"
#include "fuzz/support/target.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <vector>

namespace tresk::fuzz {

namespace {

using test::framework;

const std::vector<test::SceneCall>& scene_calls()
{
    return framework().scene_calls;
}

// --- labels of one file ---

using Words = std::set<std::string>;

struct LabelFunction {
    int (*set)(const char* path, const char* label);
    Words labels;
};

const std::array kLabelFunctions = {
    LabelFunction{tresk_protect_set, {"readonly", "verify", "none"}},
    LabelFunction{tresk_protect_set_sm, {"readonly", "verify", "none"}},
    LabelFunction{tresk_identify_set, {"secadm", "audadm", "none"}},
    LabelFunction{tresk_exectl_set,
                  {"unknown", "original", "verified", "mesoft", "parent", "script", "trusted"}},
};

/// "1 PATH" or "PATH".
std::string path_of(const test::SceneCall& call)
{
    const bool has_role =
        call.function.ends_with("_user") && call.function.find("path_for_user") != std::string::npos;
    return has_role ? call.argument.substr(2) : call.argument;
}

void check_label(Pieces& pieces)
{
    const LabelFunction& function = kLabelFunctions[pieces.below(kLabelFunctions.size())];
    const std::string path = pieces.text();
    const std::string label = pieces.text();
    const int result = function.set(path.c_str(), label.c_str());
    const bool known = function.labels.count(label) != 0;
    TRESK_REQUIRE(result == (known ? 0 : -1));
    TRESK_REQUIRE(known != scene_calls().empty());
    for (const test::SceneCall& call : scene_calls()) {
        TRESK_REQUIRE(path_of(call) == path);
    }
    TRESK_REQUIRE(function.set(nullptr, label.c_str()) == -2 && function.set(path.c_str(), nullptr) == -2);
}

// --- records ---

/// Fills @field from the input: with an end, or, where the text is as long, without.
template <std::size_t N>
std::string fill(char (&field)[N], const std::string& text, bool to_the_end)
{
    std::memset(field, 0, N);
    if (!text.empty() && to_the_end) {
        for (std::size_t at = 0; at < N; ++at) {
            field[at] = text[at % text.size()];
        }
        return {field, N};
    }
    std::string kept = text.substr(0, N - 1);
    std::memcpy(field, kept.data(), kept.size());
    return kept;
}

template <class Record>
struct Batch {
    std::vector<Record> records;
    std::string paths; ///< as the scene is told them
    std::string label;
};

template <class Record>
Batch<Record> batch_in(Pieces& pieces)
{
    constexpr std::size_t most = 4;
    Batch<Record> batch;
    const std::size_t count = 1 + pieces.below(most);
    for (std::size_t number = 0; number < count; ++number) {
        Record& record = batch.records.emplace_back();
        const bool to_the_end = pieces.byte() % 8 == 0;
        batch.paths += fill(record.path, pieces.text(), to_the_end) + " ";
        if constexpr (requires { record.label; }) {
            const std::string label = fill(record.label, pieces.text(), pieces.byte() % 8 == 0);
            batch.label = number == 0 ? label : batch.label;
        }
    }
    batch.paths += std::to_string(count);
    return batch;
}

void require_list(const char* function, const std::string& argument)
{
    TRESK_REQUIRE(scene_calls().size() == 1);
    TRESK_REQUIRE(scene_calls().front() == (test::SceneCall{function, argument}));
}

void check_label_batch(Pieces& pieces)
{
    const bool protect = pieces.byte() % 2 == 0;
    const auto batch = batch_in<tresk_label_record>(pieces);
    const int count = static_cast<int>(batch.records.size());
    if (protect) {
        TRESK_REQUIRE(tresk_protect_multi_set(batch.records.data(), count) == count);
        require_list(batch.label == "none" ? "tresk_scene_filectl_multi_remove_by_path"
                                           : "tresk_scene_filectl_multi_add_by_path",
                     batch.paths);
    } else {
        TRESK_REQUIRE(tresk_exectl_multi_set(batch.records.data(), count) == 0);
        require_list(batch.label == "unknown" ? "tresk_scene_exectl_wlist_multi_delete"
                                              : "tresk_scene_exectl_wlist_multi_add",
                     batch.paths);
    }
}

void check_package_batch(Pieces& pieces)
{
    const auto batch = batch_in<tresk_dpkg_label_record>(pieces);
    TRESK_REQUIRE(
        tresk_exectl_multi_set_for_dpkg(batch.records.data(), static_cast<int>(batch.records.size())) == 0);
    require_list("tresk_scene_exectl_xattr_multi_set", batch.paths);
}

void check_roles(Pieces& pieces)
{
    const auto batch = batch_in<tresk_label_record>(pieces);
    const int count = static_cast<int>(batch.records.size());
    TRESK_REQUIRE(tresk_identify_multi_set(batch.records.data(), count) == count);
    const std::string paths = " " + batch.paths;
    for (const test::SceneCall& call : scene_calls()) {
        const bool has_role = call.function.find("deny_all") == std::string::npos;
        const std::string path = has_role ? call.argument.substr(2) : call.argument;
        TRESK_REQUIRE(paths.find(" " + path + " ") != std::string::npos);
    }
}

// --- kernel modules ---

void check_module_name(Pieces& pieces)
{
    const bool add = pieces.byte() % 2 == 0;
    framework().disabled = pieces.byte() % 2;
    const std::string name = pieces.text();
    TRESK_REQUIRE((add ? add_kmod_to_kmod_protect : remove_kmod_from_kmod_protect)(name.c_str()) == 0);
    if (add && framework().disabled != 0) {
        TRESK_REQUIRE(scene_calls().empty());
        return;
    }
    require_list(add ? "tresk_scene_kmodctl_add_by_name" : "tresk_scene_kmodctl_remove_by_name", name);
}

// --- devices ---

/// Each record that the scene was told of has the serial's beginning and no more.
void require_serials(const std::string& serial)
{
    for (const std::string& bytes : framework().scene_bytes) {
        if (bytes.size() % sizeof(pvid_record) == 0 && !bytes.empty()) {
            pvid_record record;
            std::memcpy(&record, bytes.data(), sizeof(record));
            TRESK_REQUIRE(is_zero_filled(record.serial));
            TRESK_REQUIRE(serial.substr(0, sizeof(record.serial) - 1) == record.serial);
        }
    }
}

void check_device(Pieces& pieces)
{
    const std::size_t which = pieces.below(3);
    const std::uint32_t dtype = pieces.byte();
    const std::uint32_t utype = pieces.byte();
    const auto dpid = static_cast<std::uint32_t>(pieces.number());
    const auto dvid = static_cast<std::uint32_t>(pieces.number());
    const int dperm = pieces.byte();
    const std::string serial = pieces.text();
    const std::string name = pieces.text();
    const int result =
        which == 0
            ? tresk_devctl_add_perm(dtype, utype, dpid, dvid, utype, serial.c_str(), name.c_str(), dperm)
        : which == 1
            ? tresk_devctl_remove_perm(dtype, utype, dpid, dvid, serial.c_str(), dperm)
            : tresk_devctl_update_perm(dtype, utype, dpid, dvid, serial.c_str(), name.c_str(), dperm);
    TRESK_REQUIRE(result == 0 || result == -1);
    TRESK_REQUIRE((result == 0) == !scene_calls().empty());
    if (dtype == 0) {
        require_serials(serial);
    }
}

void check_network(Pieces& pieces)
{
    constexpr std::size_t most = 126; // one byte less than the field has room for
    const std::string name = pieces.text();
    const int result = tresk_devctl_wireless_ctl_add(name.c_str());
    const bool too_long = name.size() >= sizeof(netcard_record::name);
    TRESK_REQUIRE(result == (too_long ? -1 : 0));
    TRESK_REQUIRE(framework().scene_bytes.size() == (too_long ? 0U : 1U));
    if (!too_long) {
        netcard_record record;
        TRESK_REQUIRE(framework().scene_bytes.front().size() == sizeof(record));
        std::memcpy(&record, framework().scene_bytes.front().data(), sizeof(record));
        TRESK_REQUIRE(is_zero_filled(record.name));
        TRESK_REQUIRE(name.size() > most ? *record.name == '\0' : name == record.name);
    }
}

void check_device_batch(Pieces& pieces)
{
    std::vector<tresk_device_policy> policies(1 + pieces.below(4));
    for (tresk_device_policy& policy : policies) {
        policy.dtype = pieces.byte();
        policy.utype = pieces.byte();
        policy.dpid = pieces.byte();
        policy.dvid = pieces.byte();
        policy.dperm = pieces.byte();
        (void)fill(policy.serial, pieces.text(), pieces.byte() % 4 == 0);
    }
    const std::vector<tresk_device_policy> before = policies;
    const int result = tresk_devctl_batch_add_perm(policies.data(), static_cast<int>(policies.size()));
    TRESK_REQUIRE(result == 0);
    TRESK_REQUIRE(scene_calls().size() == 2); // both arrays, also an empty one
    TRESK_REQUIRE(
        std::memcmp(before.data(), policies.data(), policies.size() * sizeof(tresk_device_policy)) == 0);
    const std::string& products = framework().scene_bytes.back();
    for (std::size_t at = 0; at < products.size(); at += sizeof(pvid_record)) {
        pvid_record record;
        std::memcpy(&record, products.data() + at, sizeof(record));
        TRESK_REQUIRE(std::memchr(record.serial, '\0', sizeof(record.serial)) != nullptr);
        TRESK_REQUIRE(std::strlen(record.serial) <= 1);
    }
}

constexpr std::array kChecks = {check_label,   check_label_batch, check_package_batch,
                                check_roles,   check_module_name, check_device,
                                check_network, check_device_batch};

} // namespace

void set_up() {}

void run(std::string_view input)
{
    framework().reset();
    framework().get_absolute_path = [](const char* path) { return ::strdup(path); };
    Pieces pieces(input);
    kChecks[pieces.below(kChecks.size())](pieces);
}

} // namespace tresk::fuzz
