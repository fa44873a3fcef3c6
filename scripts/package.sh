#!/usr/bin/env bash
# package.sh [--certificate FILE.pem --key FILE.pem]: builds what users of the service get, as two zip files in
# out/package: the programs with documentation, licences, the client library and install.ps1, and the debug symbols.
# With a certificate the programs are signed, and the service is built to serve the programs that this certificate's owner
# signed; without one it serves those of the publisher that cmake/settings.cmake names.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$TAVI_ROOT"

certificate='' key=''
while [ "$#" -gt 0 ]; do
    case "$1" in
        --certificate) certificate="${2:?}" ;;
        --key) key="${2:?}" ;;
        *) usage './package [--certificate FILE.pem --key FILE.pem]' ;;
    esac
    shift 2
done
[ -n "$certificate" ] && [ -n "$key" ] || [ -z "$certificate$key" ] || fail "a certificate needs its key, and a key its certificate"
if [ -n "$certificate" ]; then
    TAVI_PUBLISHER="$(openssl x509 -in "$certificate" -noout -subject -nameopt multiline,utf8,-esc_msb |
        sed -n 's/^ *commonName *= //p')"
    case "$TAVI_PUBLISHER" in
        '' | *[\"\\\$]*) fail "the certificate's common name '$TAVI_PUBLISHER' cannot be a publisher" ;;
    esac
    export TAVI_PUBLISHER
fi

# What the tools write into programs and archives as the time is the commit's.
SOURCE_DATE_EPOCH="$(git log -1 --format=%ct 2>/dev/null || date +%s)"
export SOURCE_DATE_EPOCH

./build windows
build_preset windows-cross tavi_client_library list_changes

version="$(sed -n 's/^project(TaviLumbraService VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)"
name="TaviLumbraService-$version"
build=out/build/windows-cross
root=out/package
stage="$root/$name"
tools=x86_64-w64-mingw32
rm -rf "$root"
mkdir -p "$stage/bin" "$stage/docs" "$stage/licences" "$stage/client-library"/{include,lib,source,example}

stage_programs() {
    local program
    for program in TaviLumbraService TaviListenClient TaviReplay; do
        cp "out/windows/$program.exe" "$stage/bin/"
    done
    "$tools-strip" --strip-debug --strip-unneeded -o "$stage/client-library/example/list_changes.exe" \
        "$build/examples/list_changes/list_changes.exe"
}

sign_programs() {
    [ -n "$certificate" ] || return 0
    local program
    for program in "$stage"/bin/*.exe "$stage"/client-library/example/*.exe; do
        quietly out/logs/sign.log osslsigncode sign -h sha256 -certs "$certificate" -key "$key" -in "$program" -out "$program.signed"
        mv "$program.signed" "$program"
    done
}

# The library as one archive, with the two parts of ours that it stands on, and what it needs of others beside it.
stage_client_library() {
    local to="$stage/client-library" objects
    cp -r client/include/tavi_client "$to/include/"
    cp client/*.cpp client/*.h "$to/source/"
    mkdir -p "$to/source/windows" "$to/source/imports" "$to/source/platform"
    cp client/windows/* "$to/source/windows/"
    cp src/imports/{type_convert,file_helper}.{h,cpp} "$to/source/imports/"
    cp src/platform/*.h "$to/source/platform/"
    cp examples/list_changes/list_changes.cpp "$to/example/"
    cp packaging/client-library.md "$to/README.md"
    objects="$(mktemp -d)"
    (cd "$objects" && "$tools-ar" x "$TAVI_ROOT/$build/client/libtavi_client_library.a" &&
        "$tools-ar" x "$TAVI_ROOT/$build/src/imports/libtavi_imports.a" type_convert.cpp.obj file_helper.cpp.obj &&
        "$tools-ar" rcsD "$TAVI_ROOT/$to/lib/libtavi_client.a" ./*.obj)
    rm -rf "$objects"
    cp "$TAVI_CACHE/windows/lib/"lib{sqlite3,jsoncpp,crypto}.a "$to/lib/"
    "$tools-strip" --strip-debug --enable-deterministic-archives "$to"/lib/*.a
}

# What is linked into the programs, with the package whose copyright file covers it.
stage_licences() {
    local entry product package file
    for entry in SQLite:libsqlite3-dev JsonCpp:libjsoncpp-dev OpenSSL:libssl-dev spdlog:libspdlog-dev fmt:libfmt-dev \
        CLI11:libcli11-dev robin-map:robin-map-dev MinGW-w64:mingw-w64-x86-64-dev GCC-runtime:gcc-mingw-w64-base; do
        product="${entry%%:*}" package="${entry#*:}"
        file="/usr/share/doc/$package/copyright"
        [ -s "$file" ] || fail "no copyright file of $package, which covers $product"
        cp -L "$file" "$stage/licences/$product.txt"
    done
}

stage_documents() {
    cp SECURITY.md packaging/README.md packaging/install.ps1 "$stage/"
    cp -r docs/. "$stage/docs/"
    rm "$stage/docs/simulated-lives.md"  # for whoever works on the service
}

# zip_folder FOLDER: the same contents, unsigned, give the same bytes.
zip_folder() {
    local zip="$root/$1.zip"
    scripts/zip_folder.py "$zip" "$root/$1" "$SOURCE_DATE_EPOCH"
    say "$zip ($(du -h "$zip" | cut -f1))"
}

stage_programs
scripts/check_programs.sh "$stage/bin"
scripts/check_programs.sh "$stage/client-library/example"
sign_programs
stage_client_library
stage_licences
stage_documents
mkdir -p "$root/$name-symbols"
for program in TaviLumbraService TaviListenClient TaviReplay; do
    cp "out/windows/debug/$program.exe.debug" "$root/$name-symbols/"
done
zip_folder "$name"
zip_folder "$name-symbols"
