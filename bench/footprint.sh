#!/bin/sh
# What the daemon costs the router it runs on, measured in the simulated router.
#
#   sh bench/footprint.sh [BIN_DIR] [PASSES] [SCENARIO...]
#
# BIN_DIR defaults to build/bin, PASSES to 5, the scenarios to "crowded vre650" (the
# crowded home and the default router). For each scenario the daemon runs with its
# clock SIM_SPEED (default 60) times faster, until PASSES passes of its main loop are
# complete, and the script prints:
#
#   cpu/pass     the daemon's own CPU time (utime + stime, children not included) per
#                pass, median over the passes, and the smallest and largest pass
#   VmHWM        peak resident set after pass 1 and after pass PASSES
#   RssAnon      anonymous resident memory (the daemon's own heap and stack) at the
#                same two moments
#   tools/pass   calls of the router's tools per pass (the stand-ins' call log), median
#   procs/pass   processes started in the router per pass (the PID namespace's last
#                PID), median; this counts every process, also those the tools and the
#                shell start in turn
#   starts/pass  with FOOTPRINT_STARTS=1 only: processes the daemon itself started per
#                pass (its vfork, fork and clone calls, counted by strace attached to
#                it), median. strace stops the daemon at every system call, so in this
#                mode cpu/pass is not the daemon's own figure: measure the two apart.
#
# A pass is counted from the line the daemon prints once it has filled the
# attached-device table ("dev_info->num_entry =") to the same line of the next pass,
# so PASSES passes need PASSES + 1 of those lines. The figures are sampled every
# 0.2 s; a sample belongs to the pass during which it was taken.
#
# Needs root (or unprivileged user namespaces), mosquitto and the build's tools, like
# the simulator tests. Nothing is left running or on disk afterwards.
set -u
SRC=$(cd "$(dirname "$0")/.." && pwd)
BIN=$(cd "${1:-$SRC/build/bin}" && pwd) || exit 1
PASSES=${2:-5}
[ $# -gt 2 ] && shift 2 && SCENARIOS=$* || SCENARIOS="crowded vre650"
SIM_DIR=$SRC/sim
. "$SIM_DIR/lib/sim.sh"

if reason=$(sim_sandbox_unavailable_reason); then
    echo "footprint: no sandbox on this machine: $reason" >&2
    exit 1
fi
command -v nsenter >/dev/null 2>&1 || sim_die "nsenter (util-linux) is needed"
if [ "${FOOTPRINT_STARTS:-0}" = 1 ]; then
    command -v strace >/dev/null 2>&1 || sim_die "FOOTPRINT_STARTS=1 needs strace"
fi

WORK=$(mktemp -d "${TMPDIR:-/tmp}/telem-footprint.XXXXXX")
ROOT=""
cleanup() {
    trap '' INT TERM
    [ -n "$ROOT" ] && [ -d "$ROOT/.sim" ] && sim_destroy "$ROOT" >/dev/null 2>&1
    sim_collector_stop
    sim_broker_stop
    rm -rf --one-file-system "$WORK"
}
trap cleanup EXIT
trap 'exit 130' INT TERM HUP

TICK=$(getconf CLK_TCK)
SIM_SPEED=${SIM_SPEED:-60}
export SIM_SPEED

sim_broker_start "$WORK/broker" || sim_die "the broker did not start"
sim_collector_start "$WORK/broker" "$WORK/reports"
AWSIOTPUB_HOST=127.0.0.1 AWSIOTPUB_PORT=$SIM_BROKER_PORT
export AWSIOTPUB_HOST AWSIOTPUB_PORT

# The detached daemon: the telem_json process of the root whose parent is not one
# (a child between fork and exec still carries the parent's name).
daemon_pid() {
    for p in $(sim_procs_in_root "$ROOT"); do
        [ "$(cat "/proc/$p/comm" 2>/dev/null)" = telem_json ] || continue
        pp=$(awk '{print $4}' "/proc/$p/stat" 2>/dev/null) || continue
        [ "$(cat "/proc/$pp/comm" 2>/dev/null)" = telem_json ] && continue
        echo "$p"
        return 0
    done
    return 1
}

# One sample: "<passes begun> <cpu ticks> <VmHWM kB> <RssAnon kB> <tool calls> <last pid>
# <time>"
sample() {
    pid=$1
    begun=$(grep -c 'dev_info->num_entry =' "$ROOT/.sim/session.out")
    ticks=$(awk '{print $14 + $15}' "/proc/$pid/stat" 2>/dev/null) || return 1
    mem=$(awk '/^VmHWM:/ {h = $2} /^RssAnon:/ {a = $2} END {print h + 0, a + 0}' "/proc/$pid/status" 2>/dev/null) || return 1
    calls=$(wc -l <"$ROOT/.sim/commands.log" 2>/dev/null || echo 0)
    # Reading ns_last_pid from inside the namespace starts one process there itself.
    last=$(nsenter -t "$pid" -p cat /proc/sys/kernel/ns_last_pid 2>/dev/null) || return 1
    echo "$begun $ticks $mem $calls $((last - 1)) $(date +%s.%N)"
}

# The daemon's own process starts, one line each ("<time> <call>"), while it runs.
trace_starts() { # PID FILE
    strace -qq -ttt -e trace=vfork,fork,clone,clone3 -e signal=none -o "$2" -p "$1" \
        >/dev/null 2>&1 &
    TRACER=$!
}

measure() {
    scenario=$1
    ROOT=$WORK/router-$scenario
    sim_mkroot "$BIN" "$scenario" "$ROOT" >/dev/null || sim_die "could not generate the $scenario router"
    sim_session_start "$ROOT" /usr/bin/telem_json
    samples=$WORK/$scenario.samples
    : >"$samples"
    deadline=$(($(date +%s) + 120 + PASSES * 120))
    pid=""
    starts=$WORK/$scenario.starts
    : >"$starts"
    TRACER=""
    while [ "$(date +%s)" -lt "$deadline" ]; do
        [ -n "$pid" ] && [ -d "/proc/$pid" ] || pid=$(daemon_pid) || pid=""
        if [ -n "$pid" ] && [ -z "$TRACER" ] && [ "${FOOTPRINT_STARTS:-0}" = 1 ]; then
            trace_starts "$pid" "$starts"
        fi
        if [ -n "$pid" ] && s=$(sample "$pid"); then
            echo "$s" >>"$samples"
            [ "${s%% *}" -gt "$PASSES" ] && break
        fi
        sleep 0.2
    done
    if [ -n "$TRACER" ]; then
        kill "$TRACER" 2>/dev/null
        wait "$TRACER" 2>/dev/null
    fi
    sim_session_stop "$ROOT" >/dev/null
    sim_destroy "$ROOT" >/dev/null
    ROOT=""
    # Per pass k (1..PASSES): the first sample with k + 1 passes begun closes pass k.
    awk -v passes="$PASSES" -v tick="$TICK" -v name="$scenario" -v traced="${FOOTPRINT_STARTS:-0}" '
        function median(a, n,   i, j, t) {
            for (i = 2; i <= n; i++) { t = a[i]; for (j = i - 1; j >= 1 && a[j] > t; j--) a[j + 1] = a[j]; a[j + 1] = t }
            return n % 2 ? a[(n + 1) / 2] : (a[n / 2] + a[n / 2 + 1]) / 2
        }
        # The daemon writes its output in blocks, so the count of begun passes can jump;
        # a sample then opens every pass it skipped.
        # The trace (read first): one start per line, by time.
        FILENAME == ARGV[1] { if ($2 ~ /^(vfork|fork|clone|clone3)\(/ && $0 !~ /= -1 /) start[++nstarts] = $1; next }
        $1 > seen { for (k = seen + 1; k <= $1; k++) { at[k] = NR; cpu[k] = $2; hwm[k] = $3; anon[k] = $4; calls[k] = $5; procs[k] = $6; when[k] = $7 } seen = $1 }
        END {
            if (!((passes + 1) in at)) { printf "%-8s only %d passes seen\n", name, seen - 1; exit 1 }
            for (k = 1; k <= passes; k++) {
                c[k] = (cpu[k + 1] - cpu[k]) * 1000 / tick
                t[k] = calls[k + 1] - calls[k]
                p[k] = procs[k + 1] - procs[k]
                if (k == 1 || c[k] < lo) lo = c[k]
                if (k == 1 || c[k] > hi) hi = c[k]
                d[k] = 0
                for (i = 1; i <= nstarts; i++) if (start[i] >= when[k] && start[i] < when[k + 1]) d[k]++
            }
            printf "%-8s cpu/pass %5.0f ms (%d..%d)  VmHWM %5.2f / %5.2f MiB  RssAnon %5.2f / %5.2f MiB  tools/pass %4d  procs/pass %4d",
                name, median(c, passes), lo, hi, hwm[2] / 1024, hwm[passes + 1] / 1024,
                anon[2] / 1024, anon[passes + 1] / 1024, median(t, passes), median(p, passes)
            if (traced == 1) printf "  starts/pass %4d", median(d, passes)
            printf "\n"
        }' "$starts" "$samples"
}

echo "footprint of $BIN/telem_json: $PASSES passes per scenario, clock x$SIM_SPEED"
echo "(memory: after pass 1 / after pass $PASSES)"
size=$(wc -c <"$BIN/telem_json")
echo "binary: $size bytes as built"
status=0
for s in $SCENARIOS; do
    measure "$s" || status=1
done
exit $status
