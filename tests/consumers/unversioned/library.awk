# SPDX-License-Identifier: LGPL-2.1-or-later
# The source of a library with the symbols of the list (lines "T name" and "V name") and nothing behind them, to
# link against and never to run.
/^T / { printf "int %s(void);\nint %s(void) { return 0; }\n", $2, $2 }
/^V / { printf "extern int %s;\nint %s;\n", $2, $2 }
