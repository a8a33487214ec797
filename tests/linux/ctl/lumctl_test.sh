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
# With --json a failure also prints what it is.
fails() { # STATUS PATTERN ARGUMENT...
    local expected=$1 pattern=$2 said silent
    shift 2
    lumctl "$@"
    said=$out silent=$err
    ((expected == 0)) || { pattern="lumctl: $pattern" said=${err//$'\n'/ MORE LINES} silent=$out; }
    # shellcheck disable=SC2053 # a pattern is what is meant
    [[ $status == "$expected" && $said == $pattern && $said != *'MORE LINES'* && ! $silent ]] ||
        fail "lumctl ${*@Q}: status $status, [$out], [$err]; expected $expected and [$pattern]"
    ((expected == 0)) && return
    lumctl --json "$@"
    jq -e --argjson status "$expected" '.status == $status and (.error | length) > 0' \
        <<<"$out" >/dev/null || fail "lumctl --json ${*@Q}: [$out]"
}
does() { fails 0 "$@"; } # PATTERN ARGUMENT...
# Its one line of JSON makes the filter true.
tells() { # FILTER ARGUMENT...
    local filter=$1
    shift
    lumctl --json "$@"
    if [[ $status != 0 || $out == *$'\n'* ]] || ! jq -e "$filter" <<<"$out" >/dev/null; then
        fail "lumctl --json ${*@Q}: status $status, [$out], [$err]; expected $filter"
    fi
}

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
    local long command
    long=$(printf 'x%.0s' {1..256})
    fails 2 '*subcommand is required; see lumctl --help'
    fails 2 "there is no 'nonsense'; see lumctl camp --help" camp nonsense
    fails 2 "there is no 'pign' (did you mean 'ping'?); see lumctl --help" pign
    fails 2 "*'--cout' (did you mean '--count'?); see lumctl ping --help" ping --cout 3
    fails 2 '*from 1 to 100000; see lumctl ping --help' ping --count 0
    fails 2 "*'get_vnd_data'*" call get_vndd_ata x
    fails 2 '*lumctl call request_read PATH COUNT' call request_read /f
    fails 2 '*call or queue*' put --via pigeon file /f
    fails 2 "*slash*'/f'" put /dev/null f
    fails 2 '*256 bytes*255*' mkdir "/a/$long"
    fails 2 '*4113 bytes*4077*' mkdir "$(printf "/${long:1}%.0s" {1..16})/${long:240}"
    fails 2 '*whole dropbox*--all*' rm /
    fails 2 "*'$work/none'*No such file*" put "$work/none" /f
    fails 2 '*a directory; put -r*' put "$work" /f
    fails 2 "*'$work/none'*" put -r "$work/none" /f
    fails 2 "'a\\\\n\\\\tb' is no path*" mkdir $'a\n\tb'
    fails 2 '*no device root*' --root "$work/none" list
    fails 2 '*no device root*lumvndhal-root --sample --new*' --root "$work" list
    tells '. == []' list
    tells '.interface_version == 1' --version
    for command in ping info 'mkdir /a' 'put /dev/null /a' 'module on 3' 'wait 0'; do
        # shellcheck disable=SC2086 # words
        fails 3 "the service 'default' in the device root '$root' is not running: start it with $bin/lumvndhal-root --root '$root' -- $bin/vendor.tav.lumvndhal_aidl-service" \
            $command
    done
    lumctl doctor
    [[ $status == 1 && $out == *'ok'*'root'*'WRONG'*'not running'*'1 of 3 checks failed.' ]] ||
        fail "doctor without a service: status $status, [$out]"
}

finds_the_service() {
    does $'INSTANCE  STATE\ndefault   running' list
    tells '.[0] | .instance == "default" and .running' list
    does '*interface version  1
interface hash     ????????????????????????????????????????
*the one that lumctl was built with
round trip *of 3' ping -c 3
    tells '.interface_version == 1 and .hash_is_ours and .round_trips == 10' ping
    tells '.instance == "default"' wait 5
    fails 3 "*'other'*--instance 'other'" ping --instance other
    does '*ok *queue *Everything is in order.' doctor
    tells '.ok and (.checks | length == 11 and all(.ok))' doctor
    (ANDROID_DEVICE_ROOT=$root "${emulator[@]}" "$bin/lumctl" ping >/dev/null) ||
        fail 'the root is not found by the environment'
    [[ $(ls -A "$dropbox") == shared ]] || fail 'doctor leaves something behind'
}

makes_and_removes_directories() {
    fails 1 "*'/a' is no directory*mkdir -p '/a'*" mkdir /a/b
    tells '.path == "/a/b"' mkdir -p /a/b
    [[ -d $dropbox/a/b ]] || fail '/a/b is not there'
    does '/a/b is there' mkdir /a/b
    fails 1 "*'..'*" mkdir -p /n/../b
    [[ ! -e $dropbox/n ]] || fail 'a directory was made on the way to a path that is refused'
    touch "$dropbox/file"
    fails 1 "'/file' is there, but is no directory*" mkdir -p /file/b
    fails 1 "'/file' is there, but is no directory*" mkdir /file
    fails 1 "*'/file' is a file*" mkdir /file/b
    fails 1 "'/file' is a file*" rm /file
    fails 1 "*'..'*" rm /a/..
    does '/a is removed' rm /a
    [[ ! -e $dropbox/a ]] || fail '/a is still there'
    fails 1 '*finds no directory*' rm /a
    does 'The dropbox is removed; lumctl mkdir /*' rm / --all
    [[ ! -e $dropbox/file ]] || fail 'the dropbox is not empty'
    does '/ is there' mkdir /
    does '*' mkdir -p /shared/1503
}

# At the sizes around which something changes, and back from large to small.
stores_files_byte_by_byte() {
    local size way
    head -c 16000001 /dev/urandom >"$work/bytes"
    for size in 16000001 524289 524288 4096 3 1 0; do
        head -c "$size" "$work/bytes" >"$work/some"
        does "/f: $size bytes through the *" put "$work/some" /f
        holds /f "$work/some"
        for way in queue call; do
            [[ $way$size == queue0 || $way$size == call16000001 ]] && continue
            tells ".bytes == $size and .via == \"$way\"" put --via $way - /g <"$work/some"
            holds /g "$work/some"
        done
    done
    does '/f: [1-9]* bytes*' put /proc/version /f                             # whose size is 0
    does '*1040272 bytes*' put --via call <(head -c 1040272 "$work/bytes") /c # the most
    holds /c <(head -c 1040272 "$work/bytes")
    head -c 1040273 "$work/bytes" >"$work/some"
    fails 2 '*which takes 1040272 bytes*' put --via call "$work/some" /c
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
        fails 1 "*'/none' is no directory; lumctl mkdir -p '/none'*" put --via $way "$work/some" /none/f
        fails 1 "*'..'*" put --via $way "$work/some" /a..b
        fails 1 "*add the file's, as in '/shared/NAME'" put --via $way "$work/some" /shared
    done
    fails 1 "*add the file's, as in '/shared/NAME'" put "$work/some" /shared/
}

stores_directories() {
    mkdir -p "$work/tree/a/b" "$work/tree/empty"
    head -c 600000 /dev/urandom >"$work/tree/a/b/large"
    echo x >"$work/tree/a/small" && : >"$work/tree/none" && ln -s none "$work/tree/link"
    does 'left out*link*
/deep/tree: 3 files with 600002 bytes in *' put -r "$work/tree" /deep/tree
    rm "$work/tree/link"
    diff -r "$work/tree" "$dropbox/deep/tree" || fail 'the directory is not what was stored'
    tells '.files == 3 and .directories == 3 and .skipped == []' put -r "$work/tree" /deep/tree
    touch "$work/tree/x..y"
    fails 2 "*'x..y'*" put -r "$work/tree" /other
    [[ ! -e $dropbox/other ]] || fail 'something was stored of what is refused'
}

# A pipe in the place of the file keeps the service at its work until all is read.
says_what_an_interrupt_leaves_open() {
    mkfifo "$dropbox/pipe" && exec 7<>"$dropbox/pipe"
    head -c 200000 /dev/zero >"$work/some"
    set -m # in the background only a job of its own can be interrupted
    "${emulator[@]}" "$bin/lumctl" --root "$root" --json put "$work/some" /pipe >"$work/out" \
        2>"$work/err" &
    local client=$!
    set +m
    timeout 20 head -c 1 <&7 >"$work/begun"
    kill -INT "$client"
    wait "$client"
    status=$? err=$(<"$work/err")
    [[ $status == 130 && $err == *'may still store'* && $(jq .status "$work/out") == 130 ]] ||
        fail "an interrupt: status $status, [$err], [$(<"$work/out")]"
    timeout 20 head -c 199999 <&7 >"$work/rest" || fail 'the service did not go on'
    tells_a_terminal_that_it_waits
    exec 7>&-
    rm "$dropbox/pipe"
}

tells_a_terminal_that_it_waits() {
    local command=("${emulator[@]}" "$bin/lumctl" --root "$root" put "$work/some" /pipe)
    script -qec "${command[*]@Q}" /dev/null >"$work/out" 2>&1 &
    timeout 20 sh -c "until grep -q 'storing ... [0-9] s' '$work/out'; do sleep 0.05; done" ||
        fail "a terminal sees nothing of a service that is slow: [$(<"$work/out")]"
    timeout 20 head -c 200000 <&7 >"$work/rest"
    wait $! || fail "put on a terminal: [$(<"$work/out")]"
}

calls_methods_as_they_are() {
    does 'result  true' call configure 5
    does 'result  true' call configure 5 <(printf hello)
    does 'result  false' call request_read /h 6
    does 'result  true' call request_read /h 5
    holds /h <(printf hello)
    tells '.method == "get_vnd_data" and .vnd_data.data_size == 0' call get_vnd_data nonsense
    does 'result  false' call write_data_to_vendor_dropbox /h <(printf hi) -1
    fails 3 '*did not get through*' call write_data_to_vendor_dropbox /h "$work/bytes"
    fails 2 "'maybe' is neither*" call update_vendor_dropbox /h maybe
}

shows_facts() {
    does 'build id       APPS*|META*
version        2.1.3
soc id         457
serial number *' info
    tells '.build_id[:4] == "APPS" and .version == "2.1.3" and .chipset.soc_id == "457"' info
    does 'APPS*|META*' build-id
    does '2.1.3' version
    does '457+*' chipset
    mv "$root/vendor/firmware_mnt/verinfo/ver_info.txt" "$work"
    fails 1 '*not available*ver_info.txt*' build-id
    does $'build id       not available\n*' info
    tells '.build_id == null' info
    lumctl doctor
    [[ $status == 1 && $out == *'WRONG  build id'*'1 of 11 checks failed.' ]] ||
        fail "doctor without a build identifier: [$out]"
    mv "$work/ver_info.txt" "$root/vendor/firmware_mnt/verinfo"
}

runs_campaigns() {
    does '*' camp start k1 c1 c2
    tells '.collectors == ["c3", "c4"]' camp start k2 c3 c4
    tells '.module == 3' module on 3
    tells '.module == 7' opt in 007
    does $'CAMPAIGN  COLLECTORS\nk1        c1, c2\nk2        c3, c4\n\nMODULE  STATE\n3       on\n7       on' \
        collectors
    tells '.campaigns[0].key == "k1"' collectors
    tells '.module == 3 and .status == "on"' module status 3
    fails 1 '*2147483647*' module status 2147483648
    fails 1 '*2147483647*' module off -1
    does '*' camp stop k1 c1
    does '*k1*c2*k2*' collectors
    does '*' camp stop k1
    does '*' camp stop k2
    does '*' module off 3
    does '*' opt out 7
    does $'No campaign is running.\n\nNo module is on.' collectors
}

sends_words_and_statistics() {
    tells '.known and .data[:4] == "APPS"' get BUILDIDxyz
    tells '.known and .parameter == "3"' set startModuleCamp 3
    tells '.known' get 'a collectorsState b'
    fails 1 '*unknown to lumctl*result 0*empty*' get nonsense
    fails 1 '*unknown to lumctl*answered 0*' set nonsense param
    fails 1 '*-1*startCamp*' set startCamp
    fails 1 '*-1*cmdOptIn*' set cmdOptIn x
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
    fails 3 '*was killed: start it with*' ping
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
stores_directories
says_what_an_interrupt_leaves_open
calls_methods_as_they_are
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
