#!/bin/sh
# Nothing is lost while the cloud is unreachable: with the broker down the routine
# report fails to publish, the same file is sent again on the next attempts (no new
# report is built meanwhile), and once the broker is back that very report arrives.
# Only event type 1 is published here (the policy stops the others), and the clock runs
# x5 so that the 20-second retry wait takes 4 s, time enough to bring the broker back.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot vra420
t_policy_stop_list '["0", "2", "3", "4", "6"]'
# A free port, then no broker on it.
sim_broker_start "$T_WORK/broker" || t_fail "broker did not start"
port=$SIM_BROKER_PORT
sim_broker_stop
AWSIOTPUB_HOST=127.0.0.1 AWSIOTPUB_PORT=$port AWSIOTPUB_TIMEOUT=2
export AWSIOTPUB_HOST AWSIOTPUB_PORT AWSIOTPUB_TIMEOUT
SIM_SPEED=5 t_start_daemon
report=$T_ROOT/tmp/telem_json_dir/telem_VRA420_1.json
failed() { [ "$(t_out_count "awsiot Publish failed")" -ge "$1" ]; }
t_wait 50 failed 1 || t_fail "no failed publish while the broker is down"
cp "$report" "$T_WORK/built-before-outage.json" || t_fail "no per-type report file after the failure"
t_wait 15 failed 2 || t_fail "the report was not sent again"
cmp -s "$report" "$T_WORK/built-before-outage.json" || t_fail "a new report was built instead of re-sending the same file"
t_out_has "ERROR" || t_fail "the publisher's ERROR line was not shown"
# The broker comes back on the same port.
sim_broker_start "$T_WORK/broker" "$port" || t_fail "broker did not restart on port $port"
T_REPORTS=$T_WORK/reports
sim_collector_start "$T_WORK/broker" "$T_REPORTS" || t_fail "subscriber did not start"
t_wait 30 t_has_report_of_type 1 || t_fail "the report never arrived after the broker came back"
r=$(t_reports_of_type 1 | head -n 1)
cmp -s "$r" "$T_WORK/built-before-outage.json" || t_fail "the report that arrived is not the one built before the outage"
t_out_has "awsiot Publish success" || t_fail "no successful publish logged"
count=$(sim_nvram_get "$T_ROOT" awsiot_retry_count)
[ "${count:-0}" -ge 2 ] || t_fail "awsiot_retry_count is '$count', expected at least 2"
t_pass "the report built during the outage arrived once the broker was back"
