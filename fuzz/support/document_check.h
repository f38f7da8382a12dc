// SPDX-License-Identifier: LGPL-2.1-or-later
#ifndef TRESK_FUZZ_SUPPORT_DOCUMENT_CHECK_H
#define TRESK_FUZZ_SUPPORT_DOCUMENT_CHECK_H

#include <string>

namespace tresk::fuzz {

/// Reads @text as the document @file, and, where it is one, writes it in both forms, reads it again and plans
/// with it: what is written is read as the same, and a machine that is as the document says needs no change.
void check_document(const std::string& text, const std::string& file);

} // namespace tresk::fuzz

#endif
