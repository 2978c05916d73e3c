#include "api/master_message.h"

#include <gtest/gtest.h>

namespace zavik::I2cApi::Cpp {
namespace {

TEST(CMasterMessage, WriteReportsAcknowledgedCountNotItsSize) {
  CMasterMessageTx write(CI2cAddress(0x20, false), {1, 2, 3});
  const CMasterMessage& base = write;
  EXPECT_EQ(base.GetTransferredCount(), 0u);
  EXPECT_EQ(write.GetData(), (std::vector<std::uint8_t>{1, 2, 3}));
  write.SetAcknowledgedCount(2);
  EXPECT_EQ(base.GetTransferredCount(), 2u);
  EXPECT_EQ(base.GetAddress().GetValue(), 0x20);
}

TEST(CMasterMessage, ReadReportsTheBytesReceived) {
  CMasterMessageRx read;
  read.SetRequestedCount(5);
  const CMasterMessage& base = read;
  EXPECT_EQ(base.GetTransferredCount(), 0u);
  read.GetData().assign({9, 8});
  EXPECT_EQ(base.GetTransferredCount(), 2u);
  EXPECT_EQ(read.GetRequestedCount(), 5u);
}

TEST(CMasterMessage, KindsAreToldApartByDynamicType) {
  CMasterMessageTx write(CI2cAddress(0x123, true), {});
  CMasterMessageRx read;
  MasterMessageList list{&write, &read};
  EXPECT_NE(dynamic_cast<CMasterMessageTx*>(list[0]), nullptr);
  EXPECT_EQ(dynamic_cast<CMasterMessageRx*>(list[0]), nullptr);
  EXPECT_NE(dynamic_cast<CMasterMessageRx*>(list[1]), nullptr);
  EXPECT_TRUE(write.GetData().empty());  // an address-only write
  EXPECT_TRUE(list[0]->GetAddress().IsTenBit());
  EXPECT_EQ(list[1]->GetAddress().GetValue(), 0x50);  // default address
}

}  // namespace
}  // namespace zavik::I2cApi::Cpp
