# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# How the demo speaks. Sourced by scripts/demo.

if [[ -t 1 && -z ${NO_COLOR:-} ]]; then
    bold=$'\e[1m' dim=$'\e[2m' red=$'\e[31m' green=$'\e[32m' yellow=$'\e[33m' plain=$'\e[0m'
else
    bold='' dim='' red='' green='' yellow='' plain=''
fi

# A part of the demo begins.
step() {
    printf '\n%s== %s%s\n' "$bold" "$*" "$plain"
}

say() {
    printf '   %s\n' "$*"
}

# An expectation that was met.
passed() {
    printf '   %sok%s  %s\n' "$green" "$plain" "$*"
}

# Ends the demo: something is not as it should be.
die() {
    printf '%sdemo: %s%s\n' "$red" "$*" "$plain" >&2
    exit 1
}

# expect WHAT ACTUAL EXPECTED
expect() {
    [[ $2 == "$3" ]] || die "$1: expected \"$3\", got \"$2\""
    passed "$1: ${2:-(empty)}"
}

# expect_text WHAT TEXT PART: the text holds the part.
expect_text() {
    [[ $2 == *"$3"* ]] || die "$1: there is no \"$3\""
    passed "$1: $3"
}

# One line of a program's log at the time that it begins with: who wrote it, coloured by its level.
show_line() {
    local colour=$dim
    case $1:$2 in
    ovo:*Z\ 2\ *) colour=$yellow ;;
    ovo:*Z\ 3\ *) colour=$red ;;
    simulator:*) colour='' ;;
    esac
    local text=$2
    ((${#text} <= 240)) || text="${text:0:240}… (${#text} characters)"
    printf '   %s%-5s | %s%s\n' "$colour" "${1/simulator/phone}" "$text" "$plain"
}
