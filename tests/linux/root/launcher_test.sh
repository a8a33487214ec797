#!/bin/bash
# Tests of the launcher against the real thing: launcher_test.sh PATH/TO/linux/root/run
#
# Every case runs by each means that works on this machine; what only a mount can do is checked
# with bubblewrap alone. Needs no root.
set -u

run=$(realpath -- "${1:?the path of linux/root/run is missing}")
new_root=${run%/*}/new-root
work=$(mktemp -d) || exit
# A child that a signal hits before it has become the launcher runs this trap too.
trap '[[ $BASHPID != "$$" ]] || { chmod -R u+rwX "$work"; rm -rf "$work"; }' EXIT
export TMPDIR=$work/tmp
mkdir "$TMPDIR"
failures=0

expect() { # WHAT EXPECTED ACTUAL: the expected text or a pattern
    # shellcheck disable=SC2053 # a pattern is what is meant
    [[ $3 == "$2" || $3 == $2 ]] && return
    echo "FAILED ($means): $1: expected [$2], got [$3]"
    failures=$((failures + 1))
}
expect_nothing_left() { expect 'what is left behind' '' "$(ls -A "$TMPDIR")"; }

# Runs its words in the device.
device() { "$run" --quiet --with "$means" "$@"; }
# Shows what the launcher says.
complaint() { { "$run" --with "$means" "$@" >/dev/null; } 2>&1; }

wait_for_file() {
    local tries
    for ((tries = 0; tries < 200; tries++)); do
        [[ -s $1 ]] && return
        sleep 0.05
    done
    expect 'a file that appears' "$1" ''
}

shows_the_root_at_the_real_paths() {
    # shellcheck disable=SC2016 # expanded inside
    local look='cat /sys/devices/soc0/soc_id /mnt/vendor/persist/lum/frc.dat
        grep -c PROD /vendor/firmware_mnt/verinfo/ver_info.txt
        cat /dev/__properties__/vendor.tav.lum.frc.disable; echo
        cd /data/vendor/lum/shared/1503 && ls -A | wc -l; test -d /dev/socket/binder; echo $?'
    expect 'the sample' $'457\n3\n5\n0\n0\n0' "$(device --sample sh -c "$look")"
    expect 'an empty root' '' "$(device --empty find /data /mnt /sys /vendor ! -type d)"
}

writes_into_the_root_alone() {
    local root=$work/root-$means name=launcher-test-$$
    "$new_root" "$root" --empty
    # shellcheck disable=SC2016 # expanded inside
    device --root "$root" sh -c 'cd /data/vendor/lum
        for d in . /dev/__properties__ /dev/socket/binder; do echo "$0" >"$d/$0"; done' "$name"
    expect 'files in the root' $'data/vendor/lum\ndev/__properties__\ndev/socket/binder' \
        "$(cd "$root" && find . -name "$name" -printf '%P\n' | sed "s,/$name,," | sort)"
    expect 'files on the host' '' \
        "$(ls -d /{data/vendor/lum,dev/__properties__}/"$name" 2>/dev/null)"
    expect 'seen by the next command' "$name" \
        "$(device --root "$root" cat "/data/vendor/lum/$name")"
}

keeps_the_surroundings() {
    # shellcheck disable=SC2016 # expanded inside
    local look='pwd; id -u; echo "$KEPT"; echo "$DEVICE_WITH"; cat /proc/$$/comm
        test /data/vendor -ef "$DEVICE_ROOT_DIR/data/vendor" && echo same; head -c 2 /dev/zero | wc -c
        echo 2>/dev/null x >/dev/full || echo full'
    expect 'the surroundings' "$(printf '%s\n' "$work" "$(id -u)" kept "$means" sh same 2 full)" \
        "$(cd "$work" && KEPT=kept device sh -c "$look")"
    expect 'standard input' 'a line' "$(device cat <<<'a line')"
    expect 'ignored signals under nohup' "$(nohup grep SigIgn /proc/self/status)" \
        "$(nohup "$run" --quiet --with "$means" grep SigIgn /proc/self/status)"
    # shellcheck disable=SC2016 # expanded inside
    expect 'open descriptors' "$(sh -c 'ls /proc/$$/fd')" "$(device sh -c 'ls /proc/$$/fd')"
}

passes_arguments_unchanged() {
    # shellcheck disable=SC2016,SC1003 # nothing here is meant to be expanded
    local words=('two words' '' $'two\nlines' "it's" '$HOME' '*' '-x' '--' 'a=b' '"' '\')
    expect 'arguments' "$(printf '<%s>' "${words[@]}")" \
        "$(device -- printf '<%s>' "${words[@]}")"
}

passes_the_exit_status_and_cleans_up() {
    device sh -c 'exit 42'
    expect 'exit status' 42 $?
    # shellcheck disable=SC2016 # expanded inside
    device sh -c 'kill -KILL $$'
    expect 'status of a killed command' 137 $?
    device "$work/no-such-program" 2>/dev/null
    expect 'status of a missing command' 127 $?
    device sh -c 'mkdir -p /data/vendor/lum/a/b; chmod 0 /data/vendor/lum/a/b /data/vendor/lum/a'
    expect_nothing_left
}

hands_signals_on_and_waits() {
    local signal launcher
    for signal in TERM HUP; do
        rm -f "$work/ready" "$work/ended"
        # shellcheck disable=SC2016 # expanded inside
        "$run" --quiet --with "$means" sh -c 'trap "sleep 0.2; echo gracefully >$0/ended; exit 7" '"$signal"'
            echo $$ >"$0/ready"; while :; do sleep 0.05; done' "$work" &
        launcher=$!
        wait_for_file "$work/ready"
        kill -s "$signal" "$launcher"
        wait "$launcher"
        expect "status after $signal" 7 $?
        expect "end after $signal" gracefully "$(cat "$work/ended" 2>&1)"
        expect_nothing_left
    done
}

ends_the_command_when_killed() {
    local launcher tries
    rm -f "$work/ready"
    # shellcheck disable=SC2016 # expanded inside
    "$run" --quiet --with "$means" sh -c 'echo $$ >"$0/ready"; exec sleep 60' "$work" &
    launcher=$!
    wait_for_file "$work/ready"
    kill -KILL "$launcher"
    wait "$launcher" 2>/dev/null
    for ((tries = 0; tries < 100; tries++)); do
        kill -0 "$(<"$work/ready")" 2>/dev/null || break
        sleep 0.05
    done
    expect 'polls until the command was gone' '@(?|??)' "$tries"
    rm -rf "${TMPDIR:?}"/*
}

loses_no_early_signal() {
    local launcher started delay
    for delay in 0.00 0.02 0.05; do
        "$run" --quiet --with "$means" sleep 20 &
        launcher=$!
        started=$SECONDS
        sleep "$delay"
        kill -TERM "$launcher"
        wait "$launcher" 2>/dev/null
        expect "status after TERM at $delay s" 143 $?
        expect "prompt end after TERM at $delay s" 1 $((SECONDS - started < 10))
    done
    expect_nothing_left
}

explains_what_is_wrong() {
    mkdir -p "$work/no root"
    touch "$work/file"
    expect 'a missing root' "*no root $work/missing" "$(complaint --root "$work/missing" true)"
    expect 'a folder that is none' '*it has no data' "$(complaint --root "$work/no root" true)"
    expect 'no command' '*no command*' "$(complaint --sample)"
    expect 'an unknown option' '*unknown option --nonsense*' "$(complaint --nonsense true)"
    expect 'a size that is none' '*PATH:BYTES*' "$(complaint --tmpfs /data:many true)"
    expect 'a mount outside' '*no path of a device root' "$(complaint --tmpfs /etc:4096 true)"
    expect 'the means and the root' "device: $means, root $TMPDIR/device.*" "$(complaint true)"
    device --root "$work/missing" true 2>/dev/null
    expect 'status of a failed launcher' 125 $?
    expect 'a root over something' '*is not empty' "$("$new_root" "$work" 2>&1)"
    expect 'a root over a file' '*is no directory' "$("$new_root" "$work/file" 2>&1)"
}

fills_a_small_file_system() {
    local size
    size=$(device --tmpfs /data/vendor/lum:65536 2>/dev/null sh -c \
        'head -c 100000 /dev/zero >/data/vendor/lum/f; stat -c %s /data/vendor/lum/f')
    if [[ $means == bubblewrap ]]; then
        expect 'bytes that fit' 65536 "$size"
        expect 'a mount point that was not there' full "$(device --tmpfs '/data/new place:4096' \
            sh -c 'head -c 5000 /dev/zero 2>/dev/null >"/data/new place/f" || echo full')"
    else
        expect 'bytes that fit' 100000 "$size"
        expect 'the notice' '*cannot mount /data/vendor/lum*' \
            "$(complaint --tmpfs /data/vendor/lum:65536 true)"
    fi
}

for means in bubblewrap fakechroot; do
    if ! device true 2>/dev/null; then
        echo "$means does not work here: not tested"
        continue
    fi
    tested=yes
    shows_the_root_at_the_real_paths
    writes_into_the_root_alone
    keeps_the_surroundings
    passes_arguments_unchanged
    passes_the_exit_status_and_cleans_up
    hands_signals_on_and_waits
    ends_the_command_when_killed
    loses_no_early_signal
    explains_what_is_wrong
    fills_a_small_file_system
done
[[ ${tested-} ]] || { echo 'FAILED: neither means works here' && exit 1; }
echo "$failures failures"
((failures == 0))
