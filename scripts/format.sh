#!/usr/bin/env bash
# format.sh [--check]: formats our sources; with --check it changes nothing and fails when something would change.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$TAVI_ROOT"

case "$*" in
    '') mode=(-i) ;;
    --check) mode=(--dry-run -Werror) ;;
    *) usage 'scripts/format.sh [--check]' ;;
esac
git ls-files -z --cached --others --exclude-standard '*.h' '*.cpp' | xargs -0 -r -n 8 -P "$TAVI_JOBS" clang-format "${mode[@]}"
