#!/usr/bin/env bash
# Installs what is missing, builds every target and runs every test:
#   native (libi2czavik.so, simulator, tools, unit and end-to-end tests),
#   native under AddressSanitizer + UndefinedBehaviorSanitizer,
#   i686 and x86_64 DLLs with their tests under Wine.
# Build trees go to build/ (or $I2CZAVIK_BUILD_ROOT).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
out=${I2CZAVIK_BUILD_ROOT:-$root/build}
jobs=${I2CZAVIK_JOBS:-$(nproc)}

if [ "$(id -u)" = 0 ]; then
  bash scripts/setup.sh
else
  sudo bash scripts/setup.sh
fi

. scripts/build-trees.sh
for build in native asan win32 win64; do
  configure_tree $build
done

summary=()
failed=0
for build in native asan win32 win64; do
  echo "=== build $build"
  cmake --build "$out/$build" -j "$jobs"
done
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
scripts/wine-run.sh prepare
for build in native asan win32 win64; do
  echo "=== test $build"
  log="$out/$build/ctest-summary.txt"
  if ctest --test-dir "$out/$build" --output-on-failure -j "$jobs" 2>&1 | tee "$log"; then :; else failed=1; fi
  summary+=("$build: $(grep -E 'tests passed|tests failed' "$log" | tail -n 1)")
done

scripts/wine-run.sh stop

echo
echo "=== summary"
printf '%s\n' "${summary[@]}"
exit $failed
