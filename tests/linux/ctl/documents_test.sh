#!/bin/bash
# lumctl's helps, man page and completions tell of the same subcommands and options, and are sound:
# documents_test.sh PATH/TO/lumctl PATH/TO/ctl
set -u

lumctl=$(realpath -- "${1:?the path of lumctl is missing}")
ctl=$(realpath -- "${2:?the folder of its sources is missing}")
read -ra emulator <<<"${LUM_EMULATOR-}"
failures=0

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

subcommands_in() { # HELP
    awk '/^$/ {inside = 0} inside {print $1} /^Subcommands:/ {inside = 1}' <<<"$1"
}

options_in() { # HELP
    awk '/^ +-/ {print $1}' <<<"$1" | grep -o -e '--[a-z]*' | grep -v -e '--help'
}

# What the completion offers at the end of the words, one a line.
offered() { # WORD...
    local COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
    _lumctl 2>/dev/null
    ((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}"
}

is_offered() { # WHAT WORD...
    local what=$1
    shift
    offered "$@" | grep -qxF -e "$what" || fail "the completion of '$*' does not offer $what"
}

# The completions of the other shells have each word where they name a command, or an option.
is_in_other_shells() { # PATTERN-OF-ZSH PATTERN-OF-FISH
    grep -qE -e "$1" "$ctl/completion/lumctl.zsh" || fail "the completion for zsh has no $1"
    grep -qE -e "$2" "$ctl/completion/lumctl.fish" || fail "the completion for fish has no $2"
}

is_in_man_page() { # PATTERN
    grep -qE -e "$1" "$ctl/lumctl.1" || fail "the man page has no $1"
}

# The command and what is below it: all of it is offered, and the man page has it.
checks_command() { # [COMMAND...]
    local help option names name
    help=$("${emulator[@]}" "$lumctl" "$@" --help) || fail "lumctl $* --help: status $?"
    for option in $(options_in "$help"); do
        is_offered "$option" lumctl "$@" "${option:0:3}"
        is_in_man_page "Fl .*-${option#--}( |$)"
        is_in_other_shells "[^a-z]${option}[^a-z]" "-l ${option#--} "
    done
    names=$(subcommands_in "$help")
    [[ $names ]] || is_in_man_page "^\.It Cm ${1-}( (.* \| )?${2-})?( |$)"
    [[ $# != 0 || $(wc -l <<<"$names") -ge 20 ]] || fail 'the help lacks subcommands'
    [[ $("${emulator[@]}" "$lumctl" help "$@") == "$help" ]] || fail "lumctl help $* differs"
    for name in $names; do
        is_offered "$name" lumctl "$@" ''
        is_in_other_shells "['\"]$name:|${1-}.*[( ]${name}[ )]" "_command $name |_words ${1-}.* $name( |\$)"
        checks_command "$@" "$name"
    done
}

completes_arguments() {
    cd "$ctl" || exit
    is_offered CMakeLists.txt lumctl put CMake
    is_offered completion lumctl --root com
    is_offered completion lumctl --root = com
    is_offered ping lumctl --root = /x pi
    is_offered 'statusCamp\;' lumctl get status
    is_offered put lumctl --root /x pu
    is_offered queue lumctl put --via ''
    is_offered startModuleCamp lumctl set start
    is_offered collectorsState lumctl get ''
    [[ ! $(offered lumctl put file '') ]] || fail 'a path in the dropbox is completed'
    [[ ! $(offered lumctl --instance '') ]] || fail 'an instance is completed'
}

# shellcheck source=linux/ctl/completion/lumctl
source "$ctl/completion/lumctl"
for shell in zsh fish; do # where they are installed
    ! command -v $shell >/dev/null || $shell -n "$ctl/completion/lumctl.$shell" || fail "$shell cannot read it"
done
complete -p lumctl >/dev/null || fail 'the completion is not in place'
complaints=$(mandoc -Tlint -Wwarning "$ctl/lumctl.1" 2>&1) || fail "mandoc: $complaints"
checks_command
completes_arguments
((failures == 0)) && echo "lumctl's documents: all cases passed"
exit $((failures != 0))
