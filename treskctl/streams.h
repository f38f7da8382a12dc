// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Standard output and standard error as this program was given them. While the library works, their usual
// numbers lead elsewhere (see library_output.h); what treskctl itself writes goes to these.
#ifndef TRESK_TRESKCTL_STREAMS_H
#define TRESK_TRESKCTL_STREAMS_H

#include <string>
#include <string_view>

namespace tresk::ctl {

/// To be called once, before anything is written.
void keep_streams();

/// False with errno set when not all of it could be written.
bool write_output(std::string_view text);
bool write_error(std::string_view text);

/// Writes to standard output in pieces of a size that pays; nothing behind one that could not be written.
class OutputPieces {
  public:
    void add(std::string_view text);

    /// Writes what is left. False with errno set when not all of it could be written.
    bool finish();

  private:
    void write();

    std::string kept_;
    int error_ = 0;
};

/// Whether the user sees it on a terminal.
bool output_is_terminal();
bool error_is_terminal();

} // namespace tresk::ctl

#endif
