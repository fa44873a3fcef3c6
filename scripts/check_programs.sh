#!/usr/bin/env bash
# check_programs.sh FOLDER: the Windows programs there need no DLL but Windows' own, and carry the product's version.
set -euo pipefail
folder="$1"

system='^(ADVAPI32|bcrypt|CRYPT32|KERNEL32|msvcrt|ntdll|ole32|SHELL32|SHLWAPI|USER32|VERSION|WINTRUST|WS2_32)\.dll$'
bad=0
count=0
for program in "$folder"/*.exe; do
    [ -f "$program" ] || continue
    count=$((count + 1))
    foreign="$(x86_64-w64-mingw32-objdump -p "$program" | sed -n 's/^[[:space:]]*DLL Name: //p' | grep -viE "$system" || true)"
    if [ -n "$foreign" ]; then
        printf '%s needs %s\n' "$program" "$foreign"
        bad=1
    fi
    if ! python3 -c 'import sys
data = open(sys.argv[1], "rb").read()
sys.exit("FileVersion".encode("utf-16-le") not in data or "3.0.0.300".encode("utf-16-le") not in data)' "$program"; then
        printf '%s carries no version resource 3.0.0.300\n' "$program"
        bad=1
    fi
done
if [ "$count" -eq 0 ]; then
    printf 'no program in %s\n' "$folder"
    bad=1
fi
exit "$bad"
