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

count_in() { # FILE XPATH
    xmllint --xpath "count($2)" "$root/host/$1"
}

# xmllint sees the documents as the build does: what stands in a comment does not count.
declares_the_instance() {
    local hal="hal[@format='aidl'][name='$package'][version='1']"
    [[ $(count_in $package-service.xml \
        "/manifest[@type='device']/${hal}[fqname='ILumvndhal/default']") == 1 ]] ||
        fail 'the manifest does not declare the instance'
    [[ $(count_in framework_compatibility_matrix.xml "/compatibility-matrix[@type='framework']/$hal\
/interface[name='ILumvndhal'][instance='default']") == 1 ]] ||
        fail 'the matrix does not know the instance'
}

has_its_hash() {
    local version=$root/interface/aidl_api/$package/1 hash
    hash=$("$root/interface/frozen-hash" "$version")
    [[ $hash =~ ^[0-9a-f]{40}$ && $hash == "$(<"$version/.hash")" ]] ||
        fail "the frozen version was changed: its hash is $hash, and .hash holds $(<"$version/.hash")"
}

declares_the_instance
has_its_hash
((failures == 0)) && echo "files for a device: all cases passed"
exit $((failures != 0))
