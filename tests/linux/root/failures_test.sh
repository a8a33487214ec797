#!/bin/bash
# The commands of docs/failures.md say what it shows: failures_test.sh PAGE DIRECTORY-OF-THE-PROGRAMS
set -u
page=$(realpath -- "${1:?the page is missing}")
PATH=$(realpath -- "${2:?the directory of the programs is missing}"):$PATH
work=$(mktemp -d) || exit
export TMPDIR=$work DEVICE_WITH=bubblewrap
service='' failures=0 status=0 count=0
trap 'kill $service 2>/dev/null; wait; rm -rf "$work"' EXIT

lumvndhal-root --quiet true || { echo 'bubblewrap does not work here: not tested' && exit; }

# Runs a command in this shell, as a person would, and compares what it says with what the page shows.
checks() { # COMMAND OUTPUT
    local said
    (exit "$status")
    eval "$1" >"$work/said" 2>&1
    status=$?
    said=$(<"$work/said") count=$((count + 1))
    # shellcheck disable=SC2053 # a pattern is what is meant
    [[ ! $2 || $said == ${2//…/*} ]] && return
    echo "FAILED: $1: [$said] instead of [$2]"
    failures=$((failures + 1))
}

command='' output=''
while IFS= read -r line || [[ $line ]]; do
    case $line in
        '    $ '*)
            [[ ! $command ]] || checks "$command" "$output"
            command=${line#'    $ '} output=''
            ;;
        '    '*) output+=${output:+$'\n'}${line#'    '} ;;
    esac
done <"$page"
checks "$command" "$output"
echo "$count commands, $failures failures"
((failures == 0 && count > 20))
