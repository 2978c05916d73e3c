# The build trees of scripts/test.sh and scripts/package.sh, configured alike
# so that the packages are made from the very trees the tests ran in.
# Sourced; needs $root (the source) and $out (where the trees go).

# configure_tree native|asan|win32|win64
configure_tree() {
  local args
  case $1 in
    # The Linux packages install under /usr (hence the multiarch library
    # directory) and are compiled with Debian's hardening flags.
    native) args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr
                  "-DCMAKE_C_FLAGS=$(dpkg-buildflags --get CFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
                  "-DCMAKE_CXX_FLAGS=$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
                  "-DCMAKE_EXE_LINKER_FLAGS=$(dpkg-buildflags --get LDFLAGS)"
                  "-DCMAKE_SHARED_LINKER_FLAGS=$(dpkg-buildflags --get LDFLAGS)") ;;
    asan) args=(-DCMAKE_BUILD_TYPE=Debug -DI2CZAVIK_SANITIZE=ON -DI2CZAVIK_BENCH=OFF) ;;
    win32|win64)
      local toolchain=mingw-i686
      [ "$1" = win64 ] && toolchain=mingw-x86_64
      args=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/$toolchain.cmake" -DCMAKE_BUILD_TYPE=RelWithDebInfo
            -DI2CZAVIK_SIM_PROGRAM="$out/native/sim/i2c-scheduler-sim") ;;
    *) echo "configure_tree: no tree '$1'" >&2; return 1 ;;
  esac
  cmake -S "$root" -B "$out/$1" -G Ninja "${args[@]}" >/dev/null
}
