# For the scripts that make something for 64-bit Windows, which Debian has no package of, out of source packages of
# Debian's, with Debian's MinGW-w64. Such a script has one argument, the output folder; it sources this file and sets
#   title    what its messages begin with
#   made     the paths below the output folder that are there in the end
# defines make_it, which finds the unpacked sources in $source, a folder that is removed behind it, and calls
# make_once_from_tarball or make_once_from_release.
# shellcheck shell=bash
# shellcheck disable=SC2154 # title and made are the script's

if [ $# -ne 1 ]; then
    echo "Usage: .ci/$(basename "$0") OUTPUT_DIR" >&2
    exit 2
fi
mkdir -p "$1"
output=$(realpath "$1")
work=$output/work
source=$work/source
log=$output/build.log
stamp=$output/made-of

# shellcheck disable=SC2034 # the scripts use it
triplet=x86_64-w64-mingw32
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/debian-sources.sh"

# The private configuration of apt: the machine's own is only read.
apt_options=(
    -o "Dir::Etc::SourceList=$work/sources.list"
    -o "Dir::Etc::SourceParts=/dev/null"
    -o "Dir::State::Lists=$work/lists"
    -o "Dir::Cache=$work/cache"
    -o "APT::Sandbox::User=$(id -un)")

is_complete() { # IDENTITY
    [ "$(cat "$stamp" 2>/dev/null)" = "$1" ] || return 1
    local path
    for path in "${made[@]}"; do
        [ -e "$output/$path" ] || return 1
    done
}

# Runs a step with its output in the log, which is shown when the step fails.
step() { # TEXT COMMAND...
    echo "$title: $1"
    if ! "${@:2}" >>"$log" 2>&1; then
        tail -n 60 "$log" >&2
        echo "$title: failed; the whole log is $log" >&2
        return 1
    fi
}

# The list of sources is signed and has the checksums of the packages' files; apt-get checks both. The signature of a
# package's uploader adds nothing to that, and its key need not be installed.
fetch() { # CODENAME SOURCE_PACKAGE... [OPTION]...
    debian_sources deb-src "$1" >"$work/sources.list" && mkdir -p "$work/lists/partial" "$work/cache/archives/partial" &&
        apt-get "${apt_options[@]}" update &&
        (cd "$work" && apt-get "${apt_options[@]}" --download-only source "${@:2}")
}

unpack_tarballs() { # SOURCE_PACKAGE...
    local package
    for package in "$@"; do
        mkdir -p "$source/$package" &&
            tar --extract --file "$work/$package"_*.orig.tar.* --directory "$source/$package" --strip-components=1 || return 1
    done
}

# What was made of the same by the same script stays as it is.
make_unless_made() { # OF_WHAT COMMAND... that gets the sources
    local identity
    identity="$1, scripts $(cat "$0" "${BASH_SOURCE[0]}" | sha256sum | cut -d ' ' -f 1)"
    if is_complete "$identity"; then
        return
    fi

    # Who comes while another one makes it waits for that one.
    exec 9>"$output/lock"
    flock 9
    if is_complete "$identity"; then
        return
    fi
    rm -rf "$stamp" "$log" "$work" "${made[@]/#/$output/}"
    mkdir -p "$work"
    "${@:2}"
    make_it
    rm -rf "$work"
    echo "$identity" >"$stamp"
    is_complete "$identity"
}

get_tarball() { # SOURCE_PACKAGE VERSION
    step "getting the sources of Debian's $1 $2" fetch "$(codename_of_machine)" "$1=$2" --tar-only
    step "unpacking them" unpack_tarballs "$1"
    source=$source/$1
}

get_tarballs() { # CODENAME SOURCE_PACKAGE...
    step "getting the sources of Debian's $1" fetch "$@" --tar-only
    step "unpacking them" unpack_tarballs "${@:2}"
}

# With the version of an installed package of the same sources, so that both systems get the same: as its authors have
# published it, without Debian's changes, which not every mirror keeps for an older revision.
make_once_from_tarball() { # SOURCE_PACKAGE INSTALLED_PACKAGE
    local version
    version=$(dpkg-query --show --showformat='${source:Version}' "$2")
    make_unless_made "$1 $version, as published" get_tarball "$1" "$version"
}

# With what another release of Debian has, as its authors have published it, in a folder of each package's name.
make_once_from_release() { # CODENAME SOURCE_PACKAGE...
    make_unless_made "$*" get_tarballs "$@"
}
