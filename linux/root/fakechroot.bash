# How linux/root/run enters a root where no namespace can be made: libfakechroot, preloaded into the
# command and everything it starts, rewrites path names on their way into the C library.
# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154 # all of them belong to linux/root/run

# Prints nothing; sets library to libfakechroot's path or to an empty text.
fakechroot_find_library() {
    local candidate
    library=''
    for candidate in "/usr/lib/$HOSTTYPE-linux-gnu" /usr/lib64 /usr/lib; do
        if [[ -e $candidate/fakechroot/libfakechroot.so ]]; then
            library=$candidate/fakechroot/libfakechroot.so
            return
        fi
    done
}

# Sets excluded to the colon-separated list of places that stay the host's. The library takes at
# most 100 of them, so of /dev only the devices that programs use are named.
fakechroot_excluded() {
    local entry
    excluded=''
    shopt -s dotglob nullglob
    for entry in /*; do
        case $entry in
            /data | /vendor | /mnt | /sys | /dev) ;;
            *) excluded+=:$entry ;;
        esac
    done
    shopt -u dotglob nullglob
    for entry in null zero full random urandom tty ptmx pts shm fd stdin stdout stderr; do
        excluded+=:/dev/$entry
    done
    for entry in ${bound_back[@]+"${bound_back[@]}"}; do
        excluded+=:$entry
    done
    excluded=${excluded#:}
}

# Fills enter with the command line that runs the words behind it inside the root.
#
# setpriv ends the command when the launcher is killed, as bubblewrap's --die-with-parent does.
# AddressSanitizer refuses to start behind another preloaded library unless told that it is meant.
fakechroot_enter() {
    local library excluded mount
    fakechroot_find_library
    [[ $library ]] || return 1
    fakechroot_excluded
    for mount in ${tmpfs[@]+"${tmpfs[@]}"}; do
        echo "device: fakechroot cannot mount ${mount%:*}; it stays a directory of the root" >&2
    done
    enter=(setpriv --pdeathsig KILL env
        "LD_PRELOAD=$library${LD_PRELOAD:+:$LD_PRELOAD}"
        "FAKECHROOT_BASE=$root" "FAKECHROOT_EXCLUDE_PATH=$excluded"
        "ASAN_OPTIONS=${ASAN_OPTIONS:+$ASAN_OPTIONS:}verify_asan_link_order=0")
}
