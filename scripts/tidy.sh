#!/usr/bin/env bash
# tidy.sh [FILE...]: runs clang-tidy over these sources, or over all of ours that the native build with the fuzzers compiles.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$TAVI_ROOT"

scripts/install_packages.sh
# clang reads the commands of its own preset; it does not know every flag of the other compiler. In a folder of its own,
# where no header has to be precompiled first.
build=out/build/tidy
quietly out/logs/configure-tidy.log cmake --preset linux-asan -B "$build" -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON
if [ "$#" -gt 0 ]; then
    files=("$@")
else
    mapfile -t files < <(jq -r '.[].file' "$build/compile_commands.json" | grep "^$TAVI_ROOT/" | grep -v '/out/' | sort -u)
fi
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$TAVI_JOBS" clang-tidy --quiet -p "$build"
