#!/bin/sh
# The memory alarm end to end: with a policy threshold of 80 % held for one minute and
# a /proc/meminfo showing 90 % in use, the daemon publishes an alarm report (event
# type 2) whose "memoryUsage" body carries "memoryUtilizationsAlarm" and the figures,
# and reports that alarm once.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq
t_mkroot vre650
p=$T_ROOT/tmp/media/persistent/router-analytics/RAE_Policy.json
sed -i -e 's/"memoryUtilizationsHigh": "90"/"memoryUtilizationsHigh": "80"/' \
    -e 's/"memoryUtilizationsDuration": "10"/"memoryUtilizationsDuration": "1"/' "$p"
grep -qF '"memoryUtilizationsHigh": "80"' "$p" || t_fail "could not set the memory threshold"
grep -qF '"memoryUtilizationsDuration": "1"' "$p" || t_fail "could not set the memory duration"
# 500000 kB in all, 20000 free, 5000 buffers, 25000 cached: 450000 kB (90 %) in use.
cat >"$T_ROOT/proc/meminfo" <<'MEM'
MemTotal:         500000 kB
MemFree:           20000 kB
MemAvailable:      50000 kB
Buffers:            5000 kB
Cached:            25000 kB
SwapCached:            0 kB
MEM
t_broker_and_collector
t_start_daemon
memory_alarm_reports() {
    for r in $(t_reports_of_type 2); do
        [ "$(t_json "$r" '.memoryUsage.memoryUtilizationsAlarm.alarmReason')" != null ] && echo "$r"
    done
    return 0
}
has_memory_alarm() { [ -n "$(memory_alarm_reports)" ]; }
t_wait 50 has_memory_alarm || t_fail "no alarm report with memoryUsage arrived"
r=$(memory_alarm_reports | head -n 1)
t_expect_eq "alarm reason" "$(t_json "$r" '.memoryUsage.memoryUtilizationsAlarm.alarmReason')" \
    "Router's memory utilizations are too high"
t_expect_eq "members" "$(t_json "$r" '.memoryUsage | keys_unsorted | join(",")')" \
    "memoryUtilizationsAlarm,memoryInfo"
t_expect_eq "info members" "$(t_json "$r" '.memoryUsage.memoryInfo | keys_unsorted | join(",")')" \
    "memoryTotal,memoryFree,memoryUsed,memoryUtilization,memoryThreshold,meminfoLog,slabinfoLog,psLog"
t_expect_eq "total" "$(t_json "$r" '.memoryUsage.memoryInfo.memoryTotal')" 500000
t_expect_eq "free" "$(t_json "$r" '.memoryUsage.memoryInfo.memoryFree')" 50000
t_expect_eq "used" "$(t_json "$r" '.memoryUsage.memoryInfo.memoryUsed')" 450000
t_expect_eq "utilization" "$(t_json "$r" '.memoryUsage.memoryInfo.memoryUtilization')" "90.00%"
t_expect_eq "threshold" "$(t_json "$r" '.memoryUsage.memoryInfo.memoryThreshold')" "80%"
t_json "$r" '.memoryUsage.memoryInfo.meminfoLog' | grep -q '^MemTotal: *500000 kB' ||
    t_fail "meminfoLog does not hold the /proc/meminfo snapshot"
t_expect_eq "event type" "$(t_json "$r" '.routerHardware.eventType')" 2
[ -e "$T_ROOT/tmp/ra_memory_alarm" ] || t_fail "the alarm mark file was not made"
# The alarm is reported once while the mark file stays (x60: a pass is about 10 s).
sleep 10
[ "$(memory_alarm_reports | wc -l)" -eq 1 ] || t_fail "the memory alarm was reported more than once"
t_pass "memory alarm published once as event type 2"
