// The timing the waveforms are drawn with, across every bitrate a bench may
// list (the end-to-end waveform test measures a few of them), and the VCD
// text itself.

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "sim/bus_timing.h"
#include "sim/vcd_writer.h"

namespace zavik::I2cSim {
namespace {

void ExpectWithinLimits(std::uint32_t bitrate, bool highSpeed) {
  SCOPED_TRACE(testing::Message() << bitrate << (highSpeed ? " Hz high-speed" : " Hz"));
  const BusTiming t = BusTiming::For(bitrate, highSpeed);
  const TimingLimits* limits = BusTiming::LimitsOf(BusTiming::ModeOf(bitrate, highSpeed));
  ASSERT_NE(limits, nullptr);
  EXPECT_EQ(t.low + t.high, t.period);
  EXPECT_LE(1e9 / static_cast<double>(t.period), bitrate);  // never faster than asked
  EXPECT_GT(1e9 / static_cast<double>(t.period - 1), bitrate);  // the closest such period
  EXPECT_EQ(t.holdData + t.setupData, t.low);
  EXPECT_GE(t.low, limits->low);
  EXPECT_GE(t.high, limits->high);
  EXPECT_GE(t.setupData, limits->setupData);
  EXPECT_GT(t.holdData, 0u);
  EXPECT_LE(t.holdData, limits->maxDataHold);
  EXPECT_GE(t.setupStart, limits->setupStart);
  EXPECT_GE(t.holdStart, limits->holdStart);
  EXPECT_GE(t.setupStop, limits->setupStop);
}

TEST(BusTimingTest, EveryBitrateOfEveryModeIsDrawnWithinItsLimits) {
  for (std::uint32_t bitrate : {1u, 9999u, 10000u, 99999u, 100000u, 100001u, 333333u, 400000u, 400001u, 999999u,
                                1000000u}) {
    ExpectWithinLimits(bitrate, false);
  }
  for (std::uint32_t bitrate : {100000u, 1000000u, 1700000u, 1700001u, 3333333u, 3400000u}) {
    ExpectWithinLimits(bitrate, true);
  }
}

TEST(BusTimingTest, BitratesOutsideEveryModeGetAPlainClockAtTheirPeriod) {
  EXPECT_EQ(BusTiming::ModeOf(1000001, false), BusMode::kOutsideEveryMode);
  EXPECT_EQ(BusTiming::ModeOf(3400001, true), BusMode::kOutsideEveryMode);
  const BusTiming t = BusTiming::For(2000000, false);
  EXPECT_EQ(t.period, 500u);
  EXPECT_EQ(t.low, 250u);
  EXPECT_EQ(t.high, 250u);
  EXPECT_EQ(t.holdData, 62u);
  // Too fast for the 1 ns resolution: the shortest clock that still shows
  // SDA changing between the SCL edges.
  const BusTiming fastest = BusTiming::For(4000000000u, true);
  EXPECT_EQ(fastest.period, 4u);
  EXPECT_EQ(fastest.holdData, 1u);
  EXPECT_EQ(fastest.setupData, 1u);
}

TEST(VcdWriterTest, HeaderInitialLevelsAndOnlyRealChanges) {
  std::ostringstream out;
  VcdWriter writer(out);
  writer.AddComment("a note");
  const int scl = writer.AddSignal("board1_scl", true);
  const int sda = writer.AddSignal("board1_sda", true);
  writer.Flush();
  writer.Change(5, sda, false);
  writer.Change(5, scl, false);
  writer.Change(6, scl, false);  // no change: nothing written
  writer.Mark(9);
  writer.Mark(9);
  writer.Change(9, sda, true);
  writer.Flush();
  EXPECT_EQ(out.str(),
            "$version i2c-scheduler-sim $end\n$comment\n  a note\n$end\n$timescale 1 ns $end\n"
            "$scope module i2c $end\n$var wire 1 ! board1_scl $end\n$var wire 1 \" board1_sda $end\n"
            "$upscope $end\n$enddefinitions $end\n#0\n$dumpvars\n1!\n1\"\n$end\n"
            "#5\n0\"\n0!\n#9\n1\"\n");
}

TEST(VcdWriterTest, ManySignalsGetDistinctPrintableCodes) {
  std::ostringstream out;
  VcdWriter writer(out);
  for (int i = 0; i < 300; ++i) writer.AddSignal("s" + std::to_string(i), false);
  writer.Flush();
  std::istringstream header(out.str());
  std::set<std::string> codes;
  std::string word, code;
  while (header >> word) {
    if (word != "$var") continue;
    header >> word >> word >> code;
    for (char c : code) EXPECT_TRUE(c >= '!' && c <= '~');
    codes.insert(code);
  }
  EXPECT_EQ(codes.size(), 300u);
}

}  // namespace
}  // namespace zavik::I2cSim
