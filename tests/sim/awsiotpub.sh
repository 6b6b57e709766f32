#!/bin/sh
# The development publisher against a real mosquitto on loopback: each report is
# delivered byte for byte with QoS 1 and "Publish done" is printed; every failure (no
# broker, a broker that never answers, an unreadable file, a bad command line) prints
# a line containing "ERROR" within the configured timeout, without "Publish done".
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require mosquitto mosquitto_sub busybox
pub=$BIN/awsiotpub
[ -x "$pub" ] || t_fail "$pub was not built (libmosquitto-dev missing?)"
t_broker_and_collector

# One report, the agent's command line as the router runs it (through the shell, log
# redirected).
printf '{\n\t"routerHardware":\t{\n\t\t"eventType":\t1\n\t}\n}' >"$T_WORK/telem_VRE650_1.json"
sh -c "LD_LIBRARY_PATH=/usr/share $pub -i 94A67E102030 -f $T_WORK/telem_VRE650_1.json -t \"analytics/\" -o 1 >$T_WORK/ra_pub_log.txt"
grep -q "Publish done" "$T_WORK/ra_pub_log.txt" || { cat "$T_WORK/ra_pub_log.txt"; t_fail "no 'Publish done' for a good report"; }
grep -q "ERROR" "$T_WORK/ra_pub_log.txt" && t_fail "ERROR line for a good report"
sim_wait 10 test -f "$T_REPORTS/0001.json" || t_fail "the report did not reach the subscriber"
cmp -s "$T_REPORTS/0001.json" "$T_WORK/telem_VRE650_1.json" || t_fail "received report differs from the file"
grep -q " analytics/ " "$T_WORK/broker/broker.log" 2>/dev/null || true

# A directory: every regular file, in name order, including a report over 128 KiB and
# an empty one.
mkdir -p "$T_WORK/wifi/sub"
echo '{"wifiConnectEvent":{"n":1}}' >"$T_WORK/wifi/telem_wifi_VRE650_0.json"
awk 'BEGIN { printf "{\"big\":\""; for (i = 0; i < 140000; i++) printf "x"; printf "\"}\n" }' >"$T_WORK/wifi/telem_wifi_VRE650_1.json"
: >"$T_WORK/wifi/telem_wifi_VRE650_2.json"
$pub -i 94A67E102030 -e 1 -d "$T_WORK/wifi" -t analytics/ -o 2 >"$T_WORK/dir.log"
grep -q "Publish done" "$T_WORK/dir.log" || { cat "$T_WORK/dir.log"; t_fail "directory publish not done"; }
sim_wait 10 test -f "$T_REPORTS/0004.json" || t_fail "not every file of the directory arrived"
for i in 0 1 2; do
    cmp -s "$T_REPORTS/000$((i + 2)).json" "$T_WORK/wifi/telem_wifi_VRE650_$i.json" ||
        t_fail "directory file $i arrived changed or out of order"
done
[ -f "$T_REPORTS/0005.json" ] && t_fail "the sub-directory was published"

# Broker down: the connection is refused at once.
port=$SIM_BROKER_PORT
sim_broker_stop
start=$(date +%s)
AWSIOTPUB_TIMEOUT=3 $pub -i X -f "$T_WORK/telem_VRE650_1.json" -t analytics/ -o 1 >"$T_WORK/down.log"
rc=$?
[ $rc -ne 0 ] || t_fail "exit status 0 with the broker down"
grep -q "ERROR" "$T_WORK/down.log" || t_fail "no ERROR line with the broker down"
grep -q "Publish done" "$T_WORK/down.log" && t_fail "'Publish done' with the broker down"
[ $(($(date +%s) - start)) -le 5 ] || t_fail "refused connection took too long"

# A server that accepts the connection but never answers: bounded by AWSIOTPUB_TIMEOUT.
(sleep 8 | busybox nc -l -p "$port" >/dev/null 2>&1) &
silent=$!
sleep 0.3
start=$(date +%s)
AWSIOTPUB_PORT=$port AWSIOTPUB_TIMEOUT=2 $pub -i X -f "$T_WORK/telem_VRE650_1.json" -t analytics/ -o 1 >"$T_WORK/silent.log"
took=$(($(date +%s) - start))
kill $silent 2>/dev/null
grep -q "ERROR" "$T_WORK/silent.log" || { cat "$T_WORK/silent.log"; t_fail "no ERROR line from a silent server"; }
[ $took -le 6 ] || t_fail "the timeout of 2 s took $took s"

# Unreadable file and bad command lines.
$pub -i X -f "$T_WORK/no-such-file.json" -t analytics/ -o 1 >"$T_WORK/nofile.log"
grep -q "ERROR" "$T_WORK/nofile.log" || t_fail "no ERROR for a missing file"
$pub -i X -f "$T_WORK/wifi" -t analytics/ -o 1 >"$T_WORK/isdir.log"
[ $? -eq 1 ] && grep -q "ERROR" "$T_WORK/isdir.log" || t_fail "no ERROR for a directory given as the file"
for args in "-i X -f $T_WORK/telem_VRE650_1.json -o 3" "-i X" "-i X -e 1" "-i X -d $T_WORK/wifi" "-i X -f a -e 1 -d $T_WORK/wifi" "-q"; do
    $pub $args >"$T_WORK/bad.log"
    [ $? -ne 0 ] && grep -q ERROR "$T_WORK/bad.log" || t_fail "no ERROR for the command line: $args"
done
t_pass "awsiotpub delivers with QoS 1 and reports every failure"
