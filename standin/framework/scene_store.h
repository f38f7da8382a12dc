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
// record's identity as the text (see scene_records.h).
#ifndef TRESK_STANDIN_FRAMEWORK_SCENE_STORE_H
#define TRESK_STANDIN_FRAMEWORK_SCENE_STORE_H

extern "C" {

/// Adds @text to @policy on behalf of the public function @function. Returns 0; -2 when it is present
/// already; -1 when the policy cannot be read or written or @text is null; or the code that a fault gives
/// @function.
int tresk_standin_scene_add(const char* function, const char* policy, const char* text);

/// Removes @text from @policy. Returns as above, with -3 when it is not present.
int tresk_standin_scene_remove(const char* function, const char* policy, const char* text);

/// Texts that one change adds or removes, and the answer when there are texts but not one of them changes
/// anything.
struct tresk_standin_scene_batch {
    const char* const* texts;
    int count;
    int unchanged;
};

/// Adds every text of @batch that is not present yet, all of them in one change. Returns 0, also for no
/// texts; the batch's own answer when all were present already; -1, and nothing is added, when the policy
/// cannot be read or written, the array or a text is null or the count is negative; or a fault's code.
int tresk_standin_scene_add_all(const char* function, const char* policy, tresk_standin_scene_batch batch);

/// Removes every text of @batch that is present, likewise.
int tresk_standin_scene_remove_all(const char* function, const char* policy, tresk_standin_scene_batch batch);

/// The policy's texts: a malloc'd array of *@count malloc'd texts. Null when they cannot be read, and for a
/// fault, whose code goes to *@count.
char** tresk_standin_scene_list(const char* function, const char* policy, int* count);

} // extern "C"

#endif
