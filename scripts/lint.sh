#!/usr/bin/env bash
# The house checks: clang-format on every file of ours, clang-tidy (.clang-tidy) on the sources.
#   scripts/lint.sh                 everything
#   scripts/lint.sh --since REV     clang-tidy only on the sources changed since REV (CI);
#                                   clang-format still checks every file, it is fast.
# Needs a configured build folder with compile_commands.json (BUILD_DIR, default build).
set -euo pipefail
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build}"
since=""
if [ "${1:-}" = "--since" ]; then
  since="${2:?--since takes a revision}"
fi

mapfile -t all < <(git ls-files --cached --others --exclude-standard -- 'src/*' 'tests/*' 'bench/*' 'demo/*' \
                   | grep -E '\.(cpp|h)$' | while read -r f; do [ -f "$f" ] && echo "$f"; done)

echo "clang-format: ${#all[@]} files"
clang-format --dry-run --Werror "${all[@]}"

if [ -n "$since" ] && git rev-parse --verify -q "$since^{commit}" >/dev/null; then
  mapfile -t changed < <(git diff --name-only "$since" -- 'src/*' 'tests/*' 'bench/*' 'demo/*' | grep -E '\.(cpp|h)$' || true)
  sources=()
  for f in "${changed[@]}"; do
    [ -f "$f" ] || continue
    case "$f" in
      *.cpp) sources+=("$f") ;;
      *.h) [ -f "${f%.h}.cpp" ] && sources+=("${f%.h}.cpp") ;;
    esac
  done
  echo "clang-tidy: ${#sources[@]} source(s) changed since $since"
else
  sources=()
  for f in "${all[@]}"; do
    case "$f" in *.cpp) sources+=("$f") ;; esac
  done
  echo "clang-tidy: ${#sources[@]} sources"
fi
[ ${#sources[@]} -eq 0 ] && exit 0
[ -f "$build/compile_commands.json" ] || { echo "no $build/compile_commands.json: configure the build first"; exit 1; }
printf '%s\n' "${sources[@]}" | sort -u \
  | xargs -P "$(nproc)" -n 4 clang-tidy -p "$build" --quiet 2>&1 \
  | grep -v -E '^[0-9]+ warnings? (generated|treated as errors)\.$|^Suppressed [0-9]+ warnings|^Use -header-filter' \
  | tee /tmp/mosaro-lint.$$ || true
if grep -q -E '(error|warning): ' /tmp/mosaro-lint.$$; then
  rm -f /tmp/mosaro-lint.$$
  echo "clang-tidy found problems"
  exit 1
fi
rm -f /tmp/mosaro-lint.$$
echo "lint: clean"
