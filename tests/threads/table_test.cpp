// SPDX-License-Identifier: LGPL-2.1-or-later
#include "tests/support/policy_files.h"
#include "tests/threads/calls.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

namespace tresk::test {

namespace {

/// The names between "global:" and "local:".
std::set<std::string> exported_symbols()
{
    std::istringstream words(read_file(TRESK_SYMBOL_MAP).value_or(""));
    std::set<std::string> symbols;
    bool global = false;
    for (std::string word; words >> word;) {
        if (word == "global:" || word == "local:") {
            global = word == "global:";
        } else if (global) {
            symbols.insert(word.substr(0, word.find(';')));
        }
    }
    return symbols;
}

TEST(TableOfCalls, HasOneRowForEachExportedSymbol)
{
    std::set<std::string> rows;
    for (const Call& call : all_calls()) {
        EXPECT_TRUE(rows.insert(call.symbol).second) << call.symbol << " has two rows";
        EXPECT_FALSE(call.possible.empty()) << call.symbol;
    }
    EXPECT_FALSE(rows.empty());
    EXPECT_EQ(rows, exported_symbols());
}

} // namespace

} // namespace tresk::test
