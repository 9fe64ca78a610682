#!/usr/bin/env bash
# The run paths of all libraries and programs of the build: no part of them is empty or counts from the current folder, and
# the libraries that are delivered look beside themselves alone.
#   run_paths_test.sh LIBRARY_FOLDER PROGRAM_FOLDER
set -euo pipefail

failed=0
files=0
while read -r file; do
    path=$(readelf --dynamic "$file" 2>/dev/null | sed -n 's/.*(RU\?N\?PATH).*\[\(.*\)\]$/\1/p')
    case $file in
    */libpkcs11_x64.so | */tavrik-pkcs11.so) wanted=1 ;;
    *) wanted=0 ;;
    esac
    if [ $wanted = 1 ] && [ "$path" != "\$ORIGIN" ]; then
        echo "$file has the run path '$path'"
        failed=1
    fi
    if [[ -n $path && ! $path: =~ ^(([$]ORIGIN|/)[^:]*:)+$ ]]; then
        echo "$file has a part in its run path that counts from the current folder: '$path'"
        failed=1
    fi
    files=$((files + 1))
done < <(find "$1" "$2" -type f ! -name '*.a')
[ $files -gt 10 ] || { echo "only $files files"; exit 1; }
exit $failed
