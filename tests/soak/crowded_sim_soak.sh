#!/bin/sh
# The crowded home for SOAK_PASSES passes (default 200) at full speed, the publisher
# failing every third upload. Every report the daemon hands over is recorded by a
# wrapper around the publisher: each failed upload must be tried again (the retry
# rules keep it), every upload the wrapper let through must reach the broker, and the
# daemon's resident memory must not keep growing.
BIN=$1 SRC=$2
. "$SRC/sim/lib/testlib.sh"
t_require_sandbox
t_require mosquitto mosquitto_sub busybox jq md5sum
PASSES=${SOAK_PASSES:-200}
# A crowded pass at full speed costs the router about 4 s of CPU (the daemon and every
# tool it starts): allow 15 s a pass so that a loaded machine still finishes.
PASS_SECONDS=${SOAK_PASS_SECONDS:-15}

t_mkroot crowded
sim_nvram_set "$T_ROOT" ra_test_trigger 1

# The publisher: every third call fails with an ERROR line; every call leaves a copy of
# the file it was given in /.sim/published/<call>.<outcome>.
mv "$T_ROOT/usr/bin/awsiotpub" "$T_ROOT/usr/bin/awsiotpub.real"
cat >"$T_ROOT/usr/bin/awsiotpub" <<'WRAP'
#!/bin/sh
n=$(($(cat /.sim/publish-count 2>/dev/null || echo 0) + 1))
echo "$n" >/.sim/publish-count
file=""
prev=""
for a in "$@"; do
    [ "$prev" = "-f" ] && file=$a
    prev=$a
done
mkdir -p /.sim/published
if [ $((n % 3)) = 0 ]; then
    echo "$n failed ${file:--d}" >>/.sim/publish.log
    [ -n "$file" ] && cp "$file" "/.sim/published/$n.failed"
    echo "ERROR: upload $n refused by the soak test"
    exit 1
fi
echo "$n sent ${file:--d}" >>/.sim/publish.log
[ -n "$file" ] && cp "$file" "/.sim/published/$n.sent"
exec /usr/bin/awsiotpub.real "$@"
WRAP
chmod 755 "$T_ROOT/usr/bin/awsiotpub"

t_broker_and_collector
SIM_SPEED=${SOAK_SPEED:-1000} t_start_daemon
started=$(date +%s)
passes() { t_out_count "[RAE]Randomized init time is"; }
passes_at_least() { [ "$(passes)" -ge "$1" ]; }
daemon_rss() {
    for p in $(sim_procs_in_root "$T_ROOT"); do
        if [ "$(cat "/proc/$p/comm" 2>/dev/null)" = telem_json ]; then
            awk '$1 == "VmRSS:" { print $2 }' "/proc/$p/status"
            return
        fi
    done
}
t_wait 300 passes_at_least 20 || t_fail "fewer than 20 passes in 300 s ($(passes))"
rss_early=$(daemon_rss)
[ -n "$rss_early" ] || t_fail "no resident size of the daemon found"
t_wait $((PASSES * PASS_SECONDS)) passes_at_least "$PASSES" ||
    t_fail "only $(passes) of $PASSES passes in $((PASSES * PASS_SECONDS)) s"
rss_late=$(daemon_rss)
[ -n "$rss_late" ] || t_fail "no resident size of the daemon found at the end"
elapsed=$(($(date +%s) - started))
sim_session_stop "$T_ROOT" || t_fail "the router did not stop"
sleep 2 # the subscriber writes what the broker still delivers

pub=$T_ROOT/.sim/published
calls=$(cat "$T_ROOT/.sim/publish-count")
# Counted from the wrapper's log: a directory upload ("-d") leaves no copy behind.
failed=$(grep -c '^[0-9]* failed ' "$T_ROOT/.sim/publish.log")
sent=$(grep -c '^[0-9]* sent ' "$T_ROOT/.sim/publish.log")
[ "$failed" -gt 0 ] || t_fail "no upload failed"
[ "$failed" -ge $(((calls - 2) / 3)) ] || t_fail "$failed of $calls uploads failed, expected a third"

# Every failed upload is followed by another upload of the same file (or directory).
log=$T_ROOT/.sim/publish.log
lost=$(awk -v last="$calls" '
    { name[$1] = $3; outcome[$1] = $2 }
    END {
        for (n = 1; n <= last; n++) {
            if (outcome[n] != "failed" || n > last - 3) continue
            again = 0
            for (m = n + 1; m <= last; m++) if (name[m] == name[n]) { again = 1; break }
            if (!again) printf " %d:%s", n, name[n]
        }
    }' "$log")
[ -z "$lost" ] || t_fail "failed uploads never tried again:$lost"

# Every upload let through reached the broker (the last one may still be in flight).
md5sum "$T_REPORTS"/*.json 2>/dev/null | cut -d' ' -f1 | sort -u >"$T_WORK/received.md5"
missing=0
for path in "$pub"/*.sent; do
    [ -e "$path" ] || continue
    f=${path##*/}
    n=${f%.sent}
    [ "$n" -ge $((calls - 1)) ] && continue
    grep -qxF "$(md5sum <"$pub/$f" | cut -d' ' -f1)" "$T_WORK/received.md5" || missing=$((missing + 1))
done
[ "$missing" = 0 ] || t_fail "$missing uploads that the publisher sent never reached the broker"

growth=$((rss_late - rss_early))
[ "$growth" -lt 2048 ] || t_fail "resident memory grew from $rss_early kB to $rss_late kB"
t_log "$(passes) passes in $elapsed s: $calls uploads, $failed failed, $sent sent; RSS $rss_early -> $rss_late kB"
t_pass "crowded soak: nothing lost over $(passes) passes with a third of the uploads failing"
