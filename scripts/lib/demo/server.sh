# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The provisioning server: a CA of its own, nginx with HTTPS and Basic authentication, encrypted
# files. Sourced by scripts/demo.
#
# shellcheck disable=SC2034,SC2154 # scripts/demo and these files share their variables

# An authority and the certificate of a server on this machine. $1: name of the organisation; $2, $3:
# where the authority's and the server's .key and .pem go, without the suffix.
make_authority_and_server() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 \
        -subj "/O=$1/CN=$1 CA" -addext "keyUsage=critical,keyCertSign,cRLSign" \
        -keyout "$2.key" -out "$2.pem"
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes \
        -subj "/O=$1/CN=127.0.0.1" -keyout "$3.key" -out "$3.csr"
    openssl x509 -req -in "$3.csr" -CA "$2.pem" -CAkey "$2.key" -CAcreateserial -days 2 \
        -extfile <(echo "subjectAltName=IP:127.0.0.1") -out "$3.pem"
}

make_certificates() {
    make_authority_and_server Demo "$server/ca" "$server/server"
} >>"$logs/openssl.log" 2>&1

write_server_configuration() {
    local www=$server/www
    mkdir -p "$www/$major_id-$minor_id" "$server/strict" "$server/tmp"
    printf '%s:%s\n' "$factory_user" "$(openssl passwd -apr1 "$factory_password")" \
        >"$server/htpasswd"
    # Started by root, the web server's workers would change to a user who may not enter here.
    if [[ $(id -u) -eq 0 ]]; then
        echo "user root;"
    fi >"$server/nginx.conf"
    cat >>"$server/nginx.conf" <<END
daemon off;
worker_processes 1;
pid "$server/nginx.pid";
error_log stderr warn;
events {
}
http {
    access_log "$logs/access.log";
    client_body_temp_path "$server/tmp";
    proxy_temp_path "$server/tmp";
    fastcgi_temp_path "$server/tmp";
    uwsgi_temp_path "$server/tmp";
    scgi_temp_path "$server/tmp";
    default_type application/octet-stream;
    server {
        listen 127.0.0.1:$1 ssl;
        ssl_certificate "$server/server.pem";
        ssl_certificate_key "$server/server.key";
        auth_basic "provisioning";
        auth_basic_user_file "$server/htpasswd";
        root "$www";
    }
$(strict_server "$(($1 + 1))")
}
END
}

# What the server answers to somebody without credentials; 000 when it does not.
server_answer() {
    curl --silent --cacert "$server/ca.pem" --max-time 5 -o "$server/tmp/answer" \
        -w '%{http_code}' "https://127.0.0.1:$1/" || true
}

server_is_up_or_gone() {
    ! kill -0 "${pids[nginx]}" 2>/dev/null || [[ $(server_answer "$1") == 401 ]]
}

# Starts nginx on a free port of the loopback interface, which it leaves in $port.
start_server() {
    local attempt
    for attempt in {1..20}; do
        # Below the range from which the system itself takes ports.
        port=$((20000 + (RANDOM % 12000)))
        write_server_configuration "$port"
        start nginx nginx -p "$server" -e stderr -c "$server/nginx.conf"
        for _ in {1..200}; do
            if server_is_up_or_gone "$port"; then
                break
            fi
            sleep 0.05
        done
        if kill -0 "${pids[nginx]}" 2>/dev/null; then
            return 0
        fi
        stop nginx
        grep -q "Address already in use" "$logs/nginx.log" || break
        : >"$logs/nginx.log"
    done
    die "nginx does not start (attempt $attempt): $(tail -n 3 "$logs/nginx.log")"
}

# encrypt KEYFILE PLAIN TARGET: the way every provisioning file is encrypted.
encrypt() {
    openssl enc -aes-128-cbc -pbkdf2 -pass "file:$1" -in "$2" -out "$3"
}

# The file that the server hands out for the phone's URL.
served_file() {
    printf '%s' "$server/www/$major_id-$minor_id/${mac//:/-}.xml"
}

# Encrypts a provisioning file and hands it out from now on.
serve() {
    encrypt "$(key_file)" "$1" "$(served_file).new"
    mv "$(served_file).new" "$(served_file)"
}

server_url() {
    printf 'https://127.0.0.1:%s/%%DVID/%%MACD.xml' "$port"
}
