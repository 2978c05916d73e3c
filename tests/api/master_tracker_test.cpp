#include "api/master_tracker.h"

#include <gtest/gtest.h>

#include <vector>

#include "bus_reports.h"

namespace zavik::I2cApi {
namespace {

using namespace Testing;

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

// Tracking of the entries, started, with entry 0 (when a configuration)
// finished by an accepted configuration.
MasterTracker Tracking(std::vector<TransferStatus> entries) {
  MasterTracker tracker;
  tracker.Statuses() = std::move(entries);
  tracker.Start();
  if (tracker.Statuses()[0].kind == kKindConfiguration) tracker.HandleMessages(Reports("s30"));
  return tracker;
}

MasterTracker OneWrite() { return Tracking({Configuration(), Write(0, true)}); }

TEST(MasterTracker, ConfigurationIgnoresBusEventsUntilItsStatus) {
  MasterTracker tracker;
  tracker.Statuses() = {Configuration(), Write(0, true)};
  tracker.Start();
  tracker.HandleMessages(Reports("B S 0xA0+ v500 r8"));
  EXPECT_EQ(tracker.Current(), 0u);
  EXPECT_EQ(tracker.Statuses()[0].phase, Waiting);
  tracker.HandleMessages(Reports("s30"));
  EXPECT_EQ(tracker.Statuses()[0].phase, ConfigAccepted);
  EXPECT_EQ(tracker.Statuses()[0].kind, kKindFinished);
  EXPECT_EQ(tracker.Current(), 1u);
  EXPECT_TRUE(tracker.IsRunning());

  MasterTracker rejected;
  rejected.Statuses() = {Configuration(), Write(0, true)};
  rejected.Start();
  rejected.HandleMessages(Reports("s31 B"));
  EXPECT_EQ(rejected.Statuses()[0].phase, Ended);
  EXPECT_FALSE(rejected.IsRunning());
  EXPECT_EQ(rejected.Statuses()[1].phase, StartAnnounced);  // the rest of the batch is applied all the same
}

TEST(MasterTracker, WriteThatIsNotLastFinishesAtItsLastAcknowledge) {
  MasterTracker tracker = Tracking({Configuration(), Write(3, false), Write(0, true)});
  tracker.HandleMessages(Reports("B S 0xA0+ 0x01+ 0x02"));
  EXPECT_EQ(tracker.Statuses()[1].count, 2u);
  EXPECT_EQ(tracker.Statuses()[1].phase, DataSent);
  tracker.HandleMessages(Reports("b0"));
  EXPECT_EQ(tracker.Statuses()[1].count, 3u);
  EXPECT_EQ(tracker.Statuses()[1].kind, kKindFinished);
  EXPECT_EQ(tracker.Current(), 2u);
  tracker.HandleMessages(Reports("B S 0xA1+"));  // repeated START of the next message
  EXPECT_EQ(tracker.Statuses()[2].phase, Acked);
  EXPECT_EQ(tracker.Statuses()[2].count, 1u);
}

TEST(MasterTracker, UnacknowledgedAddressOrDataWaitsForTheStop) {
  MasterTracker tracker = OneWrite();
  tracker.HandleMessages(Reports("B S 0xA0-"));
  EXPECT_EQ(tracker.Statuses()[1].phase, Nacked);
  tracker.HandleMessages(Reports("P"));
  EXPECT_EQ(tracker.Statuses()[1].phase, Stopped);
  EXPECT_EQ(tracker.Statuses()[1].count, 0u);
  EXPECT_FALSE(tracker.IsRunning());

  std::vector<std::uint8_t> received;
  MasterTracker first = Tracking({Configuration(), Write(4, false), Read(&received, 0, true)});
  first.HandleMessages(Reports("B S 0xA0+ 0x10+ 0x11-"));
  EXPECT_EQ(first.Statuses()[1].count, 2u) << "a NACKed data byte of a write is not counted";
  EXPECT_EQ(first.Current(), 1u);
  first.HandleMessages(Reports("P"));
  EXPECT_EQ(first.Statuses()[1].phase, Stopped);
  EXPECT_EQ(first.Current(), 2u);
  EXPECT_TRUE(first.IsRunning());  // the read never starts
}

TEST(MasterTracker, ReadCollectsBytesAndCountsTheUnacknowledgedLastOne) {
  std::vector<std::uint8_t> received;
  MasterTracker tracker = Tracking({Configuration(), Read(&received, 0, true)});
  tracker.HandleMessages(Reports("B S 0xA1+ 0x12+ 0x34+ 0x56- P"));
  EXPECT_EQ(received, (std::vector<std::uint8_t>{0x12, 0x34, 0x56}));
  EXPECT_EQ(tracker.Statuses()[1].count, 4u);
  EXPECT_EQ(tracker.Statuses()[1].phase, Stopped);
  EXPECT_FALSE(tracker.IsRunning());

  MasterTracker notLast = Tracking({Configuration(), Read(&received, 3, false), Write(0, true)});
  notLast.HandleMessages(Reports("B S 0xA1+ 0x01+ 0x02-"));
  EXPECT_EQ(notLast.Statuses()[1].kind, kKindFinished);
  EXPECT_EQ(notLast.Current(), 2u);
}

TEST(MasterTracker, HighSpeedMasterCode) {
  MasterTracker tracker = OneWrite();
  tracker.HandleMessages(Reports("B S 0x08-"));
  EXPECT_EQ(tracker.Statuses()[1].phase, MasterCodeNacked);
  tracker.HandleMessages(Reports("B S 0xA0+ 0x77+ P"));
  EXPECT_EQ(tracker.Statuses()[1].phase, Stopped);
  EXPECT_EQ(tracker.Statuses()[1].count, 2u);

  MasterTracker acknowledged = OneWrite();
  acknowledged.HandleMessages(Reports("B S 0x08+"));
  EXPECT_EQ(acknowledged.Statuses()[1].phase, MasterCode);
  EXPECT_FALSE(acknowledged.IsRunning());
}

TEST(MasterTracker, BusFailuresEndTheEntryWithTheirResult) {
  struct Case {
    const char* reports;
    std::uint32_t result;
  };
  const std::vector<Case> cases{
      {"s32", kResultArbitrationLost},        {"B s32", kResultArbitrationLost},
      {"B S s32", kResultArbitrationLost},    {"B S 0xA0+ s32", kResultArbitrationLost},
      {"B r8", kResultProtocolError},         {"B s36", kResultBusTimeout},
      {"v999 B v1000 v999", kResultVccTooLow},  // the first 999 comes before the message began
  };
  for (const Case& c : cases) {
    MasterTracker tracker = Tracking({Configuration(), Write(5, false), Write(0, true)});
    tracker.HandleMessages(Reports(c.reports));
    EXPECT_EQ(tracker.Statuses()[1].phase, Ended) << c.reports;
    EXPECT_EQ(tracker.Statuses()[1].result, c.result) << c.reports;
    EXPECT_FALSE(tracker.IsRunning()) << c.reports;
  }
  for (const char* harmless : {"v999", "r8", "B v1000"}) {
    MasterTracker tracker = OneWrite();
    tracker.HandleMessages(Reports(harmless));
    EXPECT_LT(tracker.Statuses()[1].phase, Ended) << harmless;
    EXPECT_TRUE(tracker.IsRunning()) << harmless;
  }
}

TEST(MasterTracker, SchedulerEndsOnlyTheMatchingKind) {
  MasterTracker write = OneWrite();
  write.HandleMessages(Reports("s34 s77"));  // no effect
  EXPECT_EQ(write.Statuses()[1].kind, kKindWrite);
  write.HandleMessages(Reports("s35"));
  EXPECT_EQ(write.Statuses()[1].phase, Unexpected);
  EXPECT_FALSE(write.IsRunning());  // the last entry finished
  MasterTracker write33 = OneWrite();
  write33.HandleMessages(Reports("s33"));
  EXPECT_EQ(write33.Statuses()[1].phase, Ended);

  std::vector<std::uint8_t> received;
  MasterTracker read = Tracking({Configuration(), Read(&received, 0, false), Write(0, true)});
  read.HandleMessages(Reports("s33"));
  EXPECT_EQ(read.Statuses()[1].phase, Unexpected);
  EXPECT_TRUE(read.IsRunning());  // unexpected ends only this entry
  EXPECT_EQ(read.Current(), 2u);
  MasterTracker read35 = Tracking({Configuration(), Read(&received, 0, true)});
  read35.HandleMessages(Reports("s35"));
  EXPECT_EQ(read35.Statuses()[1].phase, Ended);
}

TEST(MasterTracker, OutOfSequenceEventsEndTheEntryAsUnexpected) {
  MasterTracker waiting = Tracking({Configuration(), Write(5, false), Write(0, true)});
  for (std::uint32_t code : {kEventStart, kEventStop, kEventAck}) waiting.ApplyEvent(Record(code));
  EXPECT_EQ(waiting.Statuses()[1].phase, Waiting);  // before its 22 the entry ignores the bus

  struct Case {
    const char* before;
    std::uint32_t code;
  };
  for (const Case& c : {Case{"B S 0xA0+", kEventStart}, Case{"B S 0xA0+", 22}, Case{"B S", kEventStop},
                        Case{"B S", kEventAck}, Case{"B", kEventByte}, Case{"B", kEventNack}}) {
    MasterTracker tracker = Tracking({Configuration(), Write(5, false), Write(0, true)});
    tracker.HandleMessages(Reports(c.before));
    tracker.ApplyEvent(Record(c.code));
    EXPECT_EQ(tracker.Statuses()[1].phase, Unexpected) << c.before << " then " << c.code;
    EXPECT_EQ(tracker.Current(), 2u) << c.code;
    EXPECT_TRUE(tracker.IsRunning()) << c.code;
  }
}

TEST(MasterTracker, RecordsWhileNotRunningAreNeitherDecodedNorApplied) {
  MasterTracker tracker = Tracking({Write(0, true)});
  tracker.HandleMessages(Reports("B S"));
  ASSERT_EQ(tracker.Statuses()[0].phase, Started);
  tracker.Stop();
  tracker.HandleMessages(Reports("s32 P"));  // the STOP would end the frame if the decoder saw it
  EXPECT_EQ(tracker.Statuses()[0].result, kResultNoError);
  EXPECT_EQ(tracker.Statuses()[0].phase, Started);
  tracker.Start();
  tracker.HandleMessages(Reports("0xA0+"));
  EXPECT_EQ(tracker.Statuses()[0].phase, Acked);
}

}  // namespace
}  // namespace zavik::I2cApi
