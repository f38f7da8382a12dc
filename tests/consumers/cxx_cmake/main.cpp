// SPDX-License-Identifier: LGPL-2.1-or-later
//
// A C++ program that finds the library by CMake: what it adds is there until it removes it.
#include <tresk_extend.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

bool blocks(const char* program)
{
    int count = 0;
    const std::unique_ptr<pblk_node_info[], Free> records{tresk_pblk_read_all_data(&count)};
    return records != nullptr && count == 1 && std::strcmp(records[0].path, program) == 0;
}

} // namespace

int main()
{
    char program[] = "/usr/bin/env";
    const int added = tresk_pblk_add(program);
    const bool blocked = blocks(program);
    const int removed = tresk_pblk_remove(program);
    std::cout << "added " << added << ", blocked " << blocked << ", removed " << removed << '\n';
    return added == 0 && blocked && removed == 0 ? 0 : 1;
}
