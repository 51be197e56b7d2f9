# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Common to all scripts: the tree, the packages and the builds. Sourced, never run.

tree=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.." && pwd)

# Where Debian has servers, which are not in an ordinary user's path.
export PATH=$PATH:/usr/sbin:/sbin

# Cached objects serve every clone: they do the same wherever they come from.
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$tree}
export CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-1}
# But their debug information may name the sources otherwise. What is shipped is what the compiler makes here.
cache_for_release() {
    unset CCACHE_NOHASHDIR
    export CCACHE_BASEDIR=''
}

# Names of the packages that scripts/packages lists, one a line.
packages_wanted() {
    sed -e 's/#.*//' -e 's/[[:space:]]//g' -e '/^$/d' "$tree/scripts/packages"
}

# Those of them that are not installed. Asks the package database only: no network, no root.
packages_missing() {
    local wanted installed
    wanted=$(packages_wanted)
    # dpkg-query complains about unknown names; those are missing as well.
    # shellcheck disable=SC2016,SC2086 # the format is dpkg-query's; the names are to be split
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' $wanted 2>/dev/null |
        sed -n 's/^installed //p' || true)
    comm -23 <(sort -u <<<"$wanted") <(sort -u <<<"$installed")
}

# Installs packages without starting the services that come with some of them (the broker, the web
# server): tests and the demo start their own. $1: file for what the tools print; then the names.
install_packages() (
    log=$1
    shift
    as_root=()
    [[ $(id -u) -eq 0 ]] || as_root=(sudo)
    policy=/usr/sbin/policy-rc.d
    if [[ ! -e $policy ]]; then
        # The packages' own scripts ask it before they start anything; 101 forbids it.
        printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
        trap '"${as_root[@]}" rm -f "$policy"' EXIT
        "${as_root[@]}" chmod 755 "$policy"
    fi
    apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=300)
    "${apt[@]}" update >>"$log" 2>&1 &&
        "${apt[@]}" install --no-install-recommends "$@" >>"$log" 2>&1
)

# Makes sure that every package of scripts/packages is installed. With OVO_NO_INSTALL in the
# environment it installs nothing and fails when one is missing.
setup_packages() {
    local missing log
    if ! command -v dpkg-query >/dev/null; then
        echo "setup: this is not a Debian system; the packages of scripts/packages (or their like)" \
            "must be installed by hand" >&2
        return 0
    fi
    missing=$(packages_missing)
    [[ -n $missing ]] || return 0
    if [[ -n ${OVO_NO_INSTALL:-} ]]; then
        echo "setup: nothing is to be installed, but packages are missing: ${missing//$'\n'/ }" >&2
        return 1
    fi
    if [[ $(id -u) -ne 0 ]] && ! command -v sudo >/dev/null; then
        echo "setup: packages are missing; installing them takes root or sudo:" >&2
        echo "  apt-get install --no-install-recommends ${missing//$'\n'/ }" >&2
        return 1
    fi
    echo "setup: installing ${missing//$'\n'/ }"
    log=$(mktemp)
    # shellcheck disable=SC2086 # the names are to be split
    if ! install_packages "$log" $missing; then
        echo "setup: the packages could not be installed; the end of apt-get's output:" >&2
        tail -n 20 "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
    missing=$(packages_missing)
    if [[ -n $missing ]]; then
        echo "setup: still missing after the installation: ${missing//$'\n'/ }" >&2
        return 1
    fi
}

# require_commands COMMAND...: fails with a line that names the missing ones.
require_commands() {
    local command missing=()
    for command in "$@"; do
        command -v "$command" >/dev/null || missing+=("$command")
    done
    ((${#missing[@]} == 0)) && return 0
    echo "setup: not found: ${missing[*]} (looked in $PATH)" >&2
    return 1
}

# Names of the presets that can be built.
presets() {
    (cd "$tree" && cmake --list-presets=build) | sed -n 's/^  *"\([^"]*\)".*/\1/p'
}

# configure_preset PRESET [CMAKE ARGUMENTS...]
configure_preset() {
    local preset=$1
    shift
    (cd "$tree" && cmake --preset "$preset" --log-level=WARNING "$@" >/dev/null)
}

# build_preset PRESET [BUILD ARGUMENTS...], such as --target ovo.
build_preset() {
    local preset=$1
    shift
    configure_preset "$preset"
    (cd "$tree" && cmake --build --preset "$preset" --parallel "$(nproc)" "$@")
}

# Every file of the tree that matches one of the patterns, whether git knows it already or not.
# Names are relative to the tree, one a line.
tree_files() {
    if git -C "$tree" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
        # A file that was deleted but not yet committed is still listed.
        (cd "$tree" && git ls-files --cached --others --exclude-standard -- "$@" | sort -u |
            while IFS= read -r file; do [[ ! -e $file ]] || printf '%s\n' "$file"; done)
    else
        local pattern tests=()
        for pattern in "$@"; do
            tests+=(${tests[@]:+-o} -path "./$pattern")
        done
        ((${#tests[@]} > 0)) || tests=(-true)
        (cd "$tree" && find . \( -path ./build -o -path ./.git \) -prune -o -type f \( "${tests[@]}" \) -print |
            sed 's|^\./||' | sort -u)
    fi
}
