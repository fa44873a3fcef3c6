#!/usr/bin/env bash
# Only the parts that are there to talk to the system may include its headers: everything else compiles anywhere.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

windows='(windows|winsvc|winioctl|winternl|wintrust|softpub|wincrypt|shellapi|shlobj|shlwapi|aclapi|sddl)'
posix='(unistd|fcntl|pthread|dlfcn|sys/[a-z]+)'

# including NAMES FOLDER...: the lines that include one of these headers.
including() {
    local names="$1"
    shift
    grep -rnEi "^[[:space:]]*#[[:space:]]*include[[:space:]]*[<\"]${names}\.h[>\"]" --include='*.h' --include='*.cpp' "$@" || true
}

found="$(including "$windows" src tools tests/unit tests/sim bench fuzz | grep -vE '^(src/platform/windows|tools/[a-z]+/windows)/' || true)"
found+="$(including "$posix" src tests/unit tests/sim)"
if [ -n "$found" ]; then
    printf 'System headers outside the folders that may include them:\n%s\n' "$found"
    exit 1
fi
