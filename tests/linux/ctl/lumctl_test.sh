#!/bin/bash
# Tests of lumctl against the real service: lumctl_test.sh LAUNCHER BIN_DIR
#
# BIN_DIR holds lumctl and the hosting executable; LUM_EMULATOR is put in front of both.
set -u

run=$(realpath -- "${1:?the path of the launcher is missing}")
bin=$(realpath -- "${2:?the folder of the programs is missing}")
read -ra emulator <<<"${LUM_EMULATOR-}"
work=$(mktemp -d) || exit
unset ANDROID_DEVICE_ROOT
root=$work/root
dropbox=$root/data/vendor/lum
failures=0

stop_service() { # SIGNAL
    [[ -s $root/data/service.pid ]] || return
    kill -s "$1" "$(<"$root/data/service.pid")"
    wait "$launcher" 2>/dev/null
    rm -f "$root/data/service.pid"
}

# shellcheck disable=SC2317 # called when the test exits
clean_up() {
    stop_service TERM
    rm -rf "$work"
}
trap clean_up EXIT

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

# Runs lumctl inside the test's root. Sets status, out and err.
lumctl() {
    "${emulator[@]}" "$bin/lumctl" --root "$root" "$@" >"$work/out" 2>"$work/err"
    status=$?
    out=$(<"$work/out") err=$(<"$work/err")
}

# Runs lumctl, which ends with the status and prints what matches: on standard output when it does what
# it is told, or else in one line on standard error; nothing on the other.
fails() { # STATUS PATTERN ARGUMENT...
    local expected=$1 pattern=$2 said silent
    shift 2
    lumctl "$@"
    said=$out silent=$err
    ((expected == 0)) || { pattern="lumctl: $pattern" said=${err//$'\n'/ MORE LINES} silent=$out; }
    # shellcheck disable=SC2053 # a pattern is what is meant
    [[ $status == "$expected" && $said == $pattern && $said != *'MORE LINES'* && ! $silent ]] ||
        fail "lumctl ${*@Q}: status $status, [$out], [$err]; expected $expected and [$pattern]"
}
does() { fails 0 "$@"; } # PATTERN ARGUMENT...

holds() { # PATH FILE
    cmp "$dropbox$1" "$2" || fail "$1 does not hold what was stored"
}

start_service() {
    local tries
    # shellcheck disable=SC2016 # expanded inside
    "$run" --quiet --root "$root" sh -c 'echo $$ >/data/service.pid; exec "$@"' sh \
        "${emulator[@]}" "$bin/vendor.tav.lumvndhal_aidl-service" --version-text 2.1 \
        >>"$work/service.log" 2>&1 &
    launcher=$!
    for ((tries = 0; tries < 200; tries++)); do
        lumctl ping
        [[ $status == 0 ]] && return
        sleep 0.05
    done
    fail "the service does not start: $(<"$work/service.log")"
    exit 1
}

tells_what_is_wrong_without_a_service() {
    fails 2 '*subcommand is required; see lumctl --help'
    fails 2 "there is no 'nonsense'; see lumctl camp --help" camp nonsense
    fails 2 '*--nonsense*; see lumctl ping --help' ping --nonsense
    fails 2 '*call or queue*' put --via pigeon file /f
    fails 2 "*slash*'/f'" put /dev/null f
    fails 2 '*whole dropbox*--all*' rm /
    fails 2 "*'$work/none'*No such file*" put "$work/none" /f
    fails 2 '*a directory*' put "$work" /f
    fails 2 "'a\\\\nb' is no path*" mkdir $'a\nb'
    fails 2 '*no device root*' --root "$work/none" list
    fails 2 '*no device root*new-root*' --root "$work" list
    does '\[\]' list --json
    local command
    for command in ping info 'mkdir /a' 'put /dev/null /a' 'module on 3'; do
        # shellcheck disable=SC2086 # words
        fails 3 "the service 'default' in the device root '$root' is not running: *dev service*" \
            $command
    done
}

finds_the_service() {
    does $'INSTANCE  STATE\ndefault   running' list
    does '*"instance": "default",*"running": true*' --json list
    does '*interface version  1
interface hash     ????????????????????????????????????????
*the one that lumctl was built with
round trip *of 3' ping -c 3
    does '{*"interface_version": 1,*"hash_is_ours": true,*"round_trips": 10,*}' ping --json
    fails 3 "*'other'*" ping --instance other
    (ANDROID_DEVICE_ROOT=$root "${emulator[@]}" "$bin/lumctl" ping >/dev/null) ||
        fail 'the root is not found by the environment'
}

makes_and_removes_directories() {
    fails 1 "*'/a'*mkdir -p '/a'*" mkdir /a/b
    does '{*"path": "/a/b"*}' mkdir -p /a/b --json
    [[ -d $dropbox/a/b ]] || fail '/a/b is not there'
    does '/a/b is there' mkdir /a/b
    fails 1 "*'..'*" mkdir -p /n/../b
    [[ ! -e $dropbox/n ]] || fail 'a directory was made on the way to a path that is refused'
    touch "$dropbox/file"
    fails 1 "*'/file' is a file*" mkdir -p /file/b
    fails 1 "*'..'*" rm /a/..
    does '/a*' rm /a
    [[ ! -e $dropbox/a ]] || fail '/a is still there'
}

# At the sizes around which something changes, and back from large to small.
stores_files_byte_by_byte() {
    local size way
    head -c 3000001 /dev/urandom >"$work/bytes"
    for size in 3000001 524289 524288 4096 3 1 0; do
        head -c "$size" "$work/bytes" >"$work/some"
        does "/f: $size bytes through the *" put "$work/some" /f
        holds /f "$work/some"
        for way in queue call; do
            [[ $way$size == queue0 || $way$size == call3000001 ]] && continue
            does "*$size,*\"via\": \"$way\"*" --json put --via $way - /g <"$work/some"
            holds /g "$work/some"
        done
    done
    does '/f: [1-9]* bytes*' put /proc/version /f                             # whose size is 0
    does '*1040272 bytes*' put --via call <(head -c 1040272 "$work/bytes") /c # the most
    holds /c <(head -c 1040272 "$work/bytes")
    fails 2 '*which takes 1040272 bytes*' put --via call <(head -c 1040273 "$work/bytes") /c
}

# The service has one queue for all of them.
stores_files_of_several_clients_at_once() {
    local round client clients
    for round in 1 2 3 4 5; do
        clients=()
        for client in 1 2 3 4; do
            head -c 1500000 /dev/urandom >"$work/of$client"
            "${emulator[@]}" "$bin/lumctl" --root "$root" put --via queue "$work/of$client" \
                "/of$client" >"$work/out$client" 2>&1 &
            clients+=($!)
        done
        for client in 1 2 3 4; do
            wait "${clients[client - 1]}" || fail "round $round: $(<"$work/out$client")"
            holds "/of$client" "$work/of$client"
        done
    done
}

tells_why_a_file_cannot_be_stored() {
    truncate -s 3G "$work/large"
    fails 2 '*too many for one file*split it*' put "$work/large" /f
    fails 2 '*--via queue*' put --via call - /f </dev/zero
    fails 2 '*empty file*' put --via queue /dev/null /f
    local way
    printf x >"$work/some"
    for way in call queue; do
        fails 1 "*'/none'*lumctl mkdir -p '/none'*" put --via $way "$work/some" /none/f
        fails 1 "*'..'*" put --via $way "$work/some" /a..b
    done
    fails 1 "*add the file's name*" put "$work/some" /shared/
}

shows_facts() {
    does 'build id       APPS*|META*
version        2.1.3
soc id         457
serial number *' info
    does '{*"build_id": "APPS*",*"version": "2.1.3",*"soc_id": "457",*}' info --json
    does 'APPS*|META*' build-id
    does '2.1.3' version
    does '457+*' chipset
    mv "$root/vendor/firmware_mnt/verinfo/ver_info.txt" "$work"
    fails 1 '*not available*ver_info.txt*' build-id
    does 'build id       not available
*' info
    does '{*"build_id": null,*}' info --json
    mv "$work/ver_info.txt" "$root/vendor/firmware_mnt/verinfo"
}

runs_campaigns() {
    does '*' camp start k1 c1 c2
    does '*"collectors": *"c3",*"c4"*' camp start k2 c3 c4 --json
    does '*' module on 3
    does '*' opt in 007
    does $'CAMPAIGN  COLLECTORS\nk1        c1, c2\nk2        c3, c4\n\nMODULE  STATE\n3       on\n7       on' \
        collectors
    does '{*"campaigns": [*"key": "k1"*' collectors --json
    does 'on' module status 3
    fails 1 '*2147483647*' module status 2147483648
    fails 1 '*2147483647*' module off -1
    does '*' camp stop k1 c1 c2
    does '*' camp stop k2 c3 c4
    does '*' module off 3
    does '*' opt out 7
    does $'No campaign is running.\n\nNo module is on.' collectors
}

sends_words_and_statistics() {
    does '{*"known": true,*"data": "APPS*}' --json get BUILDIDxyz
    does '0' set startModuleCamp 3
    fails 1 '*unknown to lumctl*result 0*empty*' get nonsense
    fails 1 '*unknown to lumctl*answered 0*' set nonsense param
    fails 1 '*-1*startCamp*' set startCamp
    fails 1 '*-1*cmdOptIn*' set cmdOptIn -- -1
    printf 'a\0b' >"$work/some"
    does '/shared/1503/nwstats.tmp: 3 bytes' netstats "$work/some"
    holds /shared/1503/nwstats.tmp "$work/some"
    fails 2 '*127 bytes*' netstats - < <(head -c 128 /dev/zero)
    rm -r "$dropbox/shared"
    fails 1 '*mkdir -p /shared/1503*' netstats "$work/some"
}

outlives_a_service_that_is_killed() {
    "${emulator[@]}" "$bin/lumctl" --root "$root" ping -c 100000 >"$work/out" 2>"$work/err" &
    local client=$! tries waits=0
    for ((tries = 0; tries < 200 && waits < 100; tries++)); do # each is an answer it waited for
        sleep 0.05
        waits=$(awk '/^voluntary/ {print $2}' "/proc/$client/status")
    done
    stop_service KILL
    wait "$client"
    status=$? err=$(<"$work/err")
    [[ $status == 3 && $err == 'lumctl: '*died*'start it again'* && $err != *$'\n'* ]] ||
        fail "the service was killed during a call: status $status, [$err]"
    does $'INSTANCE  STATE\ndefault   left behind' list
    fails 3 '*does not answer*dev service*' ping
    start_service
    does '*' mkdir /again
}

"$run" --sample --new "$root" || exit
tells_what_is_wrong_without_a_service
start_service
finds_the_service
makes_and_removes_directories
stores_files_byte_by_byte
stores_files_of_several_clients_at_once
tells_why_a_file_cannot_be_stored
shows_facts
if ((${LUM_SAMPLE_ENGINE-1})); then
    runs_campaigns
else
    echo "skipped: what the sample engine answers, since this build has another"
fi
sends_words_and_statistics
outlives_a_service_that_is_killed
((failures == 0)) && echo "lumctl: all cases passed"
exit $((failures != 0))
