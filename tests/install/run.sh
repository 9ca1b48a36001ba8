#!/bin/sh
# Usage: run.sh BUILD_DIR THIS_DIR WORK_DIR CC CXX "EXTRA_FLAGS"
# EXTRA_FLAGS are the sanitizer flags of a sanitized build (the installed
# library then needs its runtime in the programs that load it).
set -eu
build=$1 here=$2 work=$3 cc=$4 cxx=$5 flags=$6

rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" > "$work/install.log"

for f in include/kel.h include/kel_error.h include/kel_util.h include/kel_json.h bin/kel-json \
         share/man/man1/kel-json.1; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f" >&2; exit 1; }
done

# C program through pkg-config
pc=$(find "$prefix" -name kel.pc)
[ -n "$pc" ] || { echo "kel.pc not installed" >&2; exit 1; }
PKG_CONFIG_PATH=$(dirname "$pc")
export PKG_CONFIG_PATH
pkg-config --modversion kel
libdir=$(pkg-config --variable=libdir kel)
# shellcheck disable=SC2046,SC2086
"$cc" -std=c11 -Wall -Wextra -Werror $flags "$here/pkgconfig_consumer.c" -o "$work/c-consumer" \
  $(pkg-config --cflags --libs kel) -Wl,-rpath,"$libdir"
"$work/c-consumer"

# C++ program through find_package(kel)
cmake -S "$here/consumer" -B "$work/cmake-consumer" -G Ninja \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" > "$work/consumer-configure.log"
cmake --build "$work/cmake-consumer" > "$work/consumer-build.log"
"$work/cmake-consumer/consumer"

# installed kel-json
out=$(printf '{"a": [1, 2.5]}' | "$prefix/bin/kel-json" get --compact - /a)
[ "$out" = "[1,2.5]" ] || { echo "unexpected kel-json output: $out" >&2; exit 1; }
# installed man page
if command -v man > /dev/null 2>&1; then
  page=$(MANPATH="$prefix/share/man" MANWIDTH=80 man kel-json 2> "$work/man.log") ||
    { cat "$work/man.log" >&2; echo "man kel-json failed" >&2; exit 1; }
  printf '%s\n' "$page" | grep -q '^NAME' || { echo "man kel-json: no NAME section" >&2; exit 1; }
  printf '%s\n' "$page" | sed -n 2,4p
else
  echo "man not available: page installed, rendering not checked"
fi
echo "install test passed"
