#!/usr/bin/env bash
# planted_defects.sh [LIVES]: whether simulated lives find defects that were planted on purpose. Each patch in
# tests/lives/defects is applied to a copy of the working tree, lived with (LIVES lives,
# 1000 if none is given), and taken back. Ends with exit code 0 only when all are found.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
lives="${1:-1000}"

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
    result=0
    "$program" --lives "$lives" --until-found >"$copy/$name.log" 2>&1 || result=$?
    if [ "$result" -eq 1 ]; then # anything else is no finding
        echo "found:  $name"
        sed -n '/^shortest story/,/^[0-9]* lives in/s/^/    /p' "$copy/$name.log"
    else
        echo "missed: $name"
        missed=$((missed + 1))
    fi
    patch --quiet -p1 --reverse <"$patch"
done
echo "$missed missed"
[ "$missed" -eq 0 ]
