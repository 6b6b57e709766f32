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
    ls "$fwd" 2>/dev/null | grep -q -- "-$1\$"
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
t_expect_eq "lastRebootTimestamp" "$(t_json "$r" '.kernelReboot.lastRebootTimestamp')" "2026/1/3 04:12:33"
t_expect_eq "lastRebootReason" "$(t_json "$r" '.kernelReboot.lastRebootReason')" "1"
t_json "$r" '.kernelReboot.kernelCrashLog' | grep -q "wlan_vdev_mlme_get_state" ||
    t_fail "the kernel reboot report lacks the crash log"
t_expect_eq "latest_reboot_data.txt" "$(cat "$T_ROOT/opt/persistent/router-analytics/latest_reboot_data.txt")" \
    "2026/1/3 04:12:33, reason: 1"
t_expect_eq "reboot history" "$(wc -l <"$T_ROOT/opt/persistent/router-analytics/reboot_by_user.txt")" "3"
t_expect_eq "kernel reboot reports" "$(reports_of 0 | wc -l)" "1"

r=$(reports_of 1 | head -n 1)
t_expect_eq "hubShare.usbStorage" "$(t_json "$r" '.hubShare.usbStorage')" "true"

n=0
for f in $(reports_of 2); do
    [ "$(t_json "$f" '.ssorapLoginEvent.ssorapEventType // empty')" = GUILoginRedirect ] || continue
    n=$((n + 1))
    t_expect_eq "ssorapSubEventType" "$(t_json "$f" '.ssorapLoginEvent.ssorapSubEventType')" "LoginRedirectToServer"
    t_expect_eq "redirectStringENC" "$(t_json "$f" '.ssorapLoginEvent.redirectStringENC')" \
        "https://accounts.qa.telem.example/login?redirectUrl=http://192.168.50.1&signature=c3RhcnQuaHRt"
done
t_expect_eq "login events" "$n" "1"

r=$(reports_of 17 | head -n 1)
t_expect_eq "install source" "$(t_json "$r" '.installEvent.source')" "RA"
t_expect_eq "install verb" "$(t_json "$r" '.installEvent.verb')" "install"
t_expect_eq "install payload" "$(t_json "$r" '.installEvent.payload.model')" "VRS670"
t_expect_eq "install model" "$(t_json "$r" '.installEvent.routerModel')" "VRE670"

f=$(ls "$fwd"/*-DetectWANType | head -n 1)
t_expect_eq "SOAP summary" "$(t_json "$f" '.dbgLogs[0].dbgSummary')" "Success"
t_expect_eq "SOAP arg2" "$(t_json "$f" '.dbgLogs[0].dbgArg2')" "PPPoE detected on eth0"
t_expect_eq "SOAP eventType" "$(t_json "$f" '.publishEventInfo.eventType')" "10"
f=$(ls "$fwd"/*-telem_dbglog_file | head -n 1)
t_expect_eq "satNotify summary" "$(t_json "$f" '.dbgLogs[0].dbgSummary')" \
    "Sat complete event sending: SatSetupComplete_D46E0E718191"
t_expect_eq "satNotify message" "$(t_json "$f" '.dbgLogs[0].dbgMsg.satellites[0].status')" "incomplete"
t_wait 10 forwarded CheckInternetStatus || t_fail "CheckInternetStatus result not forwarded"
f=$(ls "$fwd"/*-CheckInternetStatus | head -n 1)
t_expect_eq "misspelt code without blank" "$(t_json "$f" '.dbgLogs[0].dbgSummary')" "Fail"
[ -z "$(ls "$T_ROOT/tmp/soap/ra")" ] || t_fail "the SOAP result folder was not emptied"
t_pass "kernel reboot, USB storage, login, install and debug-log events"
