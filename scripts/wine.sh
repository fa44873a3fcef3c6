# Sourced: a throw-away Wine prefix that one server keeps alive from start_wine to stop_wine (which belongs into the
# caller's EXIT trap). Without that server the prefix would shut down with its last program and start anew, seconds each
# time, with the next.
# shellcheck shell=bash

WINE=/usr/lib/wine/wine64
export WINE WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
unset DISPLAY

# start_wine: makes the prefix (WINEPREFIX) and runs one program in it, so that the first test does
# not pay for the start.
start_wine() {
    WINEPREFIX="$(mktemp -d "${TMPDIR:-/tmp}/tavi-wine.XXXXXX")"
    export WINEPREFIX
    wineserver -p
    # The first program makes the prefix and starts its service manager. An explicit wineboot would start a second one,
    # and the two would not know each other's services.
    "$WINE" winecfg -v win10 >/dev/null 2>&1
    "$WINE" cmd /c exit >/dev/null 2>&1
}

# stop_wine: ends what runs in the prefix and removes it. Does nothing without one.
stop_wine() {
    [ -n "${WINEPREFIX:-}" ] || return 0
    wineserver -k || true
    wineserver -w || true
    rm -rf "$WINEPREFIX"
    unset WINEPREFIX
}
