#!/bin/sh
# The VRE670's satellite has a voice assistant: the first routine report carries
# "avsAnalytic" with the satellite's two records (the second read from the keys ending
# in "_1"), after the daemon asked the SOAP client for the voice status and the
# analytics. (The daily schedule of the part and nvram RA_voice_report are left to the
# unit tests: a pass of this router takes tens of seconds of wall time.)
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot vre670
t_broker_and_collector
SIM_SPEED=120 t_start_daemon

routine_reports_at_least() { [ "$(t_reports_of_type 1 | wc -l)" -ge "$1" ]; }

t_wait 45 routine_reports_at_least 1 || t_fail "no routine report within 45 s"
r=$(t_reports_of_type 1 | head -n 1)
a=.avsAnalytic
t_expect_eq "numberOfDevice" "$(t_json "$r" "$a.numberOfDevice")" "1"
t_expect_eq "macAddress" "$(t_json "$r" "$a.device[0].macAddress")" "D4:6E:0E:71:81:91"
t_expect_eq "serialNumber" "$(t_json "$r" "$a.device[0].serialNumber")" "7VS670E0000777"
t_expect_eq "numberOfRecord" "$(t_json "$r" "$a.device[0].numberOfRecord | tojson")" '"2"'
t_expect_eq "records" "$(t_json "$r" "$a.device[0].record | length")" "2"
r0="$a.device[0].record[0]"
r1="$a.device[0].record[1]"
t_expect_eq "record 0 date" "$(t_json "$r" "$r0.recordDate | tojson")" "[2025,2,1]"
t_expect_eq "record 0 hour" "$(t_json "$r" "$r0.recordHour")" "19"
t_expect_eq "record 0 by button" "$(t_json "$r" "$r0.triggerCountbyButton")" "2"
t_expect_eq "record 0 media" "$(t_json "$r" "[$r0.mediaRecord[].mediaProvider] | join(\",\")")" \
    "TuneIn,Amazon Music"
t_expect_eq "record 1 hour" "$(t_json "$r" "$r1.recordHour")" "20"
t_expect_eq "record 1 token refresh" "$(t_json "$r" "$r1.tokenRefeshFailedCount")" "1"
t_expect_eq "record 1 media" "$(t_json "$r" "$r1.mediaRecord | tojson")" \
    '[{"mediaProvider":"Spotify","mediaPlayPeriod":"300"}]'
t_out_has "[create_satellite_voice_obj,11174]satRegStatus:1" || t_fail "registration line missing"
t_out_has "create_satellite_voice_obj(11196):recordCount:2" || t_fail "record count line missing"
# The SOAP client was asked about the satellite (it looks once a second while the
# daemon's clock runs fast, so it may see the status request, the analytics request or
# both).
served() { grep -Eq "^soapc served action (16|23) for satellite 0$" "$T_ROOT/.sim/commands.log"; }
t_wait 10 served || t_fail "the SOAP client was never asked about the satellite's voice assistant"

t_pass "avsAnalytic in the first routine report, read after asking the SOAP client"
