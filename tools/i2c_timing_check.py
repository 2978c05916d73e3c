#!/usr/bin/env python3
"""Checks the I2C bus timing in a Value Change Dump against the I2C-bus
timing limits (UM10204, tables 10 and 12).

  i2c_timing_check.py [--json] [--mode sm|fm|fm+] [--pair SCL,SDA]... FILE.vcd

Works on the simulator's --vcd files and on captures exported from logic
analyzers. Every pair of one-bit signals named PREFIXscl and PREFIXsda (any
case, e.g. board1_scl and board1_sda) is a bus, unless --pair names the
signals. Levels x and z read as high (a released line).

Each bus is cut into frames (START to STOP) and each frame into segments at
every START and repeated START. A segment runs in F/S mode, or in Hs-mode
when it follows a master code (first byte 00001xxx) or another Hs-mode
segment; a master code's own segment is F/S. The F/S mode is the fastest one
whose maximum clock frequency the segment's median clock period does not
exceed (--mode fixes it instead); Hs-mode likewise between 1.7 and 3.4 MHz.
Clocks faster than every mode, and segments without a bit clock before any
other of their kind, are reported, not checked.

Measured, for each segment, from the edges as they are in the file:
  fSCL     1 / the time between rising SCL edges of consecutive bits
  tLOW     SCL falling to rising edge          tHIGH   rising to falling (bit clocks)
  tHD;STA  SDA falling (START) to SCL falling  tSU;STA SCL rising to SDA falling (repeated START)
  tHD;DAT  SCL falling to an SDA change, at most the data valid time tVD;DAT
  tSU;DAT  the last SDA change to SCL rising (bit clocks)
  tSU;STO  SCL rising to SDA rising (STOP)     tBUF    STOP to the next START
The low phase before a repeated START belongs to the segment it opens.

Exit status: 0 when every measured time is within its limit, 1 when any is
not, 2 when the file cannot be read or holds no bus.
"""

import argparse
import json
import re
import statistics
import sys

# Minimum times in ns; fSCL the maximum frequency in Hz; tHD;DAT (min, max).
LIMITS = {
    "Standard-mode": {"fSCL": 100e3, "tLOW": 4700, "tHIGH": 4000, "tSU;STA": 4700, "tHD;STA": 4000,
                      "tSU;DAT": 250, "tHD;DAT": (0, 3450), "tSU;STO": 4000, "tBUF": 4700},
    "Fast-mode": {"fSCL": 400e3, "tLOW": 1300, "tHIGH": 600, "tSU;STA": 600, "tHD;STA": 600,
                  "tSU;DAT": 100, "tHD;DAT": (0, 900), "tSU;STO": 600, "tBUF": 1300},
    "Fast-mode Plus": {"fSCL": 1e6, "tLOW": 500, "tHIGH": 260, "tSU;STA": 260, "tHD;STA": 260,
                       "tSU;DAT": 50, "tHD;DAT": (0, 450), "tSU;STO": 260, "tBUF": 500},
    "Hs-mode (1.7 MHz)": {"fSCL": 1.7e6, "tLOW": 320, "tHIGH": 120, "tSU;STA": 160, "tHD;STA": 160,
                          "tSU;DAT": 10, "tHD;DAT": (0, 150), "tSU;STO": 160},
    "Hs-mode (3.4 MHz)": {"fSCL": 3.4e6, "tLOW": 160, "tHIGH": 60, "tSU;STA": 160, "tHD;STA": 160,
                          "tSU;DAT": 10, "tHD;DAT": (0, 70), "tSU;STO": 160},
}
FS_MODES = ["Standard-mode", "Fast-mode", "Fast-mode Plus"]
HS_MODES = ["Hs-mode (1.7 MHz)", "Hs-mode (3.4 MHz)"]
OUTSIDE = "outside every mode"
UNKNOWN = "mode unknown (no bit clock)"
PARAMETERS = ["fSCL", "tLOW", "tHIGH", "tHD;STA", "tSU;STA", "tHD;DAT", "tSU;DAT", "tSU;STO", "tBUF"]
UNITS_NS = {"s": 1e9, "ms": 1e6, "us": 1e3, "ns": 1.0, "ps": 1e-3, "fs": 1e-6}
EPSILON = 1e-6  # ns: rounding of the file's time unit


class VcdError(Exception):
    pass


def read_vcd(path):
    """({name: code}, {code: [(time_ns, level)]}) of the one-bit signals."""
    with open(path, "r", errors="replace") as f:
        tokens = f.read().split()
    names, changes, scale, now, i = {}, {}, 1.0, 0.0, 0
    while i < len(tokens):
        token = tokens[i]
        if token.startswith("$") and token != "$end":
            end = tokens.index("$end", i)
            body = tokens[i + 1:end]
            if token == "$timescale":
                match = re.fullmatch(r"(1|10|100)\s*([munpf]?s)", "".join(body))
                if not match:
                    raise VcdError("unknown timescale %r" % " ".join(body))
                scale = int(match.group(1)) * UNITS_NS[match.group(2)]
            elif token == "$var" and len(body) >= 4 and body[1] == "1":
                names[body[3]] = body[2]
                changes.setdefault(body[2], [])
            if token not in ("$dumpvars", "$dumpall", "$dumpon", "$dumpoff"):
                i = end
        elif token[0] == "#":
            now = int(token[1:]) * scale
        elif token[0] in "01xXzZ" and token[1:] in changes:
            changes[token[1:]].append((now, 0 if token[0] == "0" else 1))
        elif token[0] in "bBrR" and i + 1 < len(tokens):
            i += 1  # a vector or real value: not a bus line
        i += 1
    return names, changes


def find_pairs(names, requested):
    if requested:
        pairs = [tuple(p.split(",", 1)) for p in requested]
    else:
        lower = {name.lower(): name for name in names}
        pairs = [(name, lower[name.lower()[:-3] + "sda"]) for name in sorted(names)
                 if name.lower().endswith("scl") and name.lower()[:-3] + "sda" in lower]
    for scl, sda in pairs:
        for name in (scl, sda):
            if name not in names:
                raise VcdError("no one-bit signal named %r" % name)
    return pairs


class Segment:
    def __init__(self, repeated):
        self.repeated = repeated  # opened by a repeated START
        self.values = {p: [] for p in PARAMETERS}  # name -> [(value, time)]
        self.bits = []
        self.periods = []
        self.mode = None

    def add(self, parameter, value, time):
        self.values[parameter].append((value, time))

    def first_byte(self):
        return int("".join(map(str, self.bits[:8])), 2) if len(self.bits) >= 8 else None


def edges(scl_changes, sda_changes):
    """Changes of both lines in time order (SCL first at equal times), with the
    levels before; each line starts at its first recorded level."""
    merged = sorted([(t, 0, "scl", v) for t, v in scl_changes] + [(t, 1, "sda", v) for t, v in sda_changes])
    level = {"scl": scl_changes[0][1] if scl_changes else 1, "sda": sda_changes[0][1] if sda_changes else 1}
    for t, _, line, value in merged:
        if value != level[line]:
            yield t, line, value, dict(level)
            level[line] = value


def segments(scl_changes, sda_changes):
    """The frames' segments, with every time measured in them."""
    out, segment, last_stop = [], None, None
    fall = rise = start = None  # the last SCL edges in the frame; the START awaiting its SCL fall
    low_changes, pulse = [], None   # SDA changes since SCL fell; a rising edge not yet explained
    for t, line, value, before in edges(scl_changes, sda_changes):
        if line == "sda" and before["scl"] == 1:
            if value == 0:  # START or repeated START
                opened = Segment(segment is not None)
                if segment is None and last_stop is not None:
                    opened.add("tBUF", t - last_stop, t)
                if pulse is not None:  # the clock before a repeated START belongs to it
                    close_low(opened, pulse)
                    opened.add("tSU;STA", t - pulse["rise"], t)
                segment, start, pulse = opened, t, None
                out.append(segment)
            elif segment is not None:  # STOP
                if pulse is not None:
                    close_low(segment, pulse)
                    segment.add("tSU;STO", t - pulse["rise"], t)
                segment, pulse, last_stop = None, None, t
        elif segment is None:
            continue  # activity outside a frame
        elif line == "sda":
            low_changes.append(t)
        elif value == 0:  # SCL falls
            if pulse is not None:  # a bit clock
                close_low(segment, pulse)
                if pulse["changes"]:
                    segment.add("tSU;DAT", pulse["rise"] - pulse["changes"][-1], pulse["rise"])
                segment.add("tHIGH", t - pulse["rise"], t)
                if segment.bits and rise is not None:
                    segment.periods.append((pulse["rise"] - rise, pulse["rise"]))
                segment.bits.append(pulse["sda"])
                rise = pulse["rise"]
            elif start is not None:
                segment.add("tHD;STA", t - start, t)
                rise = None
            start, pulse, fall, low_changes = None, None, t, []
        else:  # SCL rises
            pulse = {"rise": t, "fall": fall, "changes": low_changes, "sda": before["sda"]}
    return out


def close_low(segment, pulse):
    if pulse["fall"] is None:
        return
    segment.add("tLOW", pulse["rise"] - pulse["fall"], pulse["rise"])
    for change in pulse["changes"]:
        segment.add("tHD;DAT", change - pulse["fall"], change)


def classify(segments_, fixed_mode):
    """Sets each segment's mode: F/S or Hs, then the mode its clock falls in."""
    previous, last_mode = None, {False: fixed_mode, True: None}
    for segment in segments_:
        byte = segment.first_byte()
        segment.master_code = byte is not None and byte & 0xF8 == 0x08
        segment.high_speed = segment.repeated and (previous.high_speed or previous.master_code) \
            and not segment.master_code
        if segment.periods and (segment.high_speed or not fixed_mode):
            frequency = 1e9 / statistics.median(p for p, _ in segment.periods)
            modes = HS_MODES if segment.high_speed else FS_MODES
            fitting = [m for m in modes if frequency <= LIMITS[m]["fSCL"] * (1 + 1e-9)]
            last_mode[segment.high_speed] = fitting[0] if fitting else OUTSIDE
        segment.mode = last_mode[segment.high_speed] or UNKNOWN
        previous = segment


def summarize(segments_):
    """{mode: {parameter: {count, min, max, limit, ok, worst_time}}}."""
    report = {}
    for segment in segments_:
        values = dict(segment.values, fSCL=[(1e9 / p, t) for p, t in segment.periods if p > 0])
        entry = report.setdefault(segment.mode, {"segments": 0, "parameters": {}})
        entry["segments"] += 1
        for name, measured in values.items():
            entry["parameters"].setdefault(name, []).extend(measured)
    for mode, entry in report.items():
        entry["parameters"] = {name: judge(mode, name, measured)
                               for name, measured in entry["parameters"].items() if measured}
    return report


def judge(mode, name, measured):
    low = min(measured)
    high = max(measured)
    result = {"count": len(measured), "min": low[0], "max": high[0], "limit": None, "ok": True}
    limit = LIMITS.get(mode, {}).get(name)
    if limit is None:
        return result
    if name == "fSCL":
        result.update(limit="<= %g Hz" % limit, ok=high[0] <= limit * (1 + 1e-9), worst_time=high[1])
    elif isinstance(limit, tuple):
        worst = low if low[0] < limit[0] - EPSILON else high
        result.update(limit="%g..%g ns" % limit, ok=limit[0] - EPSILON <= low[0] and high[0] <= limit[1] + EPSILON,
                      worst_time=worst[1])
    else:
        result.update(limit=">= %g ns" % limit, ok=low[0] >= limit - EPSILON, worst_time=low[1])
    return result


def show(value, name):
    if name == "fSCL":
        return "%.4g kHz" % (value / 1e3)
    return "%.4g us" % (value / 1e3) if value >= 1000 else "%.4g ns" % value


def print_report(buses):
    for bus in buses:
        print("%s / %s" % (bus["scl"], bus["sda"]))
        for mode, entry in bus["modes"].items():
            print("  %s: %d segments" % (mode, entry["segments"]))
            for name in PARAMETERS:
                p = entry["parameters"].get(name)
                if p is None:
                    continue
                verdict = "unchecked" if p["limit"] is None else "ok" if p["ok"] else \
                    "VIOLATED at %s" % show(p["worst_time"], "t")
                print("    %-8s %10s .. %-10s %-14s %s" % (name, show(p["min"], name), show(p["max"], name),
                                                        p["limit"] or "", verdict))


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("vcd")
    parser.add_argument("--pair", action="append", metavar="SCL,SDA", help="signal names of one bus")
    parser.add_argument("--mode", choices=["sm", "fm", "fm+"], help="F/S mode of every F/S segment")
    parser.add_argument("--json", action="store_true", help="the report as JSON")
    args = parser.parse_args(argv)
    fixed = {"sm": FS_MODES[0], "fm": FS_MODES[1], "fm+": FS_MODES[2]}.get(args.mode)
    try:
        names, changes = read_vcd(args.vcd)
        pairs = find_pairs(names, args.pair)
        if not pairs:
            raise VcdError("no SCL/SDA pair of one-bit signals")
    except (OSError, ValueError, VcdError) as error:
        print("i2c_timing_check: %s: %s" % (args.vcd, error), file=sys.stderr)
        return 2
    buses = []
    for scl, sda in pairs:
        found = segments(changes[names[scl]], changes[names[sda]])
        classify(found, fixed)
        buses.append({"scl": scl, "sda": sda, "modes": summarize(found)})
    ok = all(p["ok"] for bus in buses for entry in bus["modes"].values() for p in entry["parameters"].values())
    if args.json:
        print(json.dumps({"ok": ok, "buses": buses}, indent=1))
    else:
        print_report(buses)
        print("all within limits" if ok else "TIMING VIOLATED")
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
