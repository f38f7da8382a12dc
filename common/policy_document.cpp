// SPDX-License-Identifier: LGPL-2.1-or-later
#include "common/policy_document.h"

#include "common/policy_events.h"
#include "common/policy_parser.h"
#include "common/policy_tree.h"

#include <libxml/xmlerror.h>
#include <sys/stat.h>

#include <string_view>

namespace tresk {

namespace {

/// True when the last parse failed because the file is missing, unreadable or empty. Releases after the 2.9
/// series report a missing file by other codes of the input/output domain.
bool nothing_to_parse()
{
    const xmlError* error = xmlGetLastError();
    return error != nullptr && (error->code == XML_IO_LOAD_ERROR || error->code == XML_ERR_DOCUMENT_EMPTY ||
                                error->domain == XML_FROM_IO);
}

/// Whether the file is there to be read a second time: a pipe's content is not, and libxml2 takes "-" for the
/// standard input.
bool can_be_read_twice(const char* file)
{
    struct stat status = {};
    return std::string_view(file) != "-" && ::stat(file, &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_size != 0;
}

/// Without a reset before.
Walked walk_usual(const char* file, const char* root, const PolicyWalk& reader)
{
    return can_be_read_twice(file) ? walk_events(file, root, reader) : Walked::unusual;
}

Walked walk(const char* file, const char* root, const PolicyWalk& reader)
{
    start_parser();
    xmlResetLastError();
    const Walked walked = walk_usual(file, root, reader);
    return walked == Walked::unusual ? walk_tree(file, root, reader) : walked;
}

} // namespace

bool reads_without_error(const char* file)
{
    // An old error counts, and has to be the last one still where the file gives none. No root has an empty
    // name, so that nothing is handed out.
    if (xml_error_is_left() || walk_usual(file, "", PolicyWalk{}) == Walked::unusual) {
        recover(new_parser().get(), file);
    }
    return !xml_error_is_left();
}

bool read_policy(const PolicyFormat& format, const char* file, const char* function, const PolicyWalk& reader,
                 const char* expected)
{
    const Walked walked = walk(file, format.root, reader);
    if (walked == Walked::no_document && format.create_default != nullptr && nothing_to_parse()) {
        format.create_default(file);
    }
    if (walked == Walked::wrong_root && format.wrong_root != nullptr) {
        log_error(format.source, function, format.wrong_root, function,
                  expected == nullptr ? format.root : expected);
    }
    return walked == Walked::done;
}

} // namespace tresk
