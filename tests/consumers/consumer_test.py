#!/usr/bin/env python3
"""Builds read_register.c against an installed or packaged i2czavik, the way a
user's project would, and runs it against the simulator.

  consumer_test.py SCENARIO BUILD WORK SIM WITH_SIM [ARGS...]

  cmake_relocated  install BUILD, move the prefix, find_package from there
  pkg_config       install BUILD, compile with `pkg-config --cflags --libs`
  deb VERSION LIBDIR   make the .debs, lintian, file lists, unpack, compile
  deb_run              run that program on the packaged simulator
  zip VERSION ARCH CC  make the ZIP, file list, .lib symbols, link the .lib
  zip_run RUNNER...    run that program under Wine
"""

import fnmatch
import glob
import os
import shutil
import subprocess
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
SOURCE = HERE / "read_register.c"
EXPORTS = ["DeviceIo", "LibMain", "UrdClose", "UrdGetLongReg", "UrdGetReg", "UrdGetStatus", "UrdOpen",
           "UrdSetLongReg", "UrdSetReg"]


def run(*cmd, env=None, **kw):
    print("+", " ".join(str(c) for c in cmd), flush=True)
    return subprocess.run([str(c) for c in cmd], check=True, env=env, **kw)


def output(*cmd, env=None):
    return run(*cmd, env=env, stdout=subprocess.PIPE, text=True).stdout


def fail(message):
    sys.exit("consumer_test.py: " + message)


def against_sim(sim, with_sim, program, env=None, netns=True):
    """Runs PROGRAM against a fresh simulator on port 3000, with a deadline."""
    run(sys.executable, with_sim, "--sim", sim, *(["--netns"] if netns else []), "--timeout", "120",
        "--", *program, env=env)


def env_with(**extra):
    env = dict(os.environ)
    env.update({k: str(v) for k, v in extra.items()})
    return env


def one(pattern):
    found = glob.glob(str(pattern), recursive=True)
    if len(found) != 1:
        fail("expected one match for %s, found %s" % (pattern, found))
    return Path(found[0])


def check_files(what, actual, patterns):
    """Every file matches exactly one pattern and every pattern one file."""
    unmatched = [f for f in actual if not any(fnmatch.fnmatchcase(f, p) for p in patterns)]
    missing = [p for p in patterns if sum(fnmatch.fnmatchcase(f, p) for f in actual) != 1]
    if unmatched or missing:
        fail("%s: unexpected files %s; patterns without exactly one file %s" % (what, unmatched, missing))


def cmake_relocated(build, work, sim, with_sim):
    first, moved = work / "first", work / "moved" / "prefix"
    run("cmake", "--install", build, "--prefix", first)
    moved.parent.mkdir()
    first.rename(moved)
    for text in (f.read_text() for f in one(moved / "lib*/**/cmake/i2czavik").iterdir()):
        for path in (build, HERE.parent.parent, first):
            if str(path) in text:
                fail("the installed CMake package names %s" % path)
    run("cmake", "-S", HERE / "find_package", "-B", work / "consumer", "-G", "Ninja", "-DCMAKE_PREFIX_PATH=%s" % moved)
    cache = (work / "consumer" / "CMakeCache.txt").read_text()
    if "i2czavik_DIR:PATH=%s/" % moved not in cache:
        fail("find_package did not take the package from the moved prefix")
    run("cmake", "--build", work / "consumer")
    against_sim(sim, with_sim, [work / "consumer" / "read_register"])


def pkg_config(build, work, sim, with_sim):
    prefix = work / "prefix"
    run("cmake", "--install", build, "--prefix", prefix)
    libdir = one(prefix / "lib*/**/libi2czavik.so.1").parent
    flags = output("pkg-config", "--cflags", "--libs", "i2czavik", env=env_with(PKG_CONFIG_PATH=libdir / "pkgconfig"))
    run("cc", SOURCE, "-o", work / "read_register", *flags.split())
    against_sim(sim, with_sim, [work / "read_register"], env=env_with(LD_LIBRARY_PATH=libdir))


def deb(build, work, sim, with_sim, version, libdir):
    run("cpack", "-G", "DEB", "-B", work / "dist", "--config", build / "CPackConfig.cmake")
    debs = {name: one(work / "dist" / ("%s_%s-1_*.deb" % (name, version)))
            for name in ("libi2czavik1", "libi2czavik-dev", "i2czavik-tools")}
    run("lintian", "--fail-on", "error,warning", *debs.values())
    doc = ["usr/share/doc/%s/copyright", "usr/share/doc/%s/changelog.Debian.gz", "usr/share/lintian/overrides/%s"]
    expected = {
        "libi2czavik1": ["%s/libi2czavik.so.1" % libdir, "%s/libi2czavik.so.%s" % (libdir, version)],
        "libi2czavik-dev": ["include/i2czavik.h", libdir + "/libi2czavik.so", libdir + "/pkgconfig/i2czavik.pc",
                            libdir + "/cmake/i2czavik/i2czavikConfig.cmake",
                            libdir + "/cmake/i2czavik/i2czavikConfigVersion.cmake",
                            libdir + "/cmake/i2czavik/i2czavikTargets.cmake",
                            libdir + "/cmake/i2czavik/i2czavikTargets-*.cmake"],
        "i2czavik-tools": ["bin/i2czavik", "bin/i2c-scheduler-sim", "share/man/man1/i2czavik.1.gz",
                           "share/man/man1/i2c-scheduler-sim.1.gz"],
    }
    root = work / "root"
    for name, path in debs.items():
        listing = [line.split()[5] for line in output("dpkg-deb", "-c", path).splitlines() if line[0] in "-l"]
        check_files(name, [f[2:] for f in listing], ["usr/" + p for p in expected[name]] + [d % name for d in doc])
        run("dpkg-deb", "-x", path, root)
    links = {"libi2czavik.so": "libi2czavik.so.1", "libi2czavik.so.1": "libi2czavik.so.%s" % version}
    for link, target in links.items():
        if os.readlink(root / "usr" / libdir / link) != target:
            fail("%s does not point to %s" % (link, target))
    depends = output("dpkg-deb", "-f", debs["i2czavik-tools"], "Depends")
    if "libi2czavik1 (>= %s-1)" % version not in depends:
        fail("i2czavik-tools does not depend on libi2czavik1: %s" % depends)

    pc = env_with(PKG_CONFIG_SYSROOT_DIR=root, PKG_CONFIG_LIBDIR=root / "usr" / libdir / "pkgconfig")
    run("cc", SOURCE, "-o", work / "read_register", *output("pkg-config", "--cflags", "--libs", "i2czavik", env=pc).split())
    for page in (root / "usr/share/man/man1").iterdir():
        warnings = run("man", "--warnings", "-l", page, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                       text=True, env=env_with(MANWIDTH=80)).stderr
        if warnings:
            fail("man --warnings on %s:\n%s" % (page.name, warnings))
    lib = env_with(LD_LIBRARY_PATH=root / "usr" / libdir)
    for program in ("i2czavik", "i2c-scheduler-sim"):
        said = output(root / "usr/bin" / program, "--version", env=lib)
        if said != "%s %s\n" % (program, version):
            fail("%s --version said %r" % (program, said))


def deb_run(build, work, sim, with_sim):
    root = work.parent / "deb" / "root"
    libdir = one(root / "usr/lib/**/libi2czavik.so.1").parent
    against_sim(root / "usr/bin/i2c-scheduler-sim", with_sim, [work.parent / "deb" / "read_register"],
                env=env_with(LD_LIBRARY_PATH=libdir))


def zip_(build, work, sim, with_sim, version, arch, cc):
    run("cpack", "-G", "ZIP", "-B", work / "dist", "--config", build / "CPackConfig.cmake")
    top = work / ("i2czavik-%s-windows-%s" % (version, arch))
    run("cmake", "-E", "tar", "xf", one(work / "dist" / (top.name + ".zip")), cwd=work)
    files = [str(p.relative_to(top)) for p in top.rglob("*") if p.is_file()]
    check_files("ZIP", files, ["bin/i2czavik.dll", "bin/i2czavik.exe", "include/i2czavik.h", "lib/i2czavik.lib",
                               "lib/libi2czavik.dll.a", "lib/i2czavik.def", "lib/cmake/i2czavik/i2czavikConfig.cmake",
                               "lib/cmake/i2czavik/i2czavikConfigVersion.cmake",
                               "lib/cmake/i2czavik/i2czavikTargets.cmake",
                               "lib/cmake/i2czavik/i2czavikTargets-*.cmake", "LICENSE.txt", "NOTICE.txt",
                               "README.txt"])

    # The Microsoft-format import library: a thunk and an __imp_ pointer per
    # export, named as C callers on this architecture reference them.
    symbols = {line.split()[-1] for line in output("llvm-nm-16", top / "lib/i2czavik.lib").splitlines()
               if line.split()[-2:-1] == ["T"]}
    if arch == "i686":
        names = ["_DeviceIo@20"] + ["_" + e for e in EXPORTS[1:]]
    else:
        names = EXPORTS
    wanted = set(names) | {"__imp_" + n for n in names}
    if symbols != wanted:
        fail("i2czavik.lib: missing %s, unexpected %s" % (sorted(wanted - symbols), sorted(symbols - wanted)))

    # Linked against the .lib by its path, never the .dll.a beside it.
    run(cc, "-Wall", "-Werror", "-I", top / "include", SOURCE, top / "lib/i2czavik.lib", "-o", work / "read_register.exe")
    shutil.copy(top / "bin/i2czavik.dll", work)


def zip_run(build, work, sim, with_sim, *runner):
    program = work.parent / "zip" / "read_register.exe"
    # Under Wine the wineserver owns the sockets: no namespace of our own.
    against_sim(sim, with_sim, [*runner, program], netns=False)


SCENARIOS = {"cmake_relocated": cmake_relocated, "pkg_config": pkg_config, "deb": deb, "deb_run": deb_run,
             "zip": zip_, "zip_run": zip_run}


def main():
    if len(sys.argv) < 6 or sys.argv[1] not in SCENARIOS:
        fail("usage: consumer_test.py {%s} BUILD WORK SIM WITH_SIM [ARGS...]" % ",".join(SCENARIOS))
    scenario, build, work, sim, with_sim = sys.argv[1:6]
    work = Path(work)
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    SCENARIOS[scenario](Path(build), work, sim, with_sim, *sys.argv[6:])
    print("consumer %s: passed" % scenario)


if __name__ == "__main__":
    main()
