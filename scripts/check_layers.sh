#!/usr/bin/env bash
# Only the parts that are there to talk to the system may include its headers: everything else compiles anywhere.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

system='(windows|winsvc|winioctl|winternl|wintrust|softpub|wincrypt|shlobj|shlwapi|unistd|fcntl|pthread|sys/[a-z]+|dlfcn)\.h'
found="$(grep -rnEi "^[[:space:]]*#[[:space:]]*include[[:space:]]*[<\"]${system}[>\"]" \
    --include='*.h' --include='*.cpp' src tools tests/unit tests/sim bench fuzz |
    grep -vE '^(src/platform/windows|tools/[a-z]+/windows)/' || true)"
if [ -n "$found" ]; then
    printf 'System headers outside the folders that may include them:\n%s\n' "$found"
    exit 1
fi
