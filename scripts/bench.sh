#!/usr/bin/env bash
# Builds and runs every benchmark and prints their tables of ratios. Further arguments go to every program, as in
#   scripts/bench.sh --benchmark_repetitions=21
# Ends with 1 when a promised ratio was missed.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$TAVI_ROOT"

build_preset linux tavi_benchmarks
missed=0
for program in out/build/linux/bench/bench_*; do
    [ -f "$program" ] && [ -x "$program" ] || continue
    printf '\n%s\n' "${program##*/}"
    "$program" "$@" || missed=1
done
exit "$missed"
