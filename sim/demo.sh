#!/bin/sh
# demo.sh BIN_DIR -- `make demo`: the analytics daemon running in a simulated router,
# its reports arriving at an MQTT broker on loopback.
#
# It starts mosquitto on a free loopback port, a subscriber that saves every message as
# one JSON file, generates the router from a scenario and runs build/bin/telem_json in
# it with an accelerated clock, and shows what happens. Ctrl-C (or DEMO_SECONDS) stops
# everything; the last line printed is the folder holding the received reports.
#
# Environment:
#   DEMO_SECONDS=N   stop after N seconds (0 or unset: run until Ctrl-C)
#   SIM_SCENARIO     scenario name or directory (default vre650; see sim/scenarios)
#   SIM_SPEED        how many times faster than real time the daemon's clock runs
#                    (default 60: the daemon's ten-minute pass takes ten seconds)
#   DEMO_DIR         where to put the run (default: a new directory under $TMPDIR or /tmp)
#   SIM_KEEP_ROOT=1  keep the generated router tree after the run
#   DEMO_TLS=1       publish over mutual TLS: certificates are made for the run, the
#                    broker's TLS listener requires the router's client certificate
#                    (plain MQTT is the default)
set -u
SIM_DIR=$(cd "$(dirname "$0")" && pwd)
. "$SIM_DIR/lib/sim.sh"

[ $# -eq 1 ] || sim_die "usage: demo.sh BIN_DIR"
bin=$1
seconds=${DEMO_SECONDS:-0}
case $seconds in '' | *[!0-9]*) sim_die "DEMO_SECONDS must be a number of seconds" ;; esac
scenario=${SIM_SCENARIO:-vre650}
SIM_SPEED=${SIM_SPEED:-180}
export SIM_SPEED
reason=$(sim_sandbox_unavailable_reason) && sim_die "cannot build the simulated router here: $reason"
for t in mosquitto mosquitto_sub busybox; do
    command -v $t >/dev/null 2>&1 || sim_die "$t is missing (make deps installs it)"
done

if [ -n "${DEMO_DIR:-}" ]; then
    work=$DEMO_DIR
    mkdir -p "$work"
else
    work=$(mktemp -d "${TMPDIR:-/tmp}/telem-demo.XXXXXX")
fi
work=$(cd "$work" && pwd)
root=$work/router
reports=$work/reports
mkdir -p "$reports"

finished=0
finish() {
    [ $finished = 1 ] && return
    finished=1
    trap '' INT TERM
    echo
    sim_say "stopping"
    if [ -d "$root/.sim" ]; then
        sim_session_stop "$root"
        cp "$root/.sim/session.out" "$work/telem_json.out" 2>/dev/null
        cp "$root/.sim/commands.log" "$work/router-commands.log" 2>/dev/null
    fi
    sim_collector_stop
    sim_broker_stop
    if [ -d "$root/.sim" ] && [ "${SIM_KEEP_ROOT:-0}" != 1 ]; then sim_destroy "$root"; fi
    summary
    sim_say "daemon output: $work/telem_json.out"
    echo "$reports"
}
trap finish EXIT
trap 'exit 130' INT TERM HUP

# --- what the demo shows ------------------------------------------------------------------------

event_name() {
    case $1 in
        0) echo "kernel reboot" ;;
        1) echo "routine report" ;;
        2) echo "alarm/event" ;;
        3) echo "Wi-Fi events" ;;
        4) echo "user option" ;;
        6) echo "DAL event" ;;
        10) echo "debug log" ;;
        *) echo "event type $1" ;;
    esac
}

report_event_type() { # the header's eventType (the first one in the document)
    grep -m1 -o '"eventType":[[:space:]]*[0-9]*' "$1" | grep -o '[0-9]*$'
}

report_members() { # top-level member names, in order
    grep -o '^	"[^"]*":' "$1" | tr -d '\t":' | tr '\n' ' '
}

describe_report() {
    f=$1
    ev=$(report_event_type "$f")
    size=$(wc -c <"$f" | tr -d ' ')
    echo "${ev:-?}" >>"$work/.event-types"
    printf '  <- report %s: %s (eventType %s), %s bytes: %s\n' "$(basename "$f")" \
        "$(event_name "${ev:-?}")" "${ev:-?}" "$size" "$(report_members "$f")"
}

summary() {
    n=$(sim_received_reports "$reports" | wc -l)
    sim_say "$n report(s) received by the broker's subscriber"
    if [ -f "$work/.event-types" ]; then
        sort -n "$work/.event-types" | uniq -c | while read -r count ev; do
            printf '[sim]   %3d x %s (eventType %s)\n' "$count" "$(event_name "$ev")" "$ev"
        done
        rm -f "$work/.event-types"
    fi
    if [ -f "$work/telem_json.out" ]; then
        ok=$(grep -c 'Publish success' "$work/telem_json.out")
        bad=$(grep -c 'Publish failed' "$work/telem_json.out")
        passes=$(grep -c 'Randomized init time is' "$work/telem_json.out")
        sim_say "daemon: $passes pass(es), $ok publish success(es), $bad publish failure(s)"
    fi
}

show_daemon_lines() { # new lines of the daemon's output that tell the story
    sed -n "$1,$2p" "$root/.sim/session.out" | tr -d '\r' >"$work/.new-lines"
    while IFS= read -r line; do
        # The daemon's messages often share a line (many start with a newline instead
        # of ending with one); each message of interest is shown on its own.
        case $line in
            *"Randomized init time is"*)
                passes=$((passes + 1))
                echo "  -- pass $passes of the main loop" ;;
        esac
        case $line in
            cmd=*) echo "  -> publisher: ${line#cmd=}" ;;
        esac
        printf '%s\n' "$line" | grep -o -e '[A-Za-z]* Publish success' -e '[A-Za-z]* Publish failed' \
            -e 'stop send event type [0-9]* event' -e 'receive [a-z-]* signal from [A-Za-z_]*' \
            -e 'WAN connection fail' -e 'retry sleep 20 seconds' -e 'Wait 60 min for retry again' \
            -e 'telem_json already running.' -e 'ERROR.*' -e 'Receive signal [A-Z]*' \
            -e 'current firmware version=.*' -e 'current serial number=.*' |
            cut -c1-150 | sed 's/^/  .. /'
    done <"$work/.new-lines"
    rm -f "$work/.new-lines"
}

telem_json_running() {
    for p in $(sim_procs_in_root "$root"); do
        [ "$(cat "/proc/$p/comm" 2>/dev/null)" = telem_json ] && return 0
    done
    return 1
}

# --- run ------------------------------------------------------------------------------------------

sim_say "work folder: $work"
sim_mkroot "$bin" "$scenario" "$root" >/dev/null || exit 1
sim_say "router: scenario $scenario ($(head -n 1 "$root/etc/hw_version")), root $root"
if [ "${DEMO_TLS:-0}" = 1 ]; then
    command -v openssl >/dev/null 2>&1 || sim_die "openssl is missing (make deps installs it)"
    SIM_BROKER_TLS_DIR=$work/tls
    sim_tls_certs "$SIM_BROKER_TLS_DIR"
    # The router's copy of its certificates, where its publisher reads them.
    mkdir -p "$root/etc/telem_tls"
    cp "$SIM_BROKER_TLS_DIR/ca.crt" "$SIM_BROKER_TLS_DIR/client.crt" "$SIM_BROKER_TLS_DIR/client.key" "$root/etc/telem_tls/"
fi
sim_broker_start "$work/broker" || exit 1
sim_say "broker: mosquitto on 127.0.0.1:$SIM_BROKER_PORT (log $work/broker/broker.log)"
sim_collector_start "$work/broker" "$reports" || exit 1
sim_say "subscriber: every message is saved in $reports"
AWSIOTPUB_HOST=127.0.0.1 AWSIOTPUB_PORT=$SIM_BROKER_PORT
export AWSIOTPUB_HOST AWSIOTPUB_PORT
if [ "${DEMO_TLS:-0}" = 1 ]; then
    AWSIOTPUB_PORT=$SIM_BROKER_TLS_PORT AWSIOTPUB_CAFILE=/etc/telem_tls/ca.crt
    AWSIOTPUB_CERTFILE=/etc/telem_tls/client.crt AWSIOTPUB_KEYFILE=/etc/telem_tls/client.key
    export AWSIOTPUB_CAFILE AWSIOTPUB_CERTFILE AWSIOTPUB_KEYFILE
    sim_say "publisher: mutual TLS to 127.0.0.1:$AWSIOTPUB_PORT with the client certificate /etc/telem_tls/client.crt (certificates in $SIM_BROKER_TLS_DIR)"
else
    sim_say "publisher: plain MQTT to 127.0.0.1:$AWSIOTPUB_PORT (DEMO_TLS=1 for mutual TLS)"
fi
sim_session_start "$root" /usr/bin/telem_json
if [ "$seconds" -gt 0 ]; then until_text="for $seconds s"; else until_text="until Ctrl-C"; fi
sim_say "telem_json started, clock x$SIM_SPEED ($until_text)"

start=$(date +%s)
shown=0
seen=0
passes=0
gone=0
last_status=0
while :; do
    sleep 1
    now=$(date +%s)
    elapsed=$((now - start))
    lines=$(wc -l <"$root/.sim/session.out")
    if [ "$lines" -gt "$shown" ]; then
        show_daemon_lines $((shown + 1)) "$lines"
        shown=$lines
    fi
    for f in $(sim_received_reports "$reports"); do
        n=${f##*/}
        n=$(expr "${n%.json}" + 0)
        [ "$n" -gt "$seen" ] || continue
        describe_report "$f"
        seen=$n
    done
    if [ $((elapsed - last_status)) -ge 30 ]; then
        last_status=$elapsed
        sim_say "t+${elapsed}s (router clock +$((elapsed * SIM_SPEED / 60)) min): $seen report(s) received"
    fi
    if ! telem_json_running; then
        gone=$((gone + 1))
        # telem_json detaches once at start; only a lasting absence means it ended.
        if [ $gone -ge 3 ]; then
            sim_say "telem_json is not running any more (see $root/.sim/session.out)"
            tail -n 5 "$root/.sim/session.out" | sed 's/^/  | /'
            break
        fi
    else
        gone=0
    fi
    [ "$seconds" -gt 0 ] && [ $elapsed -ge "$seconds" ] && break
done
exit 0
