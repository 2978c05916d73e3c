#include "api/master_tracker.h"

#include <gtest/gtest.h>

#include <vector>

#include "bus_reports.h"

namespace zavik::I2cApi {
namespace {

using namespace TestReports;

TransferStatus Configuration() {
  TransferStatus e;
  e.kind = kKindConfiguration;
  return e;
}

TransferStatus Write(std::uint32_t expected, bool isLast) {
  TransferStatus e;
  e.kind = kKindWrite;
  e.expected = isLast ? kExpectedAtStop : expected;
  e.isLast = isLast;
  return e;
}

TransferStatus Read(std::vector<std::uint8_t>* into, std::uint32_t expected, bool isLast) {
  TransferStatus e = Write(expected, isLast);
  e.kind = kKindRead;
  e.readData = into;
  return e;
}

// Tracking of the given entries, started and with entry 0 finished by an
// accepted configuration unless the first entry is not a configuration.
MasterTracker Tracking(std::vector<TransferStatus> entries) {
  MasterTracker tracker;
  tracker.Statuses() = std::move(entries);
  tracker.Start();
  if (tracker.Statuses()[0].kind == kKindConfiguration) tracker.HandleMessages(MessageQueue{Status(30)});
  return tracker;
}

MessageQueue MessageStart(std::uint8_t addressByte, bool acknowledged) {
  MessageQueue q;
  Begins(q);
  Start(q);
  ByteWithAck(q, addressByte, acknowledged);
  return q;
}

TEST(MasterTracker, ConfigurationIgnoresBusEventsUntilItsStatus) {
  MasterTracker tracker;
  tracker.Statuses() = {Configuration(), Write(0, true)};
  tracker.Start();
  MessageQueue q = MessageStart(0xA0, true);
  q.push_back(Vcc(500));
  q.push_back(Record(8));
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Current(), 0u);
  EXPECT_EQ(tracker.Statuses()[0].phase, Waiting);
  EXPECT_EQ(tracker.Statuses()[0].kind, kKindConfiguration);

  tracker.HandleMessages(MessageQueue{Status(30)});
  EXPECT_EQ(tracker.Statuses()[0].phase, ConfigAccepted);
  EXPECT_EQ(tracker.Statuses()[0].kind, kKindFinished);
  EXPECT_EQ(tracker.Current(), 1u);
  EXPECT_TRUE(tracker.IsRunning());
}

TEST(MasterTracker, RejectedConfigurationEndsTrackingAndLaterEventsGoToTheNextEntry) {
  MasterTracker tracker;
  tracker.Statuses() = {Configuration(), Write(0, true)};
  tracker.Start();
  MessageQueue q{Status(31)};
  Begins(q);
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Statuses()[0].phase, Ended);
  EXPECT_FALSE(tracker.IsRunning());
  EXPECT_EQ(tracker.Current(), 1u);
  EXPECT_EQ(tracker.Statuses()[1].phase, StartAnnounced);  // same batch, applied all the same
}

TEST(MasterTracker, WriteThatIsNotLastFinishesAtItsLastAcknowledge) {
  MasterTracker tracker = Tracking({Configuration(), Write(3, false), Write(0, true)});
  MessageQueue q = MessageStart(0xA0, true);
  ByteWithAck(q, 0x01, true);
  ByteBits(q, 0x02);
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Current(), 1u);
  EXPECT_EQ(tracker.Statuses()[1].count, 2u);
  EXPECT_EQ(tracker.Statuses()[1].phase, DataSent);

  tracker.HandleMessages(MessageQueue{Bit(0)});
  EXPECT_EQ(tracker.Statuses()[1].count, 3u);
  EXPECT_EQ(tracker.Statuses()[1].kind, kKindFinished);
  EXPECT_EQ(tracker.Current(), 2u);

  MessageQueue next = MessageStart(0xA1, true);  // repeated START for the next message
  tracker.HandleMessages(next);
  EXPECT_EQ(tracker.Statuses()[2].phase, Acked);
  EXPECT_EQ(tracker.Statuses()[2].count, 1u);
}

TEST(MasterTracker, LastWriteWithUnacknowledgedAddressEndsAtStop) {
  MasterTracker tracker = Tracking({Configuration(), Write(0, true)});
  MessageQueue q = MessageStart(0xA0, false);
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Statuses()[1].phase, Nacked);
  EXPECT_EQ(tracker.Statuses()[1].kind, kKindWrite);

  MessageQueue stop;
  Stop(stop);
  tracker.HandleMessages(stop);
  EXPECT_EQ(tracker.Statuses()[1].phase, Stopped);
  EXPECT_EQ(tracker.Statuses()[1].count, 0u);
  EXPECT_EQ(tracker.Statuses()[1].kind, kKindFinished);
  EXPECT_FALSE(tracker.IsRunning());
}

TEST(MasterTracker, WriteDataNackIsNotCountedButAReadsLastByteIs) {
  std::vector<std::uint8_t> received;
  MasterTracker tracker = Tracking({Configuration(), Write(4, false), Read(&received, 0, true)});
  MessageQueue q = MessageStart(0xA0, true);
  ByteWithAck(q, 0x10, true);
  ByteWithAck(q, 0x11, false);
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Statuses()[1].count, 2u);
  EXPECT_EQ(tracker.Statuses()[1].phase, Nacked);
  EXPECT_EQ(tracker.Current(), 1u);  // incomplete: still waits for its STOP
  MessageQueue stop;
  Stop(stop);
  tracker.HandleMessages(stop);
  EXPECT_EQ(tracker.Statuses()[1].phase, Stopped);
  EXPECT_EQ(tracker.Current(), 2u);
  EXPECT_TRUE(tracker.IsRunning());  // the read entry never starts
}

TEST(MasterTracker, ReadCollectsBytesAndCountsTheUnacknowledgedLastOne) {
  std::vector<std::uint8_t> received;
  MasterTracker tracker = Tracking({Configuration(), Read(&received, 0, true)});
  MessageQueue q = MessageStart(0xA1, true);
  ByteWithAck(q, 0x12, true);
  ByteWithAck(q, 0x34, true);
  ByteWithAck(q, 0x56, false);
  Stop(q);
  tracker.HandleMessages(q);
  EXPECT_EQ(received, (std::vector<std::uint8_t>{0x12, 0x34, 0x56}));
  EXPECT_EQ(tracker.Statuses()[1].count, 4u);
  EXPECT_EQ(tracker.Statuses()[1].phase, Stopped);
  EXPECT_FALSE(tracker.IsRunning());
}

TEST(MasterTracker, ReadThatIsNotLastFinishesWhenAllBytesAreCounted) {
  std::vector<std::uint8_t> received;
  MasterTracker tracker = Tracking({Configuration(), Read(&received, 3, false), Write(0, true)});
  MessageQueue q = MessageStart(0xA1, true);
  ByteWithAck(q, 0x01, true);
  ByteWithAck(q, 0x02, false);
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Statuses()[1].kind, kKindFinished);
  EXPECT_EQ(tracker.Current(), 2u);
}

TEST(MasterTracker, HighSpeedMasterCodeThenRepeatedStart) {
  MasterTracker tracker = Tracking({Configuration(), Write(0, true)});
  MessageQueue q = MessageStart(0x08, false);
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Statuses()[1].phase, MasterCodeNacked);
  q = MessageStart(0xA0, true);
  ByteWithAck(q, 0x77, true);
  Stop(q);
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Statuses()[1].phase, Stopped);
  EXPECT_EQ(tracker.Statuses()[1].count, 2u);
}

TEST(MasterTracker, AcknowledgedMasterCodeFinishesTheEntry) {
  MasterTracker tracker = Tracking({Configuration(), Write(0, true)});
  MessageQueue q = MessageStart(0x08, true);
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Statuses()[1].phase, MasterCode);
  EXPECT_EQ(tracker.Statuses()[1].kind, kKindFinished);
  EXPECT_FALSE(tracker.IsRunning());
}

TEST(MasterTracker, ArbitrationLostEndsTheEntryInAnyPhase) {
  for (std::size_t prefix : {0u, 1u, 2u, 11u}) {  // nothing, 22, 22 START, address byte
    MasterTracker tracker = Tracking({Configuration(), Write(5, false), Write(0, true)});
    MessageQueue all = MessageStart(0xA0, true);
    MessageQueue q(all.begin(), all.begin() + static_cast<long>(prefix));
    q.push_back(Status(32));
    tracker.HandleMessages(q);
    EXPECT_EQ(tracker.Statuses()[1].phase, Ended) << prefix;
    EXPECT_EQ(tracker.Statuses()[1].result, kResultArbitrationLost) << prefix;
    EXPECT_FALSE(tracker.IsRunning()) << prefix;
  }
}

TEST(MasterTracker, VccBelowOneVoltEndsAMessageThatHasBegun) {
  MasterTracker tracker = Tracking({Configuration(), Write(0, true)});
  tracker.HandleMessages(MessageQueue{Vcc(999)});  // entry still waiting: no effect
  EXPECT_EQ(tracker.Statuses()[1].phase, Waiting);
  MessageQueue q;
  Begins(q);
  q.push_back(Vcc(1000));
  tracker.HandleMessages(q);
  EXPECT_EQ(tracker.Statuses()[1].phase, StartAnnounced);
  tracker.HandleMessages(MessageQueue{Vcc(999)});
  EXPECT_EQ(tracker.Statuses()[1].phase, Ended);
  EXPECT_EQ(tracker.Statuses()[1].result, kResultVccTooLow);
  EXPECT_FALSE(tracker.IsRunning());
}

TEST(MasterTracker, ProtocolErrorAndTimeoutRecordTheirResult) {
  struct Case {
    SchedulerMessage record;
    std::uint32_t result;
  };
  for (const Case& c : {Case{Record(8), kResultProtocolError}, Case{Status(36), kResultBusTimeout}}) {
    MasterTracker tracker = Tracking({Configuration(), Write(0, true)});
    MessageQueue q;
    Begins(q);
    q.push_back(c.record);
    tracker.HandleMessages(q);
    EXPECT_EQ(tracker.Statuses()[1].phase, Ended);
    EXPECT_EQ(tracker.Statuses()[1].result, c.result);
    EXPECT_FALSE(tracker.IsRunning());
  }
  MasterTracker waiting = Tracking({Configuration(), Write(0, true)});
  waiting.HandleMessages(MessageQueue{Record(8)});  // before the message began: nothing
  EXPECT_EQ(waiting.Statuses()[1].phase, Waiting);
}

TEST(MasterTracker, SchedulerEndsOnlyTheMatchingKind) {
  std::vector<std::uint8_t> received;
  MasterTracker write = Tracking({Configuration(), Write(0, true)});
  write.HandleMessages(MessageQueue{Status(35)});
  EXPECT_EQ(write.Statuses()[1].phase, Unexpected);
  EXPECT_FALSE(write.IsRunning());  // the last entry finished

  MasterTracker write33 = Tracking({Configuration(), Write(0, true)});
  write33.HandleMessages(MessageQueue{Status(34), Status(77)});  // no effect
  EXPECT_EQ(write33.Statuses()[1].kind, kKindWrite);
  write33.HandleMessages(MessageQueue{Status(33)});
  EXPECT_EQ(write33.Statuses()[1].phase, Ended);

  MasterTracker read = Tracking({Configuration(), Read(&received, 0, false), Write(0, true)});
  read.HandleMessages(MessageQueue{Status(33)});
  EXPECT_EQ(read.Statuses()[1].phase, Unexpected);
  EXPECT_TRUE(read.IsRunning());  // unexpected ends only this entry
  EXPECT_EQ(read.Current(), 2u);

  MasterTracker read35 = Tracking({Configuration(), Read(&received, 0, true)});
  read35.HandleMessages(MessageQueue{Status(35)});
  EXPECT_EQ(read35.Statuses()[1].phase, Ended);
}

TEST(MasterTracker, OutOfSequenceEventsEndTheEntryAsUnexpected) {
  MasterTracker waiting = Tracking({Configuration(), Write(5, false), Write(0, true)});
  waiting.ApplyEvent(Record(kEventStart));
  waiting.ApplyEvent(Record(kEventStop));
  waiting.ApplyEvent(Record(kEventAck));
  EXPECT_EQ(waiting.Statuses()[1].phase, Waiting);  // before its 22 the entry ignores the bus

  struct Case {
    std::uint32_t code;
    std::size_t prefix;  // records of 22, START, address byte, acknowledge applied first
  };
  for (const Case& c : {Case{kEventStart, 11}, Case{22, 11}, Case{kEventStop, 2}, Case{kEventAck, 2},
                        Case{kEventByte, 1}, Case{kEventNack, 1}}) {
    MasterTracker tracker = Tracking({Configuration(), Write(5, false), Write(0, true)});
    MessageQueue all = MessageStart(0xA0, true);
    tracker.HandleMessages(MessageQueue(all.begin(), all.begin() + static_cast<long>(c.prefix)));
    tracker.ApplyEvent(Record(c.code));
    EXPECT_EQ(tracker.Statuses()[1].phase, Unexpected) << c.code;
    EXPECT_EQ(tracker.Current(), 2u) << c.code;
    EXPECT_TRUE(tracker.IsRunning()) << c.code;
  }
}

TEST(MasterTracker, RecordsWhileNotRunningAreNeitherDecodedNorApplied) {
  MasterTracker tracker = Tracking({Write(0, true)});
  MessageQueue q;
  Begins(q);
  Start(q);
  tracker.HandleMessages(q);
  ASSERT_EQ(tracker.Statuses()[0].phase, Started);

  tracker.Stop();
  MessageQueue ignored{Status(32)};
  Stop(ignored);  // would end the frame if the decoder saw it
  tracker.HandleMessages(ignored);
  EXPECT_EQ(tracker.Statuses()[0].result, kResultNoError);
  EXPECT_EQ(tracker.Statuses()[0].phase, Started);

  tracker.Start();
  MessageQueue bits;
  ByteWithAck(bits, 0xA0, true);
  tracker.HandleMessages(bits);
  EXPECT_EQ(tracker.Statuses()[0].phase, Acked);  // still in the frame: the STOP was never decoded
}

}  // namespace
}  // namespace zavik::I2cApi
