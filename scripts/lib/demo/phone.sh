# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The phone: its root directory, its bus, its neighbours, the daemon. Sourced by scripts/demo.
#
# shellcheck disable=SC2034,SC2154 # scripts/demo and these files share their variables

# The file that the daemon reads its decryption key from, below the root.
key_file() {
    printf '%s' "$root/etc/ovo.d/key"
}

# Makes the phone's root directory. $1: key file to take over; empty: a key of its own.
make_root() {
    mkdir -p "$root"/{data,etc/ovo.d,etc/ssl/certs,run/halden,var/volatile}
    if [[ -n $1 ]]; then
        install -m 600 "$1" "$(key_file)"
    else
        (umask 077 && openssl rand -hex 16 >"$(key_file)")
    fi
    cat >"$root/etc/phoneconfig.json" <<END
{
    "networking.provisioning.MajorId": "$major_id",
    "networking.provisioning.MinorId": "$minor_id",
    "ui.security.CredentialRequestTimeout": "10"
}
END
    echo "1.4.0.17" >"$root/etc/firmware-version"
}

start_broker() {
    local configuration=$demo/mosquitto.conf
    printf 'listener 0 %s\nallow_anonymous true\npersistence false\n' "$bus_socket" \
        >"$configuration"
    # Started by root, the broker would change to a user who may not enter this directory.
    [[ $(id -u) -ne 0 ]] || echo "user root" >>"$configuration"
    start mosquitto mosquitto -c "$configuration"
    wait_for 10 "the broker's socket" test -S "$bus_socket"
    # A stock client notes everything that goes over the bus.
    start witness mosquitto_sub --unix "$bus_socket" -t '#' -F '%t %p'
}

start_simulator() {
    start simulator "$bin/phone-simulator" run
    follow simulator
    wait_for 10 "the simulator" grep -q 'neighbours:' "$logs/simulator.log"
}

start_daemon() {
    start ovo "$bin/ovo"
    follow ovo
}

# property KEY: its value, read with the stock shell; empty when it does not exist.
property() {
    sqlite3 -cmd '.timeout 10000' "$store" "SELECT value FROM property WHERE key = '$1'"
}

has_value() {
    [[ $(property "$1") == "$2" ]]
}

# Everything that outlives the boot, in one text.
lasting_properties() {
    sqlite3 -cmd '.timeout 10000' -separator $'\x1f' "$store" \
        "SELECT key, value, origin FROM property WHERE substr(key, 1, 6) <> 'State.' ORDER BY key"
}

# A copy of the store as it is now. $1: the copy.
copy_store() {
    rm -f "$1"
    sqlite3 -cmd '.timeout 10000' "$store" "VACUUM INTO '${1//\'/\'\'}'"
}

run_ended() {
    in_log "Provisioning succeeded. Status: " || in_log "Provisioning failed. "
}

# The witness's lines with a message to the SIP client, since begin_run.
status_messages() {
    tail -n "+$((bus_mark + 1))" "$logs/witness.log" | grep '^prov-client/sip-client ' || true
}

# How many of them say that provisioning is in progress ($1: true or false).
status_count() {
    status_messages | grep -cE "\"provInProgress\" ?: ?$1" || true
}

status_is_published() {
    [[ $(status_count true) -ge 1 && $(status_count false) -ge 1 ]]
}

# To be called before what triggers a run. Clears the outcome of the one before, so that it cannot be
# taken for the new one.
begin_run() {
    "$bin/ovo-property" set State.Provisioning "" State.Provisioning.HttpErrorCode "" \
        >>"$logs/ovo-property.log"
    begin_log
    copy_store "$demo/before.db"
    bus_mark=$(wc -l <"$logs/witness.log")
}

# Waits for the end of a run and checks what every run must leave behind.
# $1: the status word expected; $2: the HTTP status expected.
end_run() {
    wait_for 30 "the end of the run" run_ended
    wait_for 5 "the bus messages about the run" status_is_published
    copy_store "$demo/after.db"
    expect "State.Provisioning" "$(property State.Provisioning)" "$1"
    expect "State.Provisioning.InProgress" "$(property State.Provisioning.InProgress)" 0
    expect "State.Provisioning.HttpErrorCode" "$(property State.Provisioning.HttpErrorCode)" "$2"
    expect "provInProgress on the bus" \
        "$(status_messages | sed -n 's/.*"provInProgress" \{0,1\}: \{0,1\}\([a-z]*\).*/\1/p' |
            paste -sd ' ')" "true false"
}
