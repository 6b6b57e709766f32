#!/bin/sh
# Runs every libFuzzer target of a fuzz build for a time budget each.
#   scripts/run-fuzz.sh <fuzz build dir> <seconds per target> [target names...]
# Seeds come from tests/fuzz/corpus/<name>/ (read only); what a run learns is kept in
# <build>/fuzz-corpus/<name>/ for the next run, crashes in <build>/fuzz-artifacts/.
# A target that crashes, leaks, trips a sanitizer or spends over 10 s on one input
# fails the run. One summary line per target: executions and coverage reached.
#
# With FUZZ_CLOCK=cpu the budget is CPU time instead of wall time: each target runs
# until it has used that many seconds of CPU and is then stopped with SIGINT, so a run
# on a busy machine (or at nice 19, FUZZ_NICE=19) still gives every target its full
# share. Its per-input timeout is then 120 s, since a starved process sees more wall
# time pass per input than it used.
set -eu
build=$1
seconds=$2
shift 2
src=$(cd "$(dirname "$0")/.." && pwd)
bin="$build/fuzz"
[ -d "$bin" ] || { echo "run-fuzz: no fuzz targets in $bin" >&2; exit 1; }
if [ $# -eq 0 ]; then
    for target in "$bin"/fuzz_*; do
        [ -x "$target" ] && set -- "$@" "${target##*/fuzz_}"
    done
fi
mkdir -p "$build/fuzz-artifacts" "$build/fuzz-logs"

# Runs one target until it has used $seconds of CPU time; 0 when it was stopped for
# its budget without a finding, its own status otherwise.
run_for_cpu_seconds() { # NAME DICT WORK SEEDS LOG
    tick=$(getconf CLK_TCK)
    # shellcheck disable=SC2086
    nice -n "${FUZZ_NICE:-0}" "$bin/fuzz_$1" -max_total_time=2000000000 -timeout=120 \
        -rss_limit_mb=1024 -print_final_stats=1 -artifact_prefix="$build/fuzz-artifacts/$1-" \
        $2 "$3" "$4" >"$5" 2>&1 &
    pid=$!
    used=0
    stopped=no
    while kill -0 "$pid" 2>/dev/null; do
        sleep 2
        ticks=$(awk '{print $14 + $15}' "/proc/$pid/stat" 2>/dev/null) || break
        [ -n "$ticks" ] || break
        used=$((ticks / tick))
        if [ "$used" -ge "$seconds" ]; then
            stopped=yes
            kill -INT "$pid" 2>/dev/null
            break
        fi
    done
    wait "$pid"
    status=$?
    echo "cpu_seconds: $used" >>"$5"
    # libFuzzer leaves with status 72 when interrupted; a finding writes a report.
    if [ "$stopped" = yes ] && ! grep -q '^==[0-9]*==ERROR\|^SUMMARY: ' "$5"; then
        return 0
    fi
    return "$status"
}

failed=""
for name in "$@"; do
    seeds="$src/tests/fuzz/corpus/$name"
    work="$build/fuzz-corpus/$name"
    log="$build/fuzz-logs/$name.log"
    mkdir -p "$work"
    dict=""
    [ -f "$src/tests/fuzz/$name.dict" ] && dict="-dict=$src/tests/fuzz/$name.dict"
    set +e
    if [ "${FUZZ_CLOCK:-wall}" = cpu ]; then
        run_for_cpu_seconds "$name" "$dict" "$work" "$seeds" "$log"
        rc=$?
    else
        # shellcheck disable=SC2086
        "$bin/fuzz_$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 \
            -print_final_stats=1 -artifact_prefix="$build/fuzz-artifacts/$name-" $dict \
            "$work" "$seeds" >"$log" 2>&1
        rc=$?
    fi
    set -e
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    cov=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | sed 's/cov: //')
    if [ "$rc" -eq 0 ]; then
        echo "fuzz $name: ok, ${runs:-?} executions in ${seconds}s (${FUZZ_CLOCK:-wall}), coverage ${cov:-?} edges"
    else
        echo "fuzz $name: FAILED (status $rc), see $log" >&2
        tail -n 30 "$log" >&2
        failed="$failed $name"
    fi
done
if [ -n "$failed" ]; then
    echo "run-fuzz: failing targets:$failed" >&2
    exit 1
fi
