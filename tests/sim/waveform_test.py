#!/usr/bin/env python3
"""--vcd waveforms: sigrok-cli's I2C decoder must decode what the --trace says of
the same transfers, the timing checker find every mode within its limits.
Usage: waveform_test.py SIM BENCH_DIR TIMING_CHECK"""

import json
import os
import signal
import struct
import subprocess
import sys
import tempfile
import unittest

import sim_program_test as program
from sim_program_test import Conn, msg

TIMING_CHECK = None
DECODED = {"Start": "S", "Start repeat": "Sr", "Stop": "P", "ACK": "A", "NACK": "N"}


def W(address, *data):
    return False, address, bytes(data)


def R(address, count):
    return True, address, count


def transfer_records(bitrate, high_speed, messages):
    out = msg(19, struct.pack("<II", bitrate, high_speed))
    for i, (read, header, payload) in enumerate(messages):
        last = i + 1 == len(messages)
        if read:
            out += msg(17, struct.pack("<BIB", header, payload, last))
            continue
        out += msg(16, struct.pack("<BIB", header, len(payload), last))
        # A 10-bit address's low byte travels alone; then at least one record.
        chunks = [payload[:1]] if header & 0x7C == 0x78 else []
        rest = payload[len(chunks):]
        chunks += [rest[j:j + 8] for j in range(0, len(rest), 8)] or [b""]
        out += b"".join(msg(18, bytes([len(c)]) + c) for c in chunks)
    return out


def run(conn, bitrate, high_speed, *messages):
    """Runs one transfer and waits for all its reports (a port request answered after them)."""
    conn.sock.sendall(transfer_records(bitrate, high_speed, messages) + msg(9, b"\x01\x01"))
    while conn.record() != (13, struct.pack("<I", 14) + b"\0" * 5):
        pass


def open_board(port, number):
    conn = Conn(port)
    conn.record()
    conn.sock.sendall(msg(2, struct.pack("<HB", number, 2)))
    conn.until(24)
    return conn


def sigrok(vcd, board):
    out = subprocess.run(
        ["sigrok-cli", "-I", "vcd", "-i", vcd, "--protocol-decoder-samplenum",
         "-P", "i2c:scl=board%d_scl:sda=board%d_sda" % (board, board),
         "-A", "i2c=start:repeat-start:stop:ack:nack:address-read:address-write:data-read:data-write"],
        capture_output=True, text=True, timeout=30)
    if out.returncode != 0:
        raise AssertionError("sigrok-cli failed: %s" % out.stderr)
    events = []
    for line in out.stdout.splitlines():
        samples, _, text = line.partition(" ")
        text = text.split(": ", 1)[1]
        kind, _, value = text.partition(": ")
        token = DECODED.get(text) or {"Address write": value + "W", "Address read": value + "R",
                                      "Data write": value, "Data read": value}.get(kind)
        if token is not None:  # not the R/W bit's own "Read"/"Write"
            events.append((tuple(int(s) for s in samples.split("-")), token))
    return [token for _, token in sorted(events, key=lambda e: e[0])]


def expected_from_trace(stdout, board):
    """The trace's tokens as the decoder sees them: a master code (the byte after
    S/Sr without R/W) is an address write of 0x04; a bus timeout a NACK, STOP."""
    tokens = []
    for line in stdout.splitlines():
        head, _, trace = line.partition(": ")
        if not head.endswith("board %d" % board) or " -> " not in trace:
            continue
        for token in trace.split(" -> ")[0].split():
            if tokens and tokens[-1] in ("S", "Sr") and len(token) == 2:
                token = "%02XW" % (int(token, 16) >> 1)
            tokens += ["N", "P"] if token == "TIMEOUT" else [token]
    return tokens


class WaveformTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.TemporaryDirectory()
        cls.vcd = os.path.join(cls.dir.name, "bus.vcd")
        proc, port = program.start("--bench", os.path.join(program.BENCHES, "waveforms.json"), "--trace",
                                   "--vcd", cls.vcd)
        try:
            # sigrok's decoder seeks START and STOP only after an address byte:
            # the faults that end a frame inside it are on board 3.
            main, timeout, faulty = open_board(port, 1), open_board(port, 2), open_board(port, 3)
            run(main, 100000, 0, W(0x20, 0x05, 0xAB))
            cls.while_running = sigrok(cls.vcd, 1)
            run(main, 100000, 0, R(0x20, 2))
            run(timeout, 100000, 0, W(0x21, 0x00, 0x42))
            run(main, 100000, 0, W(0x20, 0x01), R(0x20, 2))
            run(main, 100000, 0, W(0x20))                    # zero-length write
            run(faulty, 100000, 0, W(0x53, 0x01))            # arbitration lost after ...1010 0 of 0xA6
            run(main, 100000, 0, W(0x33, 0x01))              # address NACK
            run(faulty, 100000, 0, W(0x30, 0x01))            # arbitration lost at 0x60's last reported 1
            run(main, 100000, 0, W(0x51, 0x01, 0x02, 0x03))  # data NACK in mid-write
            run(timeout, 100000, 0, R(0x54, 1))              # bus timeout
            run(timeout, 100000, 0, R(0x21, 1))
            run(main, 100000, 0, R(0x52, 2))                 # read ended early
            run(faulty, 100000, 0, W(0x55, 0x01))            # protocol error
            run(faulty, 100000, 3400000, W(0x56, 0x01))      # low Vcc, after a master code
            run(main, 10000, 0, W(0x20, 0x02), R(0x20, 1))
            run(main, 400000, 0, W(0x20, 0x03), R(0x20, 1))
            run(main, 1000000, 0, W(0x20, 0x04), R(0x20, 2))
            run(main, 400000, 3400000, W(0x20, 0x00), R(0x20, 3))
            run(main, 100000, 1700000, W(0x20, 0x06, 0x70))
            run(main, 100000, 0, W(0x7A, 0xA5, 0x01), R(0x7A, 2))  # 10-bit 0x2A5: header 7A, low byte A5
            run(main, 400000, 3400000, W(0x7A, 0xA5))
        finally:
            proc.send_signal(signal.SIGINT)  # the file must be complete after either signal
            try:
                out, _ = proc.communicate(timeout=10)
            finally:
                proc.kill()
        cls.trace = out.decode()
        cls.exit_status = proc.returncode

    @classmethod
    def tearDownClass(cls):
        cls.dir.cleanup()

    def test_sigrok_decodes_what_the_trace_says(self):
        self.assertEqual(self.exit_status, 0)
        self.assertEqual(self.while_running, ["S", "20W", "A", "05", "A", "AB", "A", "P"])
        for board in (1, 2):
            self.assertEqual(sigrok(self.vcd, board), expected_from_trace(self.trace, board))

    def test_timing_within_limits_and_clock_at_the_bitrate(self):
        out = subprocess.run([sys.executable, TIMING_CHECK, "--json", self.vcd], capture_output=True, text=True,
                             timeout=60)
        report = json.loads(out.stdout)
        self.assertEqual(out.returncode, 0, out.stdout)
        modes = report["buses"][0]["modes"]
        for mode, slowest, fastest in (("Standard-mode", 10e3, 100e3), ("Fast-mode", 400e3, 400e3),
                                       ("Fast-mode Plus", 1e6, 1e6), ("Hs-mode (1.7 MHz)", 1.7e6, 1.7e6),
                                       ("Hs-mode (3.4 MHz)", 3.4e6, 3.4e6)):
            measured = modes[mode]["parameters"]
            self.assertEqual(sorted(measured), sorted(["fSCL", "tLOW", "tHIGH", "tHD;STA", "tSU;STA", "tHD;DAT",
                                                       "tSU;DAT", "tSU;STO"] + (["tBUF"] if "Hs" not in mode else [])))
            self.assertTrue(all(p["ok"] and p["limit"] for p in measured.values()), mode)
            self.assertAlmostEqual(measured["fSCL"]["min"] / slowest, 1, delta=0.005)
            self.assertAlmostEqual(measured["fSCL"]["max"] / fastest, 1, delta=0.005)
            self.assertLessEqual(measured["fSCL"]["max"], fastest)

    def test_faults_on_the_wires(self):
        sys.path.insert(0, os.path.dirname(TIMING_CHECK))
        import i2c_timing_check as check
        names, changes = check.read_vcd(self.vcd)
        frames = check.segments(changes[names["board3_scl"]], changes[names["board3_sda"]])
        # Arbitration lost: bits as sent until ours sends a 1 held low, then the
        # bus idle as after a STOP; protocol error: S, P; low Vcc: 08 N Sr P.
        self.assertEqual([s.bits for s in frames], [[1, 0, 1, 0, 0], [0, 1], [], [0, 0, 0, 0, 1, 0, 0, 0, 1], []])
        self.assertEqual([bool(s.values["tSU;STO"]) for s in frames], [True, True, True, False, True])
        # A timeout: SCL held low for 1 ms while the timeout line is high.
        marks, scl = changes[names["board2_timeout"]], changes[names["board2_scl"]]
        (_, low), (start, high), (end, _) = marks
        self.assertEqual((low, high, end - start), (0, 1, 1e6))
        self.assertEqual([v for t, v in scl if t <= start][-1:] + [t for t, _ in scl if start < t < end], [0])
        self.assertEqual(changes[names["board1_timeout"]], [(0, 0)])  # only that board stretches


if __name__ == "__main__":
    program.SIM, program.BENCHES, TIMING_CHECK = sys.argv[1], sys.argv[2], sys.argv[3]
    unittest.main(argv=sys.argv[:1], verbosity=2, warnings="ignore")
