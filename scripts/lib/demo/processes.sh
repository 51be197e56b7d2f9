# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# The demo's processes and what they write. Sourced by scripts/demo.
#
# shellcheck disable=SC2034,SC2154 # scripts/demo and these files share their variables

declare -A pids=()     # name of a process -> its id
declare -A log_files=() # name -> open file descriptor of the log that is shown
declare -A partial=()  # name -> beginning of a log line whose end was not written yet
run_log=''             # the daemon's log since begin_log

# start NAME COMMAND...: in the background, its output in $logs/NAME.log.
start() {
    local name=$1
    shift
    : >>"$logs/$name.log" # there before the process, for those who follow it
    "$@" >>"$logs/$name.log" 2>&1 </dev/null &
    pids[$name]=$!
    printf '%s\n' "${pids[@]}" >"$demo/pids"
}

# Shows what a process writes from now on, as it comes.
follow() {
    local descriptor
    exec {descriptor}<"$logs/$1.log"
    log_files[$1]=$descriptor
    partial[$1]=''
}

# Ends a process in order and waits for it.
stop() {
    local pid=${pids[$1]:-}
    [[ -n $pid ]] || return 0
    unset "pids[$1]"
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
}

stop_all() {
    local name
    for name in ovo simulator witness nginx mosquitto; do
        stop "$name"
    done
    rm -f "$demo/pids"
}

# Shows the lines that the followed processes have written since the last time, in the order of
# their times: UTC, as all of them are told to take it. The date of the daemon's lines is left out.
show_new_lines() {
    local name line lines=()
    for name in "${!log_files[@]}"; do
        while IFS= read -r -u "${log_files[$name]}" line; do
            line=${partial[$name]}$line
            partial[$name]=''
            if [[ $name == ovo ]]; then
                run_log+=$line$'\n'
                line=${line#*T}
            fi
            lines+=("${line:0:12}$name|$line")
        done
        partial[$name]+=$line
    done
    ((${#lines[@]} > 0)) || return 0
    while IFS='|' read -r name line; do
        show_line "${name:12}" "$line"
    done < <(printf '%s\n' "${lines[@]}" | sort -s -k 1.1,1.12)
}

# Forgets the daemon's log so far.
begin_log() {
    show_new_lines
    run_log=''
}

in_log() {
    [[ $run_log == *"$1"* ]]
}

# Nobody whom the demo started may end by itself.
check_processes() {
    local name
    for name in "${!pids[@]}"; do
        kill -0 "${pids[$name]}" 2>/dev/null ||
            die "$name has ended unexpectedly: $(tail -n 3 "$logs/$name.log")"
    done
}

# wait_for SECONDS WHAT COMMAND...: until the command succeeds, showing what happens meanwhile.
wait_for() {
    local deadline=$((SECONDS + $1)) what=$2
    shift 2
    while ! "$@"; do
        show_new_lines
        check_processes
        ((SECONDS < deadline)) || die "waited in vain for $what"
        sleep 0.05
    done
    show_new_lines
}
