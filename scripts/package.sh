#!/usr/bin/env bash
# Builds every package into dist/ (or $I2CZAVIK_DIST_DIR):
#   libi2czavik1, libi2czavik-dev and i2czavik-tools .debs from the native build,
#   i2czavik-VERSION-windows-i686.zip and -x86_64.zip from the two DLL builds.
# Uses the build trees of scripts/test.sh (build/ or $I2CZAVIK_BUILD_ROOT):
# after a test run only the packing is left to do.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
out=${I2CZAVIK_BUILD_ROOT:-$root/build}
dist=${I2CZAVIK_DIST_DIR:-$root/dist}
jobs=${I2CZAVIK_JOBS:-$(nproc)}

if [ "$(id -u)" = 0 ]; then
  bash scripts/setup.sh
else
  sudo bash scripts/setup.sh
fi
. scripts/build-trees.sh

mkdir -p "$dist"
for tree in native win32 win64; do
  echo "=== package $tree"
  configure_tree $tree
  cmake --build "$out/$tree" -j "$jobs"
  cpack --config "$out/$tree/CPackConfig.cmake" -B "$dist"
done
rm -rf "$dist/_CPack_Packages"
ls -l "$dist"
