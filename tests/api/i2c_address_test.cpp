#include "api/i2c_address.h"

#include <gtest/gtest.h>

#include <set>

#include "api/exceptions.h"

namespace zavik::I2cApi::Cpp {
namespace {

TEST(CI2cAddress, SevenBitBoundariesOfTheReservedRanges) {
  for (std::uint16_t value : {0, 3, 8, 119, 124, 127}) {
    CI2cAddress address(value, false);
    EXPECT_EQ(address.GetValue(), value);
    EXPECT_FALSE(address.IsTenBit());
  }
  for (std::uint16_t value : {4, 7, 120, 123, 128, 0xFFFF}) {
    EXPECT_THROW(CI2cAddress(value, false), CExceptionI2cAddress) << value;
  }
}

TEST(CI2cAddress, TenBitHasNoReservedValues) {
  for (std::uint16_t value : {0, 5, 120, 1023}) {
    CI2cAddress address(value, true);
    EXPECT_EQ(address.GetValue(), value);
    EXPECT_TRUE(address.IsTenBit());
  }
  EXPECT_THROW(CI2cAddress(1024, true), CExceptionI2cAddress);
}

TEST(CI2cAddress, RejectionNamesTheValueAndTheKind) {
  try {
    CI2cAddress(4, false);
    FAIL() << "no exception";
  } catch (const CException& e) {
    EXPECT_EQ(e.GetText(), "The value \"4\" is not a valid 7 bit I2C address.");
  }
  try {
    CI2cAddress(2000, true);
    FAIL() << "no exception";
  } catch (const CException& e) {
    EXPECT_EQ(e.GetText(), "The value \"2000\" is not a valid 10 bit I2C address.");
  }
}

TEST(CI2cAddress, DefaultIsSevenBit0x50) {
  CI2cAddress address;
  EXPECT_EQ(address.GetValue(), 0x50);
  EXPECT_FALSE(address.IsTenBit());
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
