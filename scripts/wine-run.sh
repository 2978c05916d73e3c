#!/usr/bin/env bash
# Runs a Windows program under Wine: wine-run.sh win32|win64 PROGRAM [ARGS...]
# wine-run.sh prepare: only create the prefix and start the wineserver, so that
# the first test does not pay for it inside its deadline; wine-run.sh stop: end it.
# One 64-bit prefix serves both architectures. It is created once, under a
# lock, because the first start takes ~15 s and two first starts would race.
# WINEPREFIX from the environment wins (tests in their own network namespace
# need their own wineserver, hence their own prefix).
set -euo pipefail
arch=$1; shift
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
base=${I2CZAVIK_WINE_HOME:-${TMPDIR:-/tmp}/i2czavik-wine-$(id -u)}
export WINEPREFIX=${WINEPREFIX:-$base/prefix}
mkdir -p "$base"
if [ ! -f "$WINEPREFIX/.i2czavik-ready" ]; then
  (
    flock 9
    if [ ! -f "$WINEPREFIX/.i2czavik-ready" ]; then
      WINEARCH=win64 wineboot -i >/dev/null 2>&1 || true
      wineserver -w || true
      touch "$WINEPREFIX/.i2czavik-ready"
    fi
  ) 9>"$base/.lock"
fi
# Keep one wineserver alive between the many short test programs: starting it
# costs seconds under 32-bit emulation, and a server that wine starts by itself
# would inherit the test's output pipe and hold ctest up until it exits.
# (Fails harmlessly when one runs; `wine-run.sh stop` ends it.)
[ "$arch" = stop ] || wineserver -p >/dev/null 2>&1 </dev/null || true
case "$arch" in
  prepare) /usr/lib/wine/wine64 cmd /c exit >/dev/null 2>&1 </dev/null || true ;;
  stop) wineserver -k >/dev/null 2>&1 || true ;;
  win64) exec /usr/lib/wine/wine64 "$@" ;;
  *) exec wine "$@" ;;
esac
