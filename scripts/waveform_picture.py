#!/usr/bin/env python3
"""Draws one board's SCL and SDA from a VCD file as a logic analyzer shows
them, with sigrok-cli's I2C decoder annotations above, into a PNG (the
picture in sim/README.md). Not part of CI; needs python3-matplotlib and
sigrok-cli (apt-get install python3-matplotlib sigrok-cli).

  waveform_picture.py FILE.vcd BOARD-PREFIX OUT.png [FROM-US TO-US]

for example `waveform_picture.py bus.vcd board1 register_read.png`.
"""

import os
import subprocess
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tools"))
import i2c_timing_check  # noqa: E402


def annotations(vcd, prefix):
    """(start_us, end_us, text) of the decoder's START, address, data, ACK/NACK and STOP."""
    out = subprocess.run(
        ["sigrok-cli", "-I", "vcd", "-i", vcd, "--protocol-decoder-samplenum",
         "-P", "i2c:scl=%s_scl:sda=%s_sda" % (prefix, prefix),
         "-A", "i2c=start:repeat-start:stop:ack:nack:address-read:address-write:data-read:data-write"],
        capture_output=True, text=True, check=True)
    short = {"Start": "S", "Start repeat": "Sr", "Stop": "P", "ACK": "A", "NACK": "N"}
    found = []
    for line in out.stdout.splitlines():
        samples, _, text = line.partition(" ")
        text = text.split(": ", 1)[1]
        if text in ("Read", "Write"):
            continue
        start, end = (int(s) / 1000 for s in samples.split("-"))  # 1 ns samples
        text = short.get(text, text.replace("Address write: ", "Addr W ").replace("Address read: ", "Addr R ")
                         .replace("Data write: ", "").replace("Data read: ", ""))
        found.append((start, end, text))
    return found


def steps(changes, until):
    xs, ys = [], []
    for t, level in changes:
        xs += [t / 1000, t / 1000]
        ys += [ys[-1] if ys else level, level]
    return xs + [until], ys + [ys[-1]]


def main(argv):
    vcd, prefix, png = argv[:3]
    names, changes = i2c_timing_check.read_vcd(vcd)
    scl, sda = changes[names[prefix + "_scl"]], changes[names[prefix + "_sda"]]
    end = max(scl[-1][0], sda[-1][0]) / 1000 + 10
    span = (float(argv[3]), float(argv[4])) if len(argv) > 4 else (0, end)
    fig, ax = plt.subplots(figsize=(14, 3.2))
    for offset, (name, line) in ((2.0, ("SCL", scl)), (0.0, ("SDA", sda))):
        xs, ys = steps(line, end)
        ax.plot(xs, [y + offset for y in ys], color="#1a7f37", linewidth=1.2, drawstyle="default")
        ax.text(span[0] - (span[1] - span[0]) * 0.01, offset + 0.5, name, ha="right", va="center")
    for start, stop, text in annotations(vcd, prefix):
        if stop < span[0] or start > span[1]:
            continue
        width = max(stop - start, (span[1] - span[0]) * 0.004)
        ax.add_patch(plt.Rectangle((start, 3.4), width, 0.8, color="#ddf4ff", ec="#0969da"))
        ax.text(start + width / 2, 3.8, text, ha="center", va="center", fontsize=8)
    ax.set_xlim(*span)
    ax.set_ylim(-0.3, 4.4)
    ax.set_yticks([])
    ax.set_xlabel("simulated bus time (us)")
    ax.set_title("%s: %s" % (os.path.basename(vcd), prefix))
    fig.tight_layout()
    fig.savefig(png, dpi=110)


if __name__ == "__main__":
    main(sys.argv[1:])
