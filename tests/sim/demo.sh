#!/bin/sh
# `make demo` in short: sim/demo.sh with DEMO_SECONDS stops by itself, leaves no process
# behind, and its last line is the folder holding the received reports, one JSON file
# per message.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
out=$T_WORK/demo.out
start=$(date +%s)
DEMO_SECONDS=25 DEMO_DIR=$T_WORK/demo sh "$SIM_DIR/demo.sh" "$BIN" >"$out" 2>&1
rc=$?
took=$(($(date +%s) - start))
[ $rc -eq 0 ] || { cat "$out"; t_fail "demo exited with status $rc"; }
[ $took -le 100 ] || t_fail "demo took $took s for DEMO_SECONDS=25"
last=$(tail -n 1 "$out")
t_expect_eq "last line" "$last" "$T_WORK/demo/reports"
n=0
for f in "$last"/*; do
    case $f in *.json) ;; *) t_fail "unexpected file in the reports folder: $f" ;; esac
    jq -e .routerHardware "$f" >/dev/null 2>&1 || t_fail "$f is not a report"
    n=$((n + 1))
done
[ $n -ge 2 ] || { cat "$out"; t_fail "only $n report(s) in 25 s at x60"; }
grep -q -E "report [0-9]+\.json: routine report \(eventType 1\)" "$out" || t_fail "progress does not show the received reports"
grep -q -E -- "-- pass [0-9]+ of the main loop" "$out" || t_fail "progress does not show the passes"
[ -d "$T_WORK/demo/router" ] && t_fail "the router tree was not removed"
grep -q "publisher: plain MQTT" "$out" || t_fail "the demo does not say it publishes over plain MQTT"
# The demo's reports are checked against the published format by t_pass.
T_REPORTS=$last T_DAEMON_STARTED=1
for p in /proc/[0-9]*; do
    tr '\0' ' ' <"$p/cmdline" 2>/dev/null | grep -qF "$T_WORK/demo" && t_fail "process left behind: $(tr '\0' ' ' <"$p/cmdline")"
done
t_pass "demo ran $took s, $n reports"
