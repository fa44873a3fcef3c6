# Sourced by the scripts: where things are, and how to speak. Expects bash with -euo pipefail.
# shellcheck shell=bash

TAVI_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# Built dependencies and the compiler cache live outside the source tree; everything in it can be rebuilt.
TAVI_CACHE="${TAVI_CACHE:-${HOME:-/root}/.cache/tavi-lumbra}"
TAVI_JOBS="${TAVI_JOBS:-$(nproc)}"
export TAVI_ROOT TAVI_CACHE TAVI_JOBS

# A clone at another place finds the compiler cache of this one.
export CCACHE_BASEDIR="${CCACHE_BASEDIR:-$TAVI_ROOT}" CCACHE_NOHASHDIR=1
# What the compiler cache's makers ask for where precompiled headers are used; our sources mention no time.
export CCACHE_SLOPPINESS=pch_defines,time_macros

say() { printf '== %s\n' "$*"; }

fail() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# usage TEXT: for arguments that make no sense.
usage() {
    printf 'usage: %s\n' "$1" >&2
    exit 2
}

# quietly LOG COMMAND...: its output goes to the file LOG, and is shown only when the command fails.
quietly() {
    local log="$1"
    shift
    mkdir -p "$(dirname "$log")"
    if ! "$@" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        fail "'$*' failed; all it said is in $log"
    fi
}

# build_preset PRESET TARGET...: configures when needed and builds, for the publisher in the environment if it has one.
build_preset() {
    local preset="$1" publisher="-UTAVI_PUBLISHER"
    [ -z "${TAVI_PUBLISHER:-}" ] || publisher="-DTAVI_PUBLISHER=$TAVI_PUBLISHER"
    shift
    say "Building $preset: $*"
    quietly "$TAVI_ROOT/out/logs/configure-$preset.log" cmake --preset "$preset" "$publisher"
    quietly "$TAVI_ROOT/out/logs/build-$preset.log" cmake --build --preset "$preset" -j "$TAVI_JOBS" --target "$@"
}
