#!/usr/bin/env bash
# Fails when docs/security-audit.md names a test that does not exist, or none at all.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

named="$(grep -oE '`[A-Za-z]+\.[A-Z][A-Za-z0-9]+`' docs/security-audit.md | tr -d '`' | sort -u)"
there="$(grep -rhoE '^TEST(_F|_P)?\([A-Za-z]+, [A-Za-z0-9]+' --include='*.cpp' tests | sed -E 's/^TEST(_F|_P)?\(//; s/, /./' | sort -u)"
missing="$(comm -23 <(printf '%s\n' "$named") <(printf '%s\n' "$there") | grep -vE '^(SECURITY|ZnDumpFile|DumpReport)\.' || true)"
if [ -n "$missing" ] || [ "$(printf '%s\n' "$named" | wc -l)" -lt 20 ]; then
    printf 'docs/security-audit.md names tests that do not exist:\n%s\n' "$missing"
    exit 1
fi
