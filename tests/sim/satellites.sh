#!/bin/sh
# The simulated router with three satellites (two connected, one of them daisy-chained
# behind the other and serving a 5 GHz SSID of its own, and one whose backhaul is down)
# publishes "SatelliteInfo" in its first routine report, equal to the reviewed golden:
# the SOAP client's cache, the device tables, the topology dump and the AP-switch
# records of the scenario all reach the report.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot satellites
t_broker_and_collector
# The first routine report comes after the first full pass; a faster clock keeps the
# test short.
SIM_SPEED=240 t_start_daemon
t_wait 50 t_has_report_of_type 1 || t_fail "no routine report (eventType 1) received within 50 s"
r=$(t_reports_of_type 1 | head -n 1)
jq -e .SatelliteInfo "$r" >/dev/null 2>&1 || t_fail "the routine report has no SatelliteInfo"
t_expect_eq "numberOfSatellite" "$(t_json "$r" .SatelliteInfo.numberOfSatellite)" "3"
t_expect_eq "satellite statuses" "$(t_json "$r" '[.SatelliteInfo.Satellite[].satelliteStatus] | join(",")')" \
    "Good,Weak,Disconnected"
t_expect_eq "SatelliteInfo" "$(jq -c .SatelliteInfo "$r")" "$(jq -c . "$SRC/tests/golden/satellite_info.json")"
if [ "$(t_json "$r" '.routerInfo | has("satAllSSIDCloneStatus")')" = true ]; then
    t_expect_eq "satAllSSIDCloneStatus" "$(t_json "$r" .routerInfo.satAllSSIDCloneStatus)" "Out of sync"
fi
t_out_has "[hook_soapc] request 1047" || t_fail "the SOAP client was not asked to refresh the satellites"
t_out_has "[create_disconnected_satellite_obj,"  || t_fail "the disconnected pass did not run"
t_pass "SatelliteInfo with two connected satellites and a disconnected one"
