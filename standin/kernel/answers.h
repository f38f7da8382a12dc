// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The file that tells the stand-in for the kernel module how to answer, one wish a line:
//
//   text TEXT    answer TEXT (the rest of the line) instead of "succeeded"
//   delay MS     answer so many milliseconds later
//   silent       do not answer
//   empty        answer an empty datagram (kernels from 5.16 on carry none: then there is no answer)
//   short N      cut the answer to N bytes, header included
//   long [N]     answer a datagram of N bytes (1116 if not given), with an "x" in every byte of the payload
//
// "type T:" before a wish limits it to messages of type T. Wishes add up; of two of one kind the later one
// counts. Empty lines and lines beginning with "#" mean nothing.
#ifndef TRESK_STANDIN_KERNEL_ANSWERS_H
#define TRESK_STANDIN_KERNEL_ANSWERS_H

#include "standin/kernel/peer.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tresk::standin {

/// The answer that @wishes, the file's content, asks for to a message of @type. Lines that say nothing known
/// are added to @unknown.
Answer wished_answer(const std::string& wishes, std::uint16_t type, std::vector<std::string>& unknown);

} // namespace tresk::standin

#endif
