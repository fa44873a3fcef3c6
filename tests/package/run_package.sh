#!/usr/bin/env bash
# Builds the package, unpacks it in a fresh prefix, and uses what it holds as its README says: installs and starts the
# service, asks it, examines it, reads the database, replays records, builds the example against the library, removes
# the service. There is no change journal here, so a start request has to fail, and the doctor has to say why.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"
source "$TAVI_ROOT/scripts/wine.sh"
cd "$TAVI_ROOT"

work="$(mktemp -d "${TMPDIR:-/tmp}/tavi-package.XXXXXX")"
finish() {
    stop_wine
    rm -rf "$work"
}
trap finish EXIT

publisher='ZENLO ORVA Test Publisher'
openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj "/CN=$publisher" -keyout "$work/key.pem" \
    -out "$work/certificate.pem" -addext 'extendedKeyUsage=codeSigning' -addext 'keyUsage=digitalSignature' 2>/dev/null
./package --certificate "$work/certificate.pem" --key "$work/key.pem"
zip="$(echo "$TAVI_ROOT"/out/package/TaviLumbraService-*[0-9].zip)"
symbols="${zip%.zip}-symbols.zip"
start_wine
unpacked="$WINEPREFIX/drive_c/Unpacked"
mkdir -p "$unpacked" "$work/symbols"
(cd "$unpacked" && cmake -E tar xf "$zip")
(cd "$work/symbols" && cmake -E tar xf "$symbols")
package="$(echo "$unpacked"/TaviLumbraService-*)"
name="${package##*/}"

# expect TEXT CODE PROGRAM ARGUMENTS...: the program ends with this code and its output contains the text, if one is given.
expect() {
    local text="$1" code="$2" status=0
    shift 2
    timeout 120 "$WINE" "$@" >"$work/output" 2>&1 </dev/null || status=$?
    if [ "$status" -ne "$code" ] || { [ -n "$text" ] && ! grep -qF -- "$text" "$work/output"; }; then
        cat "$work/output" >&2
        fail "'$*' ended with $status, expected $code and '$text'"
    fi
    say "${*##*\\} : $text"
}

for file in README.md SECURITY.md install.ps1 docs/reading-the-database.md docs/replies.md docs/logs.md docs/rolling-out.md \
    docs/way-of-a-record.md licences/SQLite.txt licences/OpenSSL.txt licences/JsonCpp.txt licences/spdlog.txt \
    licences/fmt.txt licences/CLI11.txt licences/MinGW-w64.txt licences/GCC-runtime.txt \
    client-library/include/tavi_client/change_table.h client-library/README.md; do
    [ -s "$package/$file" ] || fail "the package lacks $file"
done
scripts/check_programs.sh "$package/bin"
# The symbols fit the programs: both name the same build.
# The service serves whoever owns the certificate; it knows the name in UTF-16.
LC_ALL=C grep -qaP "$(sed 's/./&\\x00/g' <<<"$publisher")" "$package/bin/TaviLumbraService.exe" ||
    fail "the service serves another publisher"
for program in TaviLumbraService TaviListenClient TaviReplay; do
    x86_64-w64-mingw32-objdump -h "$package/bin/$program.exe" | grep -q gnu_debuglink || fail "$program.exe names no symbols"
    x86_64-w64-mingw32-objdump -h "$work/symbols/$name-symbols/$program.exe.debug" | grep -q debug_info ||
        fail "no symbols of $program.exe"
done

# As install.ps1 does it, which needs a PowerShell.
programs='C:\Program Files\TaviLumbraService'
mkdir -p "$WINEPREFIX/drive_c/Program Files/TaviLumbraService"
cp "$package"/bin/*.exe "$WINEPREFIX/drive_c/Program Files/TaviLumbraService/"
client="$programs\\TaviListenClient.exe"
base='C:\users\Public\Database'
expect 'PROBLEM The service is not installed' 1 "$client" doctor
expect '' 0 "$programs\\TaviLumbraService.exe" /install
expect 'PROBLEM The service is not started' 1 "$client" doctor
expect '' 0 net start TaviLumbraService
expect 'no listening task is running (reply 0)' 7 "$client" status
expect 'version 3.0.0.300' 0 "$client" doctor
expect 'There is no database' 9 "$client" watch --once --user anna --database "$base"
expect 'could not start the task (reply 5)' 1 "$client" start --user anna --folder 'C:\Sync' --database "$base"
expect 'PROBLEM The change journal of C: cannot be queried' 1 "$client" doctor --folder 'C:\Sync' --user anna --database "$base"
expect 'no start request has succeeded yet' 0 "$client" show --user anna --database "$base"
expect 'last id: 0' 0 "C:\\Unpacked\\$name\\client-library\\example\\list_changes.exe" "$base" anna
expect 'there is no database' 1 "C:\\Unpacked\\$name\\client-library\\example\\list_changes.exe" "$base" änne
expect 'usage: list_changes' 2 "C:\\Unpacked\\$name\\client-library\\example\\list_changes.exe" "$base" anna last

printf '%s\n' '{"records":[{"usn":1,"reason":256,"fileAttributes":32,"timestamp":1000,"filename":"a.txt","frn":42}]}' \
    >"$unpacked/records.json"
expect 'CREATE' 0 "$programs\\TaviReplay.exe" records 'C:\Unpacked\records.json'

library="$package/client-library"
x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -Werror -static -municode "-I$library/include" \
    "$library/example/list_changes.cpp" -o "$unpacked/built.exe" \
    "-L$library/lib" -ltavi_client -ljsoncpp -lsqlite3 -lcrypto -lws2_32 -lcrypt32
expect 'last id: 0' 0 'C:\Unpacked\built.exe' "$base" anna

# The sources are complete.
for source in "$library"/source/*.cpp "$library"/source/*/*.cpp; do
    x86_64-w64-mingw32-g++-posix -std=c++20 -fsyntax-only -DUNICODE -DNOMINMAX -D_WIN32_WINNT=0x0A00 "-I$library/include" \
        "-I$library/source" -isystem "$TAVI_CACHE/windows/include" "$source" || fail "$source does not compile"
done

expect '' 0 "$programs\\TaviLumbraService.exe" /uninstall
expect 'PROBLEM The service is not installed' 1 "$client" doctor
say "The package works"
