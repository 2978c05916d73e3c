#!/usr/bin/env python3
"""The timing checker on Fast-mode frames made here, each limit broken alone;
a master code switches it to Hs-mode; the time unit does not matter.
Usage: i2c_timing_check_test.py CHECKER"""

import json
import os
import subprocess
import sys
import tempfile
import unittest

CHECKER = None
# ns; 400 kHz with every time comfortably inside the Fast-mode limits.
FAST = dict(hold=400, setup=1200, high=900, su_sta=900, hd_sta=900, su_sto=900, buf=2000)
HIGH_SPEED = dict(hold=35, setup=162, high=98, su_sta=160, hd_sta=160, su_sto=160, buf=2000)
A0, A1, MASTER_CODE = [1, 0, 1, 0, 0, 0, 0, 0], [1, 0, 1, 0, 0, 0, 0, 1], [0, 0, 0, 0, 1, 0, 0, 0]
FRAMES = [["S"] + A0 + [0, 0, 1, 1, 0, 1, 0, 0] + [0, "Sr"] + A1 + [0, 1, 1, 1, 1, 0, 0, 0, 1, 1, "P"],
          ["S"] + A0 + [1, "P"]]


# Each item as (line, level, the phase before the edge): "!" SDA, "#" SCL.
BIT = [("!", None, "hold"), ("#", 1, "setup"), ("#", 0, "high")]
STEPS = {"S": [("!", 0, None), ("#", 0, "hd_sta")],
         "Sr": [("!", 1, "hold"), ("#", 1, "setup"), ("!", 0, "su_sta"), ("#", 0, "hd_sta")],
         "P": [("!", 0, "hold"), ("#", 1, "setup"), ("!", 1, "su_sto"), (None, None, "buf")]}


def vcd(frames, phases, unit_ns=1.0, timescale="1 ns"):
    """Frames of 'S', 'Sr', 'P', bits, and dicts that change the phases from there on."""
    changes, t, p = [], 1000, dict(phases)
    for item in (item for frame in frames for item in frame):
        if isinstance(item, dict):
            p.update(item)
            continue
        for line, level, phase in STEPS.get(item, BIT):
            t += p.get(phase, 0)
            if line:
                changes.append((t, line, item if level is None else level))
    lines = ["$timescale %s $end" % timescale, "$scope module m $end", "$var wire 1 # bus_scl $end",
             "$var wire 1 ! bus_sda $end", "$var wire 8 $ other $end", "$upscope $end", "$enddefinitions $end",
             "#0", "$dumpvars", "1#", "1!", "b0 $", "$end"]
    for time, line, level in changes:
        lines += ["#%d" % round(time / unit_ns), "%d%s" % (level, line)]
    return "\n".join(lines) + "\n"


def check(text, *options):
    with tempfile.NamedTemporaryFile("w", suffix=".vcd", delete=False) as f:
        f.write(text)
    try:
        out = subprocess.run([sys.executable, CHECKER, "--json", *options, f.name], capture_output=True, text=True,
                             timeout=30)
    finally:
        os.unlink(f.name)
    return out.returncode, json.loads(out.stdout) if out.stdout else None


def verdicts(report):
    return {(mode, name): p["ok"] for mode, entry in report["buses"][0]["modes"].items()
            for name, p in entry["parameters"].items()}


class TimingCheckTest(unittest.TestCase):
    def test_fast_mode_frames_within_limits_in_any_time_unit(self):
        status, report = check(vcd(FRAMES, FAST))
        self.assertEqual(status, 0)
        self.assertEqual(set(verdicts(report)), {("Fast-mode", n) for n in
                         ["fSCL", "tLOW", "tHIGH", "tHD;STA", "tSU;STA", "tHD;DAT", "tSU;DAT", "tSU;STO", "tBUF"]})
        self.assertEqual(report["buses"][0]["modes"]["Fast-mode"]["parameters"]["fSCL"]["max"], 400e3)
        for unit, timescale in ((1e-3, "1 ps"), (10.0, "10ns")):
            self.assertEqual(check(vcd(FRAMES, FAST, unit, timescale)), (0, report), timescale)

    def test_each_limit_broken_alone_is_reported(self):
        cases = [  # phases changed, keeping the period where the clock is not the point
            (dict(setup=850, high=1250), {"tLOW"}),
            (dict(setup=1550, high=550), {"tHIGH"}),
            (dict(setup=1000, high=800), {"fSCL"}),
            (dict(hd_sta=550), {"tHD;STA"}),
            (dict(su_sta=550), {"tSU;STA"}),
            (dict(hold=1000, setup=600), {"tHD;DAT"}),           # later than the data valid time
            (dict(hold=1520, setup=80), {"tHD;DAT", "tSU;DAT"}),  # no room for a setup time otherwise
            (dict(su_sto=550), {"tSU;STO"}),
            (dict(buf=1200), {"tBUF"}),
        ]
        for change, broken in cases:
            status, report = check(vcd(FRAMES, dict(FAST, **change)), "--mode", "fm")
            self.assertEqual(status, 1, change)
            self.assertEqual({name for (_, name), ok in verdicts(report).items() if not ok}, broken, change)

    def test_master_code_switches_to_high_speed_until_the_stop(self):
        frame = ["S"] + MASTER_CODE + [1, HIGH_SPEED, "Sr"] + A0 + [0, 0, 1, 0, 1, 0, 1, 0, 1, 0, "Sr"] + A1 + \
            [0, 1, 1, 1, 1, 0, 0, 0, 1, 1, "P", FAST, "S"] + A1 + [1, "P"]
        status, report = check(vcd([frame], FAST))
        self.assertEqual(status, 0)
        modes = report["buses"][0]["modes"]
        self.assertEqual({m: e["segments"] for m, e in modes.items()}, {"Fast-mode": 2, "Hs-mode (3.4 MHz)": 2})
        self.assertAlmostEqual(modes["Hs-mode (3.4 MHz)"]["parameters"]["fSCL"]["max"], 1e9 / 295)
        broken = dict(HIGH_SPEED, high=50, setup=210)
        status, report = check(vcd([[item if item is not HIGH_SPEED else broken for item in frame]], FAST))
        self.assertEqual(status, 1)
        self.assertEqual([k for k, ok in verdicts(report).items() if not ok], [("Hs-mode (3.4 MHz)", "tHIGH")])

    def test_unreadable_input(self):
        for text, options in (("$timescale 3 ns $end\n", ()), (vcd(FRAMES, FAST), ("--pair", "scl,sda")),
                              (vcd(FRAMES, FAST).replace("bus_scl", "clock"), ())):
            self.assertEqual(check(text, *options), (2, None), text[:40])


if __name__ == "__main__":
    CHECKER = sys.argv[1]
    unittest.main(argv=sys.argv[:1], verbosity=2)
