#!/usr/bin/env bash
# Runs every fuzz target of build-fuzz for the given number of seconds each, starting from the
# seed and regression corpus in tests/fuzz/corpus/<target>. New inputs go to
# build-fuzz/corpus/<target>, never into the tree. A crash fails the run and says where its
# input is: add that file to tests/fuzz/corpus/<target>/ as a regression case, and fix the fault.
set -uo pipefail
cd "$(dirname "$0")/.."
seconds="${1:?fuzz.sh takes the seconds per target}"
build="${FUZZ_BUILD_DIR:-build-fuzz}"
list="$build/fuzz/fuzzers.txt"
[ -f "$list" ] || { echo "fuzz: no $list; build with make build-fuzz first"; exit 1; }

failed=()
while read -r target; do
  [ -z "$target" ] && continue
  work="$build/corpus/$target"
  artifacts="$build/artifacts/$target/"
  mkdir -p "$work" "$artifacts"
  echo "fuzz: $target for ${seconds}s"
  if ! ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1}" \
       UBSAN_OPTIONS="${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}" \
       "$build/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
         -print_final_stats=1 -artifact_prefix="$artifacts" "$work" "tests/fuzz/corpus/$target" \
         > "$build/fuzz/$target.log" 2>&1; then
    tail -n 40 "$build/fuzz/$target.log"
    echo "fuzz: $target FAILED; its input is in $artifacts"
    echo "fuzz: copy it into tests/fuzz/corpus/$target/ as a regression case and fix the fault"
    failed+=("$target")
  else
    grep -E '^stat::number_of_executed_units|^stat::peak_rss_mb' "$build/fuzz/$target.log" | sed "s/^/fuzz: $target /"
  fi
done < "$list"

if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz: failed: ${failed[*]}"
  exit 1
fi
echo "fuzz: every target ran clean"
