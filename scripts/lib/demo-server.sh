# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The demo's provisioning server: an authority of its own, nginx with HTTPS and Basic authentication, and
# the files that it serves. Sourced by scripts/demo.
#
# shellcheck disable=SC2034,SC2154 # scripts/demo and this file share their variables

# issue NAME SUBJECT AUTHORITY [OPENSSL ARGUMENTS...]: a key and a certificate from the authority.
issue() {
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -subj "$2" -keyout "$server/$1.key" \
        -out "$server/$1.csr" "${@:4}"
    openssl x509 -req -in "$server/$1.csr" -CA "$server/$3.pem" -CAkey "$server/$3.key" \
        -CAcreateserial -days 2 -extfile <(echo "subjectAltName=IP:127.0.0.1") -out "$server/$1.pem"
}

# An authority that the phone knows, for the server; one of a company, which it will be told about,
# for the client certificate.
make_certificates() {
    local name
    for name in demo-ca company-ca; do
        openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 \
            -subj "/CN=$name" -addext "keyUsage=critical,keyCertSign,cRLSign" \
            -keyout "$server/$name.key" -out "$server/$name.pem"
    done
    issue server /CN=127.0.0.1 demo-ca -nodes
    issue client "/CN=phone $mac" company-ca -passout "pass:$client_password"
    install -m 644 "$server/demo-ca.pem" "$root/etc/ssl/certs/"
} >>"$logs/openssl.log" 2>&1

# A port of the loopback interface on which nobody listens, below those that the system gives away.
free_port() {
    local candidate
    until candidate=$((20000 + RANDOM % 12000)) && ! (: <"/dev/tcp/127.0.0.1/$candidate") 2>/dev/null; do :; done
    echo "$candidate"
}

server_answers() { curl --silent --cacert "$server/demo-ca.pem" -o /dev/null "$1"; }

# Two servers in one nginx: with Basic authentication, and one that demands a client certificate.
start_server() {
    local port strict_port
    port=$(free_port) strict_port=$(free_port) www=$server/www strict=$server/strict
    phone_file=$www/7-2/${mac//:/-}.xml
    server_url=https://127.0.0.1:$port/%DVID/%MACD.xml
    tree_url=https://127.0.0.1:$port/tree/
    strict_url=https://127.0.0.1:$strict_port/%MACD.xml
    mkdir -p "$www" "$strict"
    printf '%s:%s\n' "${credentials%%:*}" "$(openssl passwd -apr1 "${credentials#*:}")" \
        >"$server/htpasswd"
    # Started by root, the workers would change to a user who may not enter here.
    cat >"$server/nginx.conf" <<END
$([[ $(id -u) -ne 0 ]] || echo "user root;")
daemon off;
worker_processes 1;
pid server/nginx.pid;
error_log stderr warn;
events {}
http {
    access_log log/access.log;
    client_body_temp_path server/tmp; proxy_temp_path server/tmp; fastcgi_temp_path server/tmp; uwsgi_temp_path server/tmp; scgi_temp_path server/tmp;
    ssl_certificate $server/server.pem;
    ssl_certificate_key $server/server.key;
    server {
        listen 127.0.0.1:$port ssl;
        auth_basic provisioning;
        auth_basic_user_file $server/htpasswd;
        root $www;
    }
    server {
        listen 127.0.0.1:$strict_port ssl;
        ssl_client_certificate $server/company-ca.pem;
        ssl_verify_client on;
        root $strict;
    }
}
END
    start nginx nginx -p "$demo" -e stderr -c "$server/nginx.conf"
    wait_for "the server" server_answers "https://127.0.0.1:$port/"
}

# serve FILE [KEYFILE]: what comes on the standard input, encrypted, as a file of the server.
serve() {
    mkdir -p "${1%/*}"
    openssl enc -aes-128-cbc -pbkdf2 -pass "file:${2:-$key_file}" -out "$1.new"
    mv "$1.new" "$1"
}

# A file of parameters; $1: the MAC address of the phone that it is for.
settings_file() {
    cat <<END
<nvm version="1.1" productID="hd7k" macAddress="$1">
  <settings>
    <param name="System.Language" value="de"/>
    <param name="System.General.DeviceName" value="Empfang"/>
    <param name="Time.Zone" value="Europe/Berlin"/>
    <param name="Display.Greeting" value="Müller &amp; Söhne"/>
    <param name="Audio.Sidetone"/>
    <param name="NET.VLAN.Id" value="100"/>
    <param name="SIP.Account.1.UserName" value="1001"/>
    <param name="SIP.Account.1.Password" value="secret-of-1001"/>
    <param name="SIP.Account.1.Registrar" value="sip.example.net"/>
    <param name="SIP.Account.1.Ringtone" value="/usr/share/sounds/Bell.wav"/>
    <param name="PhoneUI.Keys.FunctionKeys.1.Label" value="Reception"/>
    <param name="PhoneUI.Keys.FunctionKeys.2.Label" value="Workshop"/>
  </settings>
</nvm>
END
}

# A file with one parameter.
one_parameter() {
    printf '<nvm version="1.1"><param name="%s" value="%s"/></nvm>\n' "$1" "$2"
}

serve_tree() {
    local top=$www/tree phone=${mac//:/-}
    mkdir -p "$top/firmware" "$top/custom"
    serve "$top/provisioning.xml" <<END
<provisioning version="1.1" productID="hd7k">
  <category type="firmware" url="/firmware/%DVID.xml"/>
  <category type="nvm" url="/nvm/%MACD.xml"/>
  <category type="custom" url="/custom/%MACD.xml"/>
</provisioning>
END
    serve "$top/firmware/7-2.xml" <<<'<firmware version="1.1"><file version="1.5.0" url="/phone-1.5.0.bin"/></firmware>'
    head -c 3000000 /dev/urandom >"$top/firmware/phone-1.5.0.bin"
    serve "$top/nvm/$phone.xml" <<<'<nvm version="1.1"><file version="1" url="/site.xml"/></nvm>'
    one_parameter Company.Site Headquarters | serve "$top/nvm/site.xml"
    serve "$top/custom/$phone.xml" <<END
<custom version="1.1">
  <scenario>
    <step type="certificate" url="/company-ca.pem" flags="FORCE_ACCEPT"/>
    <step type="Clientcertificate" url="/client.pem"/>
    <step type="Clientkey" url="/client.key" password="$client_password"/>
    <step type="DownloadWallpaper" url="/wallpaper.png"/>
    <step type="LocalPhoneBook" url="/contacts.xml" renewPeriod="3600"/>
    <step type="UnlockAllFunctionKeys"/>
    <step type="Redirect" url="${tree_url}second/provisioning.xml"/>
  </scenario>
</custom>
END
    cp "$server"/{company-ca.pem,client.pem,client.key} "$top/custom/"
    head -c 20000 /dev/urandom >"$top/custom/wallpaper.png"
    echo '<contacts><contact name="Ada"/></contacts>' >"$top/custom/contacts.xml"
    one_parameter Company.Second 1 | serve "$top/second/provisioning.xml"
    one_parameter Company.Secret "for this phone" | serve "$strict/$phone.xml"
}

# What became of the tree on the phone.
show_tree() {
    local top=$www/tree
    expect "firmware: fetched" cmp -s "$top/firmware/phone-1.5.0.bin" \
        "$root/config/swupdate/phone-1.5.0.bin"
    expect "firmware: installed by the update service" has State.FirmwareUpdate.UpdateSystem success
    expect "parameters of the site" has Company.Site Headquarters
    expect "authority of the company: trusted" \
        grep -qs company-ca.pem "$root/data/certs/ca-bundle.pem"
    expect "client key: stored" test -s "$root/data/certs/client/user_key.pem"
    expect "wallpaper" cmp -s "$top/custom/wallpaper.png" "$root/data/images/wallpaper.png"
    expect "phone book: taken by the directory service" has State.LocalDirectoryUpdate.Verify success
    expect "function key 2: unlocked" has FunctionKeys.2.LockProvisioning 0
    expect "redirect: followed" has Company.Second 1
}
