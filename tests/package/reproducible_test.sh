#!/usr/bin/env bash
# reproducible_test.sh WORK_FOLDER [OPTION OF CMAKE FOR WINDOWS]...: builds the packages of the checked-out commit twice, in
# folders of different names and depth and without a compiler's cache, and compares them byte for byte: the Debian packages,
# the ZIP and the installer.
set -euo pipefail
mkdir -p "$1"
work=$(realpath "$1")
sources=$(git -C "$(dirname "$0")" rev-parse --show-toplevel)
commit=$(git -C "$sources" rev-parse HEAD)
export CCACHE_DISABLE=1
unset SOURCE_DATE_EPOCH

make_packages() { # FOLDER [OPTION]...
    rm -rf "$1"
    git clone --quiet "$sources" "$1"
    git -C "$1" checkout --quiet "$commit"
    (cd "$1" && cmake --preset package && cmake --build --preset package && (cd build/package && cpack) &&
        cmake --preset windows -DBUILD_TESTING=OFF "${@:2}" && cmake --build --preset windows && (cd build/windows && cpack)) \
        >"$work/build.log" 2>&1 || { tail -n 40 "$work/build.log" >&2; exit 1; }
}

names=(one "another/with a longer name")
for name in "${names[@]}"; do
    make_packages "$work/$name" "${@:2}"
    sleep 2 # for dates that are those of the build
done

status=0
count=0
cd "$work/${names[0]}/build"
for package in package/*.deb windows/tavrik-*.zip windows/tavrik-*.exe; do
    count=$((count + 1))
    cmp "$package" "$work/${names[1]}/build/$package" || status=1
done
if [ "$count" -ne 5 ]; then
    echo "reproducible: $count packages and not five" >&2
    exit 1
fi
[ "$status" -eq 0 ] && sha256sum package/*.deb windows/tavrik-*.zip windows/tavrik-*.exe
exit "$status"
