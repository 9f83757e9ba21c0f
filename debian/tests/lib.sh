# shellcheck shell=bash
# Shared by the tests.

readonly patience=30 # seconds

fail() {
    echo "failed: $*" >&2
    exit 1
}

# wait_for TEXT FILE: until the file holds the text.
wait_for() {
    local end=$((SECONDS + patience))
    until grep -qaF -- "$1" "$2"; do
        ((SECONDS < end)) || fail "no \"$1\" in $2"
        sleep 0.1
    done
}

# start_server OPTION...: the simulated server, until the test ends.
start_server() {
    local line
    coproc server { exec zrpsim "$@"; }
    # shellcheck disable=SC2154 # set by coproc
    trap 'kill "$server_PID"' EXIT
    read -r -t "$patience" line <&"${server[0]}" || fail "zrpsim does not start"
    [[ $line == ready ]] || fail "zrpsim: $line"
}
