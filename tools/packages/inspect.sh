#!/usr/bin/env bash
# tools/packages/inspect.sh FOLDER: what the packages that scripts/packages has made there say to
# lintian, blhc, hardening-check, man and mandoc. The first word of any is a failure.
set -euo pipefail
# shellcheck source=scripts/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

readonly made=$1
readonly unpacked=$made/unpacked

# silent COMMAND...: which has to succeed without a word.
silent() {
    local words
    words=$("$@" 2>&1) || die "$1 fails: $words"
    [[ -z $words ]] || die "$1: $words"
}

unpack() {
    local package
    rm -rf "$unpacked"
    for package in "$made"/*.deb; do
        [[ $package == *-dbgsym_* ]] || dpkg-deb -x "$package" "$unpacked"
    done
}

# Programs and the shared library.
list_code() {
    find "$unpacked"/usr/{bin,sbin,lib} -type f \( -perm /111 -o -name '*.so.*' \)
}

# Far above what the compiler's own start-up code has.
readonly branch_targets=100

inspect_code() {
    local file
    while IFS= read -r file; do
        hardening-check --nocfprotection "$file" || die "not hardened: $file"
        [[ $(readelf -lW "$file") =~ GNU_STACK[^$'\n']*' RW  0x' ]] || die "executable stack: $file"
        (($(objdump -d --no-show-raw-insn "$file" | grep -c endbr64) > branch_targets)) ||
            die "no control-flow protection: $file"
        [[ ! $(readelf -dW "$file") =~ R(UN)?PATH ]] || die "run path: $file"
    done < <(list_code)
    [[ ! $(readelf -dW "$unpacked/usr/sbin/zrptop") =~ libstdc ]] ||
        die "the monitor loads the C++ runtime, which takes more memory than it does"
}

format_page() {
    LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$1" >/dev/null
}

inspect_pages() {
    local page text=$unpacked/page
    while IFS= read -r page; do
        echo "${page##*/}"
        gzip -dc "$page" >"$text"
        silent format_page "$text"
        silent mandoc -T lint -W all "$text"
    done < <(find "$unpacked/usr/share/man" -name '*.gz')
}

unpack
say "lintian"
silent lintian --allow-root --pedantic -E -I "$made"/*.changes
say "blhc"
silent blhc --debian --all "$made/build.log"
say "hardening of programs and library"
inspect_code
say "manual pages"
inspect_pages
