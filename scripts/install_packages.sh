#!/usr/bin/env bash
# Installs the Debian packages that building and testing need. Does nothing, quickly, when they are all there.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

packages=(
    # compilers and tools
    g++ clang libclang-rt-dev clang-format clang-tidy cmake ninja-build ccache git python3 jq
    # libraries, for Linux
    libsqlite3-dev libjsoncpp-dev libssl-dev libspdlog-dev libfmt-dev libcli11-dev robin-map-dev libbenchmark-dev
    googletest
    # the Windows programs: compiler, what its libraries are built from and with, what runs and signs them
    g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
    dpkg-dev make perl tcl patch xz-utils ca-certificates
    wine wine64 osslsigncode openssl
    # the tests and the demonstration
    sqlite3 procps shellcheck
)
# Wherever it comes from; Debian's conflicts with that of the makers' own package.
command -v npm >/dev/null || packages+=(nodejs npm)

missing=()
for package in "${packages[@]}"; do
    status="$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)"
    [ "$status" = installed ] || missing+=("$package")
done
[ "${#missing[@]}" -gt 0 ] || exit 0

say "Installing: ${missing[*]}"
[ "$(id -u)" -eq 0 ] || fail "run as root, or install these packages first: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get -q update
apt-get -q install -y --no-install-recommends "${missing[@]}"
