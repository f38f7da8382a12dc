// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Lists as C callers get them: a malloc'd array of malloc'd texts, each to be released with free().
#ifndef TRESK_STANDIN_FRAMEWORK_C_ARRAY_H
#define TRESK_STANDIN_FRAMEWORK_C_ARRAY_H

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace tresk::standin {

inline void free_c_array(char** texts)
{
    for (char** text = texts; *text != nullptr; ++text) {
        std::free(*text);
    }
    std::free(texts);
}

/// The array ends with a null pointer beyond the counted ones. Null when memory ran out.
inline char** copy_to_c(const std::vector<std::string>& texts)
{
    auto* const array = static_cast<char**>(std::calloc(texts.size() + 1, sizeof(char*)));
    if (array == nullptr) {
        return nullptr;
    }
    for (std::size_t index = 0; index < texts.size(); ++index) {
        array[index] = ::strdup(texts[index].c_str());
        if (array[index] == nullptr) {
            free_c_array(array);
            return nullptr;
        }
    }
    return array;
}

} // namespace tresk::standin

#endif
