// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The notifications that carry plain bytes: a kernel module's name, or what the caller has for the kernel
// about a device.
#include "tresk_extend.h"
#include "treskctl/commands.h"
#include "treskctl/input.h"
#include "treskctl/notification.h"
#include "treskctl/policy/call_text.h"
#include "treskctl/shared_options.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace tresk::ctl {

namespace {

/// The library ends the process over a message of more.
constexpr std::size_t kMessageBytes = 1000;

// --- kernel modules ---

struct ModuleNotice {
    std::string module;
    MessageType type = 0;
    bool sm = false;
};

void notify_module(Run& run, const ModuleNotice& notice)
{
    send_notification(
        run, {{"type", "module"},
              {notice.type, notice.module},
              notice.sm ? TRESKCTL_CALL(tresk_kmod_communicate_with_kernel_sm, notice.type, notice.module)
                        : TRESKCTL_CALL(tresk_kmod_communicate_with_kernel, notice.type, notice.module)});
}

void add_module_notice(CLI::App& group, Run& run)
{
    const auto notice = std::make_shared<ModuleNotice>();
    CLI::App* const command = add_command(group, run, "kmod", "About a protected kernel module",
                                          [&run, notice] { notify_module(run, *notice); });
    command->add_option("MODULE", notice->module, "The kernel module's name")
        ->required()
        ->check(at_most(kMessageBytes));
    add_message_type(*command, notice->type);
    command->add_flag("--sm", notice->sm, "As the sm side");
}

// --- devices ---

struct DeviceNotice {
    MessageType type = 0;
    std::optional<std::string> data;
    std::optional<std::string> file;
};

bool is_digit(char letter)
{
    return std::isxdigit(static_cast<unsigned char>(letter)) != 0;
}

std::string complaint_about_data(const std::string& digits)
{
    return digits.size() % 2 == 0 && std::ranges::all_of(digits, is_digit)
               ? ""
               : "not two hexadecimal digits for each byte";
}

std::string bytes_of(const std::string& digits)
{
    constexpr int kHexadecimal = 16;
    std::string bytes;
    for (std::size_t index = 0; index < digits.size(); index += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(index, 2), nullptr, kHexadecimal));
    }
    return bytes;
}

void notify_device(Run& run, const DeviceNotice& notice)
{
    if (!notice.data && !notice.file) {
        throw WrongUsage("--data or --data-file is required");
    }
    const auto data = notice.data ? std::optional(bytes_of(*notice.data)) : read_input(run, *notice.file);
    if (!data) {
        return;
    }
    if (data->size() > kMessageBytes) {
        throw WrongUsage("a message has at most " + std::to_string(kMessageBytes) + " bytes, not " +
                         std::to_string(data->size()));
    }
    const auto length = static_cast<std::uint32_t>(data->size());
    const LibraryCall call = {
        "tresk_devctl_communicate_with_kernel(" + std::to_string(notice.type) + ", {" +
            std::to_string(length) + " bytes}, " + std::to_string(length) + ")",
        [&] { return tresk_devctl_communicate_with_kernel(notice.type, data->data(), length); }};
    send_notification(run, {{"type", "bytes"}, {notice.type, std::int64_t{length}}, call});
}

void add_device_notice(CLI::App& group, Run& run)
{
    const auto notice = std::make_shared<DeviceNotice>();
    CLI::App* const command = add_command(group, run, "device", "About a device policy",
                                          [&run, notice] { notify_device(run, *notice); });
    add_message_type(*command, notice->type);
    CLI::Option* const data = command->add_option("--data", notice->data, "The message's bytes")
                                  ->option_text("HEX")
                                  ->check(CLI::Validator(complaint_about_data, ""));
    command->add_option("--data-file", notice->file, "A file that holds them; - is standard input")
        ->option_text("FILE")
        ->excludes(data);
}

} // namespace

void add_text_notifications(CLI::App& notify, Run& run)
{
    add_module_notice(notify, run);
    add_device_notice(notify, run);
}

} // namespace tresk::ctl
