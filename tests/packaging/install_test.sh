#!/bin/bash
# An installation works wherever it lies, and builds the examples, which do what they say:
# install_test.sh PATH/TO/THE/BUILD COMPILER
set -u

sources=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")
build=$(realpath -- "${1:?the path of the build is missing}")
export CXX=${2:?the compiler is missing}
work=$(mktemp -d)
readonly prefix=$work/moved root=$work/root
readonly lumctl=("$prefix/bin/lumctl" --root "$root")
service=''
trap 'kill $service 2>/dev/null; wait; rm -rf "$work"' EXIT

fail() {
    echo "FAILED: $*"
    exit 1
}

# check WHAT COMMAND...: its output is shown when it fails.
check() {
    local what=$1
    shift
    "$@" >"$work/output" 2>&1 || fail "$what: $(cat "$work/output")"
}

until_it_does() { # COMMAND...
    check "$*" timeout 30 bash -c 'until "$@"; do sleep 0.05; done' bash "$@"
}

builds() { # EXAMPLE
    check "configuring $1" cmake -S "$sources/examples/$1" -B "$work/$1" -G Ninja \
        "-DCMAKE_PREFIX_PATH=$prefix" '-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror'
    check "building $1" cmake --build "$work/$1"
}

stores_a_file() { # CLIENT
    check "$1" env "ANDROID_DEVICE_ROOT=$root" "$1" "$sources/README.md" /copy
    grep -q '^BUILDID: APPS' "$work/output" || fail "$1 got no answer: $(cat "$work/output")"
    check "the stored file" cmp "$sources/README.md" "$root/data/vendor/lum/copy"
    rm "$root/data/vendor/lum/copy"
}

check "installing" cmake --install "$build" --prefix "$work/made"
mv "$work/made" "$prefix"
builds client
builds engine
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
read -ra flags < <(pkg-config --cflags --libs lumvndhal-client)
check "building with pkg-config" "$CXX" -std=c++17 "$sources/examples/client/Client.cpp" "${flags[@]}" \
    -o "$work/by_pkg_config"

check "making a device root" "$prefix/bin/lumvndhal-root" --new "$root" --sample
"$prefix/bin/lumvndhal-root" --quiet --root "$root" -- "$work/engine/example_service" 2>"$work/log" &
service=$!
until_it_does "${lumctl[@]}" ping
stores_a_file "$work/client/example_client"
stores_a_file "$work/by_pkg_config"
check "starting a campaign" "${lumctl[@]}" camp start morning load uptime
until_it_does grep '^load: [0-9]' "$root/data/vendor/lum/collected"
check "asking the engine" "${lumctl[@]}" collectors
grep -q '^1 campaigns, [1-9]' "$work/output" || fail "the engine tells nothing: $(cat "$work/output")"
kill "$service"
wait "$service" || fail "the engine's host ended with status $?: $(cat "$work/log")"
echo "installation: all cases passed"
