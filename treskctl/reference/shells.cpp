// SPDX-License-Identifier: LGPL-2.1-or-later
#include "treskctl/reference/shells.h"

#include <array>

namespace tresk::ctl {

namespace {

// The shell parts the line at "=" and ":" as well, and replaces the last part alone: the parts are put
// together again, and what stands in front of the last one is taken off the answers.
constexpr std::string_view kBash =
    R"shell(# treskctl: completion for bash, written by "treskctl completion bash"

# The word without the quotes and backslashes that the user typed.
_treskctl_unquoted() {
    case $1 in
        \"* | \'*) REPLY=${1:1} ;;
        *) IFS= read -d '' REPLY < <(printf '%s\0' "$1") ;;
    esac
}

# Sets words, and last: that part of the last word which the shell is going to replace.
_treskctl_words() {
    local line=${COMP_LINE:0:COMP_POINT} index part blank
    words=()
    for ((index = 0; index <= COMP_CWORD; index++)); do
        blank=${line%%[![:space:]]*}
        line=${line:${#blank}}
        part=${COMP_WORDS[index]}
        ((index < COMP_CWORD)) || part=$line
        line=${line:${#part}}
        if [[ -n $blank || ${#words[@]} -eq 0 ]]; then
            words+=("$part")
        else
            words[-1]+=$part
        fi
    done
    last=$part
    [[ ${#last} -eq 1 && $COMP_WORDBREAKS == *"$last"* ]] && last=
    return 0
}

_treskctl() {
    local -a words=() answers=() plain=()
    local last answer word REPLY
    _treskctl_words
    local front=${words[-1]%"$last"}
    for word in "${words[@]:1}"; do
        _treskctl_unquoted "$word"
        plain+=("$REPLY")
    done
    mapfile -t answers < <("$1" complete -- "${plain[@]}" 2>/dev/null)
    _treskctl_unquoted "$last"
    last=$REPLY
    COMPREPLY=()
    local names=
    for answer in "${answers[@]}"; do
        case $answer in
            $'\tfiles') names=-f ;;
            $'\tdirectories') names=-d ;;
        esac
    done
    if [[ -n $names ]]; then
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen "$names" -- "$last")
    fi
    for answer in "${answers[@]}"; do
        word=${answer%%$'\t'*}
        [[ -n $word ]] || continue
        word=${word#"$front"}
        # Names of files, and what stands in quotes, the shell quotes itself.
        [[ -n $names || ${words[-1]} == [\"\']* ]] || printf -v word %q "$word"
        COMPREPLY+=("$word")
    done
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != *, ]] || compopt -o nospace
}

complete -F _treskctl treskctl
)shell";

constexpr std::string_view kZsh = R"shell(#compdef treskctl
# treskctl: completion for zsh, written by "treskctl completion zsh"

_treskctl() {
    local answer word
    local -a values lines
    for answer in "${(@f)$("${(Q)words[1]}" complete -- "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null)}"; do
        word=${answer%%$'\t'*}
        if [[ -n $word ]]; then
            values+=("$word")
            lines+=("${answer/$'\t'/  -- }")
        fi
    done
    [[ ${#values} -eq 0 ]] || compadd -Q -l -d lines -- "${(@q)values}"
    if [[ $answer == $'\t'(files|directories) ]]; then
        compset -P '--*='
        if [[ $answer == *directories ]]; then
            _files -/
        else
            _files
        fi
    fi
}

if [[ $funcstack[1] == _treskctl ]]; then
    _treskctl "$@"
else
    compdef _treskctl treskctl
fi
)shell";

constexpr std::string_view kFish =
    R"shell(# treskctl: completion for fish, written by "treskctl completion fish"

function __treskctl_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct | string unescape)
    # Names of files stand behind the equals sign of an option.
    set -l option (string match -r -- '^--[^=]*=' "$current"; or echo)
    set -l name (string replace -r -- '^--[^=]*=' '' "$current")
    set -l program $words[1]
    set -e words[1]
    for answer in ($program complete -- $words "$current" 2>/dev/null)
        switch $answer
            case \tfiles
                printf '%s\n' $option(__fish_complete_path $name)
            case \tdirectories
                printf '%s\n' $option(__fish_complete_directories $name)
            case '*'
                printf '%s\n' $answer
        end
    end
end

complete -c treskctl -f -a '(__treskctl_complete)'
)shell";

constexpr std::array kShells = {
    Shell{"bash", kBash},
    Shell{"zsh", kZsh},
    Shell{"fish", kFish},
};

} // namespace

std::span<const Shell> shells()
{
    return kShells;
}

} // namespace tresk::ctl
