#!/bin/bash
# What tools can tell of the files for a device: XML is well-formed, and the hash of the frozen
# interface is the one that its files have: files_test.sh PATH/TO/THE/SOURCES
set -u

root=$(realpath -- "${1:?the path of the sources is missing}")
readonly package=vendor.tav.lumvndhal_aidl
failures=0

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

is_well_formed() {
    local file found=0
    for file in "$root"/host/*.xml; do
        found=$((found + 1))
        xmllint --noout "$file" || fail "$file is no well-formed XML"
    done
    ((found >= 2)) || fail "there are $found XML files"
}

# xmllint sees the document as the build does: what stands in a comment does not count.
declares_the_instance() {
    local manifest=$root/host/$package-service.xml matrix=$root/host/framework_compatibility_matrix.xml
    local hal="/hal[@format='aidl'][name='$package'][version='1']"
    [[ $(xmllint --xpath "count(/manifest[@type='device']${hal}[fqname='ILumvndhal/default'])" \
        "$manifest") == 1 ]] || fail "the manifest does not declare the instance"
    [[ $(xmllint --xpath "count(/compatibility-matrix[@type='framework']${hal}/interface[name='ILumvndhal'][instance='default'])" \
        "$matrix") == 1 ]] || fail "the matrix does not know the instance"
}

has_its_hash() {
    local version=$root/interface/aidl_api/$package/1 hash
    hash=$("$root/interface/frozen-hash" "$version")
    [[ $hash =~ ^[0-9a-f]{40}$ ]] || fail "no hash was made: $hash"
    [[ $hash == "$(<"$version/.hash")" ]] ||
        fail "the frozen version was changed: its hash is $hash, and .hash holds $(<"$version/.hash")"
}

is_well_formed
declares_the_instance
has_its_hash
((failures == 0)) && echo "files for a device: all cases passed"
exit $((failures != 0))
