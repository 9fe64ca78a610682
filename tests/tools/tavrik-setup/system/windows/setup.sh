# For the tests of tavrik-setup.exe, which source it: a Windows of the test's own, with its registry and its folders.
#   ..._test.sh RUN-UNDER-WINE TOOL FRONT [FURTHER...]
set -euo pipefail
# shellcheck source=../../expect.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../expect.sh"

run=$1
tool=$2
front=$3
folder=$(mktemp -d)
export WINEPREFIX=$folder/wine
unset TAVRIK_HOME TAVRIK_PINENTRY
# shellcheck disable=SC2317 # called by the trap
end() {
    /usr/lib/wine/wineserver64 -k >/dev/null 2>&1 || true # that of the test's own Windows
    /usr/lib/wine/wineserver64 -w >/dev/null 2>&1 || true
    rm -rf "$folder"
}
trap end EXIT
cd "$folder"

# What a Windows program answers, which must end with that code.
expect_exit() { # CODE PROGRAM...
    local wanted=$1 code=0
    shift
    said=$("$run" "$@" 2>&1 </dev/null) || code=$?
    said=${said//$'\r'/}
    [ "$code" -eq "$wanted" ] || fail "'$*' ended with $code in place of $wanted: $said"
}

# A path of this machine as Windows has it.
as_windows() { # PATH
    local path=Z:$1
    echo "${path//\//\\}"
}

registry() { # ARGUMENTS OF reg
    "$run" reg "$@" /f >/dev/null 2>&1 </dev/null || fail "reg $*"
}

# A key with all that is in it; nothing when it is not there.
key() { # KEY
    local content
    content=$("$run" reg query "$1" /s 2>/dev/null </dev/null) || return 0
    echo "${content//$'\r'/}"
}

key_has() { # KEY TEXT
    [[ $(key "$1") == *"$2"* ]]
}

"$run" cmd /c exit >/dev/null 2>&1 </dev/null || fail "there is no Windows to test in"
drive=$WINEPREFIX/drive_c
local_data=$(echo "$drive"/users/*/AppData/Local)
[ -d "$local_data" ] || fail "the user has no folder for data: $local_data"
