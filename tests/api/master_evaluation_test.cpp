#include "api/master_evaluation.h"

#include <gtest/gtest.h>

#include <string>

#include "api/exceptions.h"

namespace zavik::I2cApi {
namespace {

using namespace Cpp;

TransferStatus Finished(std::uint32_t count, std::uint32_t result = kResultNoError) {
  TransferStatus e;
  e.count = count;
  e.result = result;
  e.phase = result == kResultNoError ? Stopped : Ended;
  return e;
}

const VccReader kVcc = [] { return static_cast<std::uint16_t>(850); };

template <typename Evaluate>
std::string FailureText(Evaluate evaluate) {
  try {
    evaluate();
  } catch (const CException& e) {
    return e.GetText();
  }
  return "no exception";
}

TEST(EvaluateWrite, BusFailuresClearTheAcknowledgedCount) {
  CMasterMessageTx write(CI2cAddress(0x50, false), {1, 2, 3});
  write.SetAcknowledgedCount(3);
  EXPECT_THROW(EvaluateWrite(Finished(4, kResultArbitrationLost), write, kVcc), CExceptionMasterArbitration);
  EXPECT_EQ(write.GetTransferredCount(), 0u);
  write.SetAcknowledgedCount(3);
  EXPECT_THROW(EvaluateWrite(Finished(4, kResultProtocolError), write, kVcc), CExceptionMasterI2cProtocol);
  EXPECT_EQ(write.GetTransferredCount(), 0u);
  write.SetAcknowledgedCount(3);
  EXPECT_NE(FailureText([&] { EvaluateWrite(Finished(4, kResultVccTooLow), write, kVcc); }).find("(I2C Vcc = 850 mV)"),
            std::string::npos);
  EXPECT_EQ(write.GetTransferredCount(), 0u);
}

TEST(EvaluateWrite, TimeoutKeepsTheCountOfWhatGotThrough) {
  CMasterMessageTx write(CI2cAddress(0x50, false), {1, 2, 3});
  EXPECT_THROW(EvaluateWrite(Finished(3, kResultBusTimeout), write, kVcc), CExceptionMasterTimeout);
  EXPECT_EQ(write.GetTransferredCount(), 2u);
  EXPECT_THROW(EvaluateWrite(Finished(0, kResultBusTimeout), write, kVcc), CExceptionMasterTimeout);
  EXPECT_EQ(write.GetTransferredCount(), 0u);
}

TEST(EvaluateWrite, AddressBytesDecideWhetherASlaveAnswered) {
  CMasterMessageTx seven(CI2cAddress(0x50, false), {});
  EXPECT_THROW(EvaluateWrite(Finished(0), seven, kVcc), CExceptionMasterAddress);
  EXPECT_NO_THROW(EvaluateWrite(Finished(1), seven, kVcc));

  CMasterMessageTx ten(CI2cAddress(0x2A5, true), {9});
  ten.SetAcknowledgedCount(1);
  EXPECT_THROW(EvaluateWrite(Finished(1), ten, kVcc), CExceptionMasterAddress);  // low byte not acknowledged
  EXPECT_EQ(ten.GetTransferredCount(), 0u);
  EXPECT_NO_THROW(EvaluateWrite(Finished(3), ten, kVcc));
  EXPECT_EQ(ten.GetTransferredCount(), 1u);
}

TEST(EvaluateWrite, SlaveStoppingEarlyReportsHowFarItGot) {
  CMasterMessageTx write(CI2cAddress(0x50, false), {1, 2, 3, 4});
  EXPECT_EQ(FailureText([&] { EvaluateWrite(Finished(1), write, kVcc); }), "The slave has not acknowledged any bytes.");
  EXPECT_EQ(FailureText([&] { EvaluateWrite(Finished(2), write, kVcc); }), "The slave has acknowledged only 1 byte.");
  EXPECT_EQ(FailureText([&] { EvaluateWrite(Finished(4), write, kVcc); }), "The slave has acknowledged only 3 bytes.");
  EXPECT_EQ(write.GetTransferredCount(), 3u);
  EXPECT_NO_THROW(EvaluateWrite(Finished(5), write, kVcc));
  EXPECT_EQ(write.GetTransferredCount(), 4u);
}

TEST(EvaluateRead, FailuresInOrder) {
  CMasterMessageRx read;
  read.SetRequestedCount(2);
  EXPECT_THROW(EvaluateRead(Finished(3, kResultArbitrationLost), read, kVcc), CExceptionMasterArbitration);
  EXPECT_THROW(EvaluateRead(Finished(3, kResultProtocolError), read, kVcc), CExceptionMasterI2cProtocol);
  EXPECT_THROW(EvaluateRead(Finished(3, kResultVccTooLow), read, kVcc), CExceptionI2cVcc);
  EXPECT_THROW(EvaluateRead(Finished(0, kResultBusTimeout), read, kVcc), CExceptionMasterTimeout);
  EXPECT_THROW(EvaluateRead(Finished(0), read, kVcc), CExceptionMasterAddress);
}

TEST(EvaluateRead, ShortReadReportsTheBytesReceived) {
  CMasterMessageRx read;
  read.SetRequestedCount(2);
  read.GetData() = {0x12};
  EXPECT_EQ(FailureText([&] { EvaluateRead(Finished(2), read, kVcc); }),
            "We have received only 1 byte from the slave.");
  read.GetData().clear();
  EXPECT_EQ(FailureText([&] { EvaluateRead(Finished(1), read, kVcc); }), "We have received no bytes from the slave.");
  read.GetData() = {0x12, 0x34};
  EXPECT_NO_THROW(EvaluateRead(Finished(3), read, kVcc));

  CMasterMessageRx nothing;
  nothing.SetRequestedCount(0);
  EXPECT_NO_THROW(EvaluateRead(Finished(1), nothing, kVcc));
}

}  // namespace
}  // namespace zavik::I2cApi
