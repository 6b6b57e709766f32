# Helpers for the simulated-router tests (tests/sim/*.sh). A test starts with
#
#   BIN=$1 SRC=$2
#   . "$SRC/sim/lib/testlib.sh"
#
# and gets a private work folder ($T_WORK) that is cleaned up on exit (set
# T_KEEP=1 to keep it), the sim.sh library, and the t_* functions below. A failing check
# prints "FAIL: ..." with the router's recent output and exits 1.
set -u
SIM_DIR=$SRC/sim
. "$SIM_DIR/lib/sim.sh"
T_NAME=$(basename "$0" .sh)
T_ROOT=""

t_log() { printf '[%s] %s\n' "$T_NAME" "$*"; }

t_cleanup() {
    rc=$?
    trap '' INT TERM
    [ -n "$T_ROOT" ] && [ -d "$T_ROOT/.sim" ] && sim_session_stop "$T_ROOT" >/dev/null 2>&1
    sim_collector_stop
    sim_broker_stop
    if [ "${T_KEEP:-0}" = 1 ]; then
        t_log "work folder kept: $T_WORK"
    else
        [ -n "$T_ROOT" ] && [ -d "$T_ROOT/.sim" ] && sim_destroy "$T_ROOT"
        rm -rf --one-file-system "$T_WORK"
    fi
    exit $rc
}

t_fail() {
    echo "FAIL: $*"
    if [ -n "$T_ROOT" ] && [ -f "$T_ROOT/.sim/session.out" ]; then
        echo "--- last lines of telem_json's output ($T_ROOT/.sim/session.out)"
        tail -n 40 "$T_ROOT/.sim/session.out"
    fi
    if [ -n "$T_ROOT" ] && [ -s "$T_ROOT/.sim/session.err" ]; then
        echo "--- sandbox set-up errors"
        cat "$T_ROOT/.sim/session.err"
    fi
    if [ -f "$T_WORK/broker/broker.log" ]; then
        echo "--- broker log"
        tail -n 15 "$T_WORK/broker/broker.log"
    fi
    exit 1
}

t_pass() {
    t_check_received_reports
    echo "PASS: $*"
    exit 0
}

# Every report the daemon published in this test must match the published format
# (schemas/); a report that breaks it fails the test with the member's path and the
# rule broken. Only reports of a test that ran the daemon are checked (a publisher test
# sends documents of its own).
t_check_received_reports() {
    [ "${T_DAEMON_STARTED:-0}" = 1 ] && [ -n "${T_REPORTS:-}" ] || return 0
    received=$(sim_received_reports "$T_REPORTS")
    [ -n "$received" ] || return 0
    # shellcheck disable=SC2086 # one path per received report, no blanks in them
    # Debian's interpreter first: python3-jsonschema is installed for it.
    py=/usr/bin/python3
    [ -x "$py" ] || py=python3
    out=$("$py" "$SRC/tools/validate_report.py" $received 2>&1)
    rc=$?
    [ $rc -eq 0 ] || t_fail "received reports do not match the published format (schemas/):
$out"
    t_log "$(echo "$received" | wc -l) received report(s) match the published format"
}

# A sandbox needs root or unprivileged user namespaces; where neither exists the test
# does not apply to this machine.
t_require_sandbox() {
    if reason=$(sim_sandbox_unavailable_reason); then
        echo "not applicable on this machine: $reason"
        exit 0
    fi
}

t_require() {
    for t in "$@"; do
        command -v "$t" >/dev/null 2>&1 || t_fail "$t is not installed (make deps installs it)"
    done
}

T_WORK=$(mktemp -d "${TMPDIR:-/tmp}/telem-simtest-$T_NAME.XXXXXX")
trap t_cleanup EXIT
trap 'exit 130' INT TERM HUP

t_mkroot() { # SCENARIO: generate the router in $T_WORK/router (sets T_ROOT)
    T_ROOT=$T_WORK/router
    sim_mkroot "$BIN" "$1" "$T_ROOT" >/dev/null || t_fail "could not generate the $1 router"
}

t_broker_and_collector() { # start the broker and the subscriber (reports in $T_REPORTS)
    T_REPORTS=$T_WORK/reports
    sim_broker_start "$T_WORK/broker" ${1:-} || t_fail "broker did not start"
    sim_collector_start "$T_WORK/broker" "$T_REPORTS" || t_fail "subscriber did not start"
    AWSIOTPUB_HOST=127.0.0.1 AWSIOTPUB_PORT=$SIM_BROKER_PORT
    export AWSIOTPUB_HOST AWSIOTPUB_PORT
}

t_start_daemon() { # [ARG...]: telem_json in the router, clock x${SIM_SPEED:-60}
    SIM_SPEED=${SIM_SPEED:-60}
    export SIM_SPEED
    T_DAEMON_STARTED=1
    sim_session_start "$T_ROOT" /usr/bin/telem_json "$@"
}

t_out() { cat "$T_ROOT/.sim/session.out"; }

# t_wait SECONDS COMMAND...: like sim_wait, but fails the test at once when telem_json
# has not been running for 3 s (it ended or never started), instead of waiting in vain.
t_wait() {
    deadline=$(($(date +%s) + $1))
    shift
    absent_since=""
    while ! "$@"; do
        now=$(date +%s)
        [ "$now" -lt "$deadline" ] || return 1
        if t_daemon_running; then
            absent_since=""
        elif [ -z "$absent_since" ]; then
            absent_since=$now
        elif [ $((now - absent_since)) -ge 3 ]; then
            t_fail "telem_json is not running (it ended or did not start)"
        fi
        sleep 0.2
    done
    return 0
}

t_out_count() { # PATTERN (fixed string): lines of the daemon's output holding it
    grep -cF -- "$1" "$T_ROOT/.sim/session.out"
}

t_out_has() { grep -qF -- "$1" "$T_ROOT/.sim/session.out"; }

# Received reports (files) whose routerHardware.eventType is EVENT, in arrival order.
t_reports_of_type() {
    for f in $(sim_received_reports "$T_REPORTS"); do
        ev=$(jq -r '.routerHardware.eventType // empty' "$f" 2>/dev/null)
        [ "$ev" = "$1" ] && echo "$f"
    done
    return 0
}

t_has_report_of_type() { [ -n "$(t_reports_of_type "$1")" ]; }

t_json() { # FILE FILTER: jq -r
    jq -r "$2" "$1" 2>/dev/null
}

t_expect_eq() { # WHAT ACTUAL EXPECTED
    [ "$2" = "$3" ] || t_fail "$1: got '$2', expected '$3'"
}

t_policy_stop_list() { # JSON array text, e.g. '["1"]'
    p=$T_ROOT/tmp/media/persistent/router-analytics/RAE_Policy.json
    sed -i "s/\"stopPublishEventType\": \[\]/\"stopPublishEventType\": $1/" "$p"
    grep -qF "\"stopPublishEventType\": $1" "$p" || t_fail "could not set the stop-publish list"
}

t_daemon_running() {
    for p in $(sim_procs_in_root "$T_ROOT"); do
        [ "$(cat "/proc/$p/comm" 2>/dev/null)" = telem_json ] && return 0
    done
    return 1
}
