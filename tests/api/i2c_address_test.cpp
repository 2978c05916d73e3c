#include "api/i2c_address.h"

#include <gtest/gtest.h>

#include <set>

#include "api/exceptions.h"

namespace zavik::I2cApi::Cpp {
namespace {

TEST(CI2cAddress, RangesAndReservedValues) {
  for (bool tenBit : {false, true}) {
    for (std::uint16_t value : {0, 3, 8, 119, 124, 127, 1023}) {
      if (!tenBit && value > 127) continue;
      CI2cAddress address(value, tenBit);
      EXPECT_EQ(address.GetValue(), value);
      EXPECT_EQ(address.IsTenBit(), tenBit);
    }
  }
  for (std::uint16_t value : {4, 7, 120, 123, 128, 0xFFFF}) EXPECT_THROW(CI2cAddress(value, false), CExceptionI2cAddress) << value;
  EXPECT_NO_THROW(CI2cAddress(5, true));  // 10-bit addresses reserve nothing
  EXPECT_THROW(CI2cAddress(1024, true), CExceptionI2cAddress);
}

TEST(CI2cAddress, SevenBitOrdersBeforeTenBitThenByValue) {
  EXPECT_TRUE(CI2cAddress(127, false) < CI2cAddress(0, true));
  EXPECT_FALSE(CI2cAddress(0, true) < CI2cAddress(127, false));
  EXPECT_TRUE(CI2cAddress(8, false) < CI2cAddress(9, false));
  EXPECT_TRUE(CI2cAddress(300, true) < CI2cAddress(301, true));
  EXPECT_FALSE(CI2cAddress(9, false) < CI2cAddress(9, false));
  // The same number as 7-bit and as 10-bit are two distinct keys.
  std::set<CI2cAddress> keys{CI2cAddress(0x50, true), CI2cAddress(0x50, false), CI2cAddress(0x50, false)};
  ASSERT_EQ(keys.size(), 2u);
  EXPECT_FALSE(keys.begin()->IsTenBit());
}

}  // namespace
}  // namespace zavik::I2cApi::Cpp
