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

ASSERT_ALWAYS(status_codes_are_where_they_were,
              TRESK_ERROR_AUTHORISATION == -1001 && TRESK_ERROR_INVALID_ARGUMENT == -1007 &&
                  TRESK_ERROR_SERVICE == -1011 && TRESK_ERROR_DEVICE_UNCHANGED == -1015);
