// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/manual_chapters.h"

#include <array>

namespace tresk::ctl {

namespace {

constexpr std::array kDescription = {
    Paragraph{
        "",
        "`treskctl` shows and changes the policies of the tresk security framework: which processes are "
        "protected, which programs are blocked or under network control, what is on the package lists, and "
        "which of the framework's parts are on."},
    Paragraph{
        "", "A command line names an object and a verb. The verbs mean the same for every object: `list` and "
            "`show` tell what there is, `check` answers a question with its exit status, `add`, `set`, "
            "`update`, `remove` and `clear` change. Policies are read from their files, see FILES; those of "
            "devices and "
            "wireless networks, which have none, are asked of the running framework. Changes are made by the "
            "framework's service, which may ask for authorisation."},
    Paragraph{
        "",
        "An entry is named by the last argument and, where there may be several of that name, by options: "
        "the source that asked for it, the user whose it is. Devices are named by options alone. `add` makes "
        "entries that are not there yet; "
        "`update` changes those that are there, and leaves what is not said; `set` does one or the other."},
    Paragraph{
        "",
        "Some commands have no verb: `export`, `diff` and `apply` are about all policies of a machine at "
        "once, `verify`, `explain` and `doctor` about what may be wrong with them; `completion`, `manual` "
        "and `schema` print what other programs read about `treskctl`."},
};

constexpr std::array kOutput = {
    Paragraph{
        "",
        "Results are tables on standard output, one line for each row, in columns aligned below a header. "
        "They are never cut to the width of a terminal. `-` is a value that is not known or not there, "
        "`\"\"` an empty text. Failures are lines on standard error:"},
    Paragraph{"`treskctl: OBJECT VERB: SUBJECT: REASON (NAME, CODE)`",
              "NAME and CODE are the framework's status code, where there was one. A line of advice follows; "
              "failures in a row with the same advice tell it once."},
    Paragraph{"`treskctl: library: LINE`",
              "What the library and those below it printed meanwhile. It is never mixed into the result."},
    Paragraph{
        "",
        "In texts for people a backslash is written `\\\\`, a line feed `\\n`, a tab `\\t`, and every byte "
        "of other control characters, of direction marks and of what is not UTF-8 `\\xNN`, so that no name "
        "can pretend to be another."},
    Paragraph{"`-o` COLUMN,...",
              "chooses columns and their order, by their names in the header or in JSON. The first table has "
              "to have all of them. Further tables show those that they have, and are left out if they have "
              "none."},
    Paragraph{"`-g` FIELD",
              "writes the bare values of one field of the first table, one a line, without a header, and of "
              "further tables that have it: escaped as above, or with `-0` as they are, each with a NUL "
              "behind it."},
    Paragraph{
        "`--json`, `--json=short`",
        "writes one document and nothing else to standard output, also after a failure: an object with "
        "`version`, `command`, `changed` of commands that change something (see CHANGES), and an array of "
        "rows for each table. `export` writes the document of POLICY DOCUMENTS instead. A value that is not "
        "known or not there is null. A text that is not UTF-8 has U+FFFD for what is wrong, and all its "
        "bytes in "
        "hexadecimal in a field of its name with `_hex` behind. Failures are one document on standard error, "
        "with the arrays `errors` and `library`. `treskctl schema` prints the JSON Schema of all documents. "
        "`version` changes when a field goes away or changes its meaning; new fields may come without."},
};

constexpr std::array kChanges = {
    Paragraph{
        "", "Every change first looks at what there is, as far as that can be told. Where things are as they "
            "are wanted, no call is made, and the run succeeds."},
    Paragraph{
        "",
        "Where something was done, or was found as it is wanted, the last line says `changed: yes`, "
        "`changed: no` or, where nobody can tell, `changed: unknown`. With `-n` it says `would change:` "
        "instead. In the JSON document of a command that changes something `changed` is true, false or null "
        "likewise, and false also where nothing was done."},
    Paragraph{"`--strict`", "makes it a failure (exit status 4) to find things as they are wanted."},
    Paragraph{"`-n`, `--dry-run`",
              "shows the calls of the library that would be made, as C would write them, and makes none."},
    Paragraph{"`-y`, `--yes`",
              "answers yes to the question that is asked on the terminal before more than 10 entries are "
              "removed, or any are cleared. Where there is no terminal, that is wrong usage without this "
              "option."},
    Paragraph{
        "",
        "A command with many subjects goes on after one that failed. If some were done and some failed, the "
        "exit status is 10, and the output lists what was done."},
};

constexpr std::array kTime = {
    Paragraph{"", "The service may wait for a user who is asked for authorisation, so that an answer may "
                  "take any time."},
    Paragraph{"`--timeout` TIME",
              "gives up after this time, with exit status 11. The service may still do what it was "
              "asked last: look before trying again."},
    Paragraph{
        "", "`doctor` does not wait without end: what is said of it above tells how long. The checks that it "
            "made until then are shown."},
    Paragraph{
        "SIGINT, SIGTERM, SIGHUP",
        "The call at hand is finished and none is begun after it: exit status 6 where something is left to "
        "do, or 10 where something was done as well. A second signal ends the waiting for the call itself. "
        "While the user is asked a question, the first signal ends the waiting for the answer."},
};

constexpr std::array kDocuments = {
    Paragraph{
        "", "`export` writes, and `apply` and `diff` read, documents of JSON or YAML. A document is a map of "
            "`version`, which is 1, and `policy`: a map of kinds of entries, each a list. A kind that is not "
            "named is none of the document's business; one with an empty list has no entries."},
    Paragraph{
        "",
        "An entry has the fields below. `note` may stand beside them: any text, which plays no part. A text "
        "that is not UTF-8 stands in hexadecimal, in a field of its name with `_hex` behind, in its stead. "
        "Users are numbers, or names of the machine's users."},
    Paragraph{"",
              "The files `.json`, `.yaml` and `.yml` of a directory are merged in the order of their names. "
              "Entries that are equal become one; a contradiction names both files and lines."},
    Paragraph{"", "`diff` shows an entry that one side alone has as one row, followed by a row for each of "
                  "its settings that differs from the standard."},
    Paragraph{
        "",
        "`apply` shows its steps, makes them, and then looks at what there is. If a step fails, those before "
        "it are undone; what cannot be undone is named, with exit status 10. Where more than half of the "
        "entries, of the kinds that the document names, would be removed, nothing is done without "
        "`--allow-removals`. The result of a step is `done`, `undone`, `failed`, `failed, stands` (the "
        "policy "
        "has the change all the same), `without effect` (the policy is as before), `no answer` (the call was "
        "made, and the run ended before its answer) or `not reached`."},
};

constexpr std::array kChapters = {
    Chapter{"OUTPUT", kOutput},
    Chapter{"CHANGES", kChanges},
    Chapter{"TIMEOUT AND SIGNALS", kTime},
};

constexpr std::array kFiles = {
    Paragraph{"`/etc/tresk/ppro/ppro.conf`",
              "The configured action of process protection, without which `ppro action` fails."},
    Paragraph{"`/etc/tresk/ppro/ppro_blacklist`",
              "Patterns of programs that may not be protected, without which `ppro blacklist` fails."},
    Paragraph{"`/etc/tresk/db/whlist.db`", "The devices that were seen: `device history`."},
    Paragraph{"",
              "A missing policy file has no entries. Of one that is not well-formed XML `list` and `show` "
              "tell what the library reads, with exit status 9; all else fails with it."},
};

constexpr std::array kEnvironment = {
    Paragraph{"`NO_COLOR`", "If set and not empty, output is not coloured unless `--color` says so."},
    Paragraph{"`DBUS_SYSTEM_BUS_ADDRESS`", "Where the system bus is, if not in the usual place."},
};

} // namespace

const Chapter& description()
{
    static constexpr Chapter chapter = {"DESCRIPTION", kDescription};
    return chapter;
}

std::span<const Chapter> chapters()
{
    return kChapters;
}

const Chapter& document_chapter()
{
    static constexpr Chapter chapter = {"POLICY DOCUMENTS", kDocuments};
    return chapter;
}

std::span<const Paragraph> other_files()
{
    return kFiles;
}

std::span<const Paragraph> environment()
{
    return kEnvironment;
}

} // namespace tresk::ctl
