// The platform-independent channel core, driven through its queues alone:
// framing, limits, closed-state results and the write chunk adaptation.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "scheduler_link/byte_queue.h"
#include "scheduler_link/ipc_base.h"

namespace zavik::I2cScheduler {
namespace {

class CoreChannel : public CIpcBase {
 public:
  CoreChannel() { SetOpen(true); }
  using CIpcBase::AcceptReceived;
  using CIpcBase::CompleteWrite;
  using CIpcBase::MarkClosed;
  using CIpcBase::PrepareWrite;
  using CIpcBase::ReadingPaused;
  bool ServiceRead() override { return IsOpen(); }
  bool ServiceWrite() override { return IsOpen(); }

  void Receive(std::size_t count, std::uint8_t fill = 0) {
    const std::vector<std::uint8_t> bytes(count, fill);
    AcceptReceived(bytes.data(), bytes.size());
  }
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
  channel.AcceptReceived(wire, sizeof wire);
  MessageQueue in;
  ASSERT_TRUE(channel.ReceiveMessages(in));
  ASSERT_EQ(in.size(), 1u);
  EXPECT_EQ(in[0].Code(), 0x13u);
  EXPECT_EQ(in[0].U32At(5), 0x04030201u);
  EXPECT_EQ(in[0].U16At(5), 0x0201u);

  SchedulerMessage out = SchedulerMessage::WithCode(0x0A0B0C0D);
  out.SetU32At(9, 0x04030201);
  MessageQueue send{out};
  ASSERT_TRUE(channel.SendMessages(send));
  const std::vector<std::uint8_t> expected = {0x0D, 0x0C, 0x0B, 0x0A, 0, 0, 0, 0, 0, 0x01, 0x02, 0x03, 0x04};
  EXPECT_EQ(channel.NextWrite(), expected);
}

TEST(ChannelFraming, OnlyWholeMessagesAreCutAndFragmentsWait) {
  CoreChannel channel;
  MessageQueue in;
  channel.Receive(12);
  EXPECT_TRUE(channel.ReceiveMessages(in));
  EXPECT_TRUE(in.empty());
  EXPECT_TRUE(channel.NoMessageReady());
  channel.Receive(1);
  EXPECT_TRUE(channel.ReceiveMessages(in));
  EXPECT_EQ(in.size(), 1u);

  in.clear();
  channel.Receive(27);
  EXPECT_TRUE(channel.ReceiveAllMessages(in));
  EXPECT_EQ(in.size(), 2u);
  EXPECT_EQ(channel.ReceiveQueueSize(), 1u);
}

TEST(ChannelFraming, MessageSplitOverThreeReadsArrivesOnceAfterTheLast) {
  CoreChannel channel;
  std::uint8_t wire[kMessageSize];
  for (std::size_t i = 0; i < kMessageSize; ++i) wire[i] = static_cast<std::uint8_t>(i + 1);
  MessageQueue in;
  for (auto [from, count] : {std::pair{0, 5}, {5, 5}, {10, 3}}) {
    EXPECT_TRUE(in.empty());
    channel.AcceptReceived(wire + from, count);
    channel.ReceiveMessages(in);
  }
  ASSERT_EQ(in.size(), 1u);
  EXPECT_EQ(std::vector<std::uint8_t>(in[0].bytes, in[0].bytes + kMessageSize),
            std::vector<std::uint8_t>(wire, wire + kMessageSize));
  EXPECT_EQ(channel.ReceiveQueueSize(), 0u);
}

TEST(ChannelFraming, ReceiveMessageTakesExactlyThirteenOrNothing) {
  CoreChannel channel;
  std::uint8_t buffer[kMessageSize];
  channel.Receive(12);
  EXPECT_FALSE(channel.ReceiveMessage(buffer));
  EXPECT_EQ(channel.ReceiveQueueSize(), 12u);
  channel.Receive(14);
  EXPECT_TRUE(channel.ReceiveMessage(buffer));
  EXPECT_EQ(channel.ReceiveQueueSize(), 13u);
}

TEST(ChannelFraming, SendMessagesMovesAllInOrder) {
  CoreChannel channel;
  MessageQueue send = Numbered(3);
  ASSERT_TRUE(channel.SendMessages(send));
  EXPECT_TRUE(send.empty());
  const std::vector<std::uint8_t> bytes = channel.NextWrite();
  ASSERT_EQ(bytes.size(), 39u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(bytes[13 * i], 100 + i);
}

TEST(ChannelFraming, BoundedSendChecksTheLimitBeforeEachMessage) {
  CoreChannel channel;
  channel.Queue(kSendLimit - 1);
  MessageQueue send = Numbered(3);
  EXPECT_TRUE(channel.SendMessagesBounded(send));
  EXPECT_EQ(channel.SendQueueSize(), kSendLimit - 1 + kMessageSize);
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

TEST(ChannelLimits, WriteRefusesOnlyAboveTheSendLimit) {
  CoreChannel channel;
  const std::uint8_t byte = 1;
  channel.Queue(kSendLimit);
  EXPECT_EQ(channel.Write(&byte, 1), 1);
  EXPECT_EQ(channel.SendQueueSize(), kSendLimit + 1);
  EXPECT_EQ(channel.Write(&byte, 1), 0);
  EXPECT_EQ(channel.SendQueueSize(), kSendLimit + 1);

  CoreChannel empty;
  EXPECT_EQ(empty.Write(&byte, 0), 0);
  EXPECT_EQ(empty.Write(&byte, -7), -7);
  EXPECT_TRUE(empty.SendQueueEmpty());
}

TEST(ChannelLimits, ReadTakesTheSmallerCountAndPassesNonPositiveCountsThrough) {
  CoreChannel channel;
  std::uint8_t buffer[8] = {};
  EXPECT_EQ(channel.Read(buffer, 8), 0);
  channel.Receive(5, 0x42);
  EXPECT_EQ(channel.Read(buffer, 0), 0);
  EXPECT_EQ(channel.Read(buffer, -3), -3);
  EXPECT_EQ(channel.Read(buffer, 3), 3);
  EXPECT_EQ(channel.Read(buffer, 8), 2);
  EXPECT_EQ(buffer[1], 0x42);
}

TEST(ChannelLimits, LevelQueriesAtTheirBoundaries) {
  CoreChannel channel;
  channel.Receive(kReceiveHighLevel);
  EXPECT_FALSE(channel.ReceiveQueueHigh());
  channel.Receive(1);
  EXPECT_TRUE(channel.ReceiveQueueHigh());
  channel.Receive(kReadPauseLevel - kReceiveHighLevel - 1);
  EXPECT_FALSE(channel.ReadingPaused());
  channel.Receive(1);
  EXPECT_TRUE(channel.ReadingPaused());

  EXPECT_TRUE(channel.SendQueueEmpty());
  channel.Queue(kSendHighLevel);
  EXPECT_FALSE(channel.SendQueueEmpty());
  EXPECT_FALSE(channel.SendQueueHigh());
  channel.Queue(1);
  EXPECT_TRUE(channel.SendQueueHigh());
}

TEST(ClosedChannel, KeepsReceivedMessagesAndRefusesToSend) {
  CoreChannel channel;
  channel.Receive(26);
  channel.Queue(20);
  channel.MarkClosed();
  EXPECT_FALSE(channel.IsOpen());
  EXPECT_TRUE(channel.SendQueueEmpty());

  MessageQueue send = Numbered(2);
  EXPECT_FALSE(channel.SendMessages(send));
  EXPECT_FALSE(channel.SendMessagesBounded(send));
  EXPECT_EQ(send.size(), 2u);
  EXPECT_TRUE(channel.SendQueueEmpty());
  const std::uint8_t byte = 0;
  EXPECT_EQ(channel.Write(&byte, 1), -1);
  EXPECT_FALSE(channel.ServiceRead());

  std::uint8_t buffer[kMessageSize];
  EXPECT_TRUE(channel.ReceiveMessage(buffer));
  MessageQueue in;
  EXPECT_TRUE(channel.ReceiveMessages(in));
  EXPECT_EQ(in.size(), 1u);
  EXPECT_FALSE(channel.ReceiveMessages(in));
  EXPECT_FALSE(channel.ReceiveAllMessages(in));
  EXPECT_EQ(channel.Read(buffer, 1), -1);
}

TEST(ClosedChannel, TrailingFragmentIsNeverDeliveredAsAMessage) {
  CoreChannel channel;
  channel.Receive(12);
  channel.MarkClosed();
  MessageQueue in;
  EXPECT_FALSE(channel.ReceiveMessages(in));
  EXPECT_TRUE(in.empty());
  EXPECT_TRUE(channel.NoMessageReady());
  std::uint8_t buffer[16];
  EXPECT_EQ(channel.Read(buffer, 16), 12);
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

TEST(WriteChunk, ShortWriteLeavesTheRestQueuedAndShrinksTheNextWrite) {
  CoreChannel channel;
  std::vector<std::uint8_t> bytes(90000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i % 251);
  channel.Write(bytes.data(), 50000);
  ASSERT_EQ(channel.NextWrite().size(), 50000u);
  channel.CompleteWrite(30000, 50000);
  EXPECT_EQ(channel.SendQueueSize(), 20000u);
  EXPECT_EQ(channel.WriteChunk(), 45000u);
  std::vector<std::uint8_t> next = channel.NextWrite();
  ASSERT_EQ(next.size(), 20000u);
  EXPECT_TRUE(std::equal(next.begin(), next.end(), bytes.begin() + 30000));

  channel.Write(bytes.data() + 50000, 40000);
  next = channel.NextWrite();
  ASSERT_EQ(next.size(), 45000u);
  EXPECT_TRUE(std::equal(next.begin(), next.end(), bytes.begin() + 30000));
}

// Appends and takes of uneven sizes across growth and reclaiming of the
// consumed prefix must keep every byte in order.
TEST(ByteQueueOrder, SurvivesGrowthAndReclaim) {
  ByteQueue queue;
  std::uint32_t written = 0, read = 0;
  std::vector<std::uint8_t> chunk, out;
  auto inOrder = [&read](const std::vector<std::uint8_t>& bytes) {
    for (std::uint8_t b : bytes)
      if (b != read++ % 253) return false;
    return true;
  };
  for (int round = 0; round < 300; ++round) {
    chunk.resize(1 + (round * 7919) % 50000);
    for (auto& b : chunk) b = static_cast<std::uint8_t>(written++ % 253);
    queue.Append(chunk.data(), chunk.size());
    out.resize(queue.size() * (round % 3 + 1) / 4);
    queue.Take(out.data(), out.size());
    ASSERT_TRUE(inOrder(out)) << "round " << round;
  }
  out.resize(queue.size());
  queue.Take(out.data(), out.size());
  EXPECT_TRUE(inOrder(out));
  EXPECT_EQ(read, written);
  EXPECT_TRUE(queue.empty());
}

}  // namespace
}  // namespace zavik::I2cScheduler
