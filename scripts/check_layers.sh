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

found="$(including "$windows" src client tools examples tests/unit sim bench fuzz | grep -vE '^(src/platform/windows|client/windows|tools/[a-z]+/windows)/' || true)"
found+="$(including "$posix" src client tests/unit sim)"
if [ -n "$found" ]; then
    printf 'System headers outside the folders that may include them:\n%s\n' "$found"
    exit 1
fi

# The library for the client's makers goes to others: of ours it may use the text helpers, and its public headers nothing.
inside='^[[:space:]]*#[[:space:]]*include[[:space:]]*"'
foreign="$(grep -rnE "$inside" --include='*.h' --include='*.cpp' client | grep -vE "\"(tavi_client/|imports/(type_convert|file_helper)\.h|windows/|read_connection\.h|platform/constants\.h)" || true)"
foreign+="$(grep -rnE "$inside" client/include | grep -v '"tavi_client/' || true)"
foreign+="$(grep -rnE "$inside" examples | grep -v '"tavi_client/' || true)"
if [ -n "$foreign" ]; then
    printf 'The client library and its examples include what they may not:\n%s\n' "$foreign"
    exit 1
fi

# The one header of the client library that the service takes: the protocol's numbers.
foreign="$(grep -rnE "${inside}tavi_client/" --include='*.h' --include='*.cpp' src sim | grep -v '"tavi_client/protocol\.h"' || true)"
if [ -n "$foreign" ]; then
    printf 'Of the client library, the service may include tavi_client/protocol.h and nothing else:\n%s\n' "$foreign"
    exit 1
fi
