#!/bin/sh
# The events router (sim/scenarios/events): after a kernel crash the daemon publishes the
# kernel reboot report with the crash log, the routine report says USB storage is
# present (two sticks; the NetUSB printer does not count), the SSO trigger brings the
# login event, the DAL install event goes out filled in, and the debug-log events (the
# satellite setup notification and one per SOAP API result) are forwarded by
# telem_heartbeat.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot events
t_broker_and_collector
SIM_SPEED=120 t_start_daemon
fwd=$T_ROOT/.sim/forwarded-events
forwarded() { # NAME-SUFFIX: a forwarded event file ending so
    for f in "$fwd"/*-"$1"; do [ -e "$f" ] && return 0; done
    return 1
}
# Received reports whose header's eventType is TYPE, read with one awk over the files
# (the header comes first), so that waiting stays cheap while reports pile up.
reports_of() { # TYPE
    t=$1
    set -- "$T_REPORTS"/[0-9]*.json
    [ -e "$1" ] || return 0
    awk -v t="$t" 'FNR <= 20 && $0 ~ ("\"eventType\":[ \t]*" t ",") { print FILENAME; nextfile }' "$@"
}
has() { [ -n "$(reports_of "$1")" ]; }
all_in() {
    has 0 && has 2 && has 17 && forwarded DetectWANType && forwarded telem_dbglog_file
}
t_log "daemon started"
t_wait 45 all_in || t_fail "missing: type 0 $(reports_of 0 | wc -l), type 2 $(reports_of 2 | wc -l), type 17 $(reports_of 17 | wc -l), forwarded: $(ls "$fwd" 2>/dev/null | tr '\n' ' ')"

t_log "all reports and events in"
r=$(reports_of 0 | head -n 1)
t_expect_eq "kernel reboot report" \
    "$(t_json "$r" '[.kernelReboot.lastRebootTimestamp, .kernelReboot.lastRebootReason,
        (.kernelReboot.kernelCrashLog | contains("wlan_vdev_mlme_get_state"))] | map(tostring) | join("|")')" \
    "2026/1/3 04:12:33|1|true"
t_expect_eq "kernel reboot reports" "$(reports_of 0 | wc -l)" "1"
rec=$T_ROOT/opt/persistent/router-analytics
t_expect_eq "latest_reboot_data.txt" "$(cat "$rec/latest_reboot_data.txt")" "2026/1/3 04:12:33, reason: 1"
t_expect_eq "reboot history" "$(wc -l <"$rec/reboot_by_user.txt")" "3"

r=$(reports_of 1 | head -n 1)
t_expect_eq "hubShare.usbStorage" "$(t_json "$r" '.hubShare.usbStorage')" "true"

# One login event, of code 5 with the test account service's sign-in link.
logins=$(for f in $(reports_of 2); do
    t_json "$f" '.ssorapLoginEvent // empty | [.ssorapEventType, .ssorapSubEventType,
        .redirectStringENC] | map(tostring) | join("|")'
done)
t_expect_eq "login events" "$logins" \
    "GUILoginRedirect|LoginRedirectToServer|https://accounts.qa.telem.example/login?redirectUrl=http://192.168.50.1&signature=c3RhcnQuaHRt"

r=$(reports_of 17 | head -n 1)
t_expect_eq "install event" \
    "$(t_json "$r" '.installEvent | [.source, .verb, .payload.model, .routerModel] | map(tostring) | join("|")')" \
    "RA|install|VRS670|VRE670"

f=$(ls "$fwd"/*-DetectWANType | head -n 1)
t_expect_eq "SOAP event" \
    "$(t_json "$f" '[.publishEventInfo.eventType, .dbgLogs[0].dbgSummary, .dbgLogs[0].dbgArg2] | map(tostring) | join("|")')" \
    "10|Success|PPPoE detected on eth0"
f=$(ls "$fwd"/*-telem_dbglog_file | head -n 1)
t_expect_eq "satNotify event" \
    "$(t_json "$f" '[.dbgLogs[0].dbgSummary, .dbgLogs[0].dbgMsg.satellites[0].status] | map(tostring) | join("|")')" \
    "Sat complete event sending: SatSetupComplete_D46E0E718191|incomplete"
t_wait 10 forwarded CheckInternetStatus || t_fail "CheckInternetStatus result not forwarded"
f=$(ls "$fwd"/*-CheckInternetStatus | head -n 1)
t_expect_eq "misspelt code without blank" "$(t_json "$f" '.dbgLogs[0].dbgSummary')" "Fail"
[ -z "$(ls "$T_ROOT/tmp/soap/ra")" ] || t_fail "the SOAP result folder was not emptied"
t_pass "kernel reboot, USB storage, login, install and debug-log events"
