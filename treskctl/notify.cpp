// SPDX-License-Identifier: LGPL-2.1-or-later
//
// "notify": tells the kernel module about a change. Types and values are the module's numbers.
#include "common/handles.h"
#include "tresk_extend.h"
#include "treskctl/commands.h"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace tresk::ctl {

namespace {

constexpr std::size_t kHashDigits = 64;
constexpr int kKernelTooOld = -2;

struct Notification {
    /// What was given: a hash, or for "ppro" also an absolute path.
    std::string subject;
    /// The message has room for 16 bits.
    std::uint16_t type = 0;
    std::uint32_t value = 0;
    bool sm = false;
    std::string source;
};

bool is_hash(const std::string& text)
{
    return text.size() == kHashDigits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

bool is_absolute(const std::string& text)
{
    return text.starts_with('/');
}

std::string complaint_about_hash(const std::string& text)
{
    return is_hash(text) ? "" : "\"" + text + "\" is no hash (64 lowercase hexadecimal digits)";
}

std::string complaint_about_subject(const std::string& text)
{
    return is_hash(text) || is_absolute(text)
               ? ""
               : "\"" + text + "\" is neither a hash (64 lowercase hexadecimal digits) nor an absolute path";
}

std::string hash_of(Run& run, const std::string& subject)
{
    if (is_hash(subject)) {
        return subject;
    }
    const auto hash = run.ask([&] { return Malloced<char>(tresk_ppro_get_path_hash(subject.c_str())); });
    if (!hash) {
        throw std::bad_alloc();
    }
    return hash.get();
}

Failure failure_of(int result)
{
    return {Cause::Kernel,
            result == kKernelTooOld ? "the kernel's framework version is below 4.2"
                                    : "the kernel module did not answer; the framework's log has the reason",
            result,
            {}};
}

/// The library returns 0 also for what it may not send; that it then says so is the only sign.
void report(Run& run, const Notification& notification, const std::string& hash, const Heard<int>& answer)
{
    Table& results = run.table("results", {"type", "value", "hash", "subject"});
    if (answer.result != 0) {
        run.fail(failure_of(answer.result));
    } else if (!answer.said.output.empty()) {
        run.fail({Cause::Refused, "not sent: the entry belongs to the sm side (see --sm)", 0, {}});
    } else {
        results.rows.push_back(
            {notification.type, std::int64_t{notification.value}, hash, notification.subject});
    }
}

void notify_hash(Run& run, const Notification& notification)
{
    report(run, notification, notification.subject, run.hear([&] {
        return tresk_hash_communicate_with_kernel(notification.type, notification.subject.c_str(),
                                                  notification.value);
    }));
}

void notify_ppro(Run& run, const Notification& notification)
{
    const std::string hash = hash_of(run, notification.subject);
    report(run, notification, hash, run.hear([&] {
        return tresk_ppro_communicate_with_kernel_zdk(notification.type, hash.c_str(), notification.value,
                                                      notification.sm ? 1 : 0, notification.source.c_str());
    }));
}

/// Adds what both notifications take. Both need their numbers: no number of the module's is a natural
/// default.
void add_numbers(CLI::App& command, Notification& notification)
{
    command.add_option("--type", notification.type, "Message type")->required()->option_text("N REQUIRED");
    command.add_option("--value", notification.value, "Value sent with the hash")
        ->required()
        ->option_text("V REQUIRED");
}

} // namespace

void add_notify_commands(CLI::App& app, Run& run)
{
    CLI::App* const notify = add_group(app, "notify", "Tell the kernel module about a change");

    const auto entry = std::make_shared<Notification>();
    CLI::App* const ppro = add_command(*notify, run, "ppro", "About a process protection entry",
                                       [&run, entry] { notify_ppro(run, *entry); });
    ppro->add_option("SUBJECT", entry->subject, "The entry's hash, or its path, which is absolute")
        ->required()
        ->option_text("HASH|PATH")
        ->check(CLI::Validator(complaint_about_subject, ""));
    add_numbers(*ppro, *entry);
    ppro->add_flag("--sm", entry->sm, "As the sm side");
    ppro->add_option("--source", entry->source, "The entry's source")->option_text("NAME");

    const auto file = std::make_shared<Notification>();
    CLI::App* const hash =
        add_command(*notify, run, "hash", "About a file's hash", [&run, file] { notify_hash(run, *file); });
    hash->add_option("HASH", file->subject, "The hash")
        ->required()
        ->check(CLI::Validator(complaint_about_hash, ""));
    add_numbers(*hash, *file);
}

} // namespace tresk::ctl
