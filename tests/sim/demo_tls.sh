#!/bin/sh
# DEMO_TLS=1: the demo publishes over mutual TLS (certificates made for the run, the
# broker's TLS listener requiring the router's client certificate), and the reports
# arrive as with plain MQTT.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq openssl faketime
out=$T_WORK/demo.out
DEMO_TLS=1 DEMO_SECONDS=25 DEMO_DIR=$T_WORK/demo sh "$SIM_DIR/demo.sh" "$BIN" >"$out" 2>&1
rc=$?
[ $rc -eq 0 ] || { cat "$out"; t_fail "demo exited with status $rc"; }
grep -q "publisher: mutual TLS to 127.0.0.1:" "$out" || { cat "$out"; t_fail "the demo does not say it uses TLS"; }
grep -q "require_certificate true" "$T_WORK/demo/broker/mosquitto.conf" || t_fail "the broker does not require a client certificate"
grep -q "awsiot Publish success" "$T_WORK/demo/telem_json.out" || { cat "$out"; t_fail "no successful upload over TLS"; }
grep -q -E "report [0-9]+\.json: routine report \(eventType 1\)" "$out" || { cat "$out"; t_fail "no routine report received over TLS"; }
T_REPORTS=$T_WORK/demo/reports T_DAEMON_STARTED=1
t_pass "the demo publishes over mutual TLS"
