#include "api/bus_event_decoder.h"

#include <gtest/gtest.h>

#include <vector>

#include "bus_reports.h"

namespace zavik::I2cApi {
namespace {

using namespace Testing;
constexpr std::uint32_t S = kEventStart, P = kEventStop, A = kEventAck, N = kEventNack, D = kEventByte;

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

TEST(BusEventDecoder, Sequences) {
  struct Case {
    const char* reports;
    std::vector<std::uint32_t> events;
    std::vector<std::uint8_t> bytes;  // the values of the byte events
  };
  const std::vector<Case> cases{
      {"S 0xA1+ P", {S, D, A, P}, {0xA1}},
      {"S 0x10 b1 0x11 b2 0x12 b0", {S, D, N, D, N, D, A}, {0x10, 0x11, 0x12}},  // any high level is a NACK
      {"S b1 b2 b1 b255 b0 b0 b1 b2", {S, D}, {0xA2}},                          // a data bit is 1 only at level 1
      {"0xFF+ S 0x42+ P 0x43+", {S, D, A, P}, {0x42}},                          // bits outside a frame
      {"S b1 b1 b1 b1 S 0x3C+", {S, S, D, A}, {0x3C}},                          // START after four bits
      {"S 0x55 S 0x0F-", {S, D, S, D, N}, {0x55, 0x0F}},                        // START where the ACK was due
  };
  for (const Case& c : cases) {
    BusEventDecoder decoder;
    const MessageQueue out = DecodeAll(decoder, Reports(c.reports));
    EXPECT_EQ(Codes(out), c.events) << c.reports;
    std::vector<std::uint8_t> bytes;
    for (const SchedulerMessage& e : out)
      if (e.Code() == kEventByte) bytes.push_back(e.Byte(4));
    EXPECT_EQ(bytes, c.bytes) << c.reports;
  }
}

TEST(BusEventDecoder, StartKeepsItsPayloadAndByteEventsAreFilled) {
  MessageQueue in = Reports("S 0xA1+");
  for (std::size_t i = 4; i < 13; ++i) in[0].SetByte(i, static_cast<std::uint8_t>(i * 3));
  BusEventDecoder decoder;
  const MessageQueue out = DecodeAll(decoder, in);
  ASSERT_EQ(out.size(), 3u);
  for (std::size_t i = 4; i < 13; ++i) EXPECT_EQ(out[0].Byte(i), in[0].Byte(i)) << "START payload byte " << i;
  for (std::size_t i = 5; i < 13; ++i) EXPECT_EQ(out[1].Byte(i), 0xFF) << "byte event filler " << i;
}

TEST(BusEventDecoder, StatusInsideAByteIsPassedOnWithoutDisturbingIt) {
  MessageQueue in = Reports("S 0xC3+");
  SchedulerMessage status = Status(34);
  status.SetByte(12, 0x99);
  in.insert(in.begin() + 4, status);  // between the third and fourth bit
  BusEventDecoder decoder;
  MessageQueue out;
  out.push_back(Record(99));  // the output is appended to
  EXPECT_EQ(decoder.Decode(in, out), in.size());
  ASSERT_EQ(Codes(out), (std::vector<std::uint32_t>{99, S, 13, D, A}));
  for (std::size_t i = 0; i < 13; ++i) EXPECT_EQ(out[2].Byte(i), status.Byte(i));
  EXPECT_EQ(out[3].Byte(4), 0xC3);
}

TEST(BusEventDecoder, ByteSpanningTwoBatches) {
  BusEventDecoder decoder;
  const MessageQueue all = Reports("S 0x96+");
  EXPECT_EQ(Codes(DecodeAll(decoder, MessageQueue(all.begin(), all.begin() + 6))), (std::vector<std::uint32_t>{S}));
  const MessageQueue out = DecodeAll(decoder, MessageQueue(all.begin() + 6, all.end()));
  ASSERT_EQ(Codes(out), (std::vector<std::uint32_t>{D, A}));
  EXPECT_EQ(out[0].Byte(4), 0x96);
}

}  // namespace
}  // namespace zavik::I2cApi
