// SPDX-License-Identifier: LGPL-2.1-or-later
//
// The system calls of the kernel channel, in their place by the linker (see CMakeLists.txt): no socket is
// opened, what is sent is kept, and the answer is what the input says.
#ifndef TRESK_FUZZ_SUPPORT_FAKE_CHANNEL_H
#define TRESK_FUZZ_SUPPORT_FAKE_CHANNEL_H

#include <string>

namespace tresk::fuzz {

struct FakeChannel {
    std::string sent;
    int sent_times = 0;
    /// The answer's bytes, of which as many arrive as there is room for.
    std::string answer;
    /// The step that fails with this errno; 0: none does.
    int socket_error = 0;
    int bind_error = 0;
    int send_error = 0;
    int receive_error = 0;
};

FakeChannel& fake_channel();

} // namespace tresk::fuzz

#endif
