# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# A whole provisioning tree: lists of files, firmware, parameters, certificates, wallpaper, phone book,
# function keys, redirect; and a server that only this phone can enter then. Sourced by scripts/demo.
#
# shellcheck disable=SC2034,SC2154 # scripts/demo and these files share their variables

client_password=client-$RANDOM$RANDOM$RANDOM
firmware_version=1.5.0

# The company's authority, which the phone does not know yet, the certificate of the strict server and
# the phone's own.
make_company_certificates() {
    local company=$server/company
    make_authority_and_server Company "$company-ca" "$company-server"
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -passout "pass:$client_password" \
        -subj "/O=Company/CN=phone ${mac}" -keyout "$company-client.key" -out "$company-client.csr"
    openssl x509 -req -in "$company-client.csr" -CA "$company-ca.pem" -CAkey "$company-ca.key" \
        -CAcreateserial -days 2 -out "$company-client.pem"
} >>"$logs/openssl.log" 2>&1

# The server block that asks for a client certificate. $1: its port.
strict_server() {
    cat <<END
    server {
        listen 127.0.0.1:$1 ssl;
        ssl_certificate "$server/company-server.pem";
        ssl_certificate_key "$server/company-server.key";
        ssl_client_certificate "$server/company-ca.pem";
        ssl_verify_client on;
        access_log "$logs/strict-access.log";
        root "$server/strict";
    }
END
}

tree_url() {
    printf 'https://127.0.0.1:%s/tree/' "$port"
}

strict_url() {
    printf 'https://127.0.0.1:%s/%%MACD.xml' "$((port + 1))"
}

# encrypted FILE: what comes on the standard input, encrypted for the phone.
encrypted() {
    mkdir -p "${1%/*}"
    cat >"$demo/plain.xml"
    encrypt "$(key_file)" "$demo/plain.xml" "$1"
}

serve_tree() {
    local tree_root=$server/www/tree phone=${mac//:/-} device=$major_id-$minor_id
    mkdir -p "$tree_root/firmware" "$tree_root/custom"
    encrypted "$tree_root/provisioning.xml" <<END
<provisioning version="1.1" productID="hd7k">
  <category type="firmware" url="/firmware/%DVID.xml"/>
  <category type="nvm" url="/nvm/%MACD.xml"/>
  <category type="custom" url="/custom/%MACD.xml"/>
</provisioning>
END
    encrypted "$tree_root/firmware/$device.xml" <<END
<firmware version="1.1">
  <file version="$firmware_version" url="/phone-$firmware_version.bin"/>
</firmware>
END
    head -c 3000000 /dev/urandom >"$tree_root/firmware/phone-$firmware_version.bin"
    encrypted "$tree_root/nvm/$phone.xml" <<END
<nvm version="1.1" macAddress="$mac">
  <file version="1" url="/company.xml"/>
  <file version="1" url="/site.xml"/>
</nvm>
END
    encrypted "$tree_root/nvm/company.xml" <<END
<nvm version="1.1"><settings><param name="Company.Name" value="Demo"/></settings></nvm>
END
    encrypted "$tree_root/nvm/site.xml" <<END
<settings version="1.1"><param name="Company.Site" value="Headquarters"/></settings>
END
    encrypted "$tree_root/custom/$phone.xml" <<END
<custom version="1.1">
  <scenario>
    <step type="certificate" url="/company-ca.pem" flags="FORCE_ACCEPT"/>
    <step type="Clientcertificate" url="/client.pem"/>
    <step type="Clientkey" url="/client.key" password="$client_password"/>
    <step type="DownloadWallpaper" url="/wallpaper.png"/>
    <step type="LocalPhoneBook" url="/contacts.xml" renewPeriod="3600"/>
    <step type="UnlockAllFunctionKeys"/>
    <step type="Redirect" url="$(tree_url)second/provisioning.xml"/>
  </scenario>
</custom>
END
    cp "$server/company-ca.pem" "$tree_root/custom/company-ca.pem"
    cp "$server/company-client.pem" "$tree_root/custom/client.pem"
    cp "$server/company-client.key" "$tree_root/custom/client.key"
    head -c 20000 /dev/urandom >"$tree_root/custom/wallpaper.png"
    printf '<contacts>\n  <contact name="Ada"/>\n  <contact name="Grace"/>\n</contacts>\n' \
        >"$tree_root/custom/contacts.xml"
    encrypted "$tree_root/second/provisioning.xml" <<END
<nvm version="1.1"><settings><param name="Company.Second" value="1"/></settings></nvm>
END
    encrypted "$server/strict/$phone.xml" <<END
<nvm version="1.1"><settings><param name="Company.Secret" value="for this phone"/></settings></nvm>
END
    say "served: $(find "$tree_root" -type f | wc -l) files below $(tree_url)"
}

# Targets that were fetched since a line of the access log, in order; refused ones are not counted.
fetched_since() {
    tail -n "+$(($1 + 1))" "$logs/access.log" | awk '$9 == 200 { print $7 }'
}

expected_order() {
    local phone=${mac//:/-} device=$major_id-$minor_id
    cat <<END
/tree/provisioning.xml
/tree/firmware/$device.xml
/tree/firmware/phone-$firmware_version.bin
/tree/nvm/$phone.xml
/tree/nvm/company.xml
/tree/nvm/site.xml
/tree/custom/$phone.xml
/tree/custom/company-ca.pem
/tree/custom/client.pem
/tree/custom/client.key
/tree/custom/wallpaper.png
/tree/custom/contacts.xml
/tree/second/provisioning.xml
END
}

# One line of the tree's outcome: what, where it is now, and how the phone took it.
outcome() {
    printf '   %-20s %-46s %s\n' "$@"
}

# same WHAT SERVED INSTALLED: the phone has what the server handed out.
same() {
    cmp -s "$server/www/tree/$2" "$root$3" || die "$1: $3 is not what was served"
}

mode_of() {
    stat -c %a "$root$1"
}

certificate_is_trusted() {
    [[ -e $root/etc/ssl/certs/company-ca.pem ]] &&
        grep -q company-ca.pem "$root/data/certs/ca-bundle.pem" &&
        has_value State.Security.Certificates.UpdateCABundle ""
}

show_tree_outcome() {
    local key
    same "firmware" "firmware/phone-$firmware_version.bin" \
        "/config/swupdate/phone-$firmware_version.bin"
    same "wallpaper" custom/wallpaper.png /data/images/wallpaper.png
    same "phone book" custom/contacts.xml /var/volatile/contacts/contacts.xml
    wait_for 5 "the update service" has_value State.FirmwareUpdate.UpdateSystem success
    wait_for 5 "the directory service" has_value State.LocalDirectoryUpdate.Verify success
    wait_for 5 "the company's certificate to be trusted" certificate_is_trusted
    for key in {0..7}; do
        has_value "FunctionKeys.$key.LockProvisioning" 0 || die "function key $key is locked"
    done
    outcome "firmware $firmware_version" "/config/swupdate/phone-$firmware_version.bin" \
        "update service: $(property State.FirmwareUpdate.Verify), installs"
    outcome "company parameters" "property store" \
        "$(property Company.Name), $(property Company.Site)"
    outcome "trusted certificate" "/etc/ssl/certs/company-ca.pem" "accepted, in the bundle"
    outcome "client certificate" "/data/certs/client/user_cert.pem" "mode $(mode_of /data/certs/client/user_cert.pem)"
    outcome "client key" "/data/certs/client/user_key.pem" \
        "mode $(mode_of /data/certs/client/user_key.pem), encrypted"
    outcome "wallpaper" "/data/images/wallpaper.png" "$(stat -c %s "$root/data/images/wallpaper.png") bytes"
    outcome "phone book" "/var/volatile/contacts/contacts.xml" \
        "directory service: $(property State.LocalDirectoryUpdate.Verify)"
    outcome "function keys 0 to 7" "property store" "unlocked"
    outcome "redirect" "second/provisioning.xml" "Company.Second = $(property Company.Second)"
    expect "the key and its password are for the owner only" \
        "$(mode_of /data/certs/client/user_key.pem) $(mode_of /data/certs/client/user_pass.txt)" \
        "600 600"
    expect "the redirect was followed" "$(property Company.Second)" 1
}

run_tree() {
    local mark
    step "A whole tree - firmware, files per phone, certificates, wallpaper, phone book, redirect"
    serve_tree
    "$bin/ovo-property" set --origin user FirmwareManagment.AutomaticCheckForUpdates 1 \
        >>"$logs/ovo-property.log"
    begin_run
    mark=$(wc -l <"$logs/access.log")
    "$bin/phone-simulator" trigger --url "$(tree_url)" | sed 's/^/   /'
    end_run success 200
    [[ $(fetched_since "$mark") == "$(expected_order)" ]] ||
        die "not fetched depth first:"$'\n'"$(fetched_since "$mark")"
    passed "the server's access log: $(expected_order | wc -l) files, depth first"
    show_tree_outcome

    step "A server of the company, which asks for the client certificate"
    begin_run
    "$bin/phone-simulator" trigger --url "$(strict_url)" | sed 's/^/   /'
    end_run success 200
    expect "behind the client certificate" "$(property Company.Secret)" "for this phone"
}
