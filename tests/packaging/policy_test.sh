#!/bin/bash
# The SELinux policy compiles against stand-ins for the platform's part, allows what the service
# needs, and refuses what it must never get: policy_test.sh PATH/TO/THE/SOURCES
set -u

root=$(realpath -- "${1:?the path of the sources is missing}")
here=$(dirname -- "$(realpath -- "${BASH_SOURCE[0]}")")/policy
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

# The labels of the contexts files, as statements that the compiler checks. What is labelled does not
# matter to it.
contexts_as_genfscon() {
    local file context
    for file in file_contexts service_contexts property_contexts; do
        while read -r _ context _; do
            echo "genfscon $file /$((++number)) $context"
        done < <(grep -v '^#' "$root/sepolicy/$file")
    done
    cat "$root/sepolicy/genfs_contexts"
}

# The whole policy with the rules of standard input among it.
policy() {
    local number=0
    cat "$here/classes.conf"
    m4 --fatal-warnings "$here/macros.m4" "$here/platform.te" "$root/sepolicy/attributes" \
        "$root"/sepolicy/*.te "$here/assertions.te" || fail 'm4 does not take the policy'
    cat - "$here/contexts.conf"
    contexts_as_genfscon
}

compiles() { # the additional rules come on standard input
    policy >"$work/policy.conf"
    checkpolicy -M -o "$work/policy" "$work/policy.conf" >"$work/output" 2>&1
}

rules_of() { # FILE
    grep -v -e '^#' -e '^$' "$here/$1"
}

# A rule is there when the policy with the assertion that it is not does not compile; it is refused
# when the policy with the rule does not.
fails_with_each() { # STATEMENT FILE
    local domain type class permission
    while read -r domain type class permission; do
        compiles <<<"$1 $domain $type:$class $permission;"
        grep -q 'violated by allow' "$work/output" ||
            fail "$2, $domain $type:$class $permission: $(head -n 3 "$work/output")"
    done < <(rules_of "$2")
}

# What the policy lets the service do, one permission a line; its one client stands for all of them.
permissions_of_the_service() {
    awk '$1 == "(allow" && $2 ~ /^hal_lumvndhal(_default|_server)?$/ {
        gsub(/[()]/, "")
        sub(/ hal_lumvndhal_client /, " system_server ")
        for (i = 5; i <= NF; ++i) print $3, $4, $i
    }' "$work/policy.cil"
}

allows_nothing_else() {
    compiles </dev/null
    checkpolicy -M -C -o "$work/policy.cil" "$work/policy.conf" >/dev/null
    local listed found
    listed=$(rules_of needed | awk '$1 == "hal_lumvndhal_default" {print $2, $3, $4}' | sort -u)
    found=$(permissions_of_the_service | sort -u)
    [[ $found == "$listed" ]] || fail "the policy differs from what is needed:" \
        "$(diff <(echo "$listed") <(echo "$found") | grep '^[<>]')"
}

# A type that labels nothing is a rename that was done in one place only.
labels_every_type() {
    local type
    for type in $(sed -nE 's/^type ([a-z_]+),.*/\1/p' "$root"/sepolicy/*.te) vendor_lumvndhal_prop; do
        [[ $type == hal_lumvndhal_default ]] && continue
        grep -q ":$type:" "$root"/sepolicy/*_contexts || fail "nothing is labelled $type"
    done
}

compiles </dev/null || fail "the policy does not compile: $(head -n 9 "$work/output")"
fails_with_each neverallow needed
fails_with_each allow forbidden
allows_nothing_else
labels_every_type
((failures == 0)) && echo "policy: all cases passed"
exit $((failures != 0))
