#!/bin/sh
# SPDX-License-Identifier: LGPL-2.1-or-later
#
# A tour of process protection, with a look at everything else that treskctl does, for somebody who has never seen
# the framework. It runs inside of the sandbox (tresk-sandbox -- tools/demo.sh), with treskctl on the command search
# path, and ends with a failure as soon as a step does not do what it says.
set -eu

policy=/etc/tresk/ppro/ppro.xml
program=$(readlink -f "$(command -v cat)")
files=$(mktemp -d)
trap 'rm -rf "$files"' EXIT

fail() {
    printf 'demo: %s\n' "$1" >&2
    exit 1
}

say() {
    printf '\n# %s\n' "$1"
}

# Shows a command as it would be typed, then runs it.
show() {
    printf '$ %s\n' "$*"
    "$@"
}

# The same for a line that needs a shell.
show_line() {
    printf '$ %s\n' "$1"
    eval "$1"
}

# The same for a command that has to be refused. $1: what its message must hold.
show_refused() {
    meaning=$1
    shift
    printf '$ %s\n' "$*"
    if message=$("$@" 2>&1); then
        fail "this should have been refused: $*"
    fi
    printf '%s\n' "$message"
    case $message in
    *"$meaning"*) ;;
    *) fail "the refusal does not say \"$meaning\"" ;;
    esac
}

# The same for a question whose answer is no.
show_answer_no() {
    printf '$ %s\n' "$*"
    if "$@"; then
        fail "the answer should have been no: $*"
    elif [ $? -ne 1 ]; then
        fail "this was no answer: $*"
    fi
}

# Fails unless file $1 holds text $2.
must_hold() {
    grep -qF -- "$2" "$1" || fail "$1 does not hold \"$2\""
}

# Fails when file $1 holds text $2.
must_not_hold() {
    if grep -qF -- "$2" "$1"; then
        fail "$1 still holds \"$2\""
    fi
}

[ -n "${TRESK_STANDIN_STATE:-}" ] || fail "this runs inside of the sandbox: tresk-sandbox -- tools/demo.sh"
command -v treskctl >/dev/null || fail "treskctl is not on the command search path"

printf '%s\n' "The tresk framework decides which programs of a machine may not be stopped, run or talk to the network." \
    "treskctl changes its policies through the library. Here everything is a development stand-in:" \
    "this /etc/tresk, this service and this kernel module are private to the sandbox and protect nothing."

say "Is the framework there, and what state are its modules in?"
show treskctl status

say "Protect a program of this machine. 1 is the protection type."
show treskctl ppro add "$program" --type 1

say "The service wrote the policy file ..."
show cat "$policy"
must_hold "$policy" "path=\"$program\""

say "... and every client reads it from there."
show treskctl ppro list

say "Tell the kernel module about the new entry (message type 9, value 1) ..."
show treskctl notify ppro "$program" --type 9 --value 1

say "... and this is what the kernel's side was told."
hash=$(treskctl ppro hash "$program" | awk 'NR == 2 { print $1 }')
must_hold "$TRESK_STANDIN_STATE/kernel.log" "value=1 hash=$hash"
# shellcheck disable=SC2016 # shown as it is typed; show_line expands it
show_line 'tail -n 1 "$TRESK_STANDIN_STATE/kernel.log" | grep -oE "(type|value|hash)=[^ ]+"'

say "Change the protection type, and look the program up: programs read JSON."
show treskctl ppro update "$program" --type 2
show treskctl ppro show "$program" --json
must_hold "$policy" "<type>2</type>"

say "Suppose the user is asked for a password, and cancels: the refusal has a name, a number and a meaning."
printf '%s\n' "tresk_xattr_set_func_status error MERON.TRESK.CANCEL.AUTH The user cancelled." \
    >"$TRESK_STANDIN_STATE/service-faults"
show_refused "(TRESK_ERROR_CANCELLED, -1002)" treskctl status set ppro off
rm "$TRESK_STANDIN_STATE/service-faults"

say "With the framework switched off nothing is changed."
show treskctl status set framework off
show_refused "the framework is disabled" treskctl ppro update "$program" --type 3
must_hold "$policy" "<type>2</type>"
show treskctl status set framework on

say "Doing the same thing twice changes nothing and asks nobody; a dry run shows the calls and makes none."
show treskctl ppro update "$program" --type 2
treskctl ppro update "$program" --type 2 | grep -qx 'changed: no' || fail "a second time changed something"
show treskctl --dry-run ppro remove "$program"
must_hold "$policy" "$program"

say "End the protection. The policy is empty again."
show treskctl ppro remove "$program"
show treskctl ppro list
must_not_hold "$policy" "$program"

say "Network control of programs: 2 is the control type that the scene library keeps too."
show treskctl netctl add "$program" --type 2 --name Cat
show treskctl netctl show "$program" --json
must_hold /etc/tresk/netctl/netctl.xml "<name>Cat</name>"
must_hold "$TRESK_STANDIN_STATE/scene/netctl" "$program"

say "Network control of packages, by their names. The package's program file comes by an update."
show treskctl pkg add coreutils --type 1
show treskctl pkg update coreutils --type 1 --path "$program"
show treskctl pkg show coreutils
must_hold /etc/tresk/netctl/netctl_pkg.xml "<path>$program</path>"

say "Process blocking: each entry names the source that asked for it."
show treskctl pblk add "$program" --source demo
show treskctl pblk list
must_hold /etc/tresk/pblk/pblk.xml "data_source_name=\"demo\""

say "Black and white lists of packages: is it on the white list and not on the black one?"
show treskctl bwlist add white coreutils
show_answer_no treskctl bwlist verdict coreutils bash
treskctl bwlist verdict coreutils | grep -q '^yes ' || fail "coreutils is not on the white list"
must_hold /etc/tresk/bwlist/bwlist.xml "rpm_name=\"coreutils\""

say "File labels: protect the files below a directory, then all that a list names."
mkdir -p "$files/below"
printf 'one\n' >"$files/one"
printf 'two\n' >"$files/below/two"
show treskctl label protect readonly --recursive "$files/below"
show_line "find '$files' -type f | treskctl label protect verify -f -"
must_hold "$TRESK_STANDIN_STATE/scene/filectl" "$files/one"
must_hold "$TRESK_STANDIN_STATE/scene/filectl" "$files/below/two"
show treskctl label clear --yes
must_not_hold "$TRESK_STANDIN_STATE/scene/filectl" "$files"

say "Give a path to the security administrator alone, and let a program run that execution control knows."
show treskctl label identify secadm "$files/one"
must_hold "$TRESK_STANDIN_STATE/scene/admctl_deny_all" "$files/one"
must_hold "$TRESK_STANDIN_STATE/scene/admctl_role_1" "$files/one"
show treskctl label identify free "$files/one"
must_not_hold "$TRESK_STANDIN_STATE/scene/admctl_role_1" "$files/one"
show treskctl label exec trusted "$program"
show treskctl label xattr "$program"
must_hold "$TRESK_STANDIN_STATE/scene/exectl_wlist" "$program"
must_hold "$TRESK_STANDIN_STATE/scene/exectl_xattr" "$program"

say "File hashes: the service computes them, and remembers."
show treskctl hash calc "$files/one" "$files/below/two"
printf 'changed\n' >"$files/one"
show treskctl hash show "$files/one"
before=$(printf 'one\n' | sha256sum | cut -d ' ' -f 1)
treskctl hash show "$files/one" | grep -qF "$before" || fail "the service forgot the hash of $files/one"
show_refused "there is no hash" treskctl hash show /no/such/file

say "Kernel modules, and what the kernel's side is told of one (message type 9)."
show treskctl kmod protect usb_storage
must_hold "$TRESK_STANDIN_STATE/scene/kmodctl" usb_storage
show treskctl kmod owner usb_storage
show treskctl notify kmod usb_storage --type 9
must_hold "$TRESK_STANDIN_STATE/kernel.log" " text=usb_storage "
show_refused "not sent" treskctl notify kmod usb_storage --type 8
show treskctl kmod unprotect usb_storage
must_not_hold "$TRESK_STANDIN_STATE/scene/kmodctl" usb_storage

say "Devices: a policy for a type, one for vendor and product ids, and another permission for it."
show treskctl device add --type 13 --perm 2
show treskctl device add --vendor 1d6b --product 0002 --usb-type 3 --perm 1
show treskctl device update --vendor 1d6b --product 0002 --usb-type 3 --perm 5
show treskctl device list
treskctl device list | grep -qE '^- +1d6b +0002 +3 +- +5$' || fail "the device policy is not listed"
show treskctl notify device --type 12 --data 6b1d0200
must_hold "$TRESK_STANDIN_STATE/kernel.log" " payload=6b1d02"

say "Many policies at once, one JSON object a line."
show_line "printf '%s\\n' '{\"type\": 14, \"perm\": 1}' '{\"vendor\": \"046d\", \"product\": \"c52b\", \"perm\": 2}' |
    treskctl device batch -f -"
treskctl device list --vendor 046d | grep -q c52b || fail "the batch's policy is not listed"

say "The service keeps a record of the devices that were seen."
seen="{\"first\": 1, \"second\": 0, \"id_1\": \"1d6b\", \"id_2\": \"0002\", \"text_1\": \"hub\", \"text_2\": \"demo\", \
\"time\": \"$(date '+%Y-%m-%d %H:%M:%S')\", \"text_3\": \"\"}"
show_line "printf '%s\\n' '$seen' | treskctl device history-add -f -"
show treskctl device history
treskctl device history | grep -q '1d6b  0002  hub' || fail "the device is not in the record"

say "Wireless networks."
show treskctl wireless add "the office"
show treskctl wireless list
treskctl wireless list | grep -qx "the office" || fail "the network is not listed"

say "A user's credential goes to the service's PAM rules, which are the sandbox's own here."
mkdir -p "$TRESK_STANDIN_STATE/pam.d"
printf 'auth required pam_permit.so\naccount required pam_permit.so\n' >"$TRESK_STANDIN_STATE/pam.d/tresk"
show_line "printf 'open sesame\\n' | treskctl user check demo"
printf 'auth required pam_deny.so\n' >"$TRESK_STANDIN_STATE/pam.d/tresk"
printf 'open sesame\n' >"$files/credential"
show_answer_no treskctl user check demo <"$files/credential"

say "All policies as one document. Another document is compared with the machine, and made true."
show treskctl netctl clear --yes
show treskctl export
cat >"$files/wanted.json" <<JSON
{"version": 1, "policy": {
  "ppro": [{"path": "$program", "type": 4, "note": "the demo wants it"}],
  "wireless": [{"name": "the office"}, {"name": "the canteen"}]}}
JSON
show cat "$files/wanted.json"
show_answer_no treskctl diff machine "$files/wanted.json"
show treskctl apply "$files/wanted.json"
show treskctl diff machine "$files/wanted.json"
show treskctl apply "$files/wanted.json"
treskctl apply "$files/wanted.json" | grep -qx 'changed: no' || fail "applying it again changed something"

say "Why may this program not be stopped? And is all well with this machine?"
show treskctl explain "$program"
treskctl explain "$program" | grep -q '^ppro ' || fail "the explanation does not name the policy"
show treskctl verify
show treskctl doctor -o check,state,detail

say "Every step did what it says. A shell in this sandbox, to try more of it:  ./dev shell"
