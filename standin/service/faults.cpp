// SPDX-License-Identifier: LGPL-2.1-or-later
#include "standin/service/faults.h"

#include <array>
#include <charconv>

namespace tresk::service {

namespace {

/// Takes the first word off @rest, with the blank behind it.
std::string_view next_word(std::string_view& rest)
{
    const std::string_view word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(word.size() + 1, rest.size()));
    return word;
}

void require(bool condition, const char* complaint)
{
    if (!condition) {
        throw BadFault(complaint);
    }
}

void read_error(std::string_view rest, Fault& fault)
{
    fault.kind = Fault::Kind::kError;
    fault.error = next_word(rest);
    // An error is named by the same rules as an interface.
    require(g_dbus_is_interface_name(fault.error.c_str()) != FALSE, "not an error name");
    if (!rest.empty()) {
        fault.message = rest;
    }
}

void read_delay(std::string_view rest, Fault& fault)
{
    const auto [end, failure] = std::from_chars(rest.data(), rest.data() + rest.size(), fault.delay_ms);
    require(failure == std::errc() && end == rest.data() + rest.size(), "not a number of milliseconds");
}

void read_reply(std::string_view rest, Fault& fault)
{
    const std::string text(rest);
    fault.kind = Fault::Kind::kReply;
    fault.reply.reset(g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr));
    require(fault.reply != nullptr && g_variant_is_of_type(fault.reply.get(), G_VARIANT_TYPE_TUPLE) != FALSE,
            "not a tuple in GVariant text form");
}

void read_silence(std::string_view rest, Fault& fault)
{
    require(rest.empty(), "too many words");
    fault.kind = Fault::Kind::kSilence;
}

void read_death(std::string_view rest, Fault& fault)
{
    require(rest.empty(), "too many words");
    fault.kind = Fault::Kind::kDeath;
}

struct Reader {
    std::string_view word;
    void (*read)(std::string_view rest, Fault& fault);
};

constexpr std::array kReaders{
    Reader{"error", read_error},    Reader{"delay", read_delay}, Reader{"reply", read_reply},
    Reader{"silent", read_silence}, Reader{"die", read_death},
};

Fault parse(std::string_view rest)
{
    const std::string_view word = next_word(rest);
    for (const Reader& reader : kReaders) {
        if (reader.word == word) {
            Fault fault;
            reader.read(rest, fault);
            return fault;
        }
    }
    throw BadFault("not a kind of fault");
}

void merge(Fault& total, Fault&& addition)
{
    const unsigned delay_ms = total.delay_ms + addition.delay_ms;
    if (total.kind == Fault::Kind::kNone) {
        total = std::move(addition);
    }
    total.delay_ms = delay_ms;
}

void apply_line(std::string_view line, std::string_view method, Fault& total)
{
    if (line.empty() || line.front() == '#') {
        return;
    }
    std::string_view rest = line;
    const std::string_view target = next_word(rest);
    Fault fault = parse(rest);
    if (target == method || target == "*") {
        merge(total, std::move(fault));
    }
}

} // namespace

Fault fault_for(std::string_view text, std::string_view method)
{
    Fault total;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        try {
            apply_line(line, method, total);
        } catch (const BadFault& bad) {
            throw BadFault(std::string(bad.what()) + ": \"" + std::string(line) + "\"");
        }
    }
    return total;
}

} // namespace tresk::service
