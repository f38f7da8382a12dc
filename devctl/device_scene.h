// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The scene library's edits of the device policies, which all take an array of records.
#ifndef TRESK_DEVCTL_DEVICE_SCENE_H
#define TRESK_DEVCTL_DEVICE_SCENE_H

#include "common/framework.h"

namespace tresk::devctl {

/// The scene's two edits of one kind of record.
template <class Record>
struct SceneEdits {
    int (*add)(Record* records, int count);
    int (*remove)(Record* records, int count);
};

inline constexpr SceneEdits<type_record> kTypes = {tresk_scene_add_devctl_by_type,
                                                   tresk_scene_remove_devctl_by_type};
inline constexpr SceneEdits<pvid_record> kProducts = {tresk_scene_add_devctl_by_pvid,
                                                      tresk_scene_remove_devctl_by_pvid};
inline constexpr SceneEdits<netcard_record> kNetworks = {tresk_scene_add_devctl_by_netcard_name,
                                                         tresk_scene_remove_devctl_by_netcard_name};

} // namespace tresk::devctl

#endif
