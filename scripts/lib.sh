# shellcheck shell=bash disable=SC2034
# Shared by the scripts: where things are, packages, quiet steps. It needs bash and coreutils, and
# apt where packages are missing.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit

# The folders whose code is installed.
product=(app common core ctl exporter screens)

# What the demo needs, and what the tests, the measurement of their coverage, the packages, their proof,
# the mutation check and the benchmarks need.
demo_packages=(cmake ninja-build g++ pkg-config libncurses-dev libvterm-dev libpugixml-dev
               libasio-dev libcli11-dev nlohmann-json3-dev prometheus-cpp-dev libcpp-httplib-dev
               libssl-dev iproute2 python3)
manual_packages=(curl jq man-db mandoc openssl) # for the examples of the manual pages
test_packages=("${demo_packages[@]}" dpkg-dev git clang clang-format clang-tidy libclang-rt-dev lld
               libgtest-dev libbenchmark-dev shellcheck locales python3-jsonschema zsh fish
               "${manual_packages[@]}")
coverage_packages=("${demo_packages[@]}" dpkg-dev git libgtest-dev libbenchmark-dev gcovr python3-jsonschema
                   "${manual_packages[@]}")
package_packages=(debhelper fakeroot cmake g++ libasio-dev libcli11-dev libcpp-httplib-dev libgtest-dev
                  libncurses-dev libpugixml-dev libssl-dev nlohmann-json3-dev pkg-config
                  prometheus-cpp-dev python3)
proof_packages=(autopkgtest blhc debootstrap devscripts diffoscope-minimal faketime iproute2 lintian
                locales man-db mandoc)
mutation_packages=("${demo_packages[@]}" libgtest-dev lld python3 python3-jsonschema)
bench_packages=("${demo_packages[@]}" binutils libbenchmark-dev libexpat1-dev librapidxml-dev libxml2-dev)

say() {
    printf '== %s\n' "$*" >&2
}

die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# quietly LOG COMMAND...: the command's output goes to the log, and is shown when it fails.
quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    if ! "$@" >"$log" 2>&1 </dev/null; then
        cat "$log" >&2
        die "failed: $* (log: $log)"
    fi
}

is_installed() {
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# Before a command that only root can run.
as_root=()
if ((EUID != 0)); then
    as_root=(sudo)
    [[ -t 0 ]] || as_root+=(-n) # nobody can type a password
fi

# as_root_apt ARGUMENT...: apt-get as root, without questions.
as_root_apt() {
    quietly build/apt.log "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -q -y -o DPkg::Lock::Timeout=300 "$@"
}

install_missing() {
    local package missing=()
    if ! command -v dpkg-query >/dev/null; then
        say "not a Debian system; these packages are needed: $*"
        return
    fi
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    if ((EUID != 0)) && ! command -v sudo >/dev/null; then
        die "missing packages, which only root or sudo can install: ${missing[*]}"
    fi
    say "installing packages: ${missing[*]}"
    as_root_apt update
    as_root_apt install --no-install-recommends "${missing[@]}"
}

# unpack_package NAME: puts the programs of a Debian package into build/NAME. Installing prometheus or
# nginx would start a service on the user's machine.
unpack_package() {
    local folder=build/$1
    [[ ! -d $folder/usr ]] || return 0
    mkdir -p "$folder"
    say "unpacking $1 into $folder"
    (cd "$folder" && apt-get -q download "$1" >apt.log 2>&1) || return 1
    dpkg -x "$folder/$1"_*.deb "$folder"
}

# Prints how many compilers to run at once: one for each processor, with a gigabyte of memory each.
count_jobs() {
    local jobs key kilobytes rest
    jobs=$(nproc)
    while read -r key kilobytes rest; do
        if [[ $key == MemAvailable: ]] && ((kilobytes / 1000000 < jobs)); then
            jobs=$((kilobytes / 1000000))
        fi
    done </proc/meminfo
    echo $((jobs > 0 ? jobs : 1))
}

# The sanitizers of these compilers fail when the kernel randomises more address bits than they support.
# This prefix, for commands that run instrumented programs, turns the randomisation off.
fixed_addresses=()
if [[ $(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null) != 28 ]] && setarch -R true 2>/dev/null; then
    fixed_addresses=(setarch -R)
fi

# build PRESET [TARGET...]
build() {
    local preset=$1 targets=()
    shift
    if (($#)); then
        targets=(--target "$@")
    fi
    say "building $preset (log: build/$preset.log)"
    quietly "build/$preset-configure.log" cmake --preset "$preset"
    quietly "build/$preset.log" "${fixed_addresses[@]}" cmake --build --preset "$preset" -j "$(count_jobs)" "${targets[@]}"
}
