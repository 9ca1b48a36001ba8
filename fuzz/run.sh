#!/usr/bin/env bash
# Builds the fuzz targets and runs each for FUZZ_SECONDS (default 30) seconds.
# Every target first replays its kept regression inputs (fuzz/regressions/<target>),
# then fuzzes from its seeds, the public parsing suite and the benchmark corpus.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${FUZZ_BUILD:-$here/../build-fuzz}
seconds=${FUZZ_SECONDS:-30}
shared=${KEL_SHARED_DIR:-$here/../../shared}
targets=${FUZZ_TARGETS:-parse pointer structure roundtrip format text}

cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" -j "$(nproc)"

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for t in $targets; do
  corpus=$build/corpus/$t
  mkdir -p "$corpus" "$build/findings/$t"
  cp -n "$here"/seeds/"$t"/* "$corpus"/ 2>/dev/null || true
  case $t in
    parse|roundtrip|structure|pointer)
      [ -d "$shared/jsontestsuite/test_parsing" ] && cp -n "$shared"/jsontestsuite/test_parsing/* "$corpus"/ 2>/dev/null || true
      [ -d "$shared/corpus" ] && cp -n "$shared"/corpus/*.json "$corpus"/ 2>/dev/null || true ;;
  esac
  if compgen -G "$here/regressions/$t/*" >/dev/null; then
    echo "== $t: replaying regressions"
    "$build/fuzz_$t" "$here"/regressions/"$t"/*
  fi
  echo "== $t: fuzzing for ${seconds}s"
  "$build/fuzz_$t" -max_total_time="$seconds" -max_len=65536 -timeout=20 -rss_limit_mb=4096 \
    -print_final_stats=1 -artifact_prefix="$build/findings/$t/" "$corpus" 2>&1 | tail -n 12
done
