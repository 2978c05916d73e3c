// The platform-independent channel core, driven through its queues alone:
// framing, limits, closed-state results and the write chunk adaptation.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "scheduler_link/byte_queue.h"
#include "scheduler_link/ipc_base.h"

namespace zavik::I2cScheduler {
namespace {

class CoreChannel : public CIpcBase {
 public:
  CoreChannel() { SetOpen(true); }
  using CIpcBase::CompleteWrite;
  using CIpcBase::MarkClosed;
  using CIpcBase::ReadingPaused;
  bool ServiceRead() override { return IsOpen(); }
  bool ServiceWrite() override { return IsOpen(); }

  void Receive(std::size_t count) {
    const std::vector<std::uint8_t> bytes(count, 0x42);
    AcceptReceived(bytes.data(), bytes.size());
  }
  void Receive(const std::uint8_t* bytes, std::size_t count) { AcceptReceived(bytes, count); }
  void Queue(std::size_t count) {
    const std::vector<std::uint8_t> bytes(count, 0x5A);
    ASSERT_EQ(Write(bytes.data(), static_cast<std::int32_t>(count)), static_cast<std::int32_t>(count));
  }
  // The bytes the next write would carry, without sending them.
  std::vector<std::uint8_t> NextWrite() {
    std::vector<std::uint8_t> bytes(kIoBufferSize);
    bytes.resize(PrepareWrite(bytes.data()));
    return bytes;
  }
};

MessageQueue Numbered(int count) {
  MessageQueue messages;
  for (int i = 0; i < count; ++i) messages.push_back(SchedulerMessage::WithCode(100 + i));
  return messages;
}

TEST(ChannelFraming, WordsAreLittleEndianAtUnalignedOffsetsBothWays) {
  CoreChannel channel;
  const std::uint8_t wire[kMessageSize] = {0x13, 0, 0, 0, 0xEE, 0x01, 0x02, 0x03, 0x04, 0, 0, 0, 0};
  channel.Receive(wire, sizeof wire);
  MessageQueue in;
  ASSERT_TRUE(channel.ReceiveMessages(in));
  ASSERT_EQ(in.size(), 1u);
  EXPECT_EQ(in[0].Code(), 0x13u);
  EXPECT_EQ(in[0].U32At(5), 0x04030201u);
  EXPECT_EQ(in[0].U16At(5), 0x0201u);

  MessageQueue send{SchedulerMessage::WithCode(0x0A0B0C0D)};
  send[0].SetU32At(9, 0x04030201);
  ASSERT_TRUE(channel.SendMessages(send));
  const std::vector<std::uint8_t> expected = {0x0D, 0x0C, 0x0B, 0x0A, 0, 0, 0, 0, 0, 0x01, 0x02, 0x03, 0x04};
  EXPECT_EQ(channel.NextWrite(), expected);
}

TEST(ChannelFraming, OnlyWholeMessagesAreCutAndFragmentsWait) {
  CoreChannel channel;
  MessageQueue in;
  std::uint8_t one[kMessageSize];
  channel.Receive(12);
  EXPECT_TRUE(channel.ReceiveMessages(in));
  EXPECT_TRUE(in.empty());
  EXPECT_TRUE(channel.NoMessageReady());
  EXPECT_FALSE(channel.ReceiveMessage(one));
  EXPECT_EQ(channel.ReceiveQueueSize(), 12u);
  channel.Receive(1);
  EXPECT_TRUE(channel.ReceiveMessages(in));
  EXPECT_EQ(in.size(), 1u);

  in.clear();
  channel.Receive(27);
  EXPECT_TRUE(channel.ReceiveMessage(one));
  EXPECT_TRUE(channel.ReceiveAllMessages(in));
  EXPECT_EQ(in.size(), 1u);
  EXPECT_EQ(channel.ReceiveQueueSize(), 1u);

  // A message fed in 5 + 5 + 3 bytes arrives once, after the last piece.
  EXPECT_EQ(channel.Read(one, 8), 1);
  std::uint8_t wire[kMessageSize];
  for (std::size_t i = 0; i < kMessageSize; ++i) wire[i] = static_cast<std::uint8_t>(i + 1);
  in.clear();
  for (auto [from, count] : {std::pair{0, 5}, {5, 5}, {10, 3}}) {
    EXPECT_TRUE(in.empty());
    channel.Receive(wire + from, count);
    channel.ReceiveMessages(in);
  }
  ASSERT_EQ(in.size(), 1u);
  EXPECT_TRUE(std::equal(in[0].bytes, in[0].bytes + kMessageSize, wire));
  EXPECT_EQ(channel.ReceiveQueueSize(), 0u);
}

TEST(ChannelFraming, SendingMovesMessagesInOrderAndTheBoundedFormChecksBeforeEach) {
  CoreChannel channel;
  MessageQueue send = Numbered(3);
  ASSERT_TRUE(channel.SendMessages(send));
  EXPECT_TRUE(send.empty());
  const std::vector<std::uint8_t> bytes = channel.NextWrite();
  ASSERT_EQ(bytes.size(), 39u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(bytes[13 * i], 100 + i);

  CoreChannel bounded;
  bounded.Queue(kSendLimit - 1);
  send = Numbered(3);
  EXPECT_TRUE(bounded.SendMessagesBounded(send));
  EXPECT_EQ(bounded.SendQueueSize(), kSendLimit - 1 + kMessageSize);
  ASSERT_EQ(send.size(), 2u);
  EXPECT_EQ(send[0].Code(), 101u);
  EXPECT_EQ(send[1].Code(), 102u);

  CoreChannel full;
  full.Queue(kSendLimit);
  send = Numbered(1);
  EXPECT_TRUE(full.SendMessagesBounded(send));
  EXPECT_EQ(send.size(), 1u);
  EXPECT_EQ(full.SendQueueSize(), kSendLimit);
}

TEST(ChannelLimits, WriteReadAndLevelQueriesAtTheirBoundaries) {
  CoreChannel channel;
  std::uint8_t buffer[8] = {};
  EXPECT_EQ(channel.Write(buffer, 0), 0);
  EXPECT_EQ(channel.Write(buffer, -7), -7);
  EXPECT_EQ(channel.Read(buffer, 8), 0);
  channel.Receive(5);
  EXPECT_EQ(channel.Read(buffer, 0), 0);
  EXPECT_EQ(channel.Read(buffer, -3), -3);
  EXPECT_EQ(channel.Read(buffer, 3), 3);
  EXPECT_EQ(channel.Read(buffer, 8), 2);

  EXPECT_TRUE(channel.SendQueueEmpty());
  channel.Queue(kSendHighLevel);
  EXPECT_FALSE(channel.SendQueueEmpty());
  EXPECT_FALSE(channel.SendQueueHigh());
  channel.Queue(1);
  EXPECT_TRUE(channel.SendQueueHigh());
  channel.Queue(kSendLimit - kSendHighLevel - 1);
  EXPECT_EQ(channel.Write(buffer, 1), 1);  // at exactly the limit: still appended
  EXPECT_EQ(channel.Write(buffer, 1), 0);
  EXPECT_EQ(channel.SendQueueSize(), kSendLimit + 1);

  channel.Receive(kReceiveHighLevel);
  EXPECT_FALSE(channel.ReceiveQueueHigh());
  channel.Receive(1);
  EXPECT_TRUE(channel.ReceiveQueueHigh());
  channel.Receive(kReadPauseLevel - kReceiveHighLevel - 1);
  EXPECT_FALSE(channel.ReadingPaused());
  channel.Receive(1);
  EXPECT_TRUE(channel.ReadingPaused());
}

// Received bytes survive a close so whole messages can still be taken; a
// trailing fragment never becomes a message; nothing more goes out.
TEST(ClosedChannel, KeepsReceivedMessagesAndRefusesToSend) {
  CoreChannel channel;
  channel.Receive(2 * kMessageSize + 5);
  channel.Queue(20);
  channel.MarkClosed();
  EXPECT_FALSE(channel.IsOpen());
  EXPECT_TRUE(channel.SendQueueEmpty());

  MessageQueue send = Numbered(2);
  EXPECT_FALSE(channel.SendMessages(send));
  EXPECT_FALSE(channel.SendMessagesBounded(send));
  EXPECT_EQ(send.size(), 2u);
  EXPECT_TRUE(channel.SendQueueEmpty());
  std::uint8_t buffer[16] = {};
  EXPECT_EQ(channel.Write(buffer, 1), -1);

  EXPECT_TRUE(channel.ReceiveMessage(buffer));
  MessageQueue in;
  EXPECT_TRUE(channel.ReceiveMessages(in));
  EXPECT_EQ(in.size(), 1u);
  EXPECT_TRUE(channel.NoMessageReady());
  EXPECT_FALSE(channel.ReceiveMessages(in));
  EXPECT_FALSE(channel.ReceiveAllMessages(in));
  EXPECT_FALSE(channel.ReceiveMessage(buffer));
  EXPECT_EQ(channel.Read(buffer, 16), 5);
  EXPECT_EQ(channel.Read(buffer, 16), -1);
}

TEST(WriteChunk, AdaptsByATenthWithinItsBounds) {
  struct Step {
    std::uint32_t from;
    bool full;
    std::uint32_t to;
  };
  const Step steps[] = {
      {10, true, 11},        {11, true, 12},        {12, true, 13},       {13, true, 14},
      {14, true, 15},        {15, true, 16},        {16, true, 17},       {17, true, 18},
      {18, true, 19},        {19, true, 20},        {20, true, 22},       {22, true, 24},
      {45455, true, 50000},  {50000, true, 50000},  {50000, false, 45000}, {45000, false, 40500},
      {40500, false, 36450}, {36450, false, 32805}, {32805, false, 29524}, {12, false, 10},
      {11, false, 10},       {10, false, 10},
  };
  for (const Step& s : steps) {
    const std::uint32_t requested = 1000;
    EXPECT_EQ(AdaptWriteChunk(s.from, s.full ? requested : requested - 1, requested), s.to)
        << "from " << s.from << (s.full ? " after a full write" : " after a short write");
  }
}

// A loopback peer cannot force a short write, so it is reported here directly.
TEST(WriteChunk, ShortWriteLeavesTheRestQueuedAndShrinksTheNextWrite) {
  CoreChannel channel;
  std::vector<std::uint8_t> bytes(90000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i % 251);
  channel.Write(bytes.data(), 50000);
  ASSERT_EQ(channel.NextWrite().size(), 50000u);
  channel.CompleteWrite(30000, 50000);
  EXPECT_EQ(channel.WriteChunk(), 45000u);
  channel.Write(bytes.data() + 50000, 40000);
  const std::vector<std::uint8_t> next = channel.NextWrite();
  ASSERT_EQ(next.size(), 45000u);
  EXPECT_TRUE(std::equal(next.begin(), next.end(), bytes.begin() + 30000));
}

// Uneven appends and takes across growth and reclaiming of the consumed
// prefix must keep every byte in order; the last round drains the queue.
TEST(ByteQueueOrder, SurvivesGrowthAndReclaim) {
  ByteQueue queue;
  std::uint32_t written = 0, read = 0;
  std::vector<std::uint8_t> chunk, out;
  for (int round = 0; round <= 300; ++round) {
    chunk.resize(round == 300 ? 0 : 1 + (round * 7919) % 50000);
    for (auto& b : chunk) b = static_cast<std::uint8_t>(written++ % 253);
    queue.Append(chunk.data(), chunk.size());
    out.resize(round == 300 ? queue.size() : queue.size() * (round % 3 + 1) / 4);
    queue.Take(out.data(), out.size());
    bool inOrder = true;
    for (std::uint8_t b : out) inOrder &= b == read++ % 253;
    ASSERT_TRUE(inOrder) << "round " << round;
  }
  EXPECT_EQ(read, written);
  EXPECT_TRUE(queue.empty());
}

}  // namespace
}  // namespace zavik::I2cScheduler
