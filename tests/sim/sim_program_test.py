#!/usr/bin/env python3
"""Tests of the i2c-scheduler-sim program as users run it: the protocol through
a plain socket client, command line, refused bench files, signals, greeting
variants, busy, chunked output, closing after N messages; and the with_sim.py
harness every end-to-end test runs under.
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

SIM = BENCHES = WITH_SIM = None
ENTRY = 29627
STATUS_CODES = (10, 11, 12, 25, 26)  # sent to everyone with the board open after any open


def msg(code, payload=b""):
    return struct.pack("<I", code) + payload.ljust(9, b"\0")[:9]


def u32(payload):
    return struct.unpack("<I", payload[:4])[0]


def start(*args):
    proc = subprocess.Popen([SIM, "--port", "0", *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    ready, _, _ = select.select([proc.stdout], [], [], 10)
    line = proc.stdout.readline().decode() if ready else ""
    if not line.startswith("listening on 127.0.0.1:"):
        proc.kill()
        raise AssertionError("simulator did not start: %r" % line)
    return proc, int(line.rsplit(":", 1)[1])


def stop(proc, sig=signal.SIGTERM):
    proc.send_signal(sig)
    try:
        return proc.wait(10)
    finally:
        proc.kill()
        proc.stdout.close()
        proc.stderr.close()


class Conn:
    def __init__(self, port):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=10)
        self.buf = b""
        self.reads = 0

    def record(self):
        """(code, payload) of the next record, None when the peer closed."""
        while len(self.buf) < 13:
            chunk = self.sock.recv(65536)
            self.reads += 1
            if not chunk:
                return None
            self.buf += chunk
        out, self.buf = self.buf[:13], self.buf[13:]
        return u32(out), out[4:]

    def until(self, code, skip=()):
        out = []
        while True:
            r = self.record()
            if r is None:
                raise AssertionError("closed before code %d" % code)
            if r[0] not in skip:
                out.append(r)
            if r[0] == code:
                return out


def bus(records):
    """Bus reports as text: 22 '|', START 'S', STOP 'P', bits in groups of nine."""
    out, bits = [], ""
    for code, payload in records:
        if code == 7:
            bits += str(payload[0])
            if len(bits) == 9:
                out.append(bits)
                bits = ""
        else:
            out.append({22: "|", 5: "S", 6: "P"}.get(code, str(code)))
    return " ".join(out)


class ProgramTest(unittest.TestCase):
    def sim(self, bench=None):
        proc, port = start(*(["--bench", os.path.join(BENCHES, bench)] if bench else []))
        self.addCleanup(stop, proc)
        return port

    def test_plain_client_protocol(self):
        port = self.sim()
        a = Conn(port)
        greeting = a.record()[1]
        self.assertEqual((greeting[0], greeting[1]), (1, 6))
        self.assertNotEqual(greeting[4], 1)  # not busy
        a.sock.sendall(msg(0))
        records = a.until(21)
        self.assertEqual((records[0][0], u32(records[0][1])), (19, ENTRY))
        self.assertEqual(len(records) - 2, (ENTRY + 8) // 9)
        entry = b"".join(p for c, p in records if c == 20)
        self.assertEqual(entry[:13], b"Sim I2C Board")
        number, btype = struct.unpack(">H", entry[20:22])[0], entry[40]
        self.assertEqual(btype, 2)
        a.sock.sendall(msg(2, struct.pack("<HB", number, btype)))
        ack, vcc = a.record(), a.record()
        self.assertEqual((ack[0], u32(ack[1])), (13, 1))
        self.assertEqual((vcc[0], struct.unpack("<H", vcc[1][:2])[0]), (24, 3300))

        # One client sends garbage (an unknown code, a stray data record, a
        # half record, a request split over three writes) and goes away;
        # another leaves in the middle of a write.
        g = Conn(port)
        g.record()
        g.sock.sendall(msg(0x7777, b"\xff" * 9) + msg(18, b"\x08" + b"\xaa" * 8))
        for piece in (msg(9, b"\x01\x01")[:5], msg(9, b"\x01\x01")[5:10], msg(9, b"\x01\x01")[10:]):
            g.sock.sendall(piece)
            time.sleep(0.05)
        self.assertEqual(u32(g.record()[1]), 14)
        g.sock.sendall(b"\x13\x00")
        g.sock.close()
        m = Conn(port)
        m.record()
        m.sock.sendall(msg(2, struct.pack("<HB", number, btype)))
        m.until(24)
        m.sock.sendall(msg(19, struct.pack("<II", 100000, 0)) + msg(16, b"\x20" + struct.pack("<I", 12)) +
                       msg(18, b"\x08" + b"\x55" * 8))
        m.sock.close()

        # The register file at 0x20: write {0x05, 0xAB}, then [write {0x05}, read 1].
        a.sock.sendall(msg(19, struct.pack("<II", 100000, 0)) + msg(16, b"\x20" + struct.pack("<IB", 2, 1)) +
                       msg(18, b"\x02\x05\xab"))
        self.assertEqual(a.until(6, STATUS_CODES)[0], (13, struct.pack("<I", 30) + b"\0" * 5))
        a.sock.sendall(msg(19, struct.pack("<II", 100000, 0)) + msg(16, b"\x20" + struct.pack("<I", 1)) +
                       msg(18, b"\x01\x05") + msg(17, b"\x20" + struct.pack("<IB", 1, 1)))
        self.assertEqual(bus(a.until(6, STATUS_CODES)),
                         "13 | S 010000000 000001010 | S 010000010 101010111 P")
        a.sock.sendall(msg(3))
        self.assertEqual(a.record(), (13, struct.pack("<I", 3) + b"\0" * 5))

    def test_command_line_and_bad_bench(self):
        out = subprocess.run([SIM, "--help"], capture_output=True, timeout=10)
        self.assertEqual(out.returncode, 0)
        self.assertIn(b"Usage: i2c-scheduler-sim", out.stdout)
        for args in (["--port", "70000"], ["--port"], ["--frobnicate"], ["--vcd"]):
            out = subprocess.run([SIM, *args], capture_output=True, timeout=10)
            self.assertEqual(out.returncode, 2, args)
            self.assertIn(b"Usage:", out.stderr)
        with tempfile.NamedTemporaryFile("w", suffix=".json", delete=False) as f:
            f.write('{"boards": [{"name": "B", "number": 1, "type": 2, "bitrates": [0]}]}')
        try:
            out = subprocess.run([SIM, "--port", "0", "--bench", f.name], capture_output=True, timeout=10)
        finally:
            os.unlink(f.name)
        self.assertEqual(out.returncode, 2)
        self.assertIn("bench file '%s': boards[0].bitrates[0]: a bitrate cannot be 0" % f.name, out.stderr.decode())
        self.assertEqual(out.stdout, b"")  # never claims to listen
        out = subprocess.run([SIM, "--port", "0", "--vcd", "/nonexistent/bus.vcd"], capture_output=True, timeout=10)
        self.assertEqual((out.returncode, out.stdout), (1, b""))
        self.assertIn(b"cannot open VCD file '/nonexistent/bus.vcd'", out.stderr)

    def test_signals_end_it_with_status_zero(self):
        for sig in (signal.SIGTERM, signal.SIGINT):
            proc, port = start()
            Conn(port).record()  # also with a client connected
            self.assertEqual(stop(proc, sig), 0)

    def test_greeting_variants_and_busy(self):
        for bench, version in (("version_1_5_9.json", (1, 5, 9)), ("version_2_6_0.json", (2, 6, 0))):
            self.assertEqual(tuple(Conn(self.sim(bench)).record()[1][:3]), version)
        port = self.sim("busy.json")
        first = Conn(port)
        self.assertNotEqual(first.record()[1][4], 1)
        second = Conn(port)
        self.assertEqual(second.record()[1][4], 1)
        self.assertIsNone(second.record())
        first.sock.sendall(msg(3))  # the accepted client is still served
        self.assertEqual(u32(first.record()[1]), 3)
        for _ in range(20):  # a client that closes frees its place at once
            first.sock.close()
            first = Conn(port)
            self.assertNotEqual(first.record()[1][4], 1)

    def test_connection_closes_after_n_messages(self):
        c = Conn(self.sim("close_after_3_messages.json"))
        c.record()
        c.sock.sendall(msg(3) * 4)
        self.assertEqual([u32(c.record()[1]) for _ in range(3)], [3, 3, 3])
        self.assertIsNone(c.record())

    def test_tiny_chunks_carry_the_same_stream(self):
        lists = []
        for bench in ("tiny_chunks.json", "version_1_5_9.json"):
            c = Conn(self.sim(bench))
            c.record()
            c.sock.sendall(msg(0))
            lists.append((c.until(21), c.reads))
        self.assertEqual(lists[0][0], lists[1][0])
        self.assertEqual(len(lists[0][0]), 2 + 3292)
        self.assertGreater(lists[0][1], 100)  # arrived in many pieces


class HarnessTest(unittest.TestCase):
    def harness(self, *args):
        return subprocess.run([sys.executable, WITH_SIM, *args], capture_output=True, timeout=30)

    def test_command_sees_the_port_and_its_exit_code_is_passed_on(self):
        check = ("import os, socket, sys; socket.create_connection(('127.0.0.1', "
                 "int(os.environ['I2CZAVIK_SIM_PORT']))).recv(13); sys.exit(7)")
        self.assertEqual(self.harness("--sim", SIM, "--port", "0", "--", sys.executable, "-c", check).returncode, 7)

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
    SIM, BENCHES, WITH_SIM = sys.argv[1], sys.argv[2], sys.argv[3]
    # Sockets are left to the collector.
    unittest.main(argv=sys.argv[:1], verbosity=2, warnings="ignore")
