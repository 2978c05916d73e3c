#!/usr/bin/env python3
"""Tests of the i2c-scheduler-sim program as users run it: command line,
record file, greeting variants, chunked output, closing after N messages,
refused bench files and signals; and the with_sim.py harness.
Usage: sim_program_test.py SIM BENCH_DIR WITH_SIM"""

import os
import select
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import warnings

SIM = None
BENCHES = None
WITH_SIM = None


def msg(code, payload=b""):
    return struct.pack("<I", code) + payload.ljust(9, b"\0")[:9]


def start(*args):
    proc = subprocess.Popen([SIM, "--port", "0", *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    ready, _, _ = select.select([proc.stdout], [], [], 10)
    if not ready:
        proc.kill()
        raise AssertionError("simulator did not start")
    line = proc.stdout.readline().decode()
    if not line.startswith("listening on 127.0.0.1:"):
        proc.kill()
        raise AssertionError("unexpected first line %r" % line)
    return proc, int(line.rsplit(":", 1)[1])


def stop(proc, sig=signal.SIGTERM):
    proc.send_signal(sig)
    try:
        return proc.wait(10)
    except subprocess.TimeoutExpired:
        proc.kill()
        proc.wait()
        raise
    finally:
        proc.stdout.close()
        proc.stderr.close()


class Conn:
    def __init__(self, port):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=10)
        self.buf = b""
        self.reads = 0

    def record(self):
        while len(self.buf) < 13:
            chunk = self.sock.recv(65536)
            self.reads += 1
            if not chunk:
                return None
            self.buf += chunk
        out, self.buf = self.buf[:13], self.buf[13:]
        return out

    def until(self, code):
        out = []
        while True:
            r = self.record()
            if r is None:
                raise AssertionError("closed before code %d" % code)
            out.append(r)
            if struct.unpack("<I", r[:4])[0] == code:
                return out

    def closed(self):
        """True when the peer closes without sending anything more."""
        return self.record() is None


class ProgramTest(unittest.TestCase):
    def bench(self, name):
        return os.path.join(BENCHES, name)

    def test_help_and_bad_arguments(self):
        out = subprocess.run([SIM, "--help"], capture_output=True, timeout=10)
        self.assertEqual(out.returncode, 0)
        self.assertIn(b"Usage: i2c-scheduler-sim", out.stdout)
        for args in (["--port", "70000"], ["--port"], ["--frobnicate"]):
            out = subprocess.run([SIM, *args], capture_output=True, timeout=10)
            self.assertEqual(out.returncode, 2, args)
            self.assertIn(b"Usage:", out.stderr)

    def test_bad_bench_is_refused_naming_file_and_field(self):
        with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False) as f:
            f.write('{"boards": [{"name": "B", "number": 1, "type": 2, "bitrates": [0]}]}')
        try:
            out = subprocess.run([SIM, "--port", "0", "--bench", f.name], capture_output=True, timeout=10)
        finally:
            os.unlink(f.name)
        self.assertEqual(out.returncode, 2)
        err = out.stderr.decode()
        self.assertIn(f.name, err)
        self.assertIn("boards[0].bitrates[0]: a bitrate cannot be 0", err)
        self.assertEqual(out.stdout, b"")  # never claims to listen

    def test_signals_end_it_with_status_zero(self):
        for sig in (signal.SIGTERM, signal.SIGINT):
            proc, port = start()
            Conn(port).record()  # also with a client connected
            self.assertEqual(stop(proc, sig), 0)

    def test_port_in_use_is_an_error(self):
        proc, port = start()
        try:
            out = subprocess.run([SIM, "--port", str(port)], capture_output=True, timeout=10)
            self.assertEqual(out.returncode, 1)
            self.assertIn(b"cannot listen on 127.0.0.1:%d" % port, out.stderr)
        finally:
            stop(proc)

    def test_record_file_lists_connections_and_whole_messages(self):
        with tempfile.TemporaryDirectory() as tmp:
            record = os.path.join(tmp, "record.txt")
            proc, port = start("--record", record)
            try:
                a = Conn(port)
                a.record()
                # One request split over three writes is one message.
                request = msg(9, b"\x01\x01")
                for piece in (request[:5], request[5:10], request[10:]):
                    a.sock.sendall(piece)
                    time.sleep(0.05)
                self.assertEqual(struct.unpack("<I", a.record()[4:8])[0], 14)
                b = Conn(port)
                b.record()
                b.sock.sendall(b"\x00" * 20)  # one message and a fragment
                b.sock.close()
                a.sock.close()
                deadline = time.time() + 10
                while time.time() < deadline:
                    lines = open(record).read().splitlines()
                    if len(lines) >= 6:
                        break
                    time.sleep(0.05)
            finally:
                stop(proc)
            self.assertEqual(lines[:2], ["connect 1", "recv 1 9 09000000010100000000000000"])
            self.assertEqual(set(lines[2:]),
                             {"connect 2", "recv 2 0 00000000000000000000000000", "disconnect 2", "disconnect 1"})
            self.assertLess(lines.index("connect 2"), lines.index("recv 2 0 00000000000000000000000000"))

    def test_greeting_variants(self):
        for bench, version in (("version_1_5_9.json", (1, 5, 9)), ("version_2_6_0.json", (2, 6, 0))):
            proc, port = start("--bench", self.bench(bench))
            try:
                greeting = Conn(port).record()
                self.assertEqual(tuple(greeting[4:7]), version)
            finally:
                stop(proc)

    def test_busy_beyond_max_clients(self):
        proc, port = start("--bench", self.bench("busy.json"))
        try:
            first = Conn(port)
            self.assertNotEqual(first.record()[8], 1)
            second = Conn(port)
            self.assertEqual(second.record()[8], 1)
            self.assertTrue(second.closed())
            # The accepted client is still served.
            first.sock.sendall(msg(3))
            self.assertEqual(struct.unpack("<I", first.record()[4:8])[0], 3)
            # A client that closes frees its place for one connecting at once.
            for _ in range(20):
                first.sock.close()
                first = Conn(port)
                self.assertNotEqual(first.record()[8], 1)
        finally:
            stop(proc)

    def test_connection_closes_after_n_messages(self):
        proc, port = start("--bench", self.bench("close_after_3_messages.json"))
        try:
            c = Conn(port)
            c.record()
            c.sock.sendall(msg(3) * 4)
            answers = [c.record() for _ in range(3)]
            self.assertEqual([struct.unpack("<I", a[4:8])[0] for a in answers], [3, 3, 3])
            self.assertTrue(c.closed())
        finally:
            stop(proc)

    def test_tiny_chunks_carry_the_same_stream(self):
        lists = []
        for bench in ("tiny_chunks.json", "version_1_5_9.json"):
            proc, port = start("--bench", self.bench(bench))
            try:
                c = Conn(port)
                c.record()
                c.sock.sendall(msg(0))
                lists.append((b"".join(c.until(21)), c.reads))
            finally:
                stop(proc)
        self.assertEqual(lists[0][0], lists[1][0])
        self.assertEqual(len(lists[0][0]), 13 * (2 + 3292))
        self.assertGreater(lists[0][1], 100)  # arrived in many pieces


class HarnessTest(unittest.TestCase):
    """tests/with_sim.py, which every end-to-end test runs under."""

    def harness(self, *args, timeout=30):
        return subprocess.run([sys.executable, WITH_SIM, *args], capture_output=True, timeout=timeout)

    def test_command_sees_the_port_and_its_exit_code_is_passed_on(self):
        check = "import os, socket, sys; socket.create_connection(('127.0.0.1', int(os.environ['I2CZAVIK_SIM_PORT']))).recv(13); sys.exit(7)"
        out = self.harness("--sim", SIM, "--port", "0", "--", sys.executable, "-c", check)
        self.assertEqual(out.returncode, 7, out.stderr)

    def test_command_that_hangs_is_killed(self):
        started = time.monotonic()
        out = self.harness("--no-sim", "--timeout", "1", "--", "sleep", "30")
        self.assertEqual(out.returncode, 124)
        self.assertIn(b"timeout", out.stdout)
        self.assertLess(time.monotonic() - started, 15)

    def test_simulator_that_cannot_start_fails_the_run(self):
        out = self.harness("--sim", SIM, "--port", "0", "--bench", "/nonexistent.json", "--", "true")
        self.assertNotEqual(out.returncode, 0)
        self.assertIn(b"/nonexistent.json", out.stderr)


if __name__ == "__main__":
    warnings.simplefilter("ignore", ResourceWarning)  # sockets left to the collector
    SIM, BENCHES, WITH_SIM = sys.argv[1], sys.argv[2], sys.argv[3]
    unittest.main(argv=sys.argv[:1], verbosity=2)
