#!/usr/bin/env python3
"""Runs a command against a freshly started i2c-scheduler-sim.

  with_sim.py --sim PATH [--bench FILE] [--port N] [--record FILE] [--trace]
              [--display-dir DIR] [--timeout SECONDS] [--netns] -- COMMAND ARGS...
  with_sim.py --no-sim [--timeout SECONDS] [--netns] -- COMMAND ARGS...

Starts the simulator (port 3000 unless --port; 0 picks a free one), waits for
its 'listening on 127.0.0.1:PORT' line, runs COMMAND with I2CZAVIK_SIM_PORT
(and I2CZAVIK_SIM_RECORD with --record, I2CZAVIK_SIM_DISPLAY_DIR with
--display-dir) in its environment, stops the
simulator and exits with the command's exit code. A command that outlives the
timeout is killed with its process group: 'timeout' is printed, exit code 124.
--netns (as root) runs everything in a private network namespace with only
loopback up, so port 3000 is free for this test alone; when the namespace
cannot be made it runs without one. --no-sim keeps only the timeout and the
namespace, for tests that need no scheduler listening.
"""

import argparse
import os
import signal
import subprocess
import sys
import threading
import time

IN_NETNS_FLAG = "--in-netns"


def parse(argv):
    if "--" not in argv:
        sys.exit("with_sim.py: missing '-- COMMAND'")
    split = argv.index("--")
    own, command = argv[:split], argv[split + 1:]
    if not command:
        sys.exit("with_sim.py: missing COMMAND after '--'")
    p = argparse.ArgumentParser(prog="with_sim.py")
    p.add_argument("--sim")
    p.add_argument("--no-sim", action="store_true")
    p.add_argument("--bench")
    p.add_argument("--port", type=int, default=3000)
    p.add_argument("--record")
    p.add_argument("--trace", action="store_true")
    p.add_argument("--display-dir")
    p.add_argument("--timeout", type=float, default=120.0)
    p.add_argument("--netns", action="store_true")
    p.add_argument(IN_NETNS_FLAG, dest="in_netns", action="store_true")
    args = p.parse_args(own)
    if not args.no_sim and not args.sim:
        p.error("--sim PATH or --no-sim is required")
    return args, own, command


def enter_netns(own, command):
    """Re-runs this script inside 'unshare -n'; returns only when that is impossible."""
    if os.geteuid() != 0:
        return
    probe = subprocess.run(["unshare", "-n", "true"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    if probe.returncode != 0:
        print("with_sim.py: no network namespace, running without one", file=sys.stderr)
        return
    rest = [a for a in own if a != "--netns"]
    argv = ["unshare", "-n", sys.executable, os.path.abspath(__file__), IN_NETNS_FLAG] + rest + ["--"] + command
    sys.stdout.flush()
    os.execvp("unshare", argv)


def start_sim(args, deadline):
    argv = [args.sim, "--port", str(args.port)]
    if args.bench:
        argv += ["--bench", args.bench]
    if args.record:
        # Each run starts its own record: tests count what reached the scheduler.
        open(args.record, "w").close()
        argv += ["--record", args.record]
    if args.trace:
        argv += ["--trace"]
    if args.display_dir:
        argv += ["--display-dir", args.display_dir]
    sim = subprocess.Popen(argv, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    first = {}

    def read_first_line():
        first["line"] = sim.stdout.readline()

    reader = threading.Thread(target=read_first_line, daemon=True)
    reader.start()
    reader.join(max(1.0, deadline - time.monotonic()))
    line = first.get("line", "")
    prefix = "listening on 127.0.0.1:"
    if not line.startswith(prefix):
        stop_sim(sim)
        err = sim.stderr.read() if sim.stderr else ""
        sys.stderr.write("with_sim.py: the simulator did not start: %s%s" % (line, err))
        sys.exit(3)
    port = int(line[len(prefix):].strip())
    # Keep draining both pipes so that a tracing simulator never blocks.
    for stream in (sim.stdout, sim.stderr):
        threading.Thread(target=forward, args=(stream,), daemon=True).start()
    return sim, port


def forward(stream):
    for line in stream:
        sys.stderr.write("[sim] " + line)


def stop_sim(sim):
    if sim.poll() is None:
        sim.send_signal(signal.SIGTERM)
        try:
            sim.wait(5)
        except subprocess.TimeoutExpired:
            sim.kill()
            sim.wait()


def run_command(command, env, deadline):
    try:
        child = subprocess.Popen(command, env=env, start_new_session=True)
    except OSError as error:
        print("with_sim.py: cannot run %s: %s" % (command[0], error), file=sys.stderr)
        return 127
    try:
        return child.wait(max(0.1, deadline - time.monotonic()))
    except subprocess.TimeoutExpired:
        print("with_sim.py: timeout: %s did not finish within the time limit" % command[0], file=sys.stderr)
        print("timeout")
        try:
            os.killpg(child.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        child.wait()
        return 124


def main():
    args, own, command = parse(sys.argv[1:])
    if args.netns and not args.in_netns:
        enter_netns(own, command)
    if args.in_netns:
        subprocess.run(["ip", "link", "set", "lo", "up"], check=False)
    deadline = time.monotonic() + args.timeout
    env = dict(os.environ)
    sim = None
    if not args.no_sim:
        sim, port = start_sim(args, deadline)
        env["I2CZAVIK_SIM_PORT"] = str(port)
        if args.record:
            env["I2CZAVIK_SIM_RECORD"] = os.path.abspath(args.record)
        if args.display_dir:
            env["I2CZAVIK_SIM_DISPLAY_DIR"] = os.path.abspath(args.display_dir)
    try:
        code = run_command(command, env, deadline)
    finally:
        if sim is not None:
            stop_sim(sim)
    sys.exit(code)


if __name__ == "__main__":
    main()
