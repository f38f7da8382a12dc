// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The module files that kmod.cmake has the compiler make, and what is said of files that are none.
#ifndef TRESK_TESTS_UNIT_KMOD_FILES_H
#define TRESK_TESTS_UNIT_KMOD_FILES_H

#include <string>

namespace tresk::test {

/// The path of a file of kmod.cmake's.
inline std::string module_file(const std::string& name)
{
    return std::string(TRESK_MODULE_FILES "/") + name;
}

/// The module "real_name" in a file of another name.
inline std::string plain_module()
{
    return module_file("file-name.ko");
}

inline std::string no_module_line(const std::string& path)
{
    return "Failed to new kmod from path: " + path + "\n";
}

inline std::string no_name_line(const std::string& path)
{
    return "Failed to get module really name for '" + path + "'\n";
}

} // namespace tresk::test

#endif
