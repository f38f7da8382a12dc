/* SPDX-License-Identifier: LGPL-2.1-or-later */
/* The public header needs nothing before it. */
#include "tresk_extend.h"

/* A program calls one function of each shape without a cast. */
int call_as_c(void);

int call_as_c(void)
{
    int count = 0;
    int error_code = 0;
    struct _GVariant* reply = process_dbus_method("/ppro", "com.meron.tresk.ppro", "ask", 0, &error_code);
    ppro_node_info* records = tresk_ppro_read_all_data(&count);
    return tresk_conf_set("name", 1) + (reply == 0) + (records == 0);
}
