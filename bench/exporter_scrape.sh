#!/usr/bin/env bash
# Scrape time, size and memory of one exporter on a simulated server with 256 volumes and 20 000
# connections, without and with metrics of the connections. For a release build, in a network of its own:
#
#     unshare --user --map-root-user --net bench/exporter_scrape.sh build/release [SCRAPES]
set -euo pipefail

build=$1
scrapes=${2:-100}
url=http://127.0.0.1:9848/metrics
ip link set lo up
work=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$work"' EXIT

"$build/tools/zrpsim/zrpsim" --volumes 256 --connections 20000 >"$work/ready" &
until grep -q ready "$work/ready"; do sleep 0.05; done

measure() {
    local exporter=0
    "$build/exporter/zrp-exporter" "$@" 2>"$work/log" &
    exporter=$!
    until grep -q listening "$work/log"; do sleep 0.05; done
    for ((i = 0; i < scrapes; i++)); do
        curl -s -o "$work/text" -w '%{time_total}\n' "$url"
    done | sort -n >"$work/times"
    printf '%-24s median %s s, most %s s, %s bytes, %s series, peak %s KiB\n' "${*:-(no option)}" \
        "$(sed -n "$((scrapes / 2 + 1))p" "$work/times")" "$(tail -n 1 "$work/times")" \
        "$(wc -c <"$work/text")" "$(grep -vc '^#' "$work/text")" \
        "$(awk '/VmHWM/ { print $2 }' "/proc/$exporter/status")"
    kill "$exporter"
    wait "$exporter"
}

measure
measure --per-connection=20000
