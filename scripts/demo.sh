#!/usr/bin/env bash
# The demonstration behind ./run: shows the shipped programs at work in a fresh prefix. With --scripted it ends by itself,
# with 0 only when the expected change records came.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$TAVI_ROOT/scripts/wine.sh"
source "$TAVI_ROOT/tests/e2e/prepare_prefix.sh"
cd "$TAVI_ROOT"
build=${TAVI_WINDOWS_BUILD:-out/build/windows-cross}

trap stop_wine EXIT
say 'Preparing a fresh Windows prefix'
start_wine
prepare_prefix "${TAVI_PROGRAMS:-out/windows}" "$build"
cp "$build/tests/e2e/demo.exe" "$INSTALLED/"
if [ "${1:-}" != --scripted ]; then
    say "The listened folder will be $WINEPREFIX/drive_c/TaviDemo/Sync"
fi
status=0
"$WINE" "$INSTALLED_FOLDER\\demo.exe" "$@" || status=$?
exit "$status"
