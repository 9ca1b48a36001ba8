#!/usr/bin/env bash
# Builds the fuzz targets and runs each for FUZZ_SECONDS (default 30) seconds.
# Every target first replays its kept regression inputs (fuzz/regressions/<target>),
# then fuzzes from its seeds, the public parsing suite and the benchmark corpus
# (when ../shared is there). The corpus grows in $FUZZ_BUILD/corpus/<target>
# across runs; findings land in $FUZZ_BUILD/findings/<target>.
#
# The script fails on real findings only: sanitizer reports, broken invariants,
# leaks, crashes. A timeout or the process running out of its memory budget on a
# busy machine is noise unless the input reproduces it when run on its own: the
# input is replayed once, and only a repeated timeout or crash fails the run.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${FUZZ_BUILD:-$here/../build-fuzz}
seconds=${FUZZ_SECONDS:-30}
shared=${KEL_SHARED_DIR:-$here/../../shared}
targets=${FUZZ_TARGETS:-parse pointer structure roundtrip format text patch}
timeout=${FUZZ_TIMEOUT:-30}
jobs=${FUZZ_JOBS:-$(nproc)}

cmake -S "$here" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >/dev/null || exit 1
cmake --build "$build" -j "$jobs" || exit 1

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
failed=""

# A finding is real when its input fails again on its own.
confirm() {  # target artifact
  echo "   replaying $2 on its own"
  "$build/fuzz_$1" -timeout="$timeout" -rss_limit_mb=4096 "$2" >"$2.replay.log" 2>&1
}

for t in $targets; do
  corpus=$build/corpus/$t
  findings=$build/findings/$t
  log=$build/logs/$t.log
  mkdir -p "$corpus" "$findings" "$build/logs"
  cp -n "$here"/seeds/"$t"/* "$corpus"/ 2>/dev/null || true
  case $t in
    parse|roundtrip|structure|pointer)
      if [ -d "$shared/jsontestsuite/test_parsing" ]; then
        cp -n "$shared"/jsontestsuite/test_parsing/* "$corpus"/ 2>/dev/null || true
      fi
      if [ -d "$shared/corpus" ]; then
        cp -n "$shared"/corpus/*.json "$corpus"/ 2>/dev/null || true
      fi ;;
  esac
  if compgen -G "$here/regressions/$t/*" >/dev/null; then
    echo "== $t: replaying regressions"
    if ! "$build/fuzz_$t" -timeout="$timeout" "$here"/regressions/"$t"/* >"$log" 2>&1; then
      tail -n 60 "$log"
      failed="$failed $t(regression)"
      continue
    fi
  fi
  echo "== $t: fuzzing for ${seconds}s"
  dict=()
  case $t in
    parse|roundtrip|structure|pointer|patch) dict=(-dict="$here/json.dict") ;;
  esac
  # Navigation and the structural operations gain nothing from big documents
  # but spend their time copying them: they get smaller inputs.
  case $t in
    pointer|structure|patch) max_len=8192 ;;
    *) max_len=65536 ;;
  esac
  "$build/fuzz_$t" -max_total_time="$seconds" -max_len="$max_len" -timeout="$timeout" \
    -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="$findings/" "${dict[@]}" \
    "$corpus" >"$log" 2>&1
  rc=$?
  grep -E '^stat::(number_of_executed_units|peak_rss_mb)|cov: .*ft:' "$log" | tail -n 3
  [ $rc -eq 0 ] && continue
  artifact=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
  case $rc in
    70|71)  # timeout / out of memory: real only when the input repeats it alone
      kind=$([ $rc -eq 70 ] && echo timeout || echo "out of memory")
      if [ -n "$artifact" ] && ! confirm "$t" "$artifact"; then
        tail -n 40 "$artifact.replay.log"
        failed="$failed $t($kind)"
      else
        echo "   warning: $t: $kind on a busy machine, not reproduced alone (${artifact:-no input kept})"
      fi ;;
    *)
      tail -n 60 "$log"
      echo "   finding: ${artifact:-see $log}"
      failed="$failed $t" ;;
  esac
done

if [ -n "$failed" ]; then
  echo "fuzz: findings in:$failed (inputs under $build/findings)"
  exit 1
fi
echo "fuzz: no findings"
