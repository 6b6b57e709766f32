#!/bin/sh
# The routine report of a crowded home stays under 128 KiB. In the "crowded" router
# (110 clients online, 40 known clients offline, Fing installed) the attached-device
# table holds 128 entries, 110 online and 18 offline, and the first routine report is
# far larger than 131072 bytes. The size check drops the offline devices first, then
# five devices at a time from the end of the table, until the file fits; the report
# that reaches the broker is the final file, under the limit, with only online devices
# (the first ones of the table, in table order) and the full count in numberOfDevices.
#
# The console lines of the size check (telem_debug is "1") are read through a FIFO at
# /dev/console drained into $T_WORK/console.log: the plain console file of the other
# scenarios is rewritten by each publish ("cat ... > /dev/console"), which would erase
# them before they could be read.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq mkfifo
ONLINE=110 TABLE=128 LIMIT=131072

t_mkroot crowded
live=$T_ROOT/tmp/devices
t_expect_eq "clients in /tmp/devices" \
    "$(($(grep -c '^config device' "$live") - $(grep -c "conndevice 'satellite'" "$live")))" "$ONLINE"
t_expect_eq "offline known clients" \
    "$(grep -c "devConnStat '0'" "$T_ROOT/opt/cache/system/device-info-table/knowndevices")" 40
[ -e "$T_ROOT/usr/bin/fing_dil" ] || t_fail "the crowded router has no /usr/bin/fing_dil"

CONSOLE=$T_WORK/console.log
rm -f "$T_ROOT/dev/console"
mkfifo -m 666 "$T_ROOT/dev/console" || t_fail "cannot make the console FIFO"
# Opened for reading and writing, the FIFO never reports end of file and never makes a
# writer wait for a reader.
cat 0<>"$T_ROOT/dev/console" >"$CONSOLE" &
DRAIN=$!
stop_drain() {
    rc=$?
    [ -n "$T_ROOT" ] && [ -d "$T_ROOT/.sim" ] && sim_session_stop "$T_ROOT" >/dev/null 2>&1
    kill "$DRAIN" 2>/dev/null
    (exit $rc)
    t_cleanup
}
trap stop_drain EXIT

t_broker_and_collector
started=$(date +%s)
t_start_daemon
t_wait 90 t_has_report_of_type 1 || t_fail "no routine report (eventType 1) received within 90 s"
r=$(t_reports_of_type 1 | head -n 1)
t_log "first routine report after $(($(date +%s) - started)) s"
jq -e . "$r" >/dev/null 2>&1 || t_fail "the received report is not valid JSON"

# --- the message received ----------------------------------------------------------------
size=$(wc -c <"$r")
[ "$size" -lt "$LIMIT" ] || t_fail "the received report has $size bytes, not fewer than $LIMIT"
c=.connectedDeviceDetails
t_expect_eq "numberOfDevices" "$(t_json "$r" "$c.numberOfDevices")" "$TABLE"
n=$(t_json "$r" "$c.connDevices | length")
[ "$n" -ge 6 ] && [ "$n" -lt "$ONLINE" ] ||
    t_fail "connDevices holds $n entries; expected fewer than the $ONLINE online devices"
[ $(((ONLINE - n) % 5)) = 0 ] || t_fail "$n devices kept: not the $ONLINE online ones less a multiple of 5"
t_expect_eq "Offline entries" "$(t_json "$r" "[$c.connDevices[] | select(.connStatus == \"Offline\")] | length")" 0
t_expect_eq "Online entries" "$(t_json "$r" "[$c.connDevices[] | select(.connStatus == \"Online\")] | length")" "$n"
# The devices kept are the first n of the attached list, in its order.
expected=$(sed -n "s/^\tlist mac '\(..\)\(..\)\(..\)\(..\)\(..\)\(..\)'$/\1:\2:\3:\4:\5:\6/p" "$T_ROOT/tmp/devices" | head -n "$n")
t_expect_eq "MACs of the devices kept" "$(t_json "$r" "$c.connDevices[].macAddress")" "$expected"
t_expect_eq "last member" "$(t_json "$r" 'keys_unsorted[-1]')" "connectedDeviceDetails"

# --- the report file ------------------------------------------------------------------------
# A later pass may rewrite the file before it is looked at; the file must then equal the
# report that pass publishes.
file=$T_ROOT/tmp/telem_json_dir/telem_VRE650_1.json
file_is_a_received_report() {
    for f in $(t_reports_of_type 1); do cmp -s "$file" "$f" && return 0; done
    return 1
}
t_wait 30 file_is_a_received_report ||
    t_fail "$file ($(wc -c <"$file") bytes) differs from every received routine report"

# --- the console ------------------------------------------------------------------------------
# The size check's lines, in order (a line may follow a report printed without a final
# newline, so the texts are picked out of the stream).
events=$T_WORK/size-check.txt
grep -ao -e '\[checkjson_size\] file_size=[0-9]*' \
    -e '\[reduction_offline\]Offline:the file size is over 128K\[event type1\] ' \
    -e '\[reduction_size\]Online:the file size is over 128K\[event type1\] ' \
    -e '\[create_connected_device_detail_obj\]connection device num=[0-9]*' \
    -e 'the number of connection devices are less six' "$CONSOLE" >"$events"
grep -q 'less six' "$events" && t_fail "the size check gave up (fewer than six devices)"
t_out_has "less six" && t_fail "the daemon printed a give-up"
grep -qxF '[reduction_offline]Offline:the file size is over 128K[event type1] ' "$CONSOLE" ||
    t_fail "no console line \"[reduction_offline]Offline:the file size is over 128K[event type1] \""
grep -qxF '[reduction_size]Online:the file size is over 128K[event type1] ' "$CONSOLE" ||
    t_fail "no console line \"[reduction_size]Online:the file size is over 128K[event type1] \""
grep -qxE '\[checkjson_size\] file_size=[0-9]+' "$CONSOLE" || t_fail "no console line \"[checkjson_size] file_size=<n>\""

# The first size check, from its first file_size line to the first size that fits:
# sizes going down, one offline reduction after the first, a five-device reduction after
# each later one, each rebuild writing 110, 105, 100, ... devices.
summary=$(awk -v limit="$LIMIT" -v online="$ONLINE" '
    function fail(why) { print "FAIL " why; bad = 1; exit }
    /file_size=/ {
        sub(/.*=/, ""); s = $0 + 0; sizes = sizes (nsizes++ ? " " : "") s
        if (nsizes > 1 && s >= last) fail("size " s " after " last)
        last = s
        if (s < limit) { done = 1; exit }
        next
    }
    nsizes == 0 { next }
    /reduction_offline/ { if (nsizes != 1 || offline++) fail("offline reduction after size check " nsizes); next }
    /reduction_size/ { if (nsizes < 2) fail("five-device reduction before the offline one"); fives++; next }
    /device num=/ {
        sub(/.*=/, ""); want = online - 5 * fives
        if ($0 + 0 != want) fail("rebuilt with " $0 " devices, expected " want)
        kept = $0 + 0; next
    }
    END {
        if (bad) exit
        if (!done) { print "FAIL no size below " limit " in: " sizes; exit }
        if (!offline) { print "FAIL no offline reduction"; exit }
        print "OK " kept " " nsizes " " sizes
    }' "$events")
case $summary in OK*) ;; *) t_fail "console size check: $summary (lines in $events: $(tr '\n' '|' <"$events"))" ;; esac
set -- $summary
kept=$2 checks=$3
shift 3
t_expect_eq "devices in the last rebuild" "$kept" "$n"
final=""
eval "final=\${$checks}"
t_expect_eq "last file_size on the console" "$final" "$size"
[ "$1" -ge "$LIMIT" ] || t_fail "the first report ($1 bytes) was not over the limit"
t_log "scenario: $TABLE table entries ($ONLINE online), sizes on the console: $*"
t_log "received: $size bytes, $n devices, $(($(date +%s) - started)) s after start"
t_out_has "awsiot Publish success" || t_fail "the daemon did not log a successful publish"
t_pass "oversized routine report reduced from $1 to $size bytes ($n of $TABLE devices)"
