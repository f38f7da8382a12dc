// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The rows of a listing. A policy may have more entries than memory should hold: it is read twice, first to
// judge and to measure it, then while it is written.
#ifndef TRESK_TRESKCTL_POLICY_LISTING_H
#define TRESK_TRESKCTL_POLICY_LISTING_H

#include "treskctl/output.h"
#include "treskctl/policy/entry_options.h"
#include "treskctl/policy/kind.h"

#include <memory>

namespace tresk::ctl {

/// The entries that @filter lets through, as rows; null where the kind has to be read as a whole, since no
/// file keeps it or since there is more to tell of the file than its entries.
/// @settings: what they are written by
std::shared_ptr<RowSource> open_listing(const Kind& kind, const EntryFilter& filter,
                                        const Settings& settings);

} // namespace tresk::ctl

#endif
