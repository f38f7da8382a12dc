// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Network control of programs and of packages: two files of one shape, and two kinds that differ in what
// names an entry and in what the calls carry.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/policy/kinds/kinds.h"
#include "treskctl/policy/kinds/reading.h"

#include <unistd.h>

#include <memory>
#include <set>
#include <utility>

namespace tresk::ctl {

namespace {

constexpr const char* kPrograms = "/etc/tresk/netctl/netctl.xml";
constexpr const char* kPackages = "/etc/tresk/netctl/netctl_pkg.xml";
constexpr std::size_t kLongestText = 4095;
constexpr std::size_t kLongestDisplayName = 255;
constexpr std::size_t kLongestNameSent = 254;

/// The user whose entries an element holds.
struct User {
    std::int32_t number;
    /// Nothing while users are not distinguished.
    Value uid;
    /// In front of the names of this machine's files.
    const std::string& root;
};

/// Hands an entry's element and its user to a kind.
using ReadEntry = void (*)(Reading& reading, const XmlElement& node, const User& user);

/// Readers take a uid for a signed number, the service writes it as an unsigned one: both are the same user.
std::int32_t user_number(Reading& reading, const XmlElement& user, const std::string& id)
{
    const std::int32_t number = leading_number(id);
    if (id != std::to_string(number) && id != std::to_string(static_cast<std::uint32_t>(number))) {
        complain(reading, user, "userID \"" + id + "\" is read as " + std::to_string(number));
    }
    return number;
}

constexpr XmlShape kShape = {.root = "tresk_root", .group = "tresk_user", .entry = "tresk_node"};

/// The programs' file decides for both.
bool is_per_user(const std::string& root)
{
    const auto programs = read_xml_root(root + kPrograms, kShape.root);
    return programs && leading_number(programs->first_attribute("user_dist").value_or("0")) != 0;
}

/// What the packages' file says is the programs' file's again, or of no effect.
void judge_distinction(Reading& reading, const XmlElement& policy, bool decides)
{
    const auto setting = policy.first_attribute("user_dist");
    if (decides && !setting) {
        complain(reading, policy,
                 "the first attribute is not \"user_dist\": users count as not distinguished");
    }
    const bool set = setting && number_in(reading, policy, "user_dist", *setting) != 0;
    if (!decides && setting && set != reading.per_user) {
        complain(reading, policy, "user_dist is not what the policy of programs says, which decides");
    }
}

/// What is the same for all that is read of one policy.
struct Users {
    /// In front of the names of this machine's files.
    std::string root;
    bool per_user;
    /// The policy is the one that decides whether users are distinguished.
    bool decides;
    ReadEntry read_entry;
};

/// Reads the users' elements of one policy in order.
class UsersReader final : public PolicyReader {
  public:
    explicit UsersReader(Users users) : users_(std::move(users)) {}

    void read_root(Reading& reading, const XmlElement& root) override
    {
        reading.per_user = users_.per_user;
        require_known(reading, root, {"user_dist"}, {"tresk_user"});
        judge_distinction(reading, root, users_.decides);
    }

    bool read_group(Reading& reading, const XmlElement& user) override
    {
        require_known(reading, user, {"userID"}, {"tresk_node"});
        const auto id = user.first_attribute("userID");
        if (!id) {
            complain(reading, user, "no user: the first attribute is not \"userID\"");
            return false;
        }
        number_ = user_number(reading, user, *id);
        uid_ = users_.per_user ? Value(std::int64_t{static_cast<std::uint32_t>(number_)}) : Value();
        if (!seen_.insert(number_).second && users_.per_user) {
            complain(reading, user, "the user has an element already, and readers look no further");
            return false;
        }
        return true;
    }

    void read_entry(Reading& reading, const XmlElement& entry) override
    {
        users_.read_entry(reading, entry, {number_, uid_, users_.root});
    }

  private:
    Users users_;
    /// The user whose entries come next.
    std::int32_t number_ = 0;
    Value uid_;
    std::set<std::int32_t> seen_;
};

Users users_of(const std::string& root, const Kind& kind, ReadEntry read_entry)
{
    return {root, is_per_user(root), std::string_view(kind.file) == kPrograms, read_entry};
}

Reading read_users(const std::string& root, const Kind& kind, ReadEntry read_entry)
{
    const Users users = users_of(root, kind, read_entry);
    UsersReader reader(users);
    Reading reading = read_policy(root + kind.file, kShape, reader, kind);
    reading.per_user = users.per_user;
    return reading;
}

std::unique_ptr<EntryStream> stream_users(const std::string& root, const Kind& kind, ReadEntry read_entry)
{
    return stream_policy(root + kind.file, kShape, [users = users_of(root, kind, read_entry)] {
        return std::make_unique<UsersReader>(users);
    });
}

std::string presentation(Reading& reading, const XmlElement& node, const char* name, std::size_t longest)
{
    return fitting(reading, node, name, child_text(reading, node, name).value_or(""), longest);
}

std::int64_t server_type(Reading& reading, const XmlElement& node)
{
    return number_in(reading, node, "server_type", child_text(reading, node, "server_type").value_or("0"));
}

/// The library keeps the distinction that a hash is made for in a variable of its own.
Malloced<char> hash_of(const std::string& path, std::int32_t user, bool per_user)
{
    const std::int32_t kept = std::exchange(user_distinguish, per_user ? 1 : 0);
    Malloced<char> hash(tresk_netctl_get_path_hash(path.c_str(), user));
    user_distinguish = kept;
    return hash;
}

void read_program(Reading& reading, const XmlElement& node, const User& user)
{
    require_known(reading, node, {"path"}, {"type", "hash", "name", "ico", "desktop", "server_type"});
    if (!is_entry(reading, node, "path", {"type", "hash"})) {
        return;
    }
    const std::string path = *node.first_attribute("path");
    const std::string hash = *child_text(reading, node, "hash");
    const std::int64_t type = number_in(reading, node, "type", *child_text(reading, node, "type"));
    require_absolute(reading, node, path);
    require_hash(reading, node, hash, [&] { return hash_of(path, user.number, reading.per_user); });
    reading.entries.push_back({{user.uid, type, server_type(reading, node),
                                presentation(reading, node, "name", kLongestDisplayName),
                                presentation(reading, node, "ico", kLongestText),
                                presentation(reading, node, "desktop", kLongestText),
                                fitting(reading, node, "the hash", hash, kLongestHash), path},
                               node.place,
                               {}});
}

bool is_there(const std::string& root, const std::string& program)
{
    return !program.empty() && check_program_is_exist((root + program).c_str()) != 0;
}

/// Of several programs each one has to be there, though only the last one counts for all else.
void require_programs(Reading& reading, const XmlElement& node, const std::string& root)
{
    for (const XmlElement& child : node.children) {
        if (reading.judging && child.name == "path" && !is_there(root, child.text)) {
            complain(reading, node, "there is no file \"" + child.text + "\": lists leave the entry out");
        }
    }
}

void read_package(Reading& reading, const XmlElement& node, const User& user)
{
    require_known(reading, node, {"pkg"}, {"type", "path", "ico", "desktop", "server_type"});
    if (!is_entry(reading, node, "pkg", {"type"})) {
        return;
    }
    require_programs(reading, node, user.root);
    const std::int64_t type = number_in(reading, node, "type", *child_text(reading, node, "type"));
    reading.entries.push_back(
        {{user.uid, type, server_type(reading, node), presentation(reading, node, "ico", kLongestText),
          presentation(reading, node, "desktop", kLongestText),
          presentation(reading, node, "path", kLongestText), *node.first_attribute("pkg")},
         node.place,
         {}});
}

/// While users are not distinguished they are no part of the name; else an entry is the caller's.
void normalise_user(const Kind& kind, Entry& entry, const Reading& machine)
{
    Value& uid = entry.values[index_of(kind, "uid")];
    if (!machine.per_user) {
        uid = Value();
    } else if (std::holds_alternative<std::monostate>(uid)) {
        uid = std::int64_t{::getuid()};
    }
}

std::uint32_t user_of(const Kind& kind, const Entry& entry)
{
    const auto* const uid = std::get_if<std::int64_t>(&entry.values[index_of(kind, "uid")]);
    return uid == nullptr ? ::getuid() : static_cast<std::uint32_t>(*uid);
}

std::vector<LibraryCall> program_calls(Operation operation, const Entry& wanted)
{
    const Kind& kind = netctl_kind();
    const std::uint32_t uid = user_of(kind, wanted);
    const std::string& path = text_at(kind, wanted, "path");
    if (operation == Operation::Remove) {
        return {TRESKCTL_CALL(tresk_netctl_remove, uid, path)};
    }
    const auto type = static_cast<std::int32_t>(number_at(kind, wanted, "type"));
    const auto server = static_cast<std::int32_t>(number_at(kind, wanted, "server_type"));
    const std::string& name = text_at(kind, wanted, "name");
    const std::string& ico = text_at(kind, wanted, "ico");
    const std::string& desktop = text_at(kind, wanted, "desktop");
    if (operation == Operation::Update) {
        return {TRESKCTL_CALL(tresk_netctl_ext_update, uid, path, type, name, ico, desktop, server)};
    }
    return desktop.empty() ? std::vector{TRESKCTL_CALL(tresk_netctl_add, uid, path, type, name, ico, server)}
                           : std::vector{TRESKCTL_CALL(tresk_netctl_ext_add, uid, path, type, name, ico,
                                                       desktop, server)};
}

/// A package's program file comes by an update alone.
std::vector<LibraryCall> package_calls(Operation operation, const Entry& wanted)
{
    const Kind& kind = pkg_kind();
    const std::uint32_t uid = user_of(kind, wanted);
    const std::string& package = text_at(kind, wanted, "package");
    if (operation == Operation::Remove) {
        return {TRESKCTL_CALL(tresk_netctl_pkg_remove, uid, package)};
    }
    const auto type = static_cast<std::int32_t>(number_at(kind, wanted, "type"));
    const auto server = static_cast<std::int32_t>(number_at(kind, wanted, "server_type"));
    const std::string& ico = text_at(kind, wanted, "ico");
    const std::string& desktop = text_at(kind, wanted, "desktop");
    const std::string& path = text_at(kind, wanted, "path");
    std::vector<LibraryCall> calls;
    if (operation == Operation::Add) {
        calls.push_back(TRESKCTL_CALL(tresk_netctl_pkg_add, uid, package, type, ico, desktop, server));
    }
    if (operation == Operation::Update && path.empty()) {
        calls.push_back(TRESKCTL_CALL(tresk_netctl_pkg_update, uid, package, type, ico, desktop, server));
    } else if (!path.empty()) {
        calls.push_back(
            TRESKCTL_CALL(tresk_netctl_pkg_path_update, uid, package, path, type, ico, desktop, server));
    }
    return calls;
}

Field uid_field()
{
    return {.name = "uid",
            .role = Role::Key,
            .type = FieldType::User,
            .option = "--uid",
            .help = "The user, by name or number; the caller if not said. Plays no part while users are not "
                    "distinguished",
            .standard = Value()};
}

Field type_field()
{
    return {.name = "type",
            .role = Role::Setting,
            .type = FieldType::Number,
            .option = "--type",
            .help = "Control type, a number of the framework; a new entry needs it"};
}

Field server_type_field()
{
    return {.name = "server_type",
            .role = Role::Setting,
            .type = FieldType::Number,
            .option = "--server-type",
            .help = "Kind of service, a number; 0 if not said",
            .standard = Value(std::int64_t{0})};
}

Field text_field(const char* name, const char* option, const char* help, std::size_t longest = kLongestText)
{
    return {.name = name,
            .role = Role::Setting,
            .type = FieldType::Text,
            .option = option,
            .help = help,
            .standard = Value(""),
            .longest = longest};
}

} // namespace

const Kind& netctl_kind()
{
    static const Kind kind = {
        .name = "netctl",
        .title = "network control of programs",
        .fields = {uid_field(),
                   type_field(),
                   server_type_field(),
                   text_field("name", "--name", "Name that is shown to users", kLongestNameSent),
                   text_field("ico", "--ico", "Icon"),
                   text_field("desktop", "--desktop", "Desktop entry"),
                   {.name = "hash", .role = Role::Derived, .type = FieldType::Text},
                   {.name = "path", .role = Role::Key, .type = FieldType::Path, .help = "A program's path"}},
        .file = kPrograms,
        .read = [](const std::string& root) { return read_users(root, netctl_kind(), read_program); },
        .stream = [](const std::string& root) { return stream_users(root, netctl_kind(), read_program); },
        .normalise = [](Entry& entry,
                        const Reading& machine) { normalise_user(netctl_kind(), entry, machine); },
        .calls = program_calls,
        .added = "controlled",
        .updated = "updated",
        .removed = "released",
    };
    return kind;
}

const Kind& pkg_kind()
{
    static const Kind kind = {
        .name = "pkg",
        .title = "network control of packages",
        .fields =
            {uid_field(),
             type_field(),
             server_type_field(),
             text_field("ico", "--ico", "Icon"),
             text_field("desktop", "--desktop", "Desktop entry"),
             {.name = "path",
              .role = Role::Setting,
              .type = FieldType::Text,
              .option = "--path",
              .help = "One of the package's programs",
              .standard = Value(""),
              .never_emptied = true},
             {.name = "package", .role = Role::Key, .type = FieldType::Text, .help = "A package's name"}},
        .file = kPackages,
        .read = [](const std::string& root) { return read_users(root, pkg_kind(), read_package); },
        .stream = [](const std::string& root) { return stream_users(root, pkg_kind(), read_package); },
        .normalise = [](Entry& entry, const Reading& machine) { normalise_user(pkg_kind(), entry, machine); },
        .calls = package_calls,
        .added = "controlled",
        .updated = "updated",
        .removed = "released",
    };
    return kind;
}

} // namespace tresk::ctl
