#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# The time of the newest changelog entry, in seconds: packages carry it instead of the time of their build.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp
