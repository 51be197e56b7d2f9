# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# A phone for scripts: a scratch directory, a broker, a web server and what else is started, all of which
# goes with the script. Sourced after setup.sh.
#
# shellcheck disable=SC2034 # the scripts and this file share their variables

declare -A pids=()

# make_phone NAME: the scratch directory $scratch, and in it the phone's root $root, the files of the web
# server $www, and a log for each program. The environment says where the phone is.
make_phone() {
    scratch=$(mktemp -d "${TMPDIR:-/tmp}/ovo-$1-XXXXXX")
    trap remove_phone EXIT
    trap 'exit 1' HUP INT PIPE TERM
    root=$scratch/phone www=$scratch/www socket=$scratch/phone/run/halden/bus.sock
    mkdir -p "$root"/{data,etc/ovo.d,etc/ssl/certs,run/halden,var/volatile} "$www"
    (umask 077 && openssl rand -hex 16 >"$root/etc/ovo.d/key")
    export HALDEN_ROOT=$root
    unset HALDEN_BUS HALDEN_LOG JOURNAL_STREAM NOTIFY_SOCKET WATCHDOG_USEC
}

remove_phone() {
    local status=$? name
    set +e
    trap '' HUP INT PIPE TERM
    # The daemon ends before the parts that it uses.
    for name in daemon neighbours nginx mosquitto; do
        [[ -z ${pids[$name]:-} ]] || { kill "${pids[$name]}" && wait "${pids[$name]}"; } 2>/dev/null
    done
    if ((status != 0)); then
        tail -n 20 "$scratch"/*.log >&2
    fi
    rm -rf -- "$scratch"
}

# start NAME COMMAND...: in the background, its output in NAME.log.
start() {
    local name=$1
    shift
    "$@" >"$scratch/$name.log" 2>&1 </dev/null &
    pids[$name]=$!
}

# stop NAME: ends it; its exit status.
stop() {
    local pid=${pids[$1]} status=0
    unset "pids[$1]"
    kill "$pid"
    wait "$pid" || status=$?
    return "$status"
}

# wait_for WHAT COMMAND...: until the command succeeds, for at most a minute.
wait_for() {
    local what=$1 name deadline=$((SECONDS + 60))
    shift
    until "$@"; do
        for name in "${!pids[@]}"; do
            kill -0 "${pids[$name]}" 2>/dev/null || { echo "$name ended unexpectedly" >&2; return 1; }
        done
        ((SECONDS < deadline)) || { echo "waited in vain for $what" >&2; return 1; }
        sleep 0.1
    done
}

start_broker() {
    # Started by root, the broker would change to a user who may not enter this directory.
    printf 'listener 0 %s\nallow_anonymous true\npersistence false\n%s\n' "$socket" \
        "$([[ $(id -u) -ne 0 ]] || echo 'user root')" >"$scratch/mosquitto.conf"
    start mosquitto mosquitto -c "$scratch/mosquitto.conf"
    wait_for "the broker" test -S "$socket"
}

# Serves $www at $url.
start_web_server() {
    local port
    until port=$((20000 + RANDOM % 12000)) && ! (: <"/dev/tcp/127.0.0.1/$port") 2>/dev/null; do :; done
    url=http://127.0.0.1:$port
    cat >"$scratch/nginx.conf" <<END
$([[ $(id -u) -ne 0 ]] || echo "user root;")
daemon off;
worker_processes 1;
pid $scratch/nginx.pid;
error_log stderr warn;
events {}
http {
    access_log $scratch/access.log;
    client_body_temp_path tmp; proxy_temp_path tmp; fastcgi_temp_path tmp; uwsgi_temp_path tmp; scgi_temp_path tmp;
    server { listen 127.0.0.1:$port; root $www; }
}
END
    start nginx nginx -p "$scratch" -e stderr -c "$scratch/nginx.conf"
    wait_for "the web server" curl --silent -o /dev/null "$url/"
}

# start_neighbours PROGRAM: the phone's simulated services.
start_neighbours() {
    start neighbours "$1" run
    wait_for "the neighbours" grep -qs 'neighbours:' "$scratch/neighbours.log"
}
