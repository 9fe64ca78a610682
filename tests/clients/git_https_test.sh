#!/usr/bin/env bash
# git over https, which uses GnuTLS by libcurl, finds the card by p11-kit and clones from a web server that wants a
# certificate and also speaks TLS 1.3. For that, it needs the configuration of GnuTLS that the package brings along.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "$0")/card.sh"
require_own_mounts
# shellcheck source-path=SCRIPTDIR
. "$here/tls.sh"
start_web_server
git init -q --bare www/repository.git
git init -q -b main work
cp document work
git -C work add document
git -C work -c user.name=Anna -c user.email=anna@example.org commit -qm "a document"
git -C work push -q "$PWD/www/repository.git" main
git -C www/repository.git symbolic-ref HEAD refs/heads/main
git -C www/repository.git update-server-info

card="pkcs11:token=Sig_EP;id=Sig_EP_0"
git config --global http.sslCert "$card"
git config --global http.sslKey "$card"
git config --global http.sslCAInfo "$PWD/server.pem"
export GNUTLS_SYSTEM_PRIORITY_FILE=$here/../../tools/tavrik-setup/templates/gnutls-card.conf
clone() { # FOLDER
    with_p11_kit timeout 60 git clone -q "https://localhost:$port/repository.git" "$1" 2>git.log || { cat git.log; return 1; }
}

echo "clones after one code, and pulls after another"
type_codes 123456
clone cloned
cmp document cloned/document
grep -q "^TLSv1.2 .*Anna.* /repository.git/info/refs" seen.log
echo "and twelve" >>work/document
git -C work -c user.name=Anna -c user.email=anna@example.org commit -qam "another one"
git -C work push -q "$PWD/www/repository.git" main
git -C www/repository.git update-server-info
type_codes 123456
with_p11_kit timeout 60 git -C cloned pull -q
cmp work/document cloned/document

echo "clones nothing when the code is cancelled or wrong, or the card is away"
type_codes CANCEL
! clone refused || exit 1
expect "error reading X.509 key" <git.log
type_codes 111111
! clone refused || exit 1
"$card_tool" remove anna >/dev/null
! clone refused || exit 1
"$card_tool" insert anna >/dev/null
type_codes 123456
clone back
cmp work/document back/document
