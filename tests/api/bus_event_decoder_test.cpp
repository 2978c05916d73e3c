#include "api/bus_event_decoder.h"

#include <gtest/gtest.h>

#include <vector>

#include "bus_reports.h"

namespace zavik::I2cApi {
namespace {

using namespace TestReports;

std::vector<std::uint32_t> Codes(const MessageQueue& events) {
  std::vector<std::uint32_t> codes;
  for (const SchedulerMessage& e : events) codes.push_back(e.Code());
  return codes;
}

MessageQueue DecodeAll(BusEventDecoder& decoder, const MessageQueue& input) {
  MessageQueue out;
  EXPECT_EQ(decoder.Decode(input, out), input.size());
  return out;
}

TEST(BusEventDecoder, FrameWithOneAcknowledgedByte) {
  MessageQueue in;
  SchedulerMessage start = Record(5);
  for (std::size_t i = 4; i < 13; ++i) start.SetByte(i, static_cast<std::uint8_t>(i * 3));
  in.push_back(start);
  ByteWithAck(in, 0xA1, true);
  Stop(in);

  BusEventDecoder decoder;
  MessageQueue out = DecodeAll(decoder, in);

  ASSERT_EQ(Codes(out), (std::vector<std::uint32_t>{kEventStart, kEventByte, kEventAck, kEventStop}));
  for (std::size_t i = 4; i < 13; ++i) EXPECT_EQ(out[0].Byte(i), start.Byte(i)) << "START payload byte " << i;
  EXPECT_EQ(out[1].Byte(4), 0xA1);
  for (std::size_t i = 5; i < 13; ++i) EXPECT_EQ(out[1].Byte(i), 0xFF) << "byte event filler " << i;
}

TEST(BusEventDecoder, AcknowledgeBitLevels) {
  BusEventDecoder decoder;
  MessageQueue in;
  Start(in);
  ByteBits(in, 0x10);
  in.push_back(Bit(1));  // master or slave did not acknowledge
  ByteBits(in, 0x11);
  in.push_back(Bit(2));  // any non-zero level is high for the acknowledge bit
  ByteBits(in, 0x12);
  in.push_back(Bit(0));
  MessageQueue out = DecodeAll(decoder, in);
  EXPECT_EQ(Codes(out), (std::vector<std::uint32_t>{kEventStart, kEventByte, kEventNack, kEventByte, kEventNack,
                                                    kEventByte, kEventAck}));
}

TEST(BusEventDecoder, DataBitCountsAsOneOnlyAtLevelOne) {
  BusEventDecoder decoder;
  MessageQueue in;
  Start(in);
  for (std::uint8_t level : {1, 2, 1, 0xFF, 0, 0, 1, 2}) in.push_back(Bit(level));
  MessageQueue out = DecodeAll(decoder, in);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[1].Byte(4), 0xA2);  // 1,0,1,0,0,0,1,0
}

TEST(BusEventDecoder, FirstByteAfterStartIsMsbFirst) {
  BusEventDecoder decoder;
  MessageQueue in;
  Start(in);
  for (std::uint8_t level : {0, 0, 0, 0, 1, 0, 0, 0}) in.push_back(Bit(level));
  MessageQueue out = DecodeAll(decoder, in);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[1].Byte(4), 0x08);
}

TEST(BusEventDecoder, BitsOutsideAFrameProduceNothing) {
  BusEventDecoder decoder;
  MessageQueue before;
  ByteWithAck(before, 0xFF, true);
  EXPECT_TRUE(DecodeAll(decoder, before).empty());

  MessageQueue frame;
  Start(frame);
  ByteWithAck(frame, 0x42, true);
  Stop(frame);
  ByteWithAck(frame, 0x43, true);  // after the STOP
  EXPECT_EQ(Codes(DecodeAll(decoder, frame)),
            (std::vector<std::uint32_t>{kEventStart, kEventByte, kEventAck, kEventStop}));
}

TEST(BusEventDecoder, StartInsideAByteDiscardsItsBits) {
  BusEventDecoder decoder;
  MessageQueue in;
  Start(in);
  for (int i = 0; i < 4; ++i) in.push_back(Bit(1));
  Start(in);
  ByteWithAck(in, 0x3C, true);
  MessageQueue out = DecodeAll(decoder, in);
  ASSERT_EQ(Codes(out), (std::vector<std::uint32_t>{kEventStart, kEventStart, kEventByte, kEventAck}));
  EXPECT_EQ(out[2].Byte(4), 0x3C);
}

TEST(BusEventDecoder, StartAfterAByteClearsThePendingAcknowledge) {
  BusEventDecoder decoder;
  MessageQueue in;
  Start(in);
  ByteBits(in, 0x55);
  Start(in);  // repeated START where the acknowledge bit was due
  ByteWithAck(in, 0x0F, false);
  MessageQueue out = DecodeAll(decoder, in);
  ASSERT_EQ(Codes(out), (std::vector<std::uint32_t>{kEventStart, kEventByte, kEventStart, kEventByte, kEventNack}));
  EXPECT_EQ(out[3].Byte(4), 0x0F);
}

TEST(BusEventDecoder, OtherRecordsPassThroughWithoutDisturbingAByte) {
  BusEventDecoder decoder;
  MessageQueue in;
  Start(in);
  ByteBits(in, 0xC3);
  SchedulerMessage status = Status(34);
  status.SetByte(12, 0x99);
  in.insert(in.begin() + 4, status);  // between the third and fourth bit
  in.push_back(Bit(0));
  MessageQueue out = DecodeAll(decoder, in);
  ASSERT_EQ(Codes(out), (std::vector<std::uint32_t>{kEventStart, 13, kEventByte, kEventAck}));
  for (std::size_t i = 0; i < 13; ++i) EXPECT_EQ(out[1].Byte(i), status.Byte(i));
  EXPECT_EQ(out[2].Byte(4), 0xC3);
}

TEST(BusEventDecoder, ByteSpanningTwoBatches) {
  BusEventDecoder decoder;
  MessageQueue all;
  Start(all);
  ByteWithAck(all, 0x96, true);
  MessageQueue first(all.begin(), all.begin() + 6);  // START and five bits
  MessageQueue second(all.begin() + 6, all.end());

  EXPECT_EQ(Codes(DecodeAll(decoder, first)), (std::vector<std::uint32_t>{kEventStart}));
  MessageQueue out = DecodeAll(decoder, second);
  ASSERT_EQ(Codes(out), (std::vector<std::uint32_t>{kEventByte, kEventAck}));
  EXPECT_EQ(out[0].Byte(4), 0x96);
}

TEST(BusEventDecoder, AppendsToOutputAndLeavesInputAlone) {
  BusEventDecoder decoder;
  MessageQueue in;
  Start(in);
  MessageQueue out;
  out.push_back(Record(99));
  EXPECT_EQ(decoder.Decode(in, out), 1u);
  EXPECT_EQ(Codes(out), (std::vector<std::uint32_t>{99, kEventStart}));
  EXPECT_EQ(in.size(), 1u);
  EXPECT_EQ(in[0].Code(), 5u);
}

}  // namespace
}  // namespace zavik::I2cApi
