#!/bin/sh
# A trigger file is served once: /tmp/telem_signal (left by the firmware checker) makes
# the daemon send one alarm-and-event report (event type 2) with the firmware upgrade
# analytics marked "Triggered", and the file is deleted so the trigger is not served
# again.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot vre670
t_broker_and_collector
t_start_daemon
t_wait 60 t_has_report_of_type 1 || t_fail "no routine report: the daemon did not reach its watch phase"
[ "$(t_out_count "receive trigger signal from check_fw")" = 0 ] || t_fail "trigger served before the file existed"
touch "$T_ROOT/tmp/telem_signal"
gone() { [ ! -e "$T_ROOT/tmp/telem_signal" ]; }
t_wait 20 gone || t_fail "the trigger file was not taken"
t_wait 20 t_has_report_of_type 2 || t_fail "no event type 2 report after the trigger"
r=$(t_reports_of_type 2 | head -n 1)
t_expect_eq "fwUpgradeTriggered" "$(t_json "$r" '.firmwareUpgradeAnalytics.fwUpgradeTriggered')" "Triggered"
t_expect_eq "routerCurrentVersion" "$(t_json "$r" '.firmwareUpgradeAnalytics.routerCurrentVersion')" "V2.0.1.14_2.0.9"
# Another minute of router time (x60: 1 s real per minute) must bring no second serving.
sleep 6
t_expect_eq "trigger lines" "$(t_out_count "receive trigger signal from check_fw")" "1"
n=0
for f in $(t_reports_of_type 2); do
    [ "$(t_json "$f" '.firmwareUpgradeAnalytics.fwUpgradeTriggered // empty')" = Triggered ] && n=$((n + 1))
done
t_expect_eq "triggered reports" "$n" "1"
[ -e "$T_ROOT/tmp/telem_signal" ] && t_fail "the trigger file came back"
t_pass "the trigger was served exactly once"
