#!/usr/bin/env bash
# tidy.sh [FILE...]: runs clang-tidy over these sources, or over all of ours that the native build with the fuzzers compiles.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$TAVI_ROOT"

scripts/install_packages.sh
# clang reads the commands of its own preset; it does not know every flag of the other compiler.
quietly out/logs/configure-linux-fuzz.log cmake --preset linux-fuzz
if [ "$#" -gt 0 ]; then
    files=("$@")
else
    mapfile -t files < <(jq -r '.[].file' out/build/linux-fuzz/compile_commands.json | grep "^$TAVI_ROOT/" | grep -v '/out/' | sort -u)
fi
printf '%s\0' "${files[@]}" | xargs -0 -n 1 -P "$TAVI_JOBS" clang-tidy --quiet -p out/build/linux-fuzz
