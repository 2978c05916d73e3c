// Waveform timing across every bitrate a bench may list (the end-to-end
// waveform test measures a few), and the VCD signal codes.

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
  EXPECT_LE(1e9 / static_cast<double>(t.period), bitrate);  // never faster than asked
  EXPECT_GT(1e9 / static_cast<double>(t.period - 1), bitrate);  // the closest such period
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
  EXPECT_EQ(BusTiming::LimitsOf(BusTiming::ModeOf(1000001, false)), nullptr);
  EXPECT_EQ(BusTiming::LimitsOf(BusTiming::ModeOf(3400001, true)), nullptr);
  const BusTiming t = BusTiming::For(2000000, false);
  EXPECT_EQ(t.period, 500u);
  EXPECT_EQ(t.low, 250u);
  EXPECT_EQ(t.high, 250u);
  EXPECT_EQ(t.holdData, 62u);
  // Too fast for 1 ns steps: the shortest clock with SDA between SCL edges.
  const BusTiming fastest = BusTiming::For(4000000000u, true);
  EXPECT_EQ(fastest.period, 4u);
  EXPECT_EQ(fastest.holdData, 1u);
  EXPECT_EQ(fastest.setupData, 1u);
}

// Benches with dozens of boards need codes of more than one character.
TEST(VcdWriterTest, ManySignalsGetDistinctPrintableCodes) {
  std::ostringstream out;
  VcdWriter writer(out);
  for (int i = 0; i < 300; ++i) writer.AddSignal("s", false);
  writer.Flush();
  std::istringstream header(out.str());
  std::set<std::string> codes;
  for (std::string word, code; header >> word;) {
    if (word == "$var" && header >> word >> word >> code) codes.insert(code);
  }
  EXPECT_EQ(codes.size(), 300u);
  for (char c : out.str()) ASSERT_TRUE(c == '\n' || (c >= ' ' && c <= '~'));
}

}  // namespace
}  // namespace zavik::I2cSim
