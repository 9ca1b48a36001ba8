#!/usr/bin/env bash
# Callgrind profiles of libkel's parser, release, serializer, deep copy and
# equality on the corpus.
#   bench/profile.sh BUILD_DIR [TOP]
# BUILD_DIR holds kel-profile-driver (the bench/ CMake project, Release).
# Writes BUILD_DIR/profile/<file>-<mode>{.out,.txt,-inclusive.txt} and prints the TOP
# functions by exclusive instruction count (Ir) of each.
set -euo pipefail

build=${1:?usage: profile.sh BUILD_DIR [TOP]}
top=${2:-15}
here=$(cd "$(dirname "$0")" && pwd)
corpus=${KEL_BENCH_CORPUS:-$here/../../shared/corpus}
driver=$build/kel-profile-driver
out=$build/profile

for tool in valgrind callgrind_annotate; do
  command -v "$tool" >/dev/null || { echo "profile.sh: $tool is not installed" >&2; exit 1; }
done
[ -x "$driver" ] || { echo "profile.sh: $driver is not built" >&2; exit 1; }
mkdir -p "$out"

for file in canada citm_catalog twitter; do
  input=$corpus/$file.json
  [ -r "$input" ] || { echo "profile.sh: corpus file $input is missing (set KEL_BENCH_CORPUS)" >&2; exit 1; }
  for mode in parse release dump dump_rt dump_pretty copy equal; do
    case $mode in
      parse) fn=profile_parse ;;
      release) fn=profile_release ;;
      copy) fn=profile_copy ;;
      equal) fn=profile_equal ;;
      *) fn=profile_dump ;;
    esac
    base=$out/$file-$mode
    valgrind --tool=callgrind --callgrind-out-file="$base.out" --toggle-collect="$fn" \
      "$driver" "$mode" "$input" 1 2>"$base.log"
    callgrind_annotate --inclusive=no --threshold=100 "$base.out" >"$base.txt"
    callgrind_annotate --inclusive=yes --threshold=99 "$base.out" >"$base-inclusive.txt"
    total=$(grep -m1 'PROGRAM TOTALS' "$base.txt" | awk '{print $1}')
    echo "== $file.json $mode: $total instructions (Ir), top $top functions by own Ir"
    # The function lines follow the header that names the columns.
    # Source paths are cut to their file name.
    awk -v top="$top" '/file:function/ {on=1; next}
                       on && NF && !/^-+$/ && n < top {n++; print}' "$base.txt" |
      sed -E -e 's#^([ 0-9,]+\([ 0-9.%]+\)  )[^:]*/#\1#' -e 's#\[[^]]*/([^]/]*)\]$#[\1]#'
    echo
  done
done
echo "Full listings: $out/*.txt (own Ir), $out/*-inclusive.txt (with callees); raw data: $out/*.out"
