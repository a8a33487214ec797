# How linux/root/run enters a root with bubblewrap: a private mount namespace, everything else shared.
# shellcheck shell=bash
# shellcheck disable=SC2034,SC2154 # all of them belong to linux/root/run

# Fills host_mounts with the arguments that show every entry of the host's / that the root does
# not replace. They are bound one by one onto a fresh /: binding "/" as a whole would need
# mount points such as /data on the host, and make them there when run as root.
bubblewrap_host_mounts() {
    local entry links=() targets=() i
    host_mounts=()
    shopt -s dotglob nullglob
    for entry in /*; do
        case $entry in
            /data | /vendor | /mnt | /sys | /dev) ;;
            *) if [[ -L $entry ]]; then
                links+=("$entry")
            else
                host_mounts+=(--bind "$entry" "$entry")
            fi ;;
        esac
    done
    shopt -u dotglob nullglob
    if ((${#links[@]})); then
        readlink -z -- "${links[@]}" >"/proc/self/fd/$ready"
        mapfile -n "${#links[@]}" -d '' -t -u "$ready" targets
    fi
    for i in "${!targets[@]}"; do
        host_mounts+=(--symlink "${targets[i]}" "${links[i]}")
    done
}

# Fills enter with the command line that runs the words behind it inside the root.
#
# The root directory itself is made read-only last, so that a path that lost its prefix fails as it would on
# a device. /dev/shm stays the host's: shared memory and folders there are the same on both sides.
bubblewrap_enter() {
    local name mount host_mounts
    type -P bwrap >/dev/null || return
    bubblewrap_host_mounts
    enter=(bwrap --die-with-parent --cap-drop ALL "${host_mounts[@]}")
    for name in data vendor mnt sys; do
        enter+=(--bind "$root/$name" "/$name")
    done
    enter+=(--dev /dev --bind-try /dev/shm /dev/shm
        --bind "$root/dev/socket" /dev/socket --bind "$root/dev/__properties__" /dev/__properties__)
    for name in ${bound_back[@]+"${bound_back[@]}"}; do
        enter+=(--bind "$name" "$name")
    done
    for mount in ${tmpfs[@]+"${tmpfs[@]}"}; do
        enter+=(--size "${mount##*:}" --tmpfs "${mount%:*}")
    done
    enter+=(--remount-ro / --chdir "$cwd" --)
}
