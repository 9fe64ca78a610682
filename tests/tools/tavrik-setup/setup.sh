# For the tests of tavrik-setup, which source it: a user's home and the root of a system, both of the test's own.
#   ..._test.sh TOOL FRONT [FURTHER...]
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/expect.sh"

tool=$1
front=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
home=$folder/home
root=$folder/root
mkdir -p "$home" "$root/usr/bin" "$root/etc"
export HOME=$home TAVRIK_HOME=$folder/tavrik
unset XDG_CONFIG_HOME XDG_STATE_HOME DISPLAY WAYLAND_DISPLAY GPG_TTY

# As if these were installed in the root.
install_programs() {
    for program in "$@"; do
        ln -s "$(command -v "$program" || echo /bin/true)" "$root/usr/bin/$program"
    done
}

setup() {
    "$tool" --module "$front" --root "$root" "$@"
}

# What a command answers, which must end with that code.
expect_exit() { # CODE COMMAND...
    local wanted=$1 code=0
    shift
    said=$("$@" 2>&1) || code=$?
    [ "$code" -eq "$wanted" ] || fail "'$*' ended with $code in place of $wanted: $said"
}

# Everything below the home and the root, but for the records: names, modes, owners, links and contents.
all_files() {
    (cd "$folder" && find home root -path '*/tavrik/setup.json' -prune -o -path home/.local -prune -o -path root/var -prune -o \
        -printf '%p %M %U %l ' -a \( -type f -exec sha256sum {} \; -o -printf '\n' \) | sort)
}
