/* SPDX-License-Identifier: LGPL-2.1-or-later */
__attribute__((section(".modinfo"), used, aligned(1))) static const char information[] =
    "license=GPL\0name=module_in_file";
