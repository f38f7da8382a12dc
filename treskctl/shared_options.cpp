// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/shared_options.h"

#include "treskctl/failure.h"

#include <CLI/CLI.hpp>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>

namespace tresk::ctl {

namespace {

std::optional<std::uint32_t> number_in(const std::string& word)
{
    std::uint32_t number = 0;
    const char* const end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

/// How a system tells that it has no such user.
bool is_unknown(int error)
{
    return error == 0 || error == ENOENT || error == ESRCH;
}

std::uint32_t uid_of_name(const std::string& name)
{
    constexpr std::size_t kUsualBytes = 1024;
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> texts(kUsualBytes);
    int error = 0;
    while ((error = ::getpwnam_r(name.c_str(), &entry, texts.data(), texts.size(), &found)) == ERANGE) {
        texts.resize(texts.size() * 2);
    }
    if (found == nullptr) {
        throw WrongUsage("\"" + name + "\" " +
                         (is_unknown(error) ? "is no user (a name, or a number up to 4294967295)"
                                            : std::string("cannot be looked up: ") + std::strerror(error)));
    }
    return found->pw_uid;
}

} // namespace

/// All digits is a number: no system lets a user have such a name.
std::uint32_t user_id(const std::string& word)
{
    const auto number = number_in(word);
    return number ? *number : uid_of_name(word);
}

CLI::Validator at_most(std::size_t length_bytes)
{
    return {[length_bytes](const std::string& text) {
                return text.size() <= length_bytes ? std::string()
                                                   : "longer than " + std::to_string(length_bytes) + " bytes";
            },
            ""};
}

CLI::Option* add_choice(CLI::App& command, const std::string& name, std::string& word,
                        const std::vector<std::string>& words, const std::string& help)
{
    const std::string choice = CLI::detail::join(words, "|");
    return command.add_option(name, word, help)
        ->required()
        ->option_text(choice)
        ->check(CLI::Validator(
            [words, choice](const std::string& given) {
                return std::ranges::find(words, given) != words.end()
                           ? std::string()
                           : "\"" + given + "\" is none of " + choice;
            },
            ""));
}

CLI::Option* add_source_options(CLI::App& command, Source& source)
{
    const auto note = [&source](const std::string& /*word*/) { source.given = true; };
    command.add_option("--source", source.name, "Name of the source that asks for it")
        ->option_text("NAME")
        ->each(note);
    return command
        .add_option("--source-type", source.type,
                    "Type of that source, a number of the framework; 1 if not said")
        ->option_text("N")
        ->each(note);
}

CLI::Option* add_uid_option(CLI::App& command, std::uint32_t& uid)
{
    uid = ::getuid();
    return command.add_option("--uid", uid, "The user, by name or number; the caller if not said")
        ->option_text("USER")
        ->transform([](const std::string& word) { return std::to_string(user_id(word)); });
}

} // namespace tresk::ctl
