// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "notify": tells the kernel module about a change. Types and values are the module's numbers.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/netctl_questions.h"
#include "treskctl/notification.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/shared_options.h"

#include <array>
#include <cstdint>
#include <memory>
#include <new>

namespace tresk::ctl {

namespace {

constexpr std::size_t kHashDigits = 64;

struct Notification {
    /// What was given: a hash, or for a policy's entry also its absolute path.
    std::string subject;
    MessageType type = 0;
    std::uint32_t value = 0;
    bool sm = false;
    std::uint32_t uid = 0;
    Source source;
};

/// One kind of notification.
struct HashNotice {
    const char* name;
    const char* help;
    /// The hash of the path that is the subject; nothing, and a failure, where it cannot be found out. Null
    /// for the kind that takes only a hash.
    std::optional<std::string> (*hash_of_path)(Run& run, const Notification& notification);
    LibraryCall (*send)(const Notification& notification, const std::string& hash);
    bool has_value;
    void (*add_options)(CLI::App& command, Notification& notification);
};

// --- what the kinds differ in ---

/// Takes @hash, which the library made.
std::string owned(char* hash)
{
    const Malloced<char> owner(hash);
    if (!owner) {
        throw std::bad_alloc();
    }
    return owner.get();
}

std::optional<std::string> hash_for_ppro(Run& /*run*/, const Notification& notification)
{
    return owned(tresk_ppro_get_path_hash(notification.subject.c_str()));
}

std::optional<std::string> hash_for_netctl(Run& run, const Notification& notification)
{
    if (!learn_distinction(run)) {
        return std::nullopt;
    }
    return owned(tresk_netctl_get_path_hash(notification.subject.c_str(),
                                            static_cast<std::int32_t>(notification.uid)));
}

std::optional<std::string> hash_for_pblk(Run& /*run*/, const Notification& notification)
{
    return owned(tresk_pblk_get_path_hash(notification.subject.c_str()));
}

LibraryCall send_hash(const Notification& notification, const std::string& hash)
{
    return TRESKCTL_CALL(tresk_hash_communicate_with_kernel, notification.type, hash, notification.value);
}

LibraryCall send_ppro(const Notification& notification, const std::string& hash)
{
    return TRESKCTL_CALL(tresk_ppro_communicate_with_kernel_zdk, notification.type, hash, notification.value,
                         notification.sm ? 1 : 0, notification.source.name);
}

LibraryCall send_netctl(const Notification& notification, const std::string& hash)
{
    return TRESKCTL_CALL(tresk_netctl_communicate_with_kernel, notification.type, hash, notification.value);
}

LibraryCall send_pblk(const Notification& notification, const std::string& hash)
{
    return TRESKCTL_CALL(tresk_pblk_communicate_with_kernel_zdk, notification.type, hash,
                         notification.source.type, notification.source.name);
}

void add_ppro_options(CLI::App& command, Notification& notification)
{
    command.add_flag("--sm", notification.sm, "As the sm side");
    command.add_option("--source", notification.source.name, "The entry's source")->option_text("NAME");
}

void add_netctl_options(CLI::App& command, Notification& notification)
{
    add_uid_option(command, notification.uid);
}

void add_pblk_options(CLI::App& command, Notification& notification)
{
    add_source_options(command, notification.source);
}

void add_no_options(CLI::App& /*command*/, Notification& /*notification*/) {}

constexpr std::array kNotices = {
    HashNotice{"ppro", "About a process protection entry", hash_for_ppro, send_ppro, true, add_ppro_options},
    HashNotice{"netctl", "About a network control entry", hash_for_netctl, send_netctl, true,
               add_netctl_options},
    HashNotice{"pblk", "About a process blocking entry", hash_for_pblk, send_pblk, false, add_pblk_options},
    HashNotice{"hash", "About a file's hash", nullptr, send_hash, true, add_no_options},
};

// --- what they share ---

bool is_hash(const std::string& text)
{
    return text.size() == kHashDigits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

std::string complaint_about_hash(const std::string& text)
{
    return is_hash(text) ? "" : "\"" + text + "\" is no hash (64 lowercase hexadecimal digits)";
}

std::string complaint_about_subject(const std::string& text)
{
    return is_hash(text) || text.starts_with('/')
               ? ""
               : "\"" + text + "\" is neither a hash (64 lowercase hexadecimal digits) nor an absolute path";
}

std::vector<std::string> fields_of(const HashNotice& kind)
{
    return kind.has_value ? std::vector<std::string>{"type", "value", "hash", "subject"}
                          : std::vector<std::string>{"type", "hash", "subject"};
}

Row row_of(const HashNotice& kind, const Notification& notification, const std::string& hash)
{
    Row row = {notification.type, hash, notification.subject};
    if (kind.has_value) {
        row.insert(row.begin() + 1, std::int64_t{notification.value});
    }
    return row;
}

std::optional<std::string> hash_of(Run& run, const HashNotice& kind, const Notification& notification)
{
    return is_hash(notification.subject) ? notification.subject : kind.hash_of_path(run, notification);
}

void notify(Run& run, const HashNotice& kind, const Notification& notification)
{
    if (const auto hash = hash_of(run, kind, notification)) {
        send_notification(
            run, {fields_of(kind), row_of(kind, notification, *hash), kind.send(notification, *hash)});
    }
}

void add_subject(CLI::App& command, const HashNotice& kind, std::string& subject)
{
    if (kind.hash_of_path == nullptr) {
        command.add_option("HASH", subject, "The hash")
            ->required()
            ->check(CLI::Validator(complaint_about_hash, ""));
    } else {
        command.add_option("SUBJECT", subject, "The entry's hash, or its path, which is absolute")
            ->required()
            ->option_text("HASH|PATH")
            ->check(CLI::Validator(complaint_about_subject, ""));
    }
}

/// The numbers are needed: no number of the module's is a natural default.
void add_kind(CLI::App& group, Run& run, const HashNotice& kind)
{
    const auto notification = std::make_shared<Notification>();
    CLI::App* const command = add_command(group, run, kind.name, kind.help,
                                          [&run, &kind, notification] { notify(run, kind, *notification); });
    add_subject(*command, kind, notification->subject);
    add_message_type(*command, notification->type);
    if (kind.has_value) {
        command->add_option("--value", notification->value, "Value sent with the hash")
            ->required()
            ->option_text("V REQUIRED");
    }
    kind.add_options(*command, *notification);
}

} // namespace

void add_notify_commands(CLI::App& app, Run& run)
{
    CLI::App* const group = add_group(app, "notify", "Tell the kernel module about a change");
    for (const HashNotice& kind : kNotices) {
        add_kind(*group, run, kind);
    }
    add_text_notifications(*group, run);
}

} // namespace tresk::ctl
