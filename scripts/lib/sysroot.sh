# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Headers and libraries of another architecture, to build for it. Sourced after setup.sh.

# What goes into a sysroot: every package of scripts/packages that one builds against.
sysroot_packages() {
    echo libc6-dev
    packages_wanted | grep -e '-dev$'
}

# The archive that this machine's apt takes the distribution from, its main suite only, as a line of
# sources.list.
sysroot_source() {
    local codename keyring
    codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
    keyring=/usr/share/keyrings/debian-archive-keyring.gpg
    # shellcheck disable=SC2016 # the format is apt's
    apt-get indextargets --format '$(LABEL) $(CODENAME) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' |
        awk -v codename="$codename" -v keyring="$keyring" '
            $1 == "Debian" && $2 == codename && $3 == "main" {
                print "deb [signed-by=" keyring "] " $4, codename, "main"
                found = 1
                exit
            }
            END { exit !found }' || {
        echo "sysroot: apt has no source of Debian's main suite \"$codename\"" >&2
        return 1
    }
}

# make_sysroot ARCHITECTURE DIRECTORY: makes the sysroot, unless the one that is there was made from
# the same packages. In a shell of its own, which leaves nothing half made.
make_sysroot() (
    architecture=$1 target=$2
    source=$(sysroot_source)
    packages=$(sysroot_packages | sort -u | paste -sd ,)
    if [[ -e $target/made-from && $(<"$target/made-from") == "$source $packages" ]]; then
        exit 0
    fi
    echo "sysroot: extracting the packages for $architecture into $target"
    mkdir -p -- "${target%/*}"
    new=$(mktemp -d -- "$target.XXXXXX")
    trap 'rm -rf -- "$new"' EXIT
    trap 'exit 1' HUP INT TERM
    # Only extracted, never run: nothing of another architecture is installed on this machine. By way of
    # an archive, so that the files belong to whoever builds, root or not.
    # The last words of the hook: what dpkg would know of them, had they been installed.
    # shellcheck disable=SC2016 # the hook's variable is mmdebstrap's
    if ! mmdebstrap --variant=extract --format=tar "--architectures=$architecture" "--include=$packages" \
        '--extract-hook=mkdir "$1/control"; for deb in "$1"/var/cache/apt/archives/*.deb; do
            name=${deb##*/}; dpkg-deb -e "$deb" "$1/control/${name%.deb}";
            dpkg-deb --fsys-tarfile "$deb" | tar -t >"$1/control/${name%.deb}/list"; done' \
        "$(awk '{ print $(NF - 1) }' <<<"$source")" "$new/all.tar" "$source" >"$new/log" 2>&1; then
        echo "sysroot: the packages could not be extracted; the end of the output:" >&2
        tail -n 20 "$new/log" >&2
        exit 1
    fi
    mkdir "$new/kept"
    # Programs are the machine's; manuals and translations serve nobody here.
    tar -C "$new/kept" --no-same-owner --exclude=./usr/{bin,sbin} --exclude=./usr/share/{doc,man,locale,info} \
        -xf "$new/all.tar" ./usr ./lib ./control
    relative_links "$new/kept"
    make_package_database "$new/kept" "$target"
    printf '%s\n' "$source $packages" >"$new/kept/made-from"
    rm -rf -- "$target"
    mv -- "$new/kept" "$target"
)

# make_package_database ROOT FINAL-ROOT: dpkg's database of the packages that were extracted there, in ROOT/dpkg, as if
# FINAL-ROOT were a part of their paths: dpkg-shlibdeps finds in it what a library in the sysroot belongs to.
make_package_database() {
    local root=$1 final=$2 package name file
    mkdir -p "$root/dpkg/info" "$root/dpkg/updates"
    echo 1 >"$root/dpkg/info/format" # files of packages for several architectures carry its name
    for package in "$root"/control/*/; do
        name=$(sed -n 's/^Package: //p' "$package/control")
        ! grep -q '^Multi-Arch: same' "$package/control" ||
            name=$name:$(sed -n 's/^Architecture: //p' "$package/control")
        sed '1a Status: install ok installed' "$package/control" >>"$root/dpkg/status"
        echo >>"$root/dpkg/status"
        sed -e 's|^\.||' -e 's|/$||' -e "s|^|$final|" "$package/list" >"$root/dpkg/info/$name.list"
        for file in symbols shlibs; do
            [[ ! -e $package/$file ]] || cp "$package/$file" "$root/dpkg/info/$name.$file"
        done
    done
    rm -r "$root/control"
}

# relative_links ROOT: a link below ROOT to an absolute path leads to that path below ROOT.
relative_links() {
    local root=$1 link to
    find "$root" -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
        to=$(readlink -- "$link")
        ln -sfn -- "$(realpath -ms --relative-to="${link%/*}" -- "$root$to")" "$link"
    done
}
