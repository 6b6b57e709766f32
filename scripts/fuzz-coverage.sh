#!/bin/sh
# Line coverage that each fuzz target's corpus reaches in the source files the target
# is for (tests/fuzz/coverage.map).
#   scripts/fuzz-coverage.sh <coverage build dir> <fuzz build dir> [target names...]
# Builds the targets with clang source-based coverage in the coverage build directory
# (no sanitizers, no fuzzer: each target replays the files of its corpus folders), runs
# each over its seeds (tests/fuzz/corpus/<name>/) and what fuzz runs learned
# (<fuzz build dir>/fuzz-corpus/<name>/, when there), and prints, per target, one
# line per file of the map and their total:
#   coverage <target> <file>: <covered>/<lines> lines (<percent>%)
#   coverage <target> total: <covered>/<lines> lines (<percent>%)
# The merged profiles and the whole llvm-cov reports stay in
# <coverage build dir>/fuzz-coverage/.
set -eu
[ $# -ge 2 ] || { echo "usage: $0 <coverage build dir> <fuzz build dir> [targets...]" >&2; exit 2; }
build=$1
fuzz_build=$2
shift 2
src=$(cd "$(dirname "$0")/.." && pwd)
map="$src/tests/fuzz/coverage.map"
jobs=${JOBS:-2}

pick_tool() {
    for t in "$@"; do
        command -v "$t" >/dev/null 2>&1 && { echo "$t"; return 0; }
    done
    echo "fuzz-coverage: none of $* found (Debian package llvm-14)" >&2
    exit 1
}
profdata=$(pick_tool llvm-profdata-14 llvm-profdata)
cov=$(pick_tool llvm-cov-14 llvm-cov)

CC=clang CXX=clang++ cmake -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DTELEM_FUZZ=ON \
    -DTELEM_FUZZ_COVERAGE=ON -DTELEM_TOOLS=OFF -DTELEM_BENCH=OFF >/dev/null
cmake --build "$build" -j"$jobs" --target fuzz_targets >/dev/null

if [ $# -eq 0 ]; then
    for target in "$build"/fuzz/fuzz_*; do
        [ -x "$target" ] && set -- "$@" "${target##*/fuzz_}"
    done
fi

out="$build/fuzz-coverage"
mkdir -p "$out"
failed=""
for name in "$@"; do
    files=$(sed -n "s/^$name: *//p" "$map")
    if [ -z "$files" ]; then
        echo "fuzz-coverage: $name has no line in $map" >&2
        failed="$failed $name"
        continue
    fi
    bin="$build/fuzz/fuzz_$name"
    rm -f "$out/$name".*.profraw
    learned="$fuzz_build/fuzz-corpus/$name"
    [ -d "$learned" ] || learned=""
    # %p: one raw profile per process, in case an input forks.
    # shellcheck disable=SC2086
    if ! LLVM_PROFILE_FILE="$out/$name.%p.profraw" "$bin" "$src/tests/fuzz/corpus/$name" $learned \
        >"$out/$name.log" 2>&1; then
        echo "fuzz-coverage: $name failed on its corpus, see $out/$name.log" >&2
        failed="$failed $name"
        continue
    fi
    "$profdata" merge -sparse -o "$out/$name.profdata" "$out/$name".*.profraw
    rm -f "$out/$name".*.profraw
    inputs=$(sed -n 's/^replay: \([0-9]*\) inputs$/\1/p' "$out/$name.log")
    echo "== $name (${inputs:-?} inputs)"
    # The whole report stays in <name>.report; printed are the target's own files. The
    # objects name their sources relative to the build directory when compiled through
    # ccache (../src/...) and absolute otherwise: both are brought to tree paths.
    "$cov" report "$bin" -instr-profile="$out/$name.profdata" >"$out/$name.report"
    # Columns of a report row: file, regions (3), functions (3), lines, missed lines, cover.
    awk -v name="$name" -v root="$src/" -v files="$files" '
        BEGIN { n = split(files, f, " "); for (i = 1; i <= n; i++) want[f[i]] = 1 }
        NF >= 10 && $1 != "TOTAL" && $1 != "Filename" && $1 !~ /^-+$/ {
            file = $1
            if (index(file, root) == 1) file = substr(file, length(root) + 1)
            while (substr(file, 1, 3) == "../") file = substr(file, 4)
            # The report may also cut a prefix all its files share.
            if (!(file in want))
                for (w in want)
                    if (substr(w, length(w) - length(file)) == "/" file) file = w
            if (!(file in want) || (file in seen)) next
            seen[file] = 1
            printf "coverage %s %s: %d/%d lines (%s)\n", name, file, $8 - $9, $8, $10
            lines += $8; missed += $9
        }
        END {
            for (i = 1; i <= n; i++)
                if (!(f[i] in seen)) printf "coverage %s %s: not built into the target\n", name, f[i]
            if (lines > 0)
                printf "coverage %s total: %d/%d lines (%.2f%%)\n", name, lines - missed, lines,
                       100 * (lines - missed) / lines
        }' "$out/$name.report"
done
if [ -n "$failed" ]; then
    echo "fuzz-coverage: failing targets:$failed" >&2
    exit 1
fi
