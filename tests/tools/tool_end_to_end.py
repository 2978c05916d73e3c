#!/usr/bin/env python3
"""Runs the i2czavik tool the way a person would and checks what it prints.

  tool_end_to_end.py SCENARIO TOOL [RUNNER-ARGS...]

TOOL may be a runner followed by its arguments (for instance the Wine runner,
its architecture and the .exe); the tool's own arguments are appended.

Meant to run under tests/with_sim.py, which provides the scheduler (or, for
the no-scheduler scenario, makes sure none listens). Each scenario is a few
tool runs with their expected exit status, standard output and error text.
"""

import subprocess
import sys

TOOL = []
CHECKS = {"passed": 0, "failed": 0}

GRID_HEADER = "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f"
ROW_EMPTY = "-- -- -- -- -- -- -- -- -- -- -- -- -- -- -- --"
LEGEND = "-- no answer, RR reserved address the library refuses (not probed), blank not probed"
READ_PROBE_NOTE = "(the board refuses empty writes: probed with 1-byte reads)"
NO_SCHEDULER = "The I2C scheduler does not respond."


def run(*args, timeout=60):
    done = subprocess.run([*TOOL, *args], capture_output=True, text=True, timeout=timeout)
    return done.returncode, done.stdout, done.stderr


def check(what, actual, expected):
    if actual == expected:
        CHECKS["passed"] += 1
    else:
        CHECKS["failed"] += 1
        print(f"FAIL {what}:\n  expected {expected!r}\n  actual   {actual!r}")


def expect(args, code, out=None, err=""):
    actual_code, actual_out, actual_err = run(*args)
    name = " ".join(args)
    check(f"{name}: exit status", actual_code, code)
    if out is not None:
        check(f"{name}: output", actual_out, out)
    check(f"{name}: error text", actual_err, err)
    return actual_out


def library_error(text):
    """What the tool prints for a library failure: the status text as the
    library delivers it, at most 49 characters."""
    return f"i2czavik: {text[:49]}\n"


def grid(rows):
    lines = [GRID_HEADER]
    for index, row in enumerate(rows):
        lines.append(f"{index * 16:02x}: {row}".rstrip())
    return "\n".join(lines) + "\n"


def scan_default():
    rows = ["            RR RR RR RR -- -- -- -- -- -- -- --"] + [ROW_EMPTY] * 7
    rows[2] = "20 " + ROW_EMPTY[3:]
    rows[3] = "-- -- -- -- -- -- -- -- -- -- -- -- 3c -- -- --"
    rows[4] = "-- -- -- -- -- -- -- -- 48 -- -- -- -- -- -- --"
    rows[5] = "50 " + ROW_EMPTY[3:]
    rows[7] = "-- -- -- -- -- -- 76 -- RR RR RR RR"
    expect(["scan"], 0, grid(rows) + LEGEND + "\n")


def scan_read_probe():
    # A type 3 board refuses address-only writes; the slave at the first
    # probed address (0x08) and the one at the last (0x77) must still show,
    # and so must one that acknowledges but delivers no byte (0x2a).
    rows = ["            RR RR RR RR 08 -- -- -- -- -- -- --"] + [ROW_EMPTY] * 7
    rows[2] = "-- -- -- -- -- -- -- -- -- -- 2a -- -- -- -- --"
    rows[3] = "-- -- -- -- -- -- -- -- -- -- -- -- 3c -- -- --"
    rows[7] = "-- -- -- -- -- -- -- 77 RR RR RR RR"
    expect(["scan"], 0, grid(rows) + LEGEND + "\n" + READ_PROBE_NOTE + "\n")
    # The register file at 0x3c holds "Hi!" and bytes that print as . and ?.
    expect(["dump", "-l", "16", "0x3c"], 0,
           "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n"
           "00: 48 69 21 00 ff 0a 00 00 00 00 00 00 00 00 00 00    Hi!..?..........\n")


def scan_failure():
    # A failure other than silence ends the scan, and a dump at its first
    # chunk, with nothing printed.
    arbitration = library_error("The master module of the I2C board has lost the bus arbitration.")
    expect(["scan"], 1, "", arbitration)
    expect(["dump", "0x30"], 1, "", arbitration)


def registers():
    # Temperature sensor at 0x48 (25.5 degrees): a 2-byte big-endian reading.
    expect(["get", "-n", "2", "0x48", "0"], 0, "0x19 0x80\n")
    # Register file at 0x20: a write with auto-increment, read back from one
    # register earlier, and the pointer left behind read with -r 0.
    expect(["set", "0x20", "0x10", "0x12", "0x34", "255"], 0, "")
    expect(["get", "-n", "4", "0x20", "0x0f"], 0, "0x00 0x12 0x34 0xff\n")
    expect(["get", "0x20", "0x11"], 0, "0x34\n")
    expect(["get", "-r", "0", "0x20"], 0, "0xff\n")
    # EEPROM at 0x50 with a 2-byte word address, most significant byte first.
    expect(["set", "-r", "2", "0x50", "0x1234", "0xa5", "0x5a"], 0, "")
    expect(["get", "-r", "2", "-n", "2", "0x50", "0x1234"], 0, "0xa5 0x5a\n")
    expect(["get", "-r", "2", "0x50", "0x3412"], 0, "0xff\n")


def dump():
    expect(["set", "-r", "2", "0x50", "0x0100", "0x48", "0x69", "0x21", "0x00", "0x7e", "0x7f"], 0, "")
    # 40 bytes take two reads; the table starts mid-row and ends mid-row.
    expect(["dump", "-r", "2", "-l", "40", "0x50", "0x00f8"], 0,
           "      0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef\n"
           "0f0:                         ff ff ff ff ff ff ff ff            ........\n"
           "100: 48 69 21 00 7e 7f ff ff ff ff ff ff ff ff ff ff    Hi!.~?..........\n"
           "110: ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff ff    ................\n")


def errors():
    expect(["get", "0x51", "0"], 1, "", library_error("There is no slave responsible for this I2C address."))
    expect(["set", "0x07", "0", "1"], 1, "", library_error('The value "7" is not a valid 7 bit I2C address.'))
    expect(["get", "0x78", "0"], 1, "", library_error('The value "120" is not a valid 7 bit I2C address.'))
    code, out, err = run("get", "0x80", "0")
    check("address above 0x7f: exit status", code, 2)
    check("address above 0x7f: names the operand", "ADDRESS '0x80'" in err, True)
    code, out, err = run()
    check("no arguments: exit status", code, 0)
    check("no arguments: usage text", out.startswith("Usage: i2czavik COMMAND"), True)


def caps():
    out = expect(["caps"], 0)
    lines = out.splitlines()
    check("caps: one line per word and a header", len(lines), 12)
    words = [int(line.split()[2]) for line in lines[1:]]
    check("caps: words", words, [1, 400000, 1000000, 1, 0, 0, 0, 65535, 0, 2, 1])


def no_scheduler():
    for args in (["scan"], ["get", "0x50", "0"], ["caps"]):
        expect(args, 1, "", library_error(NO_SCHEDULER))


def no_boards():
    for args in (["get", "0x50", "0"], ["caps"]):
        expect(args, 1, "", library_error("No I2C board has been found."))


SCENARIOS = {
    "scan_default": scan_default,
    "scan_read_probe": scan_read_probe,
    "scan_failure": scan_failure,
    "registers": registers,
    "dump": dump,
    "errors": errors,
    "caps": caps,
    "no_scheduler": no_scheduler,
    "no_boards": no_boards,
}


def main():
    global TOOL
    if len(sys.argv) < 3 or sys.argv[1] not in SCENARIOS:
        sys.exit(f"usage: tool_end_to_end.py {{{','.join(SCENARIOS)}}} TOOL [RUNNER-ARGS...]")
    TOOL = sys.argv[2:]
    SCENARIOS[sys.argv[1]]()
    print(f"{CHECKS['passed']} passed, {CHECKS['failed']} failed")
    return 1 if CHECKS["failed"] or not CHECKS["passed"] else 0


if __name__ == "__main__":
    sys.exit(main())
