#!/bin/sh
# sign_probes.sh PROBE FOLDER PUBLISHER: writes into FOLDER the copies of PROBE that the trust tests look at, signed with
# certificates that are made for the occasion.
set -eu
probe=$1 folder=$2 publisher=$3
mkdir -p "$folder"
cd "$folder"

certificate() { # NAME SUBJECT
    openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -subj "$2" -keyout "$1.key" -out "$1.pem" \
        -addext 'extendedKeyUsage=codeSigning' -addext 'keyUsage=digitalSignature' 2>/dev/null
}

sign() { # NAME
    rm -f "$1_probe.exe"
    osslsigncode sign -certs "$1.pem" -key "$1.key" -in "$probe" -out "$1_probe.exe" >/dev/null
}

certificate publisher "/O=Organisation/CN=$publisher"
certificate other "/CN=$publisher Ltd"
certificate nameless "/O=$publisher"
sign publisher
sign other
sign nameless
cp "$probe" unsigned_probe.exe
cp publisher_probe.exe tampered_probe.exe
# One byte of the text that only DOS would print: the program still runs, the signature no longer fits.
printf 'X' | dd of=tampered_probe.exe bs=1 seek=100 conv=notrunc 2>/dev/null
