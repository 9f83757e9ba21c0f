#!/usr/bin/env bash
# A fleet of simulated file servers, each with its exporter, and one Prometheus that scrapes them:
#
#     tools/fleet/fleet.sh BUILD PROMETHEUS CONTRIB [--quick]
#
# There are three servers, each in a network of its own. Where namespaces are not permitted there is one,
# in this network, unless the names of its daemons are in use. BUILD is a build tree, PROMETHEUS the
# folder of prometheus and promtool, CONTRIB the one of the rules. With --quick an alert fires as soon as it
# is true: the "for:" of each becomes 0s, and nothing else of the rules is changed. It reads lines from
# standard input and answers each with lines, the last of which is a dot:
#
#     server N COMMAND   a command for the simulated server N, see zrpsim(1)
#     stop N             end the exporter of server N
#     query EXPRESSION   what Prometheus has for it
#     alerts             the file of alerts in use
#     table              the fleet
#     an empty line      end
#
# However it ends, its processes, networks and files vanish with it.
set -euo pipefail

# The options of unshare with which a fleet can be made, for root or for a user; fails without any.
find_namespaces() {
    local user options
    for user in '' '--user --map-root-user'; do
        options="$user --net --mount --pid --fork --kill-child --mount-proc"
        # shellcheck disable=SC2086 # several words
        if unshare $options sh -c 'mount -t tmpfs fleet /mnt && ip link add type veth' >/dev/null 2>&1; then
            echo "$options"
            return
        fi
    done
    return 1
}

# The first process of the namespaces, after which the kernel ends all others, is the child of unshare,
# which itself does not listen to signals.
end_namespaces() {
    local first
    first=$(cat "/proc/$unshare/task/$unshare/children" 2>/dev/null) || true
    # shellcheck disable=SC2086 # nothing when it has ended
    kill -KILL ${first:-$unshare} 2>/dev/null || true
    wait "$unshare" || true
    exit "$1"
}

if [[ $1 != --inside ]] && options=$(find_namespaces); then
    entry=--net
    [[ $options != *--user* ]] || entry+=' --user --preserve-credentials'
    # unshare complains when its child is killed; the child has the real standard error.
    # shellcheck disable=SC2016 # for the other shell, whose process becomes that of unshare
    setpriv --pdeathsig KILL bash -c 'exec unshare $1 "$2" --inside "--target $$ $3" "${@:4}"' bash \
        "$options" "$0" "$entry" "$@" <&0 9>&2 2>/dev/null &
    unshare=$!
    trap 'end_namespaces 130' INT
    trap 'end_namespaces 143' TERM HUP
    wait "$unshare"
    exit
fi

servers=1
host() { echo 127.0.0.1; }
port=0
if [[ $1 == --inside ]]; then
    exec 2>&9 9>&-
    entry=$2
    shift 2
    servers=3
    host() { echo "10.77.$1.2"; }
    port=9848
    work=/mnt
    mount -t tmpfs fleet "$work" # in memory, which goes with the namespace
    ip link set lo up
else
    work=$(mktemp -d)
    # Whoever ends this one, with whatever signal: its children end too, and at once, for what they
    # have is thrown away.
    trap 'kill -KILL $(jobs -p) 2>/dev/null || true; wait 2>/dev/null || true; rm -rf "$work"' EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM HUP
fi

sim=$1/tools/zrpsim/zrpsim
exporter=$1/exporter/zrp-exporter
prometheus=$2
contrib=$3
quick=${4-}

fail() {
    echo "fleet: $*" >&2
    exit 1
}

# wait_until PROCESS LOG COMMAND...: tries the command for half a minute, as long as the process runs.
wait_until() {
    local process=$1 log=$2 end=$((SECONDS + 30))
    shift 2
    until "$@" >/dev/null 2>&1; do
        if ((SECONDS >= end)) || ! kill -0 "$process" 2>/dev/null; then
            cat "$log" >&2
            fail "no success: $*"
        fi
        sleep 0.05
    done
}

# run_on N LOG COMMAND...: in the background, where server N is; standard output and errors go to the log.
declare -a network
run_on() {
    local n=$1 log=$2 enter=()
    shift 2
    [[ -z ${network[n]-} ]] || enter=(nsenter -t "${network[n]}" -n)
    setpriv --pdeathsig KILL "${enter[@]}" "$@" <&0 >"$log" 2>&1 &
}

make_network() {
    local n=$1
    # shellcheck disable=SC2016 # for the other shell
    unshare --net sh -c 'echo >"$0" && exec sleep infinity' "$work/network$n" &
    network[n]=$!
    wait_until $! /dev/null test -s "$work/network$n"
    ip link add "server$n" type veth peer name eth0 netns "${network[n]}"
    ip address add "10.77.$n.1/30" dev "server$n"
    ip link set "server$n" up
    nsenter -t "${network[n]}" -n ip address add "10.77.$n.2/30" dev eth0
    nsenter -t "${network[n]}" -n ip link set eth0 up
    nsenter -t "${network[n]}" -n ip link set lo up
}

declare -a control process address exporters
start_server() {
    local n=$1 descriptor
    mkfifo "$work/control$n"
    exec {descriptor}<>"$work/control$n"
    control[n]=$descriptor
    run_on "$n" "$work/answers$n" "$sim" --control --seed "$n" --clock $((n * 100000)) <&"$descriptor"
    process[n]=$!
    wait_until $! "$work/answers$n" grep -q '^ready' "$work/answers$n"
    run_on "$n" "$work/log$n" "$exporter" --listen "$(host "$n"):$port" --timeout 1.5 --per-connection=100
    exporters[n]=$!
    wait_until $! "$work/log$n" grep -q 'listening on' "$work/log$n"
    address[n]=$(sed -n 's/.*listening on //p' "$work/log$n")
}

start_prometheus() {
    local n targets=()
    for ((n = 1; n <= servers; n++)); do
        targets+=("'${address[n]}'")
    done
    cp "$contrib/rules.yml" "$contrib/alerts.yml" "$work"
    if [[ $quick == --quick ]]; then
        sed -i 's/^\( *for:\) .*/\1 0s/' "$work/alerts.yml"
    fi
    cat >"$work/prometheus.yml" <<END
global: {scrape_interval: 2s, scrape_timeout: 2s, evaluation_interval: 500ms}
rule_files: [rules.yml, alerts.yml]
scrape_configs:
  - job_name: zrp
    static_configs:
      - targets: [$(IFS=,; echo "${targets[*]}")]
END
    local listen=127.0.0.1:0
    ((servers == 1)) || listen=127.0.0.1:9090
    run_on 0 "$work/prometheus.log" "$prometheus/prometheus" --config.file="$work/prometheus.yml" \
        --storage.tsdb.path="$work/data" --web.listen-address=$listen
    wait_until $! "$work/prometheus.log" grep -q '"Listening on"' "$work/prometheus.log"
    engine=$(sed -n 's/.*"Listening on" address=//p' "$work/prometheus.log")
    wait_until $! "$work/prometheus.log" query \
        "count(count by (instance) (instance_volume:zrp_volume_free:ratio)) == $servers"
}

# Fails when there is no result.
query() {
    local result
    result=$("$prometheus/promtool" query instant "http://$engine" "$1" 2>&1) || {
        echo "$result"
        return 1
    }
    [[ -n $result ]] && echo "$result"
}

# column NAME EXPRESSION: reads the numbers of a result, one for each server, into the table's cells.
declare -A cell
column() {
    local line at
    while read -r line; do
        at=${line#*instance=\"}
        line=${line##*=> }
        cell[$1 ${at%%\"*}]=${line%% @*}
    done < <(query "$2")
}

# Its columns are asked for all servers at once: promtool takes longer to start than to ask.
table() {
    local n at name alert names=(ANSWERS UPTIME CONNECTIONS OPENFILES VOLUMES FREE%)
    cell=()
    column ANSWERS 'zrp_up{daemon="server"}'
    column UPTIME zrp_server_uptime_seconds
    column CONNECTIONS 'sum by (instance) (zrp_connections)'
    column OPENFILES zrp_server_open_files
    column VOLUMES zrp_server_mounted_volumes
    column FREE% 'round(100 * min by (instance) (instance_volume:zrp_volume_free:ratio))'
    while read -r alert at; do
        cell[ALERTS $at]+=" $alert"
    done < <(query 'count by (alertname, instance) (ALERTS{alertstate="firing"})' |
        sed -n 's/.*alertname="\([^"]*\)".*instance="\([^"]*\)".*/\1 \2/p' | sort)
    printf '%-16s' SERVER
    printf ' %11s' "${names[@]}"
    echo '  ALERTS'
    for ((n = 1; n <= servers; n++)); do
        at=${address[n]}
        printf '%-16s' "$at"
        for name in "${names[@]}"; do
            printf ' %11s' "${cell[$name $at]--}"
        done
        echo " ${cell[ALERTS $at]-}"
    done | sed 's/ *$//'
}

# Prints what the simulated server has against the command.
command_server() {
    local n=${1%% *} answered
    if [[ -z $n || -z ${process[n]-} ]]; then
        echo "no server $n"
        return
    fi
    answered=$(wc -l <"$work/answers$n")
    echo "${1#* }" >&"${control[n]}"
    until (($(wc -l <"$work/answers$n") > answered)); do
        if ! kill -0 "${process[n]}" 2>/dev/null; then
            echo "server $n has ended"
            return
        fi
        sleep 0.05
    done
    tail -n 1 "$work/answers$n" | sed '/^ok$/d'
}

stop_exporter() {
    [[ -n ${exporters[$1]-} ]] && kill "${exporters[$1]}" 2>/dev/null || echo "no exporter $1"
}

for ((n = 1; n <= servers; n++)); do
    ((servers == 1)) || make_network "$n"
    start_server "$n"
done
start_prometheus
echo "exporters on ${address[*]}, Prometheus on $engine"
if ((servers > 1)); then
    echo "in a network of their own: nsenter $entry curl http://$engine/metrics"
fi
table
echo .

while read -r word rest && [[ -n $word ]]; do
    case $word in
    server) command_server "$rest" ;;
    stop) stop_exporter "$rest" ;;
    query) query "$rest" || true ;;
    alerts) cat "$work/alerts.yml" ;;
    table) table ;;
    *) echo "no command: $word" ;;
    esac
    echo .
done
