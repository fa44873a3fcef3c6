#!/bin/sh
# Builds and runs every benchmark and prints their tables of ratios. Further arguments go to every program, as in
#   scripts/bench.sh --benchmark_repetitions=21
# Ends with 1 when a promised ratio was missed.
set -eu
cd "$(dirname "$0")/.."
[ -f out/build/linux/build.ninja ] || cmake --preset linux
cmake --build --preset linux --target benchmarks
missed=0
for program in out/build/linux/bench/bench_*; do
    [ -f "$program" ] && [ -x "$program" ] || continue
    printf '\n%s\n' "$(basename "$program")"
    "$program" "$@" || missed=1
done
exit "$missed"
