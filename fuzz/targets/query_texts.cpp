// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The input is texts for the functions that only ask: of a package, of a path's hash, and, over one fixed
// policy of each family, of its entries. A package's name never means anything to a shell; a hash is 64
// digits; an entry that is found is the one that was asked for.
#include "fuzz/support/fake_pipeline.h"
#include "fuzz/support/policy_place.h"
#include "tests/support/framework_double.h"
#include "tresk_extend.h"

#include <array>

namespace tresk::fuzz {

namespace {

using test::framework;

constexpr std::string_view kRefused = "|<>?*&^%$#@!`;'\"";
constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._+-";

constexpr char kPpro[] = "<ppro_root><ppro_node path=\"/usr/bin/a\"><hash>aa</hash><type>1</type></ppro_node>"
                         "<ppro_node path=\"/data/home/b\" sm_status=\"1\" data_source_name=\"source\">"
                         "<hash>bb</hash><type>2</type></ppro_node></ppro_root>";
constexpr char kPblk[] =
    "<pblk_root><pblk_node path=\"/usr/bin/a\" data_source_type=\"1\" data_source_name=\"\">"
    "<hash>aa</hash></pblk_node></pblk_root>";
constexpr char kNetctl[] =
    "<tresk_root user_dist=\"1\"><tresk_user userID=\"0\"><tresk_node path=\"/usr/bin/a\">"
    "<type>2</type><hash>aa</hash></tresk_node></tresk_user></tresk_root>";
constexpr char kPackages[] = "<tresk_root user_dist=\"1\"><tresk_user userID=\"0\"><tresk_node pkg=\"a\">"
                             "<type>2</type></tresk_node></tresk_user></tresk_root>";
constexpr char kLists[] = "<tresk_root><tresk_bwlist bw_value=\"white\"><tresk_node rpm_name=\"a\" "
                          "data_source_type=\"1\" data_source_name=\"source\"/></tresk_bwlist></tresk_root>";

// --- packages ---

/// Either the name is plain, or the command has nothing of it: it is one of the few that there are.
void check_command(const std::string& name)
{
    const std::string& command = fake_pipeline().command;
    const std::string without = [&] {
        const std::string filter = "grep " + name + " | ";
        const std::size_t at = command.find(filter);
        return at == std::string::npos ? command : command.substr(0, at) + command.substr(at + filter.size());
    }();
    TRESK_REQUIRE(without == "rpm -qa | awk -F '-[0-9]' '{print $1}'" ||
                  without == "dpkg-query -W -f '${Package} ${db:Status-Status}\\n' | awk '$2 !~ "
                             "/^(not-installed|half-installed|config-files)$/ {print $1}'");
    if (without != command) {
        TRESK_REQUIRE(!name.empty() && name.front() != '-');
        TRESK_REQUIRE(name.find_first_not_of(kPlain) == std::string::npos);
    }
}

void check_package(Pieces& pieces)
{
    const std::string name = pieces.text();
    fake_pipeline() = {{}, 0, std::string(pieces.rest())};
    const int result = check_pkg_is_install(name.c_str());
    const std::string& answer = fake_pipeline().answer;
    if (name.find_first_of(kRefused) != std::string::npos) {
        TRESK_REQUIRE(result == -1 && fake_pipeline().runs == 0);
    } else if (fake_pipeline().runs == 0) {
        TRESK_REQUIRE(result == 0);
        TRESK_REQUIRE(name.empty() || name.size() > 4094 || name.find('\n') != std::string::npos);
    } else {
        const bool listed = ("\n" + answer).find("\n" + name + "\n") != std::string::npos;
        TRESK_REQUIRE(result == (listed ? 1 : 0));
        check_command(name);
    }
    const int exists = check_program_is_exist(name.c_str());
    TRESK_REQUIRE(exists == 0 || exists == 1);
}

// --- hashes ---

void require_hash(Malloced<char> hash)
{
    constexpr std::size_t digits = 64;
    TRESK_REQUIRE(hash != nullptr && std::strlen(hash.get()) == digits);
    TRESK_REQUIRE(std::strspn(hash.get(), "0123456789abcdef") == digits);
}

void check_hashes(Pieces& pieces)
{
    user_distinguish = pieces.byte() % 2;
    framework().func_status[8] = pieces.byte() % 2;
    const std::int32_t uid = pieces.number();
    std::string path = pieces.text();
    for (const std::size_t before = path.size(); before > 64 && path.size() < 4000;) {
        path += path; // as long as what is cut
    }
    std::string hashed;
    framework().sm3_file_path = [&](const char* text, std::size_t length, unsigned char*) {
        hashed.assign(text, length);
        return 0;
    };
    require_hash(Malloced<char>(tresk_netctl_get_path_hash(path.c_str(), uid)));
    if (framework().func_status[8] != 1) {
        constexpr std::size_t most = 4095;
        const std::string whole = path + (user_distinguish != 0 ? "+" + std::to_string(uid) : "");
        TRESK_REQUIRE(hashed.size() <= most && whole.compare(0, hashed.size(), hashed) == 0);
    }
    const Malloced<char> ppro(tresk_ppro_get_path_hash(path.c_str()));
    const Malloced<char> pblk(tresk_pblk_get_path_hash(path.c_str()));
    TRESK_REQUIRE(ppro && pblk && std::strcmp(ppro.get(), pblk.get()) == 0);
    require_hash(Malloced<char>(tresk_ppro_get_path_hash(path.c_str())));
    const int label = tresk_convert_exectl_label_to_label_type(path.c_str());
    TRESK_REQUIRE(label >= 1 && label <= 7);
}

// --- entries ---

template <class Record>
void require_named(Record* given, const std::string& name)
{
    const Malloced<Record> record(given);
    if constexpr (requires { record->pkg; }) {
        TRESK_REQUIRE(!record || name == record->pkg);
    } else {
        TRESK_REQUIRE(!record || name == record->path);
    }
}

void check_entries(Pieces& pieces)
{
    const std::string name = pieces.text();
    const std::string source = pieces.text();
    const int mode = pieces.number();
    const auto uid = static_cast<std::uint32_t>(mode);
    user_distinguish = mode % 2 == 0 ? 0 : 1;
    require_named(tresk_ppro_read_node_with_path_internal(name.c_str(), mode), name);
    require_named(tresk_ppro_read_node_with_path_zdk(name.c_str(), mode, source.c_str()), name);
    require_named(tresk_pblk_read_node_with_path_zdk(name.c_str(), mode, source.c_str()), name);
    require_named(tresk_netctl_read_node_with_uid(uid, name.c_str()), name);
    require_named(tresk_netctl_ext_read_node_with_uid(uid, name.c_str()), name);
    require_named(tresk_netctl_pkg_read_node_with_uid(uid, name.c_str()), name);
    require_named(tresk_netctl_pkg_path_read_node_with_uid(uid, name.c_str()), name);
    const int listed =
        tresk_bwlist_select_by_rpm_name_zdk(source.c_str(), name.c_str(), mode, source.c_str());
    TRESK_REQUIRE(listed >= 0 && listed <= 3);
    TRESK_REQUIRE(listed != 1 || (source == "white" && name == "a"));
    TRESK_REQUIRE(tresk_ppro_check_in_sm(name.c_str()) == (name == "bb" ? 0 : -1));
    int count = 0;
    TRESK_REQUIRE(tresk_pblk_get_same_node_by_hash(name.c_str(), &count) == 0);
    TRESK_REQUIRE(count == (name == "aa" ? 1 : 0));
}

constexpr std::array kChecks = {check_package, check_hashes, check_entries};

} // namespace

void set_up()
{
    enter_sandbox();
    place("/etc/tresk/ppro/ppro.xml", kPpro);
    place("/etc/tresk/pblk/pblk.xml", kPblk);
    place("/etc/tresk/netctl/netctl.xml", kNetctl);
    place("/etc/tresk/netctl/netctl_pkg.xml", kPackages);
    place("/etc/tresk/bwlist/bwlist.xml", kLists);
}

void run(std::string_view input)
{
    framework().reset();
    framework().get_absolute_path = [](const char* path) { return ::strdup(path); };
    Pieces pieces(input);
    kChecks[pieces.below(kChecks.size())](pieces);
}

} // namespace tresk::fuzz
