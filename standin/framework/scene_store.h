// SPDX-License-Identifier: LGPL-2.1-or-later
//
// libtresk_scene: the store that every scene function stands on. A policy is a set of texts in the file
// "scene/POLICY" of the state directory, one a line, in the order they were added; the backslash and the
// line feed inside of a text are written \\ and \n. Changes are made under a lock, in a new file that takes
// the old one's place, so that several processes may change a policy and a reader never sees half a file.
//
// The file "scene-faults" of the state directory makes scene functions fail: lines "FUNCTION CODE".
//
// A family's own file defines its public functions in terms of these; a policy of records keeps each
// record's identity as the text.
#ifndef TRESK_STANDIN_FRAMEWORK_SCENE_STORE_H
#define TRESK_STANDIN_FRAMEWORK_SCENE_STORE_H

extern "C" {

/// Adds @text to @policy on behalf of the public function @function. Returns 0; -2 when it is present
/// already; -1 when the policy cannot be read or written or @text is null; or the code that a fault gives
/// @function.
int tresk_standin_scene_add(const char* function, const char* policy, const char* text);

/// Removes @text from @policy. Returns as above, with -3 when it is not present.
int tresk_standin_scene_remove(const char* function, const char* policy, const char* text);

/// The policy's texts: a malloc'd array of *@count malloc'd texts, or null (also for a fault).
char** tresk_standin_scene_list(const char* function, const char* policy, int* count);

} // extern "C"

#endif
