#!/bin/bash
# Tests of the launcher against the real thing: launcher_test.sh LAUNCHER
#
# Every case runs by each means that works on this machine. Needs no root, nor an absence of rights.
# shellcheck disable=SC2016 # what stands in single quotes is expanded inside
set -u

run=$(realpath -- "${1:?the path of the launcher is missing}")
work=$(mktemp -d) || exit
trap 'chmod -R u+rwX "$work"; rm -rf "$work"' EXIT
export TMPDIR=$work/tmp ANDROID_DEVICE_ROOT=$work
mkdir "$TMPDIR" "$work/outside"
failures=0

expect() { # WHAT EXPECTED ACTUAL: the expected text or a pattern
    # shellcheck disable=SC2053 # a pattern is what is meant
    [[ $3 == "$2" || $3 == $2 ]] && return
    echo "FAILED ($means): $1: expected [$2], got [$3]"
    failures=$((failures + 1))
}
expect_nothing_left() { expect 'what is left behind' '' "$(ls -A "$TMPDIR")"; }

# Runs its words in the device.
device() { "$run" --quiet --with "$means" --writable "$work/outside" "$@"; }
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
    local look='cat /sys/devices/soc0/soc_id /mnt/vendor/persist/lum/frc.dat
        grep -c PROD /vendor/firmware_mnt/verinfo/ver_info.txt
        cat /dev/__properties__/vendor.tav.lum.frc.disable; echo
        cd /data/vendor/lum/shared/1503 && ls -A | wc -l; test -d /dev/socket/binder; echo $?'
    expect 'the sample' $'457\n3\n5\n0\n0\n0' "$(device --sample sh -c "$look")"
    expect 'an empty root' '' "$(device --empty find /data /mnt /sys /vendor ! -type d)"
}

writes_into_the_root() {
    local root=$work/root-$means
    "$run" --new "$root"
    device --root "$root" sh -c 'cd /data/vendor/lum; mkdir a b; echo x >a/file; mv a/file b
        mv b/file /data; for d in . /dev/__properties__ /dev/socket/binder; do echo >"$d/file"; done'
    expect 'files in the root' $'data/file\ndata/vendor/lum/file\ndev/__properties__/file\ndev/socket/binder/file' \
        "$(cd "$root" && find . -type f -printf '%P\n' | sort)"
    expect 'seen by the next command' x "$(device --root "$root" cat /data/file)"
}

# Each net alone keeps the machine's directories as they are; files there are tried by append only.
writes_nowhere_else() {
    local net try='for d in /usr /etc "$HOME" "$0"; do (: >"$d/launcher-test") 2>/dev/null && echo "$d"; done
        (: >>/etc/passwd) 2>/dev/null && echo opened
        for d in "$0/outside" "$DEVICE_ROOT_DIR" "$TMPDIR" /dev/shm; do
            : >"$d/launcher-test" && rm "$d/launcher-test"; done; echo >/dev/null; exit 4'
    for net in mounts landlock both; do
        [[ $means == fakechroot && $net == mounts ]] && continue
        expect "what can be written under $net" '' \
            "$(HOME=$(realpath ~) device --protect $net sh -c "$try" "$work" 2>&1)"
        device --protect $net sh -c "$try" "$work" 2>/dev/null
        expect 'the status after it' 4 $?
    done
    expect 'no net' '*nothing keeps the command*' "$(means=fakechroot complaint --protect mounts true)"
}

keeps_the_surroundings() {
    local look='pwd; id -u; echo "$KEPT$ANDROID_DEVICE_ROOT"; echo "$DEVICE_WITH"; cat /proc/$$/comm
        test /data/vendor -ef "$DEVICE_ROOT_DIR/data/vendor" && echo same; head -c 2 /dev/zero | wc -c
        echo 2>/dev/null x >/dev/full || echo full'
    expect 'the surroundings' "$(printf '%s\n' "$work" "$(id -u)" kept "$means" sh same 2 full)" \
        "$(cd "$work" && KEPT=kept device sh -c "$look")"
    expect 'standard input' 'a line' "$(device cat <<<'a line')"
    expect 'ignored signals under nohup' "$(nohup grep 'Sig[BI]' /proc/self/status)" \
        "$(nohup "$run" --quiet --with "$means" grep 'Sig[BI]' /proc/self/status)"
    expect 'open descriptors' "$(sh -c 'ls /proc/$$/fd')" "$(device sh -c 'ls /proc/$$/fd')"
    # shellcheck disable=SC1003 # nothing here is meant to be expanded
    local words=('two words' '' $'two\nlines' "it's" '$HOME' '*' '-x' '--' 'a=b' '"' '\')
    expect 'arguments' "$(printf '<%s>' "${words[@]}")" "$(device -- printf '<%s>' "${words[@]}")"
}

passes_the_exit_status_and_cleans_up() {
    local status command
    for status in 42 137 127 126; do
        case $status in
            42) command=(sh -c 'exit 42') ;;
            137) command=(sh -c 'kill -KILL $$') ;;
            127) command=("$work/no-such-program") ;;
            126) command=(/etc/passwd) ;;
        esac
        device "${command[@]}" 2>/dev/null
        expect "exit status of ${command[*]}" $status $?
    done
    expect 'the end of a killed command' '*sh was ended by signal 9 (Killed)' "$(complaint sh -c 'kill -KILL $$')"
    device sh -c 'mkdir -p /data/vendor/lum/a/b; chmod 0 /data/vendor/lum/a/b /data/vendor/lum/a'
    expect_nothing_left
}

hands_signals_on_and_waits() {
    local signal launcher delay started
    for signal in TERM HUP; do
        rm -f "$work"/outside/*
        "$run" --quiet --with "$means" --writable "$work/outside" sh -c 'trap "sleep 0.2; echo gracefully >$0/ended; exit 7" '"$signal"'
            echo $$ >"$0/ready"; while :; do sleep 0.05; done' "$work/outside" &
        launcher=$!
        wait_for_file "$work/outside/ready"
        kill -s "$signal" "$launcher"
        wait "$launcher"
        expect "status after $signal" 7 $?
        expect "end after $signal" gracefully "$(cat "$work/outside/ended" 2>&1)"
    done
    for delay in 0.00 0.01 0.03; do # however early it comes
        "$run" --quiet --with "$means" sleep 20 &
        launcher=$! started=$SECONDS
        sleep "$delay"
        kill -TERM "$launcher"
        wait "$launcher" 2>/dev/null
        expect "status after TERM at $delay s" 143 $?
        expect "prompt end after TERM at $delay s" 1 $((SECONDS - started < 10))
    done
    expect_nothing_left
}

ends_the_command_when_killed() {
    local launcher tries
    rm -f "$work"/outside/*
    "$run" --quiet --with "$means" --writable "$work/outside" \
        sh -c 'echo $$ >"$0/ready"; exec sleep 60' "$work/outside" &
    launcher=$!
    wait_for_file "$work/outside/ready"
    kill -KILL "$launcher"
    wait "$launcher" 2>/dev/null
    for ((tries = 0; tries < 100; tries++)); do
        kill -0 "$(<"$work/outside/ready")" 2>/dev/null || break
        sleep 0.05
    done
    expect 'polls until the command was gone' '@(?|??)' "$tries"
    rm -rf "${TMPDIR:?}"/*
}

explains_what_is_wrong() {
    mkdir -p "$work/no root"
    touch "$work/file"
    local case
    while IFS='|' read -r pattern arguments; do
        read -ra case <<<"$arguments"
        expect "${case[*]}" "lumvndhal-root: $pattern" "$(complaint "${case[@]}")"
    done <<END
there is no root $work/missing|--root $work/missing true
*is no device root: it has no data|--root $work/outside true
no command*|--sample
unknown option --nonsense*|--nonsense true
--root takes an argument*|--root
--tmpfs takes PATH:BYTES*|--tmpfs /data:many true
/etc is no path of a device root*|--tmpfs /etc:4096 true
/data/../etc is no path*|--tmpfs /data/../etc:4096 true
nowhere is none of*|--protect nowhere true
there is no directory $work/missing|--writable $work/missing true
*is not empty|--new $work
*is no directory|--new $work/file
END
    expect 'the means and the root' "device: $means, root $TMPDIR/device.*" "$(complaint true)"
    device --root "$work/missing" true 2>/dev/null
    expect 'status of a failed launcher' 125 $?
}

fills_a_small_file_system() {
    local size
    size=$(device --tmpfs '/data/a place:65536' sh -c \
        'head -c 100000 /dev/zero 2>/dev/null >"/data/a place/f"; stat -c %s "/data/a place/f"')
    if [[ $means == bubblewrap ]]; then
        expect 'bytes that fit' 65536 "$size"
    else
        expect 'bytes that fit' 100000 "$size"
        expect 'the notice' '*cannot mount /data/x*' "$(complaint --tmpfs /data/x:65536 true)"
    fi
}

for means in bubblewrap fakechroot; do
    if ! device true 2>/dev/null; then
        echo "$means does not work here: not tested"
        continue
    fi
    tested=yes
    shows_the_root_at_the_real_paths
    writes_into_the_root
    writes_nowhere_else
    keeps_the_surroundings
    passes_the_exit_status_and_cleans_up
    hands_signals_on_and_waits
    ends_the_command_when_killed
    explains_what_is_wrong
    fills_a_small_file_system
done
[[ ${tested-} ]] || { echo 'FAILED: neither means works here' && exit 1; }
echo "$failures failures"
((failures == 0))
