#!/usr/bin/env bash
# Builds read_register.c against an installed or packaged i2czavik, as a
# user's project would, and runs it against the simulator with a deadline.
#   consumer_test.sh SCENARIO BUILD WORK SIM WITH_SIM [ARGS...]
#   cmake_relocated, pkg_config   install BUILD
#   deb VERSION LIBDIR, deb_run   the three .debs of BUILD
#   zip VERSION ARCH CC, zip_run RUNNER...   the ZIP of a Windows BUILD
set -euo pipefail
scenario=$1 build=$2 work=$3 sim=$4 with_sim=$5
shift 5
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work" && mkdir -p "$work" && cd "$work"
fail() { echo "consumer_test.sh: $*" >&2; exit 1; }
on_sim() { python3 "$with_sim" --timeout 120 --sim "$@"; }  # SIM [--netns] -- PROGRAM...
lib_dir() { dirname "$(find "$1" -name libi2czavik.so.1)"; }
# same_lines ACTUAL EXPECTED: the same lines in any order (the build type in file names aside)
same_lines() {
  diff <(sed 's/Targets-[a-z]*\.cmake/Targets-CONFIG.cmake/; s/ *$//' "$1" | LC_ALL=C sort) <(LC_ALL=C sort "$2")
}

case $scenario in
cmake_relocated)
  cmake --install "$build" --prefix "$work/first"
  mkdir moved && mv first moved/prefix
  grep -rlF -e "$build" -e "${here%/tests/consumers}" --include='*.cmake' moved && fail "the CMake package names build paths"
  cmake -S "$here/find_package" -B consumer -G Ninja -DCMAKE_PREFIX_PATH="$work/moved/prefix"
  grep -q "^i2czavik_DIR:PATH=$work/moved/prefix/" consumer/CMakeCache.txt || fail "not found in the moved prefix"
  cmake --build consumer
  on_sim "$sim" --netns -- consumer/read_register ;;
pkg_config)
  cmake --install "$build" --prefix "$work/prefix"
  libdir=$(lib_dir prefix)
  cc "$here/read_register.c" -o read_register $(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs i2czavik)
  LD_LIBRARY_PATH=$libdir on_sim "$sim" --netns -- ./read_register ;;
deb)
  version=$1 libdir=usr/$2
  cpack -G DEB -B dist --config "$build/CPackConfig.cmake"
  debs=(dist/libi2czavik1_"$version"-1_*.deb dist/libi2czavik-dev_"$version"-1_*.deb dist/i2czavik-tools_"$version"-1_*.deb)
  lintian --fail-on error,warning "${debs[@]}"
  for deb in "${debs[@]}"; do
    dpkg-deb -c "$deb" | awk -v p="$(dpkg-deb -f "$deb" Package)" '!/^d/ {print p, $6, $7, $8}' >> files
    dpkg-deb -x "$deb" root
  done
  cat > expected <<EOF
i2czavik-tools ./usr/bin/i2c-scheduler-sim
i2czavik-tools ./usr/bin/i2czavik
i2czavik-tools ./usr/share/doc/i2czavik-tools/changelog.Debian.gz
i2czavik-tools ./usr/share/doc/i2czavik-tools/copyright
i2czavik-tools ./usr/share/lintian/overrides/i2czavik-tools
i2czavik-tools ./usr/share/man/man1/i2c-scheduler-sim.1.gz
i2czavik-tools ./usr/share/man/man1/i2czavik.1.gz
libi2czavik-dev ./$libdir/cmake/i2czavik/i2czavikConfig.cmake
libi2czavik-dev ./$libdir/cmake/i2czavik/i2czavikConfigVersion.cmake
libi2czavik-dev ./$libdir/cmake/i2czavik/i2czavikTargets-CONFIG.cmake
libi2czavik-dev ./$libdir/cmake/i2czavik/i2czavikTargets.cmake
libi2czavik-dev ./$libdir/libi2czavik.so -> libi2czavik.so.1
libi2czavik-dev ./$libdir/pkgconfig/i2czavik.pc
libi2czavik-dev ./usr/include/i2czavik.h
libi2czavik-dev ./usr/share/doc/libi2czavik-dev/changelog.Debian.gz
libi2czavik-dev ./usr/share/doc/libi2czavik-dev/copyright
libi2czavik-dev ./usr/share/lintian/overrides/libi2czavik-dev
libi2czavik1 ./$libdir/libi2czavik.so.1 -> libi2czavik.so.$version
libi2czavik1 ./$libdir/libi2czavik.so.$version
libi2czavik1 ./usr/share/doc/libi2czavik1/changelog.Debian.gz
libi2czavik1 ./usr/share/doc/libi2czavik1/copyright
libi2czavik1 ./usr/share/lintian/overrides/libi2czavik1
EOF
  same_lines files expected || fail "package contents"
  dpkg-deb -f "${debs[2]}" Depends | grep -qF "libi2czavik1 (>= $version-1)" || fail "no shlibs dependency"
  for page in root/usr/share/man/man1/*; do
    [ -z "$(MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)" ] || fail "man warns about $page"
  done
  for program in i2czavik i2c-scheduler-sim; do
    [ "$(LD_LIBRARY_PATH=root/$libdir "root/usr/bin/$program" --version)" = "$program $version" ] || fail "$program"
  done
  cc "$here/read_register.c" -o read_register \
    $(PKG_CONFIG_SYSROOT_DIR=$work/root PKG_CONFIG_LIBDIR=$work/root/$libdir/pkgconfig pkg-config --cflags --libs i2czavik) ;;
deb_run)
  root=$work/../deb/root
  LD_LIBRARY_PATH=$(lib_dir "$root") on_sim "$root/usr/bin/i2c-scheduler-sim" --netns -- "$work/../deb/read_register" ;;
zip)
  version=$1 arch=$2 cc=$3 top=i2czavik-$1-windows-$2
  cpack -G ZIP -B dist --config "$build/CPackConfig.cmake"
  cmake -E tar xf "dist/$top.zip"
  (cd "$top" && find . -type f) > files
  cat > expected <<EOF
./LICENSE.txt
./NOTICE.txt
./README.txt
./bin/i2czavik.dll
./bin/i2czavik.exe
./include/i2czavik.h
./lib/cmake/i2czavik/i2czavikConfig.cmake
./lib/cmake/i2czavik/i2czavikConfigVersion.cmake
./lib/cmake/i2czavik/i2czavikTargets-CONFIG.cmake
./lib/cmake/i2czavik/i2czavikTargets.cmake
./lib/i2czavik.def
./lib/i2czavik.lib
./lib/libi2czavik.dll.a
EOF
  same_lines files expected || fail "ZIP contents"
  # Microsoft's import library: a thunk and an __imp_ pointer per export, under
  # the names C callers reference on this architecture (stdcall DeviceIo@20 on i686).
  [ "$arch" = i686 ] && p=_ d=@20 || p='' d=''
  diff <(llvm-nm-16 "$top/lib/i2czavik.lib" | awk '$2 == "T" {print $3}' | LC_ALL=C sort) \
    <(for e in "DeviceIo$d" LibMain UrdClose UrdGetLongReg UrdGetReg UrdGetStatus UrdOpen UrdSetLongReg UrdSetReg; do
        printf '%s\n' "$p$e" "__imp_$p$e"; done | LC_ALL=C sort) || fail "i2czavik.lib exports"
  # Linked against the .lib by its path, never against the .dll.a beside it.
  "$cc" -Wall -Werror -I "$top/include" "$here/read_register.c" "$top/lib/i2czavik.lib" -o read_register.exe
  cp "$top/bin/i2czavik.dll" . ;;
zip_run)
  # Under Wine the wineserver owns the sockets: no namespace of our own.
  on_sim "$sim" -- "$@" "$work/../zip/read_register.exe" ;;
*) fail "no scenario '$scenario'" ;;
esac
echo "consumer $scenario: passed"
