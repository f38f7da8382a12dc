/* SPDX-License-Identifier: LGPL-2.1-or-later */
/*
 * Programs built years ago index arrays of these records: no size and no offset may ever change.
 * C99 has no static assertion, so each is the size of an array that is negative where it fails.
 */
#include "tresk_extend.h"

#include <stddef.h>

#define ASSERT_ALWAYS(name, condition) typedef char name[(condition) ? 1 : -1]
#define ASSERT_SIZE(record, bytes) ASSERT_ALWAYS(record##_has_its_size, sizeof(record) == (bytes))
#define ASSERT_FIELD(record, field, at, bytes)                                                               \
    ASSERT_ALWAYS(record##_##field##_is_in_place, offsetof(record, field) == (at));                          \
    ASSERT_ALWAYS(record##_##field##_has_its_size, sizeof(((record*)0)->field) == (bytes))

ASSERT_SIZE(ppro_node_info, 4168);
ASSERT_FIELD(ppro_node_info, path, 0, 4096);
ASSERT_FIELD(ppro_node_info, hash, 4096, 65);
ASSERT_FIELD(ppro_node_info, type, 4164, 4);

ASSERT_SIZE(netctl_node_data, 4168);
ASSERT_FIELD(netctl_node_data, path, 0, 4096);
ASSERT_FIELD(netctl_node_data, hash, 4096, 65);
ASSERT_FIELD(netctl_node_data, type, 4164, 4);

ASSERT_SIZE(netctl_node_info, 8524);
ASSERT_FIELD(netctl_node_info, path, 0, 4096);
ASSERT_FIELD(netctl_node_info, hash, 4096, 65);
ASSERT_FIELD(netctl_node_info, type, 4164, 4);
ASSERT_FIELD(netctl_node_info, name, 4168, 256);
ASSERT_FIELD(netctl_node_info, ico, 4424, 4096);
ASSERT_FIELD(netctl_node_info, server_type, 8520, 4);

ASSERT_SIZE(netctl_ext_node_info, 12620);
ASSERT_FIELD(netctl_ext_node_info, path, 0, 4096);
ASSERT_FIELD(netctl_ext_node_info, hash, 4096, 65);
ASSERT_FIELD(netctl_ext_node_info, type, 4164, 4);
ASSERT_FIELD(netctl_ext_node_info, name, 4168, 256);
ASSERT_FIELD(netctl_ext_node_info, ico, 4424, 4096);
ASSERT_FIELD(netctl_ext_node_info, desktop, 8520, 4096);
ASSERT_FIELD(netctl_ext_node_info, server_type, 12616, 4);

ASSERT_SIZE(netctl_pkg_node_info, 12296);
ASSERT_FIELD(netctl_pkg_node_info, pkg, 0, 4096);
ASSERT_FIELD(netctl_pkg_node_info, type, 4096, 4);
ASSERT_FIELD(netctl_pkg_node_info, ico, 4100, 4096);
ASSERT_FIELD(netctl_pkg_node_info, desktop, 8196, 4096);
ASSERT_FIELD(netctl_pkg_node_info, server_type, 12292, 4);

ASSERT_SIZE(netctl_pkg_path_node_info, 16392);
ASSERT_FIELD(netctl_pkg_path_node_info, pkg, 0, 4096);
ASSERT_FIELD(netctl_pkg_path_node_info, path, 4096, 4096);
ASSERT_FIELD(netctl_pkg_path_node_info, type, 8192, 4);
ASSERT_FIELD(netctl_pkg_path_node_info, ico, 8196, 4096);
ASSERT_FIELD(netctl_pkg_path_node_info, desktop, 12292, 4096);
ASSERT_FIELD(netctl_pkg_path_node_info, server_type, 16388, 4);

ASSERT_SIZE(pblk_node_info, 4161);
ASSERT_FIELD(pblk_node_info, path, 0, 4096);
ASSERT_FIELD(pblk_node_info, hash, 4096, 65);

ASSERT_SIZE(tresk_device_policy, 412);
ASSERT_FIELD(tresk_device_policy, dtype, 0, 4);
ASSERT_FIELD(tresk_device_policy, first_utype, 4, 4);
ASSERT_FIELD(tresk_device_policy, dpid, 8, 4);
ASSERT_FIELD(tresk_device_policy, dvid, 12, 4);
ASSERT_FIELD(tresk_device_policy, dperm, 16, 4);
ASSERT_FIELD(tresk_device_policy, reserved, 20, 4);
ASSERT_FIELD(tresk_device_policy, serial, 24, 128);
ASSERT_FIELD(tresk_device_policy, utype, 152, 4);
ASSERT_FIELD(tresk_device_policy, trailing, 156, 256);

ASSERT_SIZE(tresk_device_policy_short, 32);
ASSERT_FIELD(tresk_device_policy_short, dtype, 0, 4);
ASSERT_FIELD(tresk_device_policy_short, zero_after_dtype, 4, 4);
ASSERT_FIELD(tresk_device_policy_short, dpid, 8, 4);
ASSERT_FIELD(tresk_device_policy_short, dvid, 12, 4);
ASSERT_FIELD(tresk_device_policy_short, utype, 16, 4);
ASSERT_FIELD(tresk_device_policy_short, zero_after_utype, 20, 4);
ASSERT_FIELD(tresk_device_policy_short, dperm, 24, 4);
ASSERT_FIELD(tresk_device_policy_short, zero_at_end, 28, 4);

ASSERT_SIZE(tresk_wireless_name, 128);
ASSERT_FIELD(tresk_wireless_name, name, 0, 128);

ASSERT_SIZE(tresk_device_record, 548);
ASSERT_FIELD(tresk_device_record, first, 0, 4);
ASSERT_FIELD(tresk_device_record, second, 4, 4);
ASSERT_FIELD(tresk_device_record, third, 8, 4);
ASSERT_FIELD(tresk_device_record, fourth, 12, 4);
ASSERT_FIELD(tresk_device_record, text_1, 16, 128);
ASSERT_FIELD(tresk_device_record, text_2, 144, 128);
ASSERT_FIELD(tresk_device_record, time, 272, 20);
ASSERT_FIELD(tresk_device_record, text_3, 292, 256);

ASSERT_SIZE(tresk_label_record, 4128);
ASSERT_FIELD(tresk_label_record, path, 0, 4096);
ASSERT_FIELD(tresk_label_record, label, 4096, 32);

ASSERT_SIZE(tresk_dpkg_label_record, 4132);
ASSERT_FIELD(tresk_dpkg_label_record, path, 0, 4096);
ASSERT_FIELD(tresk_dpkg_label_record, unread, 4096, 36);

ASSERT_ALWAYS(status_codes_are_where_they_were,
              TRESK_ERROR_AUTHORISATION == -1001 && TRESK_ERROR_INVALID_ARGUMENT == -1007 &&
                  TRESK_ERROR_SERVICE == -1011 && TRESK_ERROR_DEVICE_UNCHANGED == -1015);
