# Where this machine gets Debian's packages from, for scripts that take some of another release; they source this file.
# shellcheck shell=bash

keyring=/usr/share/keyrings/debian-archive-keyring.gpg

codename_of_machine() {
    sed -n 's/^VERSION_CODENAME=//p' /etc/os-release
}

# One line of a sources.list for each place that the machine gets its own release's packages from, with the named release.
debian_sources() { # deb | deb-src CODENAME
    local own
    own=$(codename_of_machine)
    apt-get indextargets --format "\$(RELEASE) \$(COMPONENT) \$(REPO_URI)" 'Created-By: Packages' |
        awk -v type="$1" -v own="$own" -v wanted="$2" -v keyring="$keyring" '
            ($1 == own || $1 == own "-updates" || $1 == own "-security") && $2 == "main" {
                print type " [signed-by=" keyring "] " $3 " " wanted substr($1, length(own) + 1) " main"
            }' | sort -u | { grep . || { echo "apt has no source of Debian's packages of $own" >&2; false; }; }
}
