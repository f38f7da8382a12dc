// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The kinds of policy entries as tables: what an entry of each kind consists of, how the machine's entries
// are read, and which library calls change them. The verbs of the command line, comparing, exporting,
// applying and explaining are written once over these tables.
#ifndef TRESK_TRESKCTL_POLICY_KIND_H
#define TRESK_TRESKCTL_POLICY_KIND_H

#include "treskctl/failure.h"
#include "treskctl/output.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tresk::ctl {

/// What a field is to its entry.
enum class Role {
    Key,     ///< one of those that name the entry
    Setting, ///< what may differ between two entries of that name
    Derived, ///< what follows from the others; shown, never given
};

enum class FieldType { Text, Path, Number, Unsigned, Hexadecimal, Word, User };

struct Field {
    /// JSON key, column, and placeholder of values.
    const char* name;
    Role role;
    FieldType type;
    /// The option that gives it; null for what is given without one.
    const char* option = nullptr;
    const char* help = "";
    /// What it is where it is not given; nothing where it has to be.
    std::optional<Value> standard = std::nullopt;
    /// Of texts, in bytes; what is longer is refused since the library would cut it.
    std::size_t longest = 4095;
    /// Of words: all that there are. Of texts: those that are proposed.
    std::vector<std::string> words = {};
    /// Of settings: no update changes it, an entry with another value is a new one.
    bool fixed = false;
    /// Of texts: the same of an entry whose text was not empty and is to be.
    bool never_emptied = false;
    /// Of keys: listings never tell it, so that an entry that has one is listed as if it had none.
    bool untold = false;
    /// Of paths: the library resolves it, and fails where there is no such file.
    bool resolved = false;
};

/// Where something stands in a file; line 0: nowhere.
struct Place {
    std::string file;
    std::size_t line = 0;
    std::size_t column = 0;
};

/// "FILE:LINE:COLUMN", as far as it is known.
std::string text_of(const Place& place);

struct Entry {
    /// One for each field of its kind, in their order.
    Row values;
    Place place;
    /// What somebody wrote beside it; plays no part in comparing.
    std::string note;
};

/// Something in a policy file that the library's readers would skip, cut or misread.
struct Problem {
    Place place;
    std::string text;
};

/// What a policy file holds.
struct Reading {
    std::vector<Entry> entries;
    std::vector<Problem> problems;
    /// Why nothing could be read.
    std::optional<Failure> failure = std::nullopt;
    /// Why there may be more than could be read: the file is damaged, and the library's readers repair it
    /// too.
    std::optional<Failure> damage = std::nullopt;
    /// Whether the policy is kept per user; where it is not, users are no part of an entry's name.
    bool per_user = true;
    /// Whether problems are looked for; without that there are none.
    bool judging = true;
};

/// A policy whose entries nobody keeps: it is read once more whenever they are asked for.
class EntryStream {
  public:
    EntryStream() = default;
    virtual ~EntryStream() = default;
    EntryStream(const EntryStream&) = delete;
    EntryStream& operator=(const EntryStream&) = delete;

    /// Whether each() would hand on all of them, as far as one can know before.
    [[nodiscard]] virtual bool is_sound() = 0;

    /// Hands on the entries, in order and without their places. False where a Reading would have a failure or
    /// damage to tell, or where the policy changes meanwhile: what was handed on then does not count.
    [[nodiscard]] virtual bool each(const std::function<void(const Entry&)>& take) = 0;
};

enum class Operation { Add, Update, Remove };

/// One call of the library, as C would write it, and the call itself.
struct LibraryCall {
    std::string text;
    std::function<int()> make;
};

/// An id of a vendor or a product as everybody writes it: four hexadecimal digits, or more where it has more.
std::string id_text(std::uint32_t id);
/// The id in a text that id_text() wrote.
std::uint32_t id_in(const std::string& text);

struct Kind {
    /// The object's word on the command line and its key in documents.
    const char* name;
    /// "process protection"
    const char* title;
    std::vector<Field> fields;
    /// The policy file, without the root directory in front; empty for what no file keeps.
    const char* file;
    /// @root: in front of the file's name
    Reading (*read)(const std::string& root);
    /// The same for what only passes the entries on; null where it takes read(), as it always does where this
    /// is null.
    std::unique_ptr<EntryStream> (*stream)(const std::string& root);
    /// Brings an entry that somebody gave to the form in which the machine has it.
    void (*normalise)(Entry& entry, const Reading& machine);
    std::vector<LibraryCall> (*calls)(Operation operation, const Entry& wanted);
    /// True of an entry after an addition, an update and a removal.
    const char* added;
    const char* updated;
    const char* removed;
};

/// All kinds, in the order in which they are applied and shown.
std::span<const Kind* const> kinds();

/// The kind of that name, or null.
const Kind* find_kind(std::string_view name);

/// Where the field of that name stands; the kind has it.
std::size_t index_of(const Kind& kind, std::string_view field);

/// The entry's values as texts, numbers, ... of the named field.
const std::string& text_at(const Kind& kind, const Entry& entry, std::string_view field);
std::int64_t number_at(const Kind& kind, const Entry& entry, std::string_view field);

/// The values that name the entry.
Row key_of(const Kind& kind, const Entry& entry);

bool same_settings(const Kind& kind, const Entry& a, const Entry& b);

/// For tables by name, whose look-ups then cost the same however many entries there are.
struct RowHash {
    std::size_t operator()(const Row& row) const;
};

/// Entries by what names them; of several with one name the first.
class EntryIndex {
  public:
    /// The entries must outlive the index.
    EntryIndex(const Kind& kind, std::span<const Entry> entries);

    /// The entry of @wanted's name, or null.
    [[nodiscard]] const Entry* find(const Entry& wanted) const;

  private:
    const Kind& kind_;
    std::unordered_map<Row, const Entry*, RowHash> by_key_;
};

/// The value as people read it, without marks around it.
std::string shown(const Value& value);

/// The key's values in one line for people: "/usr/bin/cat" or "white coreutils".
std::string name_of(const Kind& kind, const Entry& entry);

} // namespace tresk::ctl

#endif
