# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# What became of the parameters of a run. Sourced by scripts/demo.
#
# Nothing here knows what should happen: the parameters come from the file, what became of them from
# two copies of the store, before and after, and the reasons from the daemon's log and, where the
# daemon drops a parameter without a word, from its rules.
#
# shellcheck disable=SC2034,SC2154 # scripts/demo and these files share their variables

# The parameters of a provisioning file as parameters.awk writes them.
file_parameters() {
    awk -f "$scripts/lib/demo/parameters.awk" "$1"
}

# make_report FILE: puts what became of each parameter into the table "outcome" of $demo/report.db,
# from $demo/before.db, $demo/after.db and the daemon's log of the run.
make_report() {
    local report=$demo/report.db
    rm -f "$report"
    file_parameters "$1" >"$demo/asked"
    printf '%s' "$run_log" >"$demo/run.log"
    (cd "$demo" && sqlite3 -bail report.db <"$scripts/lib/demo/report.sql")
}

# Prints the table. $1: "all", or "new" to leave out what the phone had before.
show_report() {
    local condition=1
    [[ $1 == all ]] || condition="outcome <> 'unchanged'"
    sqlite3 "$demo/report.db" ".mode box --wrap 44" "
        SELECT n AS '#', name AS parameter,
            CASE WHEN instr(lower(name), 'password') AND asked <> '' THEN '***' ELSE asked END
                AS 'asked for',
            outcome,
            CASE WHEN outcome <> 'refused' AND stored <> asked THEN stored ELSE '' END AS 'stored as',
            why
        FROM outcome WHERE $condition ORDER BY n"
    sqlite3 "$demo/report.db" "
        SELECT '   ' || count(*) || ' asked for: ' || sum(outcome = 'applied') || ' applied, ' ||
            sum(outcome = 'unchanged') || ' there already, ' ||
            sum(outcome NOT IN ('applied', 'unchanged')) || ' refused'
        FROM outcome"
}

# Three numbers: parameters asked for, attempted to write, newly applied.
report_counts() {
    sqlite3 -separator ' ' "$demo/report.db" "
        SELECT count(*), sum(outcome IN ('applied', 'unchanged')), sum(outcome = 'applied')
        FROM outcome"
}

# The same numbers as the daemon itself counted them, over all jobs of the run.
logged_counts() {
    sed -n 's/.*Parameters requested: \([0-9]*\), attempted: \([0-9]*\), new parameters applied: \([0-9]*\).*/\1 \2 \3/p' \
        <<<"$run_log" | awk '{ r += $1; a += $2; n += $3 } END { print r + 0, a + 0, n + 0 }'
}

# expected_outcomes RUN: name, expectation, and value then stored, from the hand-written table.
expected_outcomes() {
    local expectation name value stored
    while IFS='|' read -r expectation name value stored; do
        [[ $expectation == '#'* ]] ||
            printf '%s\037%s\037%s\036' "$name" "$expectation" "${stored:-$value}"
    done < <(parameters "$1")
}

# Lines about every parameter that did not fare as the hand-written table says; none is good.
unexpected_outcomes() {
    expected_outcomes "$1" >"$demo/expected"
    (cd "$demo" && sqlite3 -bail report.db <"$scripts/lib/demo/compare.sql")
}

# How many parameters should be new in this run: accepted now, and not with this value before.
expected_new() {
    local run=$1
    {
        if ((run > 1)); then
            accepted $((run - 1)) | sed 'p'
        fi
        accepted "$run"
    } | sort | uniq -u | wc -l
}
accepted() {
    parameters "$1" | sed -n 's/^accepted|//p'
}
