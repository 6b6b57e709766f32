#!/bin/sh
# The policy's stop-publish list is honoured: with "stopPublishEventType": ["1"] the
# routine report is built but never written or published ("stop send event type 1
# event."), while other event types still go out (a DAL event handed in by another
# program is forwarded).
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot vre650
t_policy_stop_list '["1"]'
t_broker_and_collector
t_start_daemon
t_wait 60 t_out_has "stop send event type 1 event." || t_fail "the routine report was not stopped"
mkdir -p "$T_ROOT/tmp/telem_json_dal_dir"
cat >"$T_ROOT/tmp/telem_json_dal_dir/dal_event.json.new" <<'DAL'
{
	"publishEventInfo":	{
		"eventType":	10,
		"timeStamp":	{
			"date":	[2024, 11, 20],
			"time":	[10, 0, 0]
		},
		"epochTimeStamp":	"1732096800",
		"ntpResult":	"yes"
	},
	"dbgLogs":	[{
			"dbgEpochTimeStamp":	"1732096800",
			"dbglogType":	"SOAP API",
			"dbglevel":	"Debug",
			"dbgSource":	"Device",
			"dbgSummary":	"Success",
			"dbgMsg":	"CheckInternetStatus"
		}]
}
DAL
mv "$T_ROOT/tmp/telem_json_dal_dir/dal_event.json.new" "$T_ROOT/tmp/telem_json_dal_dir/dal_event.json"
t_wait 30 t_has_report_of_type 10 || t_fail "the DAL event was not published: publishing does not work at all"
r=$(t_reports_of_type 10 | head -n 1)
t_expect_eq "DAL body" "$(t_json "$r" '.dbgLogs[0].dbgMsg')" "CheckInternetStatus"
# Let more passes go by (x60: a pass is about 10 s).
sleep 12
[ -z "$(t_reports_of_type 1)" ] || t_fail "a routine report reached the broker"
[ -e "$T_ROOT/tmp/telem_json_dir/telem_VRE650_1.json" ] && t_fail "the stopped report was written to its file"
[ "$(t_out_count "stop send event type 1 event.")" -ge 1 ] || t_fail "stop message missing"
[ -e "$T_ROOT/tmp/telem_json_dal_dir/dal_event.json" ] && t_fail "the DAL event file was not deleted"
t_pass "event type 1 stopped, others published"
