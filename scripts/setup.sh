#!/usr/bin/env bash
# Installs what the builds and tests need on a fresh Debian 12 machine (run as root).
# Idempotent: a second run only checks.
#
# Two kinds of machine exist here: on some the kernel refuses 32-bit Linux programs,
# which 32-bit Wine is. There qemu-user (from bookworm-backports: bookworm's own
# qemu needs ~50 s per Wine start) is registered through binfmt_misc.
# --native: only what the native build needs (the demo); no cross compilers, no Wine.
set -euo pipefail
native_only=0
[ "${1:-}" = "--native" ] && native_only=1

log() { printf 'setup: %s\n' "$*"; }

need_packages=()
want() { dpkg -s "$1" >/dev/null 2>&1 || need_packages+=("$1"); }

want cmake
want g++
want ninja-build
want googletest
want libgtest-dev
want libbenchmark-dev
want nlohmann-json3-dev
want libstb-dev  # stb_image_write (the simulator's PNG pictures) and stb_image (their tests)
want python3
want iproute2
want util-linux
want sigrok-cli  # the independent I2C decoder of the simulator's VCD waveforms
# The fuzz targets build with clang, and every change must stay warning-free with it.
want clang-16
want libclang-rt-16-dev
# The native build makes the man pages from the programs' usage texts.
want help2man
if [ $native_only -eq 0 ]; then
  want g++-mingw-w64-i686-posix
  want g++-mingw-w64-x86-64-posix
  want binutils-mingw-w64-i686
  want wine
  want wine64
  want wine32:i386
  # Packages and their tests: dpkg-buildflags, dpkg-shlibdeps and file for
  # the .debs, lintian and man for checking them, pkg-config for consumers;
  # llvm-dlltool-16 writes the Microsoft-format import library and llvm-nm-16
  # checks it.
  want dpkg-dev
  want file
  want lintian
  want man-db
  want pkgconf
  want llvm-16
fi

if [ ${#need_packages[@]} -gt 0 ]; then
  log "installing: ${need_packages[*]}"
  extra=()
  if [ $native_only -eq 0 ]; then
    dpkg --add-architecture i386
    extra=(libgstreamer-plugins-base1.0-0:i386 libgstreamer-plugins-base1.0-0:amd64)
  fi
  apt-get update || true  # an i386 index may fail to download; the install still works
  DEBIAN_FRONTEND=noninteractive apt-get install -y -t bookworm --no-install-recommends \
    "${need_packages[@]}" "${extra[@]}"
fi
if [ $native_only -eq 1 ]; then log "ready (native)"; exit 0; fi

# The posix thread model is the one whose libstdc++ has std::thread and std::mutex.
for arch in i686 x86_64; do
  for tool in gcc g++; do
    alt=/usr/bin/${arch}-w64-mingw32-${tool}-posix
    [ -x "$alt" ] && update-alternatives --set ${arch}-w64-mingw32-${tool} "$alt" >/dev/null 2>&1 || true
  done
done

runs_32bit() { /lib/ld-linux.so.2 --version >/dev/null 2>&1; }

if ! runs_32bit; then
  log "this kernel runs no 32-bit code: registering qemu-i386 through binfmt_misc"
  qemu_ok=0
  if command -v qemu-i386-static >/dev/null 2>&1; then
    case "$(qemu-i386-static --version | head -n1)" in
      *"version 7."*) qemu_ok=0 ;;
      *) qemu_ok=1 ;;
    esac
  fi
  if [ $qemu_ok -eq 0 ]; then
    uri=$(awk '/^URIs:/{print $2; exit}' /etc/apt/sources.list.d/debian.sources 2>/dev/null || true)
    [ -n "$uri" ] || uri=http://deb.debian.org/debian
    printf 'Types: deb\nURIs: %s\nSuites: bookworm-backports\nComponents: main\nSigned-By: /usr/share/keyrings/debian-archive-keyring.gpg\n' \
      "$uri" > /etc/apt/sources.list.d/backports.sources
    apt-get update || true
    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
      -t bookworm-backports qemu-user-static
  fi
  [ -e /proc/sys/fs/binfmt_misc/register ] || mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
  # The F flag pins the interpreter file at registration: register anew every time.
  [ -e /proc/sys/fs/binfmt_misc/qemu-i386 ] && echo -1 > /proc/sys/fs/binfmt_misc/qemu-i386
  printf '%s' ':qemu-i386:M::\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00:\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff:/usr/bin/qemu-i386-static:F' \
    > /proc/sys/fs/binfmt_misc/register
  runs_32bit || { log "32-bit programs still do not run"; exit 1; }
fi
log "ready"
