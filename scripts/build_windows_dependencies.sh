#!/usr/bin/env bash
# Cross-builds SQLite, JsonCpp and libcrypto for Windows x64 from Debian's sources, as static libraries, and puts them
# with the header-only libraries into $TAVI_CACHE/windows/{include,lib}, where the toolchain file looks. A stamp per
# library, made of its version and options, makes the next run instant; a library whose stamp differs is built anew.
# GoogleTest needs no build here: CMake builds it from /usr/src/googletest.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

prefix="$TAVI_CACHE/windows"
logs="$TAVI_CACHE/logs"
target=x86_64-w64-mingw32
compile=(-O2 -g -ffunction-sections -fdata-sections)
mkdir -p "$prefix/include" "$prefix/lib" "$prefix/stamps" "$logs"
cd "$TAVI_CACHE"

# Two programs started at the same time must not build into the same folder.
exec 9>"$prefix/lock"
flock 9

sqlite_version='3.40.1-2+deb12u2'
# Threads share no connection, but several use the library. Extensions and URI names would only be ways in.
sqlite_options=(-DSQLITE_THREADSAFE=1 -DSQLITE_OMIT_LOAD_EXTENSION -DSQLITE_USE_URI=0 -DSQLITE_DEFAULT_MEMSTATUS=0
    -DSQLITE_OMIT_DEPRECATED -DSQLITE_OMIT_SHARED_CACHE)

build_sqlite() {
    local source="$1"
    cd "$source"
    quietly "$logs/sqlite-configure.log" ./configure --disable-readline --disable-tcl
    quietly "$logs/sqlite-amalgamation.log" make sqlite3.c
    quietly "$logs/sqlite-compile.log" "$target-gcc-posix" "${compile[@]}" "${sqlite_options[@]}" -c sqlite3.c -o sqlite3.o
    install_library libsqlite3.a sqlite3.o
    cp sqlite3.h "$prefix/include/"
}

jsoncpp_version='1.9.5-4'
jsoncpp_options=(-std=c++17 -DJSONCPP_NO_LOCALE_SUPPORT)

build_jsoncpp() {
    local source="$1" part
    cd "$source"
    for part in reader value writer; do
        quietly "$logs/jsoncpp-$part.log" "$target-g++-posix" "${compile[@]}" "${jsoncpp_options[@]}" -Iinclude \
            -c "src/lib_json/json_$part.cpp" -o "json_$part.o"
    done
    install_library libjsoncpp.a json_reader.o json_value.o json_writer.o
    rm -rf "$prefix/include/json"
    cp -r include/json "$prefix/include/json"
}

openssl_version='3.0.20-1~deb12u2'
# Of libcrypto only digests are used: what can be left out is left out.
openssl_options=(no-shared no-tests no-engine no-legacy no-dso no-module no-ssl no-dtls no-tls no-sock no-dgram
    no-async no-autoload-config no-stdio no-ui-console no-deprecated no-ec no-dh no-dsa no-cms no-ts no-ocsp no-ct no-cmp
    no-srp no-psk no-comp no-rfc3779 no-aria no-bf no-blake2 no-camellia no-cast no-chacha no-poly1305 no-des no-idea
    no-md4 no-mdc2 no-ocb no-rc2 no-rc4 no-rmd160 no-scrypt no-seed no-siphash no-siv no-sm2 no-sm3 no-sm4 no-whirlpool
    no-gost no-nextprotoneg no-multiblock no-srtp)

build_openssl() {
    local source="$1"
    cd "$source"
    quietly "$logs/openssl-configure.log" ./Configure mingw64 "--cross-compile-prefix=$target-" "${openssl_options[@]}" \
        "CC=gcc-posix" -ffunction-sections -fdata-sections
    quietly "$logs/openssl-generated.log" make build_generated
    quietly "$logs/openssl-compile.log" make "-j$TAVI_JOBS" libcrypto.a
    cp libcrypto.a "$prefix/lib/"
    rm -rf "$prefix/include/openssl"
    cp -r include/openssl "$prefix/include/openssl"
}

# The logging, formatting and command-line libraries are used as headers and are the same for every system.
copy_headers() {
    local library
    for library in spdlog fmt CLI tsl; do
        rm -rf "${prefix:?}/include/$library"
        cp -rL "/usr/include/$library" "$prefix/include/$library"
    done
}

# install_library NAME OBJECT...
install_library() {
    local archive="$prefix/lib/$1"
    shift
    rm -f "$archive"
    "$target-gcc-ar-posix" rcs "$archive" "$@"
}

# once NAME STAMP COMMAND...: runs the command unless it already succeeded with this stamp.
once() {
    local name="$1" stamp="$2"
    shift 2
    [ "$(cat "$prefix/stamps/$name" 2>/dev/null)" != "$stamp" ] || return 0
    rm -f "$prefix/stamps/$name"
    "$@"
    printf '%s\n' "$stamp" >"$prefix/stamps/$name"
}

# library NAME PACKAGE VERSION OPTIONS: fetches the source and builds it with build_NAME.
library() {
    local name="$1" package="$2" version="$3" options="$4"
    once "$name" "$version ${compile[*]} $options" fetch_and_build "$name" "$package" "$version"
}

fetch_and_build() {
    local name="$1" package="$2" version="$3" source="$TAVI_CACHE/build/$1"
    quietly "$logs/$name-fetch.log" "$TAVI_ROOT/scripts/fetch_source.sh" "$package" "$version" "$source"
    say "Building $name for Windows"
    (set -euo pipefail; "build_$name" "$source")
    rm -rf "$source" "$TAVI_CACHE/sources/$package"
}

header_versions="$(dpkg-query -W -f '${Package} ${Version} ' libspdlog-dev libfmt-dev libcli11-dev robin-map-dev)"
once headers "$header_versions" copy_headers
library sqlite sqlite3 "$sqlite_version" "${sqlite_options[*]}"
library jsoncpp libjsoncpp "$jsoncpp_version" "${jsoncpp_options[*]}"
library openssl openssl "$openssl_version" "${openssl_options[*]}"
