# For the tests of clients that speak TLS, which source it after card.sh: certificates, a web server that wants a
# certificate of a client, and the configuration of OpenSSL.

# Servers stand where a user who is not root does not look for programs.
export PATH=$PATH:/usr/sbin:/sbin
unset SSL_CERT_FILE SSL_CERT_DIR CURL_CA_BUNDLE GIT_SSL_CAINFO

# The programs that a test starts in the background, by their ids, end with it.
started=()
end_started() {
    [ ${#started[@]} -eq 0 ] || kill "${started[@]}" 2>/dev/null || true
    started=()
}
# Ends the last of them, and waits until it has let go of its card.
end_last() { # [SIGNAL]
    kill "-${1:-TERM}" "${started[-1]}"
    wait "${started[-1]}" || true
    unset 'started[-1]'
}
trap 'end_started; rm -rf "$TAVRIK_HOME"' EXIT

# Ends the last of them, which has used OpenSSL's engine and whose card was out. libp11 0.4.13, of Debian 13, waits for a session of
# such a card for ever, and a signal does not end the wait.
engine_waits_for_ever() {
    dpkg --compare-versions "$(dpkg-query --show --showformat='${Version}' libengine-pkcs11-openssl)" ge 0.4.13
}
end_last_without_card() {
    if engine_waits_for_ever; then
        end_last KILL
    else
        end_last
    fi
}

# The file names are NAME.key and NAME.pem.
make_certificate() { # NAME SUBJECT [OPTION]...
    openssl req -x509 -newkey rsa:2048 -nodes -keyout "$1.key" -out "$1.pem" -days 1 -subj "$2" "${@:3}" 2>/dev/null
}

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# Makes nginx.conf, for a web server in one process on `localhost`, port $port, that serves the folder www. It writes a line
# for each request into seen.log: protocol, client, path.
make_nginx_configuration() { # LINE_OF_THE_SERVER...
    mkdir -p www
    port=$(free_port)
    cat >nginx.conf <<CONF
daemon off;
master_process off;
pid nginx.pid;
events {}
http {
    log_format seen '\$ssl_protocol \$ssl_client_s_dn \$request_uri';
    access_log seen.log seen;
    client_body_temp_path temp;
    proxy_temp_path temp;
    fastcgi_temp_path temp;
    uwsgi_temp_path temp;
    scgi_temp_path temp;
    server {
        listen 127.0.0.1:$port ssl;
        root www;
        $(printf '%s\n' "$@")
    }
}
CONF
}

start_nginx() {
    rm -f nginx.pid
    nginx -p "$PWD" -c nginx.conf -e server.log &
    started+=($!)
    await "" nginx.pid
}

# The card's owner has asked the web server for a path by TLS 1.2.
expect_requests() { # NUMBER PATTERN
    expect_number "$1" "$(grep -c "^TLSv1.2 .*Anna.* $2\$" seen.log)" "requests of $2 in $(cat seen.log)"
}

# Starts a web server that wants a certificate of a card, with TLS 1.2 and 1.3. Its own certificate, server.pem, is for an
# elliptic curve.
start_web_server() {
    make_certificate server /CN=localhost -newkey ec -pkeyopt ec_paramgen_curve:P-256 \
        -addext subjectAltName=DNS:localhost
    make_nginx_configuration "ssl_protocols TLSv1.2 TLSv1.3;" "ssl_certificate server.pem;" \
        "ssl_certificate_key server.key;" "ssl_client_certificate authority.pem;" "ssl_verify_client on;" \
        "ssl_verify_depth 2;"
    start_nginx
}

# Starts a web server that wants a certificate of a card, and shows it in its page. Its client trusts it by ca.pem. Sets
# `port`.
start_tls_server() {
    make_certificate ca "/CN=Authority of the server"
    make_certificate server /CN=localhost -CA ca.pem -CAkey ca.key \
        -addext subjectAltName=DNS:localhost -addext basicConstraints=CA:FALSE
    openssl s_server -key server.key -cert server.pem -accept 127.0.0.1:0 -CAfile authority.pem -Verify 2 \
        -verify_return_error -no_ticket -no_cache -www >server.log 2>&1 &
    started+=($!)
    port=$(port_of_server)
}

# Makes openssl-card.cnf, as the package brings it along.
make_openssl_card() {
    sed "s|@TAVRIK_MODULE@|$front|" "$here/../../tools/tavrik-setup/templates/openssl-card.cnf.in" >openssl-card.cnf
}
