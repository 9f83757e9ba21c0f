#!/usr/bin/env bash
# A fleet of three simulated file servers, each with its exporter in a network of its own, and one
# Prometheus that scrapes them. It makes networks and ends with all its processes, so that it has to be
# run in namespaces of its own:
#
#     unshare --user --map-root-user --net --mount --pid --fork --kill-child --mount-proc \
#         tools/fleet/fleet.sh BUILD PROMETHEUS CONTRIB [--quick]
#
# BUILD is a build tree, PROMETHEUS the folder of prometheus and promtool, CONTRIB the one of the rules.
# With --quick alerts fire after a second. It reads lines from standard input and answers each with
# lines, the last of which is a dot:
#
#     server N COMMAND   a command for the simulated server N (1 to 3), see zrpsim(1)
#     query EXPRESSION   what Prometheus has for it
#     table              the fleet
#     an empty line      end
set -euo pipefail

sim=$1/tools/zrpsim/zrpsim
exporter=$1/exporter/zrp-exporter
prometheus=$2
contrib=$3
quick=${4-}
engine=http://127.0.0.1:9090
servers=3

# In memory, which goes with the namespace.
mount -t tmpfs fleet /mnt
ip link set lo up

# wait_until COMMAND...: tries it for half a minute.
wait_until() {
    local end=$((SECONDS + 30))
    until "$@" >/dev/null 2>&1; do
        ((SECONDS < end)) || {
            echo "fleet: no success: $*" >&2
            exit 1
        }
        sleep 0.05
    done
}

has_own_network() {
    [[ $(readlink "/proc/$1/ns/net") != $(readlink /proc/self/ns/net) ]]
}

declare -a control
start_server() {
    local n=$1 holder descriptor
    unshare --net sleep infinity &
    holder=$!
    wait_until has_own_network "$holder"
    ip link add "server$n" type veth peer name eth0 netns "$holder"
    ip address add "10.77.$n.1/30" dev "server$n"
    ip link set "server$n" up
    nsenter -t "$holder" -n ip address add "10.77.$n.2/30" dev eth0
    nsenter -t "$holder" -n ip link set eth0 up
    nsenter -t "$holder" -n ip link set lo up
    mkfifo "/mnt/control$n"
    nsenter -t "$holder" -n "$sim" --control --seed "$n" --clock $((n * 100000)) \
        <>"/mnt/control$n" >"/mnt/answers$n" &
    wait_until grep -q ready "/mnt/answers$n"
    exec {descriptor}>"/mnt/control$n"
    control[n]=$descriptor
    nsenter -t "$holder" -n "$exporter" --listen "10.77.$n.2:9848" --timeout 0.5 2>"/mnt/log$n" &
    wait_until grep -q listening "/mnt/log$n"
}

start_prometheus() {
    local n targets=()
    for ((n = 1; n <= servers; n++)); do
        targets+=("'10.77.$n.2:9848'")
    done
    cp "$contrib/rules.yml" "$contrib/alerts.yml" /mnt
    if [[ $quick == --quick ]]; then
        sed -i 's/ for: .*/ for: 1s/' /mnt/alerts.yml
    fi
    cat >/mnt/prometheus.yml <<END
global: {scrape_interval: 1s, scrape_timeout: 1s, evaluation_interval: 1s}
rule_files: [rules.yml, alerts.yml]
scrape_configs:
  - job_name: zrp
    static_configs:
      - targets: [$(IFS=,; echo "${targets[*]}")]
END
    "$prometheus/prometheus" --config.file=/mnt/prometheus.yml --storage.tsdb.path=/mnt/data \
        --web.listen-address=127.0.0.1:9090 --log.level=error &
    wait_until query 'count(zrp_server_uptime_seconds) == 3'
}

# Fails when there is no result.
query() {
    local result
    result=$("$prometheus/promtool" query instant "$engine" "$1" 2>&1) || {
        echo "$result"
        return 1
    }
    [[ -n $result ]] && echo "$result"
}

# value EXPRESSION: the number of a result that has one series, or a dash.
value() {
    local text
    text=$(query "$1") || {
        echo -
        return
    }
    text=${text##*=> }
    echo "${text%% @*}"
}

table() {
    local n at
    printf '%-16s %6s %8s %12s %10s %8s %9s  %s\n' \
        SERVER ANSWERS UPTIME CONNECTIONS OPENFILES VOLUMES LEASTFREE ALERTS
    for ((n = 1; n <= servers; n++)); do
        at="instance=\"10.77.$n.2:9848\""
        printf '%-16s %6s %8s %12s %10s %8s %9s  %s\n' "10.77.$n.2:9848" \
            "$(value "zrp_up{daemon=\"server\",$at}")" \
            "$(value "zrp_server_uptime_seconds{$at}")" \
            "$(value "sum(zrp_connections{$at})")" \
            "$(value "zrp_server_open_files{$at}")" \
            "$(value "zrp_server_mounted_volumes{$at}")" \
            "$(value "round(100 * min(instance_volume:zrp_volume_free:ratio{$at}))")%" \
            "$(query "ALERTS{alertstate=\"firing\",$at}" |
                sed -n 's/.*alertname="\([A-Za-z]*\)".*/\1/p' | sort -u | paste -sd ' ')"
    done
}

for ((n = 1; n <= servers; n++)); do
    start_server "$n"
done
start_prometheus
echo "exporters on 10.77.1.2:9848, 10.77.2.2:9848 and 10.77.3.2:9848, Prometheus on 127.0.0.1:9090"
echo "in the namespaces of process $(sed -n 's/^NSpid:\t\([0-9]*\).*/\1/p' /proc/self/status)"
table
echo .

while read -r word rest && [[ -n $word ]]; do
    case $word in
    server) echo "${rest#* }" >&"${control[${rest%% *}]}" ;;
    query) query "$rest" || true ;;
    table) table ;;
    *) echo "no command: $word" ;;
    esac
    echo .
done
