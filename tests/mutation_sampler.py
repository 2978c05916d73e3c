#!/usr/bin/env python3
"""Measures how many realistic one-line faults in src/ the tests catch.

  mutation_sampler.py [--root DIR] [--build DIR] [--mutants FILE] [--only ID ...]
                      [--timeout SECONDS] [--jobs N] [--list]

Applies each mutant of tests/mutants.txt alone to the tree under --root,
brings the native Ninja build in --build up to date and runs ctest on it: a
failing test or a run longer than --timeout kills the mutant. A mutant whose
original text is not there exactly once is not-found, one that does not
build is not-compiled; neither counts towards the kill rate. The file is
restored after every mutant, also on Ctrl+C or SIGTERM, and by the next run
(from the copy kept in the build dir) after a run that was killed outright.
"""

import argparse
import os
import signal
import subprocess
import sys
import time
from types import SimpleNamespace

HERE = os.path.dirname(os.path.abspath(__file__))
CONFIGURE = ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DI2CZAVIK_BENCH=OFF"]


def load_mutants(table):
    """Blocks of '[id] src/file: what is wrong', '- original' lines, '+ replacement' lines."""
    mutants = []
    with open(table, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            line = line.rstrip("\n")
            if line.startswith("["):
                ident, rest = line[1:].split("]", 1)
                path, _, note = rest.strip().partition(": ")
                mutants.append(SimpleNamespace(ident=ident, path=path, note=note, original=[], replacement=[]))
            elif line.startswith(("-", "+")) and mutants:
                (mutants[-1].original if line[0] == "-" else mutants[-1].replacement).append(line[2:])
            elif line.strip() and not line.startswith("#"):
                sys.exit("%s:%d: cannot read this line" % (table, number))
    if len({m.ident for m in mutants}) != len(mutants):
        sys.exit("%s: duplicate mutant ids" % table)
    return mutants


def descendants(pid):
    parents = {}
    for entry in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open("/proc/%s/stat" % entry) as f:
                parents[int(entry)] = int(f.read().rsplit(")", 1)[1].split()[1])
        except (OSError, IndexError, ValueError):
            pass
    found = {pid}
    while True:
        more = {child for child, parent in parents.items() if parent in found} - found
        if not more:
            return found - {pid}
        found |= more


def run(argv, timeout=None, log=None):
    """Exit code of argv; None when it outlived timeout (it and its descendants are then killed)."""
    out = open(log, "w") if log else subprocess.DEVNULL
    child = subprocess.Popen(argv, stdout=out, stderr=subprocess.STDOUT, start_new_session=True)
    try:
        return child.wait(timeout)
    except BaseException as error:
        for pid in [child.pid] + sorted(descendants(child.pid)):
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        child.wait()
        if not isinstance(error, subprocess.TimeoutExpired):
            raise
        return None
    finally:
        if log:
            out.close()


class Sampler:
    def __init__(self, args):
        self.args = args
        self.backup = os.path.join(args.build, "mutation-backup")

    def build(self, log):
        return run(["cmake", "--build", self.args.build, "-j", str(self.args.jobs)], 1800, log) == 0

    def test(self, log):
        return run(["ctest", "--test-dir", self.args.build, "-j", str(self.args.jobs), "--stop-on-failure",
                    "--output-on-failure"], self.args.timeout, log)

    def restore(self):
        with open(self.backup, encoding="utf-8") as f:
            path, text = f.read().split("\n", 1)
        with open(path, "w", encoding="utf-8") as f:
            f.write(text)
        os.remove(self.backup)
        return path

    def prepare(self):
        os.makedirs(self.args.build, exist_ok=True)
        if os.path.exists(self.backup):
            print("restored %s, left mutated by an interrupted run" % self.restore())
        if not os.path.exists(os.path.join(self.args.build, "build.ninja")):
            if run(["cmake", "-S", self.args.root, "-B", self.args.build] + CONFIGURE) != 0:
                sys.exit("cmake could not configure %s" % self.args.build)
        if not self.build(os.path.join(self.args.build, "mutation-baseline-build.log")):
            sys.exit("the unmutated tree does not build")
        if self.test(os.path.join(self.args.build, "mutation-baseline-test.log")) != 0:
            sys.exit("the tests fail or time out on the unmutated tree: nothing to measure")

    def try_mutant(self, m):
        """Returns the outcome and the line of the mutated text."""
        path = os.path.join(self.args.root, m.path)
        original = "\n".join(m.original)
        try:
            with open(path, encoding="utf-8") as f:
                text = f.read()
        except OSError:
            return "not-found", 0
        if not original or text.count(original) != 1:
            return "not-found", 0
        at = text.index(original)
        with open(self.backup, "w", encoding="utf-8") as f:
            f.write(path + "\n" + text)
        try:
            with open(path, "w", encoding="utf-8") as f:
                f.write(text[:at] + "\n".join(m.replacement) + text[at + len(original):])
            log = os.path.join(self.args.build, "mutant-%s.log" % m.ident)
            if not self.build(log):
                outcome = "not-compiled"
            else:
                code = self.test(log)
                outcome = "killed (hang)" if code is None else "killed" if code != 0 else "survived"
        finally:
            self.restore()
        return outcome, text.count("\n", 0, at) + 1


def main():
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("--root", default=os.path.dirname(HERE), help="source tree to mutate (default: this checkout)")
    p.add_argument("--build", help="native build dir, configured when new (default: ROOT/build/mutation)")
    p.add_argument("--mutants", default=os.path.join(HERE, "mutants.txt"), help="the mutant table")
    p.add_argument("--only", nargs="+", metavar="ID", help="run only these mutants")
    p.add_argument("--timeout", type=float, default=120, help="seconds for one ctest run (default 120)")
    p.add_argument("--jobs", type=int, default=2)
    p.add_argument("--list", action="store_true", help="list the mutants and exit")
    args = p.parse_args()
    args.root = os.path.abspath(args.root)
    args.build = os.path.abspath(args.build or os.path.join(args.root, "build", "mutation"))
    mutants = load_mutants(args.mutants)
    if args.only:
        unknown = set(args.only) - {m.ident for m in mutants}
        if unknown:
            sys.exit("unknown mutant ids: %s" % " ".join(sorted(unknown)))
        mutants = [m for m in mutants if m.ident in args.only]
    if args.list:
        for m in mutants:
            print("%-24s %-48s %s" % (m.ident, m.path, m.note))
        return 0
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # restore the file as on Ctrl+C
    started = time.monotonic()
    sampler, results = Sampler(args), []
    try:
        sampler.prepare()
        for i, m in enumerate(mutants, 1):
            t0 = time.monotonic()
            outcome, line = sampler.try_mutant(m)
            results.append((m, outcome, line))
            print("[%2d/%d] %-24s %-14s %s:%d (%.0f s)" % (i, len(mutants), m.ident, outcome, m.path, line,
                                                        time.monotonic() - t0), flush=True)
    except KeyboardInterrupt:
        print("interrupted; the mutated file has been restored")
    for kind in ("not-found", "not-compiled"):
        names = [m.ident for m, o, _ in results if o == kind]
        if names:
            print("%s: %s" % (kind, " ".join(names)))
    killed = sum(1 for _, o, _ in results if o.startswith("killed"))
    survivors = [(m, line) for m, o, line in results if o == "survived"]
    judged = killed + len(survivors)
    print("killed %d of %d (%.1f %%), %d survived, wall time %.0f s" % (
        killed, judged, 100.0 * killed / judged if judged else 0.0, len(survivors), time.monotonic() - started))
    for m, line in survivors:
        print("  survivor %s at %s:%d: %s" % (m.ident, m.path, line, m.note))
    return 0


if __name__ == "__main__":
    sys.exit(main())
