#!/usr/bin/env bash
# format.sh [--check]: formats our sources; with --check it changes nothing and fails when something would change.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mode=(-i)
[ "${1:-}" != --check ] || mode=(--dry-run -Werror)
git ls-files -z --cached --others --exclude-standard '*.h' '*.cpp' | xargs -0 -r -n 8 -P "$(nproc)" clang-format "${mode[@]}"
