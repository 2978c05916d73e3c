// Waiting on a real channel's endpoint: time-outs, wake-ups and idle flags.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "loopback_link.h"
#include "test_peer.h"

namespace zavik::I2cScheduler {
namespace {

using linktest::Clock;
using linktest::LoopbackLink;
using linktest::MillisecondsSince;
using linktest::PeerConnection;
using linktest::TestPeer;

TEST(EndpointSelector, WithNothingToWaitOnAnswersFalseAtOnce) {
  auto selector = CreateEndpointSelector();
  EXPECT_FALSE(selector->Wait(1000000));
  EndpointList empty;
  selector->SetReadEndpoints(&empty);
  selector->SetWriteEndpoints(nullptr);
  EXPECT_FALSE(selector->Wait(1000000));

  TestPeer peer([](PeerConnection& c) { c.AwaitClientClose(); });
  LoopbackLink link(peer.Port());
  EndpointList one{link.channel->GetEndpoint()};
  selector->SetReadEndpoints(&one);
  EXPECT_TRUE(selector->Wait(0));
  selector->Clear();
  const auto start = Clock::now();
  EXPECT_FALSE(selector->Wait(1000000));
  EXPECT_LT(MillisecondsSince(start), 500.0);
}

TEST(EndpointSelector, TimeOutIsInMicrosecondsTruncatedToMilliseconds) {
  TestPeer peer([](PeerConnection& c) { c.AwaitClientClose(); });
  LoopbackLink link(peer.Port());
  ASSERT_TRUE(link.channel->ServiceRead());
  auto start = Clock::now();
  EXPECT_TRUE(link.selector->Wait(999));
  EXPECT_LT(MillisecondsSince(start), 500.0);
  start = Clock::now();
  EXPECT_TRUE(link.selector->Wait(250000));
  const double waited = MillisecondsSince(start);
  EXPECT_GE(waited, 200.0);
  EXPECT_LT(waited, 5000.0);
  EXPECT_TRUE(link.channel->GetEndpoint()->readIdle);
  EXPECT_TRUE(link.channel->GetEndpoint()->writeIdle);
}

// A spinning wait would burn the whole second; a blocking one almost nothing.
// The bound is generous because other processes share the machine.
TEST(EndpointSelector, IdleWaitBlocksWithoutSpinning) {
  TestPeer peer([](PeerConnection& c) { c.AwaitClientClose(); });
  LoopbackLink link(peer.Port());
  ASSERT_TRUE(link.channel->ServiceRead());
  const double cpuBefore = linktest::ProcessCpuSeconds();
  const auto start = Clock::now();
  EXPECT_TRUE(link.selector->Wait(1000000));
  const double waited = MillisecondsSince(start);
  const double cpuMilliseconds = (linktest::ProcessCpuSeconds() - cpuBefore) * 1000;
  EXPECT_GE(waited, 900.0);
  EXPECT_LT(cpuMilliseconds, 50.0);
  RecordProperty("cpu_ms_in_one_second_wait", std::to_string(cpuMilliseconds));
  std::printf("CPU time of a 1 s idle wait: %.2f ms\n", cpuMilliseconds);
}

TEST(EndpointSelector, ArrivalEndsTheWaitAndStaysSignalledUntilCollected) {
  const SchedulerMessage message = SchedulerMessage::WithCode(13);
  TestPeer peer([&](PeerConnection& c) {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    c.Send(message.bytes, kMessageSize);
    c.AwaitClientClose();
  });
  LoopbackLink link(peer.Port());
  Endpoint& endpoint = *link.channel->GetEndpoint();
  ASSERT_TRUE(link.channel->ServiceRead());

  auto start = Clock::now();
  EXPECT_TRUE(link.selector->Wait(5000000));
  EXPECT_LT(MillisecondsSince(start), 3000.0);
  EXPECT_FALSE(endpoint.readIdle);
  EXPECT_TRUE(endpoint.writeIdle);
  start = Clock::now();
  EXPECT_TRUE(link.selector->Wait(5000000));
  EXPECT_LT(MillisecondsSince(start), 1000.0) << "an uncollected read no longer ends the wait";

  MessageQueue in;
  ASSERT_TRUE(link.channel->ServiceRead());
  link.channel->ReceiveMessages(in);
  ASSERT_EQ(in.size(), 1u);
  EXPECT_EQ(in[0].Code(), 13u);
  ASSERT_TRUE(link.channel->ServiceRead());
  start = Clock::now();
  EXPECT_TRUE(link.selector->Wait(200000));
  EXPECT_GE(MillisecondsSince(start), 150.0);
  EXPECT_TRUE(endpoint.readIdle);
}

}  // namespace
}  // namespace zavik::I2cScheduler
