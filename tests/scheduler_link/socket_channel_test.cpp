// The platform channel and endpoint selector against a peer on a loopback port.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <vector>

#include "loopback_peer.h"

namespace zavik::I2cScheduler {
namespace {

using linktest::Loopback;

std::vector<std::uint8_t> Pattern(std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i % 251);
  return bytes;
}

// Milliseconds one wait of the link's selector took; it must answer as expected.
double TimedWait(Loopback& link, std::int32_t microseconds, bool expected = true) {
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(link.selector->Wait(microseconds), expected) << "waiting " << microseconds << " us";
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

std::vector<std::uint8_t> Flatten(const MessageQueue& messages) {
  std::vector<std::uint8_t> bytes;
  for (const SchedulerMessage& m : messages) bytes.insert(bytes.end(), m.bytes, m.bytes + kMessageSize);
  return bytes;
}

TEST(SocketChannel, WithoutListenerIsClosedAndNothingIsLeftToWaitOn) {
  Loopback link(false);
  EXPECT_FALSE(link.channel->IsOpen());
  EXPECT_FALSE(link.channel->ServiceRead());
  EXPECT_LT(TimedWait(link, 1000000, false), 500.0);
}

// Messages and a bulk far above the send limit go out in order; the peer
// judges them, then echoes the messages in one-byte segments, which must
// come back whole.
TEST(SocketChannel, RoundTripKeepsOrderAndReassemblesByteByByteWrites) {
  constexpr std::size_t kBulk = 400000;
  const std::vector<std::uint8_t> wire = Pattern(3 * kMessageSize), bulk = Pattern(kBulk);
  std::atomic<bool> received{false};
  Loopback link;
  link.Run([&] {
    std::vector<std::uint8_t> got(wire.size() + kBulk);
    received = link.Receive(got.data(), got.size()) && std::equal(wire.begin(), wire.end(), got.begin()) &&
               std::equal(bulk.begin(), bulk.end(), got.begin() + wire.size());
    link.Send(wire.data(), wire.size(), true);
  });
  MessageQueue send(3);
  for (std::size_t i = 0; i < 3; ++i) std::copy_n(wire.data() + i * kMessageSize, kMessageSize, send[i].bytes);
  ASSERT_TRUE(link.channel->SendMessages(send));

  std::size_t queued = 0, partial = 0;
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
    partial += link.Core().ReceiveQueueSize() != 0;
    return echo.size() == 3;
  }));
  EXPECT_TRUE(received);
  EXPECT_EQ(Flatten(echo), wire);
  EXPECT_GT(partial, 0u) << "the peer's bytes never arrived split";
  EXPECT_TRUE(link.channel->SendQueueEmpty());
}

TEST(SocketChannel, PeerCloseKeepsReceivedMessagesAndDropsUnsentBytes) {
  const std::vector<std::uint8_t> wire = Pattern(2 * kMessageSize);
  Loopback link;
  ASSERT_TRUE(link.Send(wire.data(), wire.size()));
  link.ClosePeer();
  // Only reads are serviced, so everything written stays queued until the close.
  const std::vector<std::uint8_t> bytes(kSendLimit);
  ASSERT_EQ(link.channel->Write(bytes.data(), static_cast<std::int32_t>(kSendLimit)), 150000);
  EXPECT_EQ(link.channel->Write(bytes.data(), 1), 1);
  EXPECT_EQ(link.channel->Write(bytes.data(), 1), 0);
  EXPECT_FALSE(link.PumpUntil([] { return false; }, false));
  EXPECT_FALSE(link.channel->IsOpen());
  EXPECT_TRUE(link.channel->SendQueueEmpty());
  EXPECT_FALSE(link.channel->ServiceRead());

  MessageQueue in;
  EXPECT_TRUE(link.channel->ReceiveMessages(in));
  EXPECT_EQ(Flatten(in), wire);
}

TEST(SocketChannel, ReadingPausesAboveAMillionUnreadBytesUntilDrained) {
  constexpr std::size_t kTotal = 1300000;
  const std::vector<std::uint8_t> stream = Pattern(kTotal);
  Loopback link;
  link.Run([&] { link.Send(stream.data(), stream.size()); });
  CIpcBase& core = link.Core();
  ASSERT_TRUE(link.PumpUntil([&] { return core.ReceiveQueueSize() > kReadPauseLevel; }));

  const std::size_t paused = core.ReceiveQueueSize();
  ASSERT_LT(paused, kTotal) << "the whole stream fitted into one read";
  EXPECT_GE(TimedWait(link, 300000), 250.0) << "the wait spun while reading was paused";
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

// A spinning wait would burn the whole second; a blocking one almost nothing.
// The CPU bound is generous because other processes share the machine.
TEST(EndpointSelector, TimeOutIsInMicrosecondsTruncatedAndAnIdleWaitDoesNotSpin) {
  Loopback link;
  ASSERT_TRUE(link.channel->ServiceRead());
  EXPECT_LT(TimedWait(link, 999), 500.0);

  const double cpuBefore = linktest::ProcessCpuSeconds();
  EXPECT_GE(TimedWait(link, 1000000), 900.0);
  const double cpuMilliseconds = (linktest::ProcessCpuSeconds() - cpuBefore) * 1000;
  EXPECT_LT(cpuMilliseconds, 50.0);
  std::printf("CPU time of a 1 s idle wait: %.2f ms\n", cpuMilliseconds);
  EXPECT_TRUE(link.channel->GetEndpoint()->readIdle);
  EXPECT_TRUE(link.channel->GetEndpoint()->writeIdle);

  link.selector->Clear();
  EXPECT_LT(TimedWait(link, 1000000, false), 500.0);
}

TEST(EndpointSelector, ArrivalEndsTheWaitAndStaysSignalledUntilCollected) {
  const SchedulerMessage message = SchedulerMessage::WithCode(13);
  Loopback link;
  Endpoint& endpoint = *link.channel->GetEndpoint();
  ASSERT_TRUE(link.channel->ServiceRead());
  link.Run([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    link.Send(message.bytes, kMessageSize);
  });

  EXPECT_LT(TimedWait(link, 5000000), 3000.0);
  EXPECT_FALSE(endpoint.readIdle);
  EXPECT_TRUE(endpoint.writeIdle);
  EXPECT_LT(TimedWait(link, 5000000), 1000.0) << "an uncollected read no longer ends the wait";

  MessageQueue in;
  ASSERT_TRUE(link.channel->ServiceRead());
  link.channel->ReceiveMessages(in);
  ASSERT_EQ(in.size(), 1u);
  EXPECT_EQ(in[0].Code(), 13u);
  ASSERT_TRUE(link.channel->ServiceRead());
  EXPECT_GE(TimedWait(link, 200000), 150.0);
  EXPECT_TRUE(endpoint.readIdle);
}

}  // namespace
}  // namespace zavik::I2cScheduler
