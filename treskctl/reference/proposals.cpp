// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/proposals.h"

#include "treskctl/framework_state.h"
#include "treskctl/library_output.h"
#include "treskctl/policy/entry_options.h"
#include "treskctl/policy/kind.h"
#include "treskctl/reference/answer_forms.h"
#include "treskctl/reference/command_tree.h"
#include "treskctl/reference/partial_line.h"

#include <CLI/CLI.hpp>
#include <pwd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <set>
#include <string_view>

namespace tresk::ctl {

namespace {

/// Collects what begins as the user has begun, each word once.
class Collector {
  public:
    /// @prefix: stands in front of each in the same word
    Collector(Proposals& proposals, std::string prefix, std::string typed)
        : proposals_(proposals), prefix_(std::move(prefix)), typed_(std::move(typed))
    {
    }

    void add(const std::string& word, const std::string& about)
    {
        if (!word.empty() && word.starts_with(typed_) && known_.insert(word).second) {
            proposals_.words.push_back({prefix_ + word, about});
        }
    }

    void want_files() { proposals_.files = true; }

    void want_directories() { proposals_.directories = true; }

    [[nodiscard]] const std::string& typed() const { return typed_; }

    /// The same for the part behind the last comma.
    [[nodiscard]] Collector behind_comma() const
    {
        const std::size_t comma = typed_.rfind(',');
        return comma == std::string::npos
                   ? *this
                   : Collector(proposals_, prefix_ + typed_.substr(0, comma + 1), typed_.substr(comma + 1));
    }

  private:
    Proposals& proposals_;
    std::string prefix_;
    std::string typed_;
    std::set<std::string> known_;
};

// --- words of the parser's table ---

void propose_commands(Collector& collector, const CLI::App& command)
{
    for (const CLI::App* below : commands_below(command)) {
        collector.add(below->get_name(), below->get_description());
    }
}

void propose_options(Collector& collector, const PartialLine& line)
{
    for (const CLI::Option* option : line.options()) {
        collector.add(name_of(*option), option->get_description());
    }
}

// --- values by their placeholders ---

void propose_files(Collector& collector, const PartialLine& /*line*/)
{
    collector.want_files();
}

void propose_directories(Collector& collector, const PartialLine& /*line*/)
{
    collector.want_directories();
}

/// The local file alone: a directory of users far away may be slow, and large.
void propose_users(Collector& collector, const PartialLine& /*line*/)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen("/etc/passwd", "re"), std::fclose);
    while (const passwd* user = file ? ::fgetpwent(file.get()) : nullptr) {
        collector.add(user->pw_name, std::to_string(user->pw_uid));
    }
}

void propose_switches(Collector& collector, const PartialLine& /*line*/)
{
    for (const Switch& one : switches()) {
        collector.add(std::string(one.name), std::string(one.about));
    }
}

void propose_columns(Collector& collector, const PartialLine& line)
{
    const AnswerForm document = answer_form_of(chain_of(line.command()));
    for (const AnswerTable& table : document.tables) {
        for (const AnswerField& field : table.fields) {
            collector.add(field.name, "");
        }
    }
}

void propose_column_list(Collector& collector, const PartialLine& line)
{
    Collector part = collector.behind_comma();
    propose_columns(part, line);
}

struct Source {
    std::string_view placeholder;
    void (*propose)(Collector& collector, const PartialLine& line);
};

constexpr std::array kSources = {
    Source{"FILE", propose_files},      Source{"PATH", propose_files},
    Source{"DIR", propose_directories}, Source{"USER", propose_users},
    Source{"UID", propose_users},       Source{"SWITCH", propose_switches},
    Source{"FIELD", propose_columns},   Source{"COLUMN,...", propose_column_list},
};

/// A placeholder may name several: "HASH|PATH".
void propose_by_placeholder(Collector& collector, const PartialLine& line, const std::string& placeholder)
{
    for (const std::string& word : words_in(placeholder)) {
        collector.add(word, "");
    }
    for (const std::string& part : parts_of(placeholder)) {
        const auto* const source = std::ranges::find(kSources, part, &Source::placeholder);
        if (source != kSources.end()) {
            source->propose(collector, line);
        }
    }
}

// --- values of the machine's entries ---

/// Which names a verb of entries is about.
enum class Names { There, New, Both };

struct NamedBy {
    std::string_view verb;
    Names names;
};

constexpr std::array kVerbs = {
    NamedBy{"list", Names::There},   NamedBy{"show", Names::There},   NamedBy{"check", Names::There},
    NamedBy{"update", Names::There}, NamedBy{"remove", Names::There}, NamedBy{"clear", Names::There},
    NamedBy{"set", Names::Both},     NamedBy{"add", Names::New},
};

/// The option's name, or the argument's.
std::string word_for(const Field& field)
{
    return field.option == nullptr ? placeholder_for(field) : field.option;
}

bool is_of(const Field& field, const CLI::Option& option)
{
    return option.get_positional() ? placeholder_of(option) == placeholder_for(field)
                                   : name_of(option) == option_for(field);
}

/// "type 1, source vendor": what else there is to know of the entry. What it has anyway is not worth a word.
std::string summary(const Kind& kind, const Entry& entry)
{
    std::string text;
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        const Value& value = entry.values[field];
        const bool plain = one.standard == value || value == Value();
        if (&one != naming_field(kind) && one.role != Role::Derived && !plain) {
            text += (text.empty() ? "" : ", ") + std::string(one.name) + " " + shown(value);
        }
    }
    return text;
}

/// Entries that differ from what the line says already are not meant.
bool agrees(const Kind& kind, const Entry& entry, const PartialLine& line)
{
    for (std::size_t field = 0; field < kind.fields.size(); ++field) {
        const Field& one = kind.fields[field];
        const std::string given = line.value_of(word_for(one));
        const bool counts =
            one.role == Role::Key && &one != naming_field(kind) && one.type != FieldType::User;
        if (counts && !given.empty() && given != shown(entry.values[field])) {
            return false;
        }
    }
    return true;
}

/// What the library prints while it reads is nobody's answer.
Reading read_quietly(const Kind& kind, const std::string& root)
{
    return listen_to([&] { return kind.read(root); }).result;
}

void propose_entries(Collector& collector, const Kind& kind, const Field& field, const PartialLine& line)
{
    for (const std::string& word : field.words) {
        collector.add(word, "");
    }
    if (*kind.file == '\0') {
        return; // no file has them: somebody would have to be asked
    }
    const bool naming = &field == naming_field(kind);
    const Reading machine = read_quietly(kind, line.value_of("--root"));
    for (const Entry& entry : machine.entries) {
        const std::string value = shown(entry.values[index_of(kind, field.name)]);
        const bool given = naming && std::ranges::find(line.names(), value) != line.names().end();
        if (!given && agrees(kind, entry, line)) {
            collector.add(value, naming ? summary(kind, entry) : "");
        }
    }
}

/// True when the value is that of a field, and nothing but entries can be meant.
bool propose_by_field(Collector& collector, const PartialLine& line)
{
    const CLI::App& command = line.command();
    const auto* const verb = std::ranges::find(kVerbs, command.get_name(), &NamedBy::verb);
    const Kind* kind = verb == kVerbs.end() ? nullptr : find_kind(command.get_parent()->get_name());
    if (kind == nullptr) {
        return false;
    }
    const auto field =
        std::ranges::find_if(kind->fields, [&](const Field& one) { return is_of(one, *line.wanted()); });
    if (field == kind->fields.end()) {
        return false;
    }
    const bool naming = &*field == naming_field(*kind);
    if (!naming || verb->names != Names::New) {
        propose_entries(collector, *kind, *field, line);
    }
    return naming && verb->names == Names::There;
}

void propose_values(Collector& collector, const PartialLine& line)
{
    if (line.wanted() != nullptr && !propose_by_field(collector, line)) {
        propose_by_placeholder(collector, line, placeholder_of(*line.wanted()));
    }
}

} // namespace

Proposals propose(const CLI::App& root, const std::vector<std::string>& words)
{
    const PartialLine line(root, words);
    Proposals proposals;
    Collector collector(proposals, line.prefix(), line.typed());
    if (line.may_be_option() && line.prefix().empty() && line.typed().starts_with('-')) {
        propose_options(collector, line);
        return proposals;
    }
    if (line.may_be_command() && line.may_be_option() && line.prefix().empty()) {
        propose_commands(collector, line.command());
    }
    propose_values(collector, line);
    return proposals;
}

} // namespace tresk::ctl
