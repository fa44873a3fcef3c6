#!/usr/bin/env bash
# Runs the end-to-end tests against the shipped programs, in a throw-away prefix. Arguments go to the test program.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"
source "$TAVI_ROOT/scripts/wine.sh"
source "$TAVI_ROOT/tests/e2e/prepare_prefix.sh"
cd "$TAVI_ROOT"
build=${TAVI_WINDOWS_BUILD:-out/build/windows-cross}

trap stop_wine EXIT
start_wine
prepare_prefix "${TAVI_PROGRAMS:-out/windows}" "$build"
sign_program "$build/tests/e2e/e2e_tests.exe" "$INSTALLED/e2e_tests.exe"
status=0
"$WINE" "$INSTALLED_FOLDER\\e2e_tests.exe" "$@" || status=$?
exit "$status"
