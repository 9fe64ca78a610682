# For the scripts that make something for 64-bit Windows, which Debian has no package of, out of a source package of
# Debian's, with Debian's MinGW-w64. Such a script has one argument, the output folder; it sources this file and sets
#   title    what its messages begin with
#   made     the paths below the output folder that are there in the end
# defines make_it, which finds the unpacked sources in $source, a folder that is removed behind it, and calls make_once.
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
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

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

# One deb-src line for each place that the machine gets this release's packages from.
write_sources() {
    local codename
    codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    apt-get indextargets --format "\$(RELEASE) \$(COMPONENT) \$(REPO_URI)" 'Created-By: Packages' |
        awk -v codename="$codename" -v keyring="$keyring" '
            ($1 == codename || $1 == codename "-updates" || $1 == codename "-security") && $2 == "main" {
                print "deb-src [signed-by=" keyring "] " $3 " " $1 " main"
            }' | sort -u >"$work/sources.list"
    [ -s "$work/sources.list" ] || { echo "apt has no source of Debian's packages of $codename"; return 1; }
}

# The list of sources is signed and has the checksums of the package's files; apt-get checks both. The signature of the
# package's uploader adds nothing to that, and its key need not be installed.
fetch() { # SOURCE_PACKAGE VERSION
    write_sources && mkdir -p "$work/lists/partial" "$work/cache/archives/partial" &&
        apt-get "${apt_options[@]}" update &&
        (cd "$work" && apt-get "${apt_options[@]}" --download-only source "$1=$2")
}

unpack() { # SOURCE_PACKAGE
    dpkg-source --no-check --extract "$work/$1"_*.dsc "$source"
}

# What was made of the same version by the same script stays as it is. The version is that of an installed package of the
# same sources, so that both systems get the same.
make_once() { # SOURCE_PACKAGE INSTALLED_PACKAGE
    local version identity
    version=$(dpkg-query --show --showformat='${source:Version}' "$2")
    identity="$1 $version, scripts $(cat "$0" "${BASH_SOURCE[0]}" | sha256sum | cut -d ' ' -f 1)"
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
    step "getting Debian's sources of $version" fetch "$1" "$version"
    step "unpacking them" unpack "$1"
    make_it
    rm -rf "$work"
    echo "$identity" >"$stamp"
    is_complete "$identity"
}
