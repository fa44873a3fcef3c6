#!/usr/bin/env bash
# fetch_source.sh PACKAGE VERSION FOLDER: unpacks the source of a Debian package as FOLDER. VERSION is tried first; when
# it can no longer be fetched, the other versions that the archive offers are tried, newest first.
#
# A fresh machine has no deb-src entries. This script derives them from the entries the machine does have, and keeps
# them and the package lists in the cache folder, so that the machine's own configuration stays as it is.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

package="$1"
pinned="$2"
folder="$3"

apt="$TAVI_CACHE/apt"
private=(-o "Dir::Etc::SourceList=$apt/sources.list" -o Dir::Etc::SourceParts=/dev/null
    -o "Dir::State::Lists=$apt/lists" -o "Dir::Cache::srcpkgcache=" -o "Dir::Cache::pkgcache="
    -o APT::Sandbox::User=root -o Acquire::Retries=3)

# One line per suite of Debian's own archive: options, address, suite.
debian_suites() {
    apt-get indextargets --format '$(ORIGIN)|$(SIGNED_BY)|$(REPO_URI)|$(RELEASE)|$(COMPONENT)' 'Created-By: Packages' |
        awk -F'|' '$1 == "Debian" && $5 == "main" {
            options = $2 ~ /^\// ? "[signed-by=" $2 "] " : ""
            print "deb-src " options $3 " " $4 " main" }' | sort -u
}

update_lists() {
    mkdir -p "$apt/lists/partial"
    if [ -z "$(debian_suites)" ]; then
        apt-get -q update
    fi
    debian_suites >"$apt/sources.list"
    [ -s "$apt/sources.list" ] || fail "apt on this machine knows no Debian archive"
    apt-get -q "${private[@]}" update
}

offered_versions() {
    apt-cache "${private[@]}" showsrc "$package" 2>/dev/null | sed -n 's/^Version: //p' | sort -rVu
}

# Lists from an earlier run may name files that the archive has replaced since: one hour is fresh enough.
if [ -z "$(find "$apt/sources.list" -mmin -60 2>/dev/null)" ]; then
    update_lists
fi

work="$TAVI_CACHE/sources/$package"
rm -rf "$work"
mkdir -p "$work"
cd "$work"
for version in "$pinned" $(offered_versions | grep -Fxv "$pinned"); do
    say "Fetching the source of $package $version"
    if apt-get -q "${private[@]}" source --only-source "$package=$version"; then
        rm -rf "$folder"
        mkdir -p "$(dirname "$folder")"
        mv "$(find . -mindepth 1 -maxdepth 1 -type d)" "$folder"
        exit 0
    fi
    rm -rf "${work:?}"/*
done
fail "no version of the source of $package can be fetched"
