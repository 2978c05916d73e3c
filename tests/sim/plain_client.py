#!/usr/bin/env python3
"""Talks to a running i2c-scheduler-sim (default bench) through a plain socket:
greeting, board list, open with its acknowledgement and Vcc report, a register
read, close. Also checks that a client sending garbage and one vanishing in the
middle of a transfer do not disturb a well-behaved one. Port from
I2CZAVIK_SIM_PORT. Exit 0 when every check holds."""

import os
import socket
import struct
import sys

ENTRY = 29627
# Board status records, sent to every client with the board open after any open.
STATUS_CODES = (10, 11, 12, 25, 26)


def msg(code, payload=b""):
    return struct.pack("<I", code) + payload.ljust(9, b"\0")[:9]


class Client:
    def __init__(self, port):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=10)
        self.buf = b""

    def send(self, *records):
        self.sock.sendall(b"".join(records))

    def recv(self):
        while len(self.buf) < 13:
            chunk = self.sock.recv(65536)
            if not chunk:
                raise EOFError("connection closed")
            self.buf += chunk
        record, self.buf = self.buf[:13], self.buf[13:]
        return struct.unpack("<I", record[:4])[0], record[4:]

    def recv_until(self, code):
        seen = []
        while True:
            c, p = self.recv()
            seen.append((c, p))
            if c == code:
                return seen


failures = []


def check(cond, what):
    if not cond:
        failures.append(what)
        print("FAIL:", what)


def bits_to_events(records):
    """START/STOP/bytes/acks from the bit reports, as a decoder would."""
    out, bits, ack_next = [], [], False
    for c, p in records:
        if c == 5:
            out.append("S"); bits = []; ack_next = False
        elif c == 6:
            out.append("P"); bits = []
        elif c == 7:
            if ack_next:
                out.append("N" if p[0] else "A"); ack_next = False
            else:
                bits.append(p[0])
                if len(bits) == 8:
                    out.append("%02X" % int("".join(str(b) for b in bits), 2)); bits = []; ack_next = True
        elif c == 22:
            out.append("|")
    return out


def main():
    port = int(os.environ["I2CZAVIK_SIM_PORT"])
    a = Client(port)
    code, greeting = a.recv()
    check(greeting[0] == 1 and greeting[1] == 6, "greeting carries version 1.6")
    check(greeting[4] != 1, "greeting is not busy")

    a.send(msg(0))
    records = a.recv_until(21)
    check(records[0][0] == 19 and struct.unpack("<I", records[0][1][:4])[0] == ENTRY, "list begins with 19 {29627}")
    stream = b"".join(p for c, p in records if c == 20)
    check(len(records) - 2 == (ENTRY + 8) // 9, "one board: ceil(29627/9) records of 20")
    number = struct.unpack(">H", stream[20:22])[0]
    btype = stream[40]
    check(stream[:13] == b"Sim I2C Board", "board name")
    check(btype == 2, "default board is of type 2")

    a.send(msg(2, struct.pack("<HB", number, btype)))
    c1, p1 = a.recv()
    c2, p2 = a.recv()
    check((c1, struct.unpack("<I", p1[:4])[0]) == (13, 1), "open acknowledged with 13 {1}")
    check(c2 == 24 and struct.unpack("<H", p2[:2])[0] == 3300, "Vcc report 3300 mV after the open")

    # A client that sends garbage: an unknown code, a stray data record and
    # a half record, then goes away. Another leaves in the middle of a write.
    g = Client(port)
    g.recv()
    g.send(msg(0x7777, b"\xff" * 9), msg(18, b"\x08" + b"\xaa" * 8), b"\x13\x00")
    g.sock.close()
    m = Client(port)
    m.recv()
    m.send(msg(2, struct.pack("<HB", number, btype)))
    m.recv_until(24)
    m.send(msg(19, struct.pack("<II", 100000, 0)), msg(16, bytes([0x20]) + struct.pack("<I", 12) + b"\0"),
           msg(18, b"\x08" + b"\x55" * 8))
    m.sock.close()

    # Register file at 0x20: write {0x05, 0xAB} then read it back with
    # [write {0x05}, read 1].
    a.send(msg(19, struct.pack("<II", 100000, 0)),
           msg(16, bytes([0x20]) + struct.pack("<I", 2) + b"\x01"),
           msg(18, b"\x02\x05\xab"))
    reports = [r for r in a.recv_until(6) if r[0] not in STATUS_CODES]
    check(reports[0] == (13, struct.pack("<I", 30) + b"\0" * 5), "13 {30} first")
    check(reports[1][0] == 22, "22 follows 13 {30}")
    a.send(msg(19, struct.pack("<II", 100000, 0)),
           msg(16, bytes([0x20]) + struct.pack("<I", 1) + b"\x00"),
           msg(18, b"\x01\x05"),
           msg(17, bytes([0x20]) + struct.pack("<I", 1) + b"\x01"))
    reports = [r for r in a.recv_until(6) if r[0] not in STATUS_CODES]
    events = bits_to_events(reports)
    check(events == ["|", "S", "40", "A", "05", "A", "|", "S", "41", "A", "AB", "N", "P"],
          "register read on the bus: %s" % events)

    a.send(msg(3))
    c, p = a.recv()
    check((c, struct.unpack("<I", p[:4])[0]) == (13, 3), "close acknowledged with 13 {3}")
    a.sock.close()
    print("plain client: %s" % ("all checks hold" if not failures else "%d checks failed" % len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
