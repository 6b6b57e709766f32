#!/bin/sh
# The daemon in the simulated VRE650 router publishes its first routine report, and the
# subscriber receives it with the router's identity in the "routerHardware" header:
# model from /etc/hw_version, firmware from the version tool, serial number from burnsn,
# MAC address from nvram lan_macaddr (in clear, RA_enable is "1").
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot vre650
t_broker_and_collector
t_start_daemon
t_wait 75 t_has_report_of_type 1 || t_fail "no routine report (eventType 1) received within 75 s"
r=$(t_reports_of_type 1 | head -n 1)
jq -e . "$r" >/dev/null 2>&1 || t_fail "the received report is not valid JSON"
t_expect_eq "first member" "$(t_json "$r" 'keys_unsorted[0]')" "routerHardware"
h=.routerHardware
t_expect_eq "productFamily" "$(t_json "$r" "$h.productFamily")" "wifiSystem"
t_expect_eq "modelName" "$(t_json "$r" "$h.modelName")" "VRE650"
t_expect_eq "hwRevision" "$(t_json "$r" "$h.hwRevision")" "H2"
t_expect_eq "stage" "$(t_json "$r" "$h.stage")" "prod"
t_expect_eq "eventType" "$(t_json "$r" "$h.eventType")" "1"
t_expect_eq "macAddress" "$(t_json "$r" "$h.deviceInfo.macAddress")" "94A67E102030"
t_expect_eq "serialNumber" "$(t_json "$r" "$h.deviceInfo.serialNumber")" "6VR650A0001234"
t_expect_eq "fwVersion" "$(t_json "$r" "$h.firmware.fwVersion")" "V1.0.4.86_1.0.80"
t_expect_eq "fwLastUpdate" "$(t_json "$r" "$h.firmware.fwLastUpdate")" "2024-11-12 03:10:44"
t_expect_eq "timeZoneOffset" "$(t_json "$r" "$h.timeZoneOffset")" "-08:00"
t_expect_eq "tncVersion" "$(t_json "$r" "$h.tncVersion")" "V2.0"
t_expect_eq "routerAnalyticsOption" "$(t_json "$r" "$h.routerAnalyticsOption")" "1"
t_expect_eq "kilnEnabled" "$(t_json "$r" "$h.kilnEnabled")" "true"
t_expect_eq "kiln_version" "$(t_json "$r" "$h.kiln_version")" "V2.3.1"
t_expect_eq "timeStamp.date length" "$(t_json "$r" "$h.timeStamp.date | length")" "3"
t_out_has "awsiot Publish success" || t_fail "the daemon did not log a successful publish"
t_out_has "current firmware version=[V1.0.4.86_1.0.80]" || t_fail "firmware version line missing"
t_out_has "current serial number=[6VR650A0001234]" || t_fail "serial number line missing"
t_out_has 'cmd=LD_LIBRARY_PATH=/usr/share /usr/bin/awsiotpub -i 94A67E102030 -f /tmp/telem_json_dir/telem_VRE650_1.json -t "analytics/" -o 1 >/tmp/ra_pub_log.txt' ||
    t_fail "the publisher command line was not printed as expected"
t_pass "first routine report received with the router's identity"
