#!/usr/bin/env bash
# Installs the modules of package-lock.json into a folder, and compiles pkcs11js, unless this was done before. The registry is
# the one that npm is configured for. The headers are those of the system's Node, so that none are fetched.
#   install.sh FOLDER
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$1"
cd "$1"
if cmp -s "$here/package-lock.json" installed-lock.json; then
    exit 0
fi

rm -rf node_modules
cp "$here/package.json" "$here/package-lock.json" .
export npm_config_nodedir=/usr
npm ci --ignore-scripts --no-audit --no-fund
(cd node_modules/pkcs11js && npm run build)
cp package-lock.json installed-lock.json
