#!/bin/bash
# Tests of the launcher: launcher_test.sh LAUNCHER. By each means that works on this machine.
# shellcheck disable=SC2016,SC1003 # what stands in single quotes is expanded inside
set -u
run=$(realpath -- "${1:?the path of the launcher is missing}")
work=$(mktemp -d) || exit
# A child that a signal hits before it has become the launcher runs this trap too.
trap '[[ $BASHPID != "$$" ]] || { chmod -R u+rwX "$work"; rm -rf "$work"; }' EXIT
export TMPDIR=$work/tmp ANDROID_DEVICE_ROOT=$work
outside=$work/outside
mkdir "$TMPDIR" "$outside"
failures=0

expect() { # WHAT EXPECTED ACTUAL: the expected text or a pattern
    # shellcheck disable=SC2053 # a pattern is what is meant
    [[ $3 == "$2" || $3 == $2 ]] && return
    echo "FAILED ($means): $1: expected [$2], got [$3]"
    failures=$((failures + 1))
}
device() { "$run" --quiet --with "$means" --writable "$outside" "$@"; }
what_is_said() { { "$run" --with "$means" "$@" >/dev/null; } 2>&1; }

start() { # COMMAND...: in the background; it says that it is ready by writing its process id
    rm -f "$outside"/*
    "$run" --quiet --with "$means" --writable "$outside" "$@" &
    launcher=$!
    timeout 10 sh -c 'until [ -s "$0/ready" ]; do sleep 0.02; done' "$outside"
    expect 'whether it is ready' 0 $?
}

shows_the_root() {
    local root=$work/root-$means look='cat /sys/devices/soc0/soc_id /mnt/vendor/persist/lum/frc.dat
        grep -c PROD /vendor/firmware_mnt/verinfo/ver_info.txt
        cat /dev/__properties__/vendor.tav.lum.frc.disable; echo
        cd /data/vendor/lum/shared/1503 && ls -A | wc -l; test -d /dev/socket/binder; echo $?'
    expect 'the sample' $'457\n3\n5\n0\n0\n0' "$(device --sample sh -c "$look")"
    expect 'an empty root' '' "$(device --empty find /data /mnt /sys /vendor ! -type d)"
    "$run" --new "$root"
    device --root "$root" sh -c 'cd /data/vendor/lum; mkdir a b; echo x >a/file; ln a/file b; rm a/file
        mv b/file /data; for d in . /dev/__properties__ /dev/socket/binder; do echo >"$d/file"; done'
    expect 'files in the root' "$(printf '%s/file\n' data{,/vendor/lum} dev/{__properties__,socket/binder})" \
        "$(cd "$root" && find . -type f -printf '%P\n' | sort)"
    expect 'what is made by x/.' 'nothing' "$(device --empty sh -c 'mkdir /data/x/. || echo nothing' 2>/dev/null)"
    expect 'seen by the next command' x "$(device --root "$root" cat /data/file)"
    [[ $means == fakechroot ]] || expect 'bytes that fit' 65536 "$(device --tmpfs '/data/a b:65536' \
        sh -c 'head -c 99999 /dev/zero 2>/dev/null >"/data/a b/f"; stat -c %s "/data/a b/f"')"
}

# Each net alone leaves the machine's directories as they are.
writes_nowhere_else() {
    local net try='(: >>/etc/passwd) 2>/dev/null && echo /etc/passwd
        for d in /usr /etc "$HOME" "$0"; do (: >"$d/$1") 2>/dev/null && echo "$d"; done
        for d in "$0/outside" "$DEVICE_ROOT_DIR" "$TMPDIR" /dev/shm; do : >"$d/$1" && rm "$d/$1"; done
        echo >/dev/null; echo tried'
    for net in mounts landlock both; do
        if [[ $(what_is_said --protect $net true) == *'nothing keeps the command'* ]]; then
            echo "$means has no $net here: not tested" && continue
        fi
        expect "what can be written under $net" tried \
            "$(HOME=$(realpath ~) device --protect $net sh -c "$try" "$work" "launcher-test-$$" 2>&1)"
    done
    expect 'lines said by default' "$(what_is_said --protect both true | wc -l)" "$(what_is_said true | wc -l)"
}

keeps_the_surroundings() {
    local look='pwd; id -u; echo "$KEPT$ANDROID_DEVICE_ROOT"; echo "$DEVICE_WITH"; cat /proc/$$/comm
        test /data/vendor -ef "$DEVICE_ROOT_DIR/data/vendor" && echo same; head -c 2 /dev/zero | wc -c
        echo 2>/dev/null x >/dev/full || echo full'
    expect 'the surroundings' "$(printf '%s\n' "$work" "$(id -u)" kept "$means" sh same 2 full)" \
        "$(cd "$work" && KEPT=kept device sh -c "$look")"
    expect 'status without PATH' 0 "$(env -u PATH "$run" --quiet --with "$means" true && echo $?)"
    expect 'standard input' 'a line' "$(device cat <<<'a line')"
    expect 'signals under nohup' "$(nohup grep 'Sig[BI]' /proc/self/status)" \
        "$(nohup "$run" --quiet --with "$means" grep 'Sig[BI]' /proc/self/status)"
    expect 'open descriptors' "$(sh -c 'ls /proc/$$/fd')" "$(device sh -c 'ls /proc/$$/fd')"
    local words=('two words' '' $'two\nlines' "it's" '$HOME' '*' '-x' '--' 'a=b' '"' '\')
    expect 'arguments' "$(printf '<%s>' "${words[@]}")" "$(device -- printf '<%s>' "${words[@]}")"
}

passes_the_exit_status_and_cleans_up() {
    local status command
    while read -r status command; do
        # shellcheck disable=SC2086 # words are what is meant
        device $command 2>/dev/null
        expect "exit status of $command" "$status" $?
    done <<END
42 sh -c exit\${IFS}42
137 sh -c kill\${IFS}-9\${IFS}\$\$
127 $work/no-such-program
126 /etc/passwd
125 --root $work/missing true
END
    device sh -c 'mkdir -p /data/vendor/lum/a/b; chmod 0 /data/vendor/lum/a/b /data/vendor/lum/a'
}

hands_signals_on_and_waits() {
    local signal delay
    for signal in TERM HUP; do
        start sh -c 'trap "sleep 0.2; echo gracefully >$0/ended; exit 7" '"$signal"'
            echo $$ >"$0/ready"; while :; do sleep 0.05; done' "$outside"
        kill -s "$signal" "$launcher"
        wait "$launcher"
        expect "status and end after $signal" '7 gracefully' "$? $(cat "$outside/ended" 2>&1)"
    done
    for delay in 0.00 0.01 0.03; do # however early it comes
        "$run" --quiet --with "$means" sleep 20 &
        launcher=$!
        # Until then it is a bash, which may lose the signal.
        until [[ $(<"/proc/$launcher/comm") == "${run##*/}" ]]; do :; done
        sleep "$delay"
        kill -TERM "$launcher"
        wait "$launcher" 2>/dev/null
        expect "status after TERM at $delay s" 143 $?
    done
    start sh -c 'echo $$ >"$0/ready"; exec sleep 60' "$outside"
    kill -KILL "$launcher"
    wait "$launcher" 2>/dev/null
    # Whoever inherits it may be slow to take note of its end: it counts as ended before that.
    timeout 10 sh -c 'while grep -qs "^State:.[^Z]" "/proc/$0/status"; do sleep 0.02; done' \
        "$(<"$outside/ready")"
    expect 'whether the command ends as well' 0 $?
    rm -rf "${TMPDIR:?}"/*
}

says_what_there_is_to_say() {
    local pattern arguments
    while IFS='|' read -r pattern arguments; do
        read -ra arguments <<<"$arguments"
        expect "${arguments[*]}" "$pattern" "$(what_is_said "${arguments[@]}")"
    done <<END
lumvndhal-root: there is no root $work/missing|--root $work/missing true
*is no device root: it has no data|--root $outside true
*no command*|--sample
*unknown option --nonsense*|--nonsense true
*--tmpfs takes PATH:BYTES*|--tmpfs /data:many true
*/etc is no path of a device root*|--tmpfs /etc:4096 true
*/data/../etc is no path*|--tmpfs /data/../etc:4096 true
*nowhere is none of*|--protect nowhere true
*there is no directory $work/missing|--writable $work/missing true
*is not empty|--new $work
*is no directory|--new /etc/passwd
device: $means, root $TMPDIR/device.*|true
*sh was ended by signal 9 (Killed)|sh -c kill\${IFS}-9\${IFS}\$\$
END
}

for means in bubblewrap fakechroot; do
    device true || { echo "$means does not work here: not tested" && continue; }
    tested=yes
    for each in shows_the_root writes_nowhere_else keeps_the_surroundings \
        passes_the_exit_status_and_cleans_up hands_signals_on_and_waits says_what_there_is_to_say; do
        "$each"
    done
    expect 'what is left behind' '' "$(ls -A "$TMPDIR")"
done
echo "$failures failures"
[[ ${tested-} && $failures == 0 ]]
