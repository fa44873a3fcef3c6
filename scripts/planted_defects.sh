#!/usr/bin/env bash
# planted_defects.sh [LIVES]: whether simulated lives find defects that were planted on purpose. Each patch in
# tests/lives/defects is applied to a copy of the working tree, lived with (LIVES lives,
# 500 if none is given), and taken back. Ends with exit code 0 only when all are found.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
lives="${1:-500}"

copy="$(mktemp -d)"
trap 'rm -rf "$copy"' EXIT
git -C "$root" ls-files -z --cached --others --exclude-standard | (cd "$root" && xargs -0 cp --parents -t "$copy")
cd "$copy"
export CCACHE_BASEDIR="$copy" CCACHE_NOHASHDIR=1
cmake --preset linux >"$copy/configure.log"

build() { cmake --build --preset linux --target TaviLives >"$copy/build.log" 2>&1 || { tail -n 40 "$copy/build.log"; exit 1; }; }
program=out/build/linux/tests/lives/TaviLives

build
if ! "$program" --lives 200 >"$copy/none.log" 2>&1; then
    echo "A life goes wrong without any defect planted:"
    tail -n 40 "$copy/none.log"
    exit 1
fi
missed=0
for patch in "$root"/tests/lives/defects/*.patch; do
    name="$(basename "$patch" .patch)"
    patch --quiet -p1 <"$patch"
    build
    if "$program" --lives "$lives" --until-found >"$copy/$name.log" 2>&1; then
        echo "missed: $name"
        missed=$((missed + 1))
    else
        echo "found:  $name"
        sed -n '/^shortest story/,$p' "$copy/$name.log" | sed 's/^/    /'
    fi
    patch --quiet -p1 --reverse <"$patch"
done
echo "$missed missed"
[ "$missed" -eq 0 ]
