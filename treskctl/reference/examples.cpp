// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/examples.h"

#include <array>

namespace tresk::ctl {

namespace {

constexpr std::array kExamples = {
    Example{"treskctl status", 0, "Shows the switches, and whether the service answers."},
    Example{"treskctl status check framework ppro", 0, "Asks whether both switches are on."},
    Example{"treskctl ppro add /usr/bin/cat --type 1", 0, "Protects the processes of a program."},
    Example{"treskctl ppro add /usr/bin/cat --type 1", 0, "The same again changes nothing, and says so."},
    Example{"treskctl ppro add /usr/bin/cat --type 2", 4,
            "Refuses to change an entry that is there with other settings; set and update would change it."},
    Example{
        "treskctl ppro set /usr/bin/cat --type 2 --strict", 0,
        "Changes the entry. With --strict it fails where nothing is to be changed, so that a script knows."},
    Example{"treskctl ppro set /usr/bin/cat --type 2 --strict", 4, "The entry is as it is wanted."},
    Example{"treskctl ppro check /usr/bin/cat --type 2 && echo protected", 0,
            "Asks a question that a script can act on."},
    Example{"treskctl ppro check /usr/bin/less >/dev/null", 1, "The answer is no."},
    Example{"treskctl pblk add --dry-run /usr/bin/less", 0,
            "Shows the call that would be made, and makes none."},
    Example{"printf '%s\\n' /usr/bin/head /usr/bin/tail | treskctl pblk add --from-file -", 0,
            "Blocks the programs of a list."},
    Example{"find /usr/bin -name 'z*' -type f -print0 | treskctl pblk check -0 -f - | head -n 3", 0,
            "Reads names that may hold any byte but NUL."},
    Example{"treskctl pblk list --no-legend -o path", 0, "One column alone, without its header."},
    Example{"treskctl pblk list --get path --null | xargs -0 ls -l", 0,
            "Hands the paths to another program, whatever bytes they hold."},
    Example{"treskctl pblk list --json=short", 0, "The same for programs, in one line."},
    Example{"treskctl netctl user-distinct on", 0,
            "Keeps the rules of network control per user from now on."},
    Example{"treskctl netctl add /usr/bin/cat --type 1 --uid root", 0,
            "Puts a user's program under network control."},
    Example{"treskctl netctl list --uid root", 0, "Lists the rules of one user."},
    Example{"treskctl bwlist add white coreutils", 0, "Puts a package on the white list."},
    Example{"treskctl bwlist verdict coreutils", 0, "On the white list, and not on the black one: yes."},
    Example{"treskctl ppro show /usr/bin/less", 3, "There is no such entry."},
    Example{"treskctl ppro lits", 2, "A mistyped word is answered with the one that is most like it."},
    Example{"treskctl export > policy.json", 0, "Keeps all policies of the machine in a file."},
    Example{"treskctl pblk add /usr/bin/less", 0, "Blocks one program more."},
    Example{"treskctl diff policy.json", 1, "Shows what differs: the file does not have the last entry."},
    Example{"treskctl apply policy.json --dry-run", 0,
            "Shows the calls that would make the machine equal to the file."},
    Example{"treskctl apply policy.json", 0, "Makes them."},
    Example{"treskctl apply policy.json", 0, "Once more changes nothing."},
    Example{"treskctl verify", 0, "Looks for what the framework would overlook in the policy files."},
    Example{"treskctl explain /usr/bin/head", 0,
            "Tells every policy that touches a program, where it stands, and why "
            "an edit would be refused."},
    Example{"treskctl doctor", 0, "Looks for what keeps the framework from working."},
    Example{"treskctl pblk clear --yes --timeout 10s", 0,
            "Unblocks all programs without asking, and gives up after ten seconds."},
    Example{"treskctl ppro list --root /mnt", 0,
            "Reads the policies of another system, which is mounted below /mnt."},
};

} // namespace

std::span<const Example> examples()
{
    return kExamples;
}

} // namespace tresk::ctl
