#!/usr/bin/env bash
# The main job: build the library, the simulator, the command-line tool and the
# example host program, start the simulator with its default bench (a board
# with an EEPROM at 0x50, a temperature sensor at 0x48, a register file at
# 0x20, a BME280 at 0x76 and a 128x64 SSD1306 display at 0x3C) on
# 127.0.0.1:3000, read and write registers through the library's exports, read
# the BME280 and write onto the display, show the display, stop the simulator.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
out=${I2CZAVIK_BUILD_ROOT:-$root/build}/native

if [ "$(id -u)" = 0 ]; then bash scripts/setup.sh --native; else sudo bash scripts/setup.sh --native; fi
cmake -S "$root" -B "$out" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$out" -j "$(nproc)" --target i2c-scheduler-sim i2czavik_tool climate_display

sim="$out/sim/i2c-scheduler-sim"
tool="$out/tools/i2czavik/i2czavik"
displays="$out/displays"
"$sim" --trace --display-dir "$displays" > "$out/demo-sim.log" 2>&1 &
sim_pid=$!
trap 'kill $sim_pid 2>/dev/null; wait $sim_pid 2>/dev/null || true' EXIT
for _ in $(seq 50); do grep -q listening "$out/demo-sim.log" 2>/dev/null && break; sleep 0.1; done

run() { echo; echo "\$ i2czavik $*"; "$tool" "$@"; }
run scan
run set -r 2 0x50 0x0100 0x48 0x65 0x6c 0x6c 0x6f 0x2c 0x20 0x49 0x32 0x43
run get -r 2 -n 10 0x50 0x0100
run dump -r 2 -l 64 0x50 0x0100
run get -n 2 0x48 0x00
run set 0x20 0x10 0xde 0xad 0xbe 0xef
run get -n 4 0x20 0x10
run caps
echo
echo "--- what the simulated bus saw (last transfers)"
grep -v ' | ' "$out/demo-sim.log" | tail -n 8

echo
echo "\$ climate_display HELLO"
"$out/examples/climate_display" HELLO
echo
echo "--- what the display at 0x3C shows now (from the simulator's --trace)"
grep -F 'board 1 0x3C | ' "$out/demo-sim.log" | tail -n 32
echo
echo "The same picture as a PNG file: $displays/board1-0x3C.png"
