// The platform channel against an in-process peer on a loopback port.

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "loopback_link.h"
#include "test_peer.h"

namespace zavik::I2cScheduler {
namespace {

using linktest::LoopbackLink;
using linktest::PeerConnection;
using linktest::TestPeer;

std::vector<std::uint8_t> Pattern(std::size_t count, std::size_t offset = 0) {
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>((offset + i) % 251);
  return bytes;
}

std::vector<std::uint8_t> Flatten(const MessageQueue& messages) {
  std::vector<std::uint8_t> bytes;
  for (const SchedulerMessage& m : messages) bytes.insert(bytes.end(), m.bytes, m.bytes + kMessageSize);
  return bytes;
}

TEST(SocketChannel, WithoutListenerIsClosedAndHasNothingToWaitOn) {
  linktest::UnlistenedPort port;
  LoopbackLink link(port.Port());
  EXPECT_FALSE(link.channel->IsOpen());
  EXPECT_FALSE(link.channel->ServiceRead());
  EXPECT_FALSE(link.channel->ServiceWrite());
  MessageQueue send{SchedulerMessage::WithCode(1)};
  EXPECT_FALSE(link.channel->SendMessages(send));
  std::uint8_t byte = 0;
  EXPECT_EQ(link.channel->Read(&byte, 1), -1);
  EXPECT_EQ(link.channel->Write(&byte, 1), -1);
  const auto start = linktest::Clock::now();
  EXPECT_FALSE(link.selector->Wait(1000000));
  EXPECT_LT(linktest::MillisecondsSince(start), 500.0);
}

TEST(SocketChannel, MessagesWrittenByteByByteArriveWhole) {
  const std::vector<std::uint8_t> wire = Pattern(3 * kMessageSize);
  TestPeer peer([&](PeerConnection& c) {
    c.SendByteByByte(wire.data(), wire.size());
    c.AwaitClientClose();
  });
  LoopbackLink link(peer.Port());
  ASSERT_TRUE(link.channel->IsOpen());
  MessageQueue in;
  std::size_t partial = 0;
  ASSERT_TRUE(link.PumpUntil([&] {
    link.channel->ReceiveMessages(in);
    partial += link.Core().ReceiveQueueSize() != 0;
    return in.size() == 3;
  }));
  EXPECT_EQ(Flatten(in), wire);
  EXPECT_GT(partial, 0u) << "the peer's bytes never arrived split";
}

TEST(SocketChannel, PeerCloseKeepsReceivedMessagesAndDropsUnsentBytes) {
  const std::vector<std::uint8_t> wire = Pattern(2 * kMessageSize);
  TestPeer peer([&](PeerConnection& c) {
    c.Send(wire.data(), wire.size());
    c.Close();
  });
  LoopbackLink link(peer.Port());
  const std::uint8_t unsent[5] = {};
  ASSERT_EQ(link.channel->Write(unsent, 5), 5);
  // Only reads are serviced, so the five bytes are still queued at the close.
  EXPECT_FALSE(link.PumpUntil([] { return false; }, false));
  EXPECT_FALSE(link.channel->IsOpen());
  EXPECT_TRUE(link.channel->SendQueueEmpty());
  EXPECT_FALSE(link.channel->ServiceRead());
  EXPECT_FALSE(link.channel->ServiceWrite());

  MessageQueue in;
  EXPECT_TRUE(link.channel->ReceiveMessages(in));
  EXPECT_EQ(Flatten(in), wire);
  EXPECT_FALSE(link.channel->ReceiveMessages(in));
  std::uint8_t byte;
  EXPECT_EQ(link.channel->Read(&byte, 1), -1);
}

TEST(SocketChannel, SendsMessagesAndBulkBytesInOrder) {
  constexpr std::size_t kBulk = 400000;
  std::atomic<bool> messagesOk{false}, bulkOk{false};
  TestPeer peer([&](PeerConnection& c) {
    std::vector<std::uint8_t> got(3 * kMessageSize);
    messagesOk = c.Receive(got.data(), got.size()) && got[0] == 100 && got[13] == 101 && got[26] == 102;
    std::vector<std::uint8_t> bulk(kBulk);
    bulkOk = c.Receive(bulk.data(), bulk.size()) && bulk == Pattern(kBulk);
    c.Send(got.data(), got.size());
    c.AwaitClientClose();
  });
  LoopbackLink link(peer.Port());
  MessageQueue send;
  for (std::uint32_t code = 100; code < 103; ++code) send.push_back(SchedulerMessage::WithCode(code));
  ASSERT_TRUE(link.channel->SendMessages(send));

  const std::vector<std::uint8_t> bulk = Pattern(kBulk);
  std::size_t queued = 0;
  MessageQueue echo;
  ASSERT_TRUE(link.PumpUntil([&] {
    // Feed the bulk in the pieces Write accepts; it refuses above its limit.
    while (queued < kBulk) {
      const auto count = static_cast<std::int32_t>(std::min<std::size_t>(20000, kBulk - queued));
      const std::int32_t n = link.channel->Write(bulk.data() + queued, count);
      if (n <= 0) break;
      queued += static_cast<std::size_t>(n);
    }
    link.channel->ReceiveMessages(echo);
    return echo.size() == 3;
  }));
  // The peer judged what it received before echoing.
  EXPECT_TRUE(messagesOk);
  EXPECT_TRUE(bulkOk);
  EXPECT_EQ(echo[2].Code(), 102u);
  EXPECT_TRUE(link.channel->SendQueueEmpty());
}

TEST(SocketChannel, WriteLimitHoldsOnAnOpenSocket) {
  TestPeer peer([](PeerConnection& c) { c.AwaitClientClose(); });
  LoopbackLink link(peer.Port());
  ASSERT_TRUE(link.channel->IsOpen());
  const std::vector<std::uint8_t> bytes(kSendLimit);
  ASSERT_EQ(link.channel->Write(bytes.data(), static_cast<std::int32_t>(kSendLimit)), 150000);
  EXPECT_TRUE(link.channel->SendQueueHigh());
  EXPECT_EQ(link.channel->Write(bytes.data(), 1), 1);
  EXPECT_EQ(link.channel->Write(bytes.data(), 1), 0);
}

TEST(SocketChannel, ReadingPausesAboveAMillionUnreadBytesUntilDrained) {
  constexpr std::size_t kTotal = 1300000;
  const std::vector<std::uint8_t> stream = Pattern(kTotal);
  TestPeer peer([&](PeerConnection& c) {
    c.Send(stream.data(), stream.size());
    c.AwaitClientClose();
  });
  LoopbackLink link(peer.Port());
  CIpcBase& core = link.Core();
  ASSERT_TRUE(link.PumpUntil([&] { return core.ReceiveQueueSize() > kReadPauseLevel; }));

  const std::size_t paused = core.ReceiveQueueSize();
  ASSERT_LT(paused, kTotal) << "the whole stream fitted into one read";
  const auto start = linktest::Clock::now();
  EXPECT_TRUE(link.selector->Wait(300000));
  EXPECT_GE(linktest::MillisecondsSince(start), 250.0) << "the wait spun while reading was paused";
  EXPECT_TRUE(link.channel->GetEndpoint()->readIdle);
  EXPECT_TRUE(link.channel->ServiceRead());
  EXPECT_EQ(core.ReceiveQueueSize(), paused);

  std::vector<std::uint8_t> received(kTotal);
  std::size_t taken = 0;
  ASSERT_TRUE(link.PumpUntil([&] {
    const std::int32_t n = link.channel->Read(received.data() + taken, static_cast<std::int32_t>(kTotal - taken));
    if (n > 0) taken += static_cast<std::size_t>(n);
    return taken == kTotal;
  }));
  EXPECT_EQ(received, stream);
}

}  // namespace
}  // namespace zavik::I2cScheduler
