#!/bin/sh
# Runs every libFuzzer target of a fuzz build for a time budget each.
#   scripts/run-fuzz.sh <fuzz build dir> <seconds per target> [target names...]
# Seeds come from tests/fuzz/corpus/<name>/ (read only); what a run learns is kept in
# <build>/fuzz-corpus/<name>/ for the next run, crashes in <build>/fuzz-artifacts/.
# A target that crashes, leaks, trips a sanitizer or spends over 10 s on one input
# fails the run. One summary line per target: executions and coverage reached.
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
failed=""
for name in "$@"; do
    seeds="$src/tests/fuzz/corpus/$name"
    work="$build/fuzz-corpus/$name"
    log="$build/fuzz-logs/$name.log"
    mkdir -p "$work"
    dict=""
    [ -f "$src/tests/fuzz/$name.dict" ] && dict="-dict=$src/tests/fuzz/$name.dict"
    set +e
    # shellcheck disable=SC2086
    "$bin/fuzz_$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=1024 \
        -print_final_stats=1 -artifact_prefix="$build/fuzz-artifacts/$name-" $dict \
        "$work" "$seeds" >"$log" 2>&1
    rc=$?
    set -e
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
    cov=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | sed 's/cov: //')
    if [ "$rc" -eq 0 ]; then
        echo "fuzz $name: ok, ${runs:-?} executions in ${seconds}s, coverage ${cov:-?} edges"
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
