#!/bin/sh
# The MCS publisher stand-in inside the router: `mcs_publish -g <code> -f <log>` delivers
# the agent's per-type report and writes a log without "X-Error"/"Couldn't resolve" on
# success, and with "X-Error" when the upload fails.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox
t_mkroot vra420
t_broker_and_collector
cmd='mkdir -p /tmp/telem_json_dir && printf "{\"routerHardware\":{\"eventType\":2}}" >/tmp/telem_json_dir/telem_VRA420_2.json &&
     /usr/bin/mcs_publish -g 2 -f /tmp/ra_pub_log.txt; cat /tmp/ra_pub_log.txt'
out=$(sim_exec "$T_ROOT" sh -c "$cmd")
echo "$out" | grep -q -e "X-Error" -e "Couldn't resolve" && t_fail "failure line on success: $out"
echo "$out" | grep -q "200 OK" || t_fail "no success line: $out"
sim_wait 10 test -f "$T_REPORTS/0001.json" || t_fail "the report did not arrive"
t_expect_eq "delivered report" "$(cat "$T_REPORTS/0001.json")" '{"routerHardware":{"eventType":2}}'
sim_broker_stop
out=$(AWSIOTPUB_TIMEOUT=2 sim_exec "$T_ROOT" sh -c "$cmd")
echo "$out" | grep -q "X-Error" || t_fail "no X-Error line with the broker down: $out"
t_pass "mcs_publish speaks the MCS log protocol"
