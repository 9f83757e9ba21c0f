#!/usr/bin/env bash
# tools/packages/life.sh NEW OLD: takes the packages of two folders through a life on an empty Debian
# root: installs OLD, runs everything, upgrades to NEW, runs everything again, removes and purges.
# Then autopkgtest runs the tests of the source package there. Root only; whatever is mounted or
# started vanishes with the script.
set -euo pipefail
if [[ ! ${ZRP_OWN_MOUNTS-} ]]; then
    ZRP_OWN_MOUNTS=1 exec unshare --mount --pid --fork --kill-child "$0" "$@"
fi
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

readonly new=$1 old=$2
readonly root=$PWD/build/empty-root
readonly programs=(/usr/sbin/zrptop /usr/bin/zrpctl /usr/bin/zrp-exporter /usr/bin/zrpsim)
readonly packages=(zrptop zrpctl zrp-exporter libzrpclient0.1 libzrpclient-dev zrpsim)
readonly conffile=/etc/default/zrp-exporter

# inside COMMAND...: in the root, with nothing of the caller's environment.
inside() {
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"
}

apt() {
    inside apt-get -q -y -o Dpkg::Use-Pty=0 "$@"
}

# alone COMMAND...: the same as inside, in a network of its own, where no daemon listens.
alone() {
    # shellcheck disable=SC2016 # for the shell inside
    local network='ip link set lo up && exec chroot "$0" "$@"'
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        unshare --net sh -c "$network" "$root" "$@"
}

make_root() {
    local codename
    codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    say "an empty root of Debian $codename (log: build/debootstrap.log)"
    rm -rf "$root"
    quietly build/debootstrap.log debootstrap --variant=minbase "$codename" "$root"
    mount -t proc proc "$root/proc"
    mkdir -p "$root/dev/pts"
    mount -t devpts -o ptmxmode=666 devpts "$root/dev/pts"
    mount --bind "$root/dev/pts/ptmx" "$root/dev/ptmx"
    ! inside sh -c 'command -v cc || command -v c++' || die "the root has a compiler"
}

list_files() {
    inside find / -xdev -path /proc -prune -o -path /dev -prune -o -path /tmp -prune -o \
        -path /var/cache/apt -prune -o -path /var/lib/apt -prune -o -path /var/log -prune -o -path '/var/lib/dpkg/*-old' -prune \
        -o -print | sort
}

# install FOLDER: what the administrator types.
install() {
    local package files=()
    mkdir -p "$root/tmp/packages"
    rm -f "$root"/tmp/packages/*
    for package in "$1"/*.deb; do
        if [[ $package != *-dbgsym_* ]]; then
            cp "$package" "$root/tmp/packages"
            files+=("/tmp/packages/${package##*/}")
        fi
    done
    apt install "${files[@]}"
}

expect_version() {
    local found
    # shellcheck disable=SC2016 # for dpkg-query
    found=$(inside dpkg-query -W -f '${Version}\n' "${packages[@]}" | sort -u)
    [[ $found == "$1" ]] || die "installed is $found, not $1"
}

version_of() {
    dpkg-deb -f "$(compgen -G "$1/zrptop_*.deb")" Version
}

run_programs() {
    local test
    rm -rf "$root/tmp/tests"
    cp -r "$PWD/debian/tests" "$root/tmp/tests"
    for test in monitor command exporter; do
        say "$test, in the root"
        alone "/tmp/tests/$test"
    done
    alone zrpctl --version
    alone zrp-exporter --version
    inside sh -c 'ldconfig -p | grep libzrpclient'
    ! alone runuser -u nobody -- zrptop -h || die "zrptop runs for nobody"
}

expect_no_service() {
    inside test -e /lib/systemd/system/zrp-exporter.service
    [[ -z $(inside find /etc/systemd -name 'zrp-exporter*') ]] || die "the service is enabled"
}

make_root
apt update
list_files >"$root.before"

say "apt install, version $(version_of "$old")"
install "$old"
expect_version "$(version_of "$old")"
expect_no_service
run_programs

say "upgrade to $(version_of "$new"), with a change of $conffile"
echo 'ZRP_EXPORTER_OPTIONS=--timeout 3' >>"$root$conffile"
install "$new"
expect_version "$(version_of "$new")"
expect_no_service
grep -q 'timeout 3' "$root$conffile" || die "the upgrade has lost $conffile"
run_programs

say "remove"
apt remove "${packages[@]}"
for program in "${programs[@]}"; do
    [[ ! -e $root$program ]] || die "$program is still there"
done
[[ -e $root$conffile ]] || die "remove has taken $conffile"

say "purge"
inside dpkg --purge "${packages[@]}" # apt knows no removed package without a source
apt autoremove --purge
rm -rf "$root"/tmp/*
list_files >"$root.after"
diff "$root.before" "$root.after" || die "something is left"
say "nothing is left"

say "the tests of the source package (log: build/autopkgtest.log)"
rm -rf build/autopkgtest
quietly build/autopkgtest.log autopkgtest --output-dir build/autopkgtest \
    "$new"/zrp*_*.deb "$new"/lib*_*.deb "$new"/*.dsc -- chroot "$root"
cat build/autopkgtest/summary
