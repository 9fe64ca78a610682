# Commands with a view of the file system that only they have, for tests that source this. Not every system lets its users,
# or the root of a container, have one.
# shellcheck shell=bash

# Runs a command as root of mounts of its own.
in_own_mounts() { # COMMAND...
    local as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(--map-root-user)
    unshare --mount ${as_root[@]+"${as_root[@]}"} "$@"
}

# Ends the test as one that could not be run, and says why, on a system without them; ctest knows the exit code.
require_own_mounts() {
    local reason
    if ! reason=$(in_own_mounts mount --bind /etc /etc 2>&1); then
        echo "SKIPPED: no mounts of its own for the test: $reason"
        exit 77
    fi
}

# The same for networks, of which it tries one.
require_own_networks() {
    local reason
    if ! reason=$(in_own_mounts unshare --net ip link set lo up 2>&1); then
        echo "SKIPPED: no network of its own for the test: $reason"
        exit 77
    fi
}
