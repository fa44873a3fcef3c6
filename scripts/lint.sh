#!/usr/bin/env bash
# lint.sh [FILE...]: looks at these shell scripts, PowerShell scripts and workflows, or at all of ours. Ends with 1 when one
# has a fault. What comes from npm is pinned by scripts/lint/package-lock.json and kept in the cache folder.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# The linters from npm, once for each version of the lock file; prints the folder they are in.
install_linters() {
    local lint="$TAVI_ROOT/scripts/lint" folder
    folder="$TAVI_CACHE/lint-$(sha256sum "$lint/package-lock.json" | cut -c1-16)"
    if [ ! -f "$folder/complete" ]; then
        mkdir -p "$folder"
        cp "$lint/package.json" "$lint/package-lock.json" "$folder/"
        quietly "$TAVI_CACHE/logs/lint-install.log" npm ci --prefix "$folder" --ignore-scripts --no-audit --no-fund
        touch "$folder/complete"
    fi
    printf '%s\n' "$folder"
}

if [ "$#" -gt 0 ]; then
    files=("$@")
else
    cd "$TAVI_ROOT"
    mapfile -t files < <(git ls-files --cached --others --exclude-standard)
fi
shells=() powershells=() workflows=()
for file in "${files[@]}"; do
    [ -f "$file" ] || continue
    case "$file" in
        *.ps1) powershells+=("$file") ;;
        *.yml | *.yaml) workflows+=("$file") ;;
        *.sh) shells+=("$file") ;;
        *.*) ;;
        *) if head -n 1 -- "$file" | grep -aq '^#!.*bash'; then shells+=("$file"); fi ;;
    esac
done

linters="$(install_linters)"
bad=0
if [ "${#shells[@]}" -gt 0 ]; then
    shellcheck --external-sources --source-path=SCRIPTDIR --severity=warning "${shells[@]}" || bad=1
fi
for workflow in "${workflows[@]}"; do
    node "$linters/node_modules/.bin/action-validator" "$workflow" || bad=1
done
if [ "${#powershells[@]}" -gt 0 ] || [ "${#workflows[@]}" -gt 0 ]; then
    # Without the optimising compiler, which takes seconds for a grammar that is used for milliseconds.
    node --liftoff-only "$TAVI_ROOT/scripts/lint/powershell.mjs" "$linters" "${powershells[@]}" "${workflows[@]}" || bad=1
fi
exit "$bad"
