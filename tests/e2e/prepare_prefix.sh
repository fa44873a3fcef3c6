# Sourced after scripts/wine.sh and start_wine: puts into the prefix what a client's machine has: the service as shipped
# with the doubles of the libraries that such a machine has and this one lacks, and clients signed by the test publisher, by
# another one, not at all, and tampered with.
#
#   prepare_prefix PROGRAMS BUILD   PROGRAMS: the shipped programs; BUILD: the cross build's folder. Sets INSTALLED.
#   sign_program IN OUT [other]     signs with the test publisher's certificate, or the other publisher's
# shellcheck shell=bash

INSTALLED_FOLDER='C:\Program Files\TaviLumbraService'
export TAVI_E2E_PROGRAMS=$INSTALLED_FOLDER TAVI_E2E_EMULATED=1
TEST_PUBLISHER='ZENLO ORVA Test Publisher'

make_publisher() { # FOLDER NAME
    mkdir -p "$1"
    openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj "/CN=$2" -keyout "$1/key.pem" -out "$1/certificate.pem" \
        -addext 'extendedKeyUsage=codeSigning' -addext 'keyUsage=digitalSignature' 2>/dev/null
}

sign_program() { # IN OUT [other]
    local publisher="$WINEPREFIX/publishers/${3:-test}"
    rm -f "$2"
    osslsigncode sign -certs "$publisher/certificate.pem" -key "$publisher/key.pem" -in "$1" -out "$2" >/dev/null
}

prepare_prefix() { # PROGRAMS BUILD
    local programs=$1 build=$2
    INSTALLED="$WINEPREFIX/drive_c/Program Files/TaviLumbraService"
    mkdir -p "$INSTALLED"
    make_publisher "$WINEPREFIX/publishers/test" "$TEST_PUBLISHER"
    make_publisher "$WINEPREFIX/publishers/other" 'Another Publisher'

    cp "$programs/TaviLumbraService.exe" "$INSTALLED/"
    cp "$build/tests/emulation/DumpReport.exe" "$build/tests/emulation/ZnDumpFile.dll" \
        "$build/tests/emulation/feeder.exe" "$INSTALLED/"
    cp "$build/tests/emulation/cldapi.dll" "$WINEPREFIX/drive_c/windows/system32/"

    local client="$programs/TaviListenClient.exe"
    sign_program "$client" "$INSTALLED/TaviListenClient.exe"
    sign_program "$client" "$INSTALLED/OtherPublisherClient.exe" other
    cp "$client" "$INSTALLED/UnsignedClient.exe"
    cp "$INSTALLED/TaviListenClient.exe" "$INSTALLED/TamperedClient.exe"
    # One byte in the middle of the DOS stub: the program runs as before, its signature no longer fits.
    printf 'X' | dd of="$INSTALLED/TamperedClient.exe" bs=1 seek=100 conv=notrunc status=none
}
