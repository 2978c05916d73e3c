// The outcome rule and the bounded copy of the last-error text.

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include "api/exceptions.h"
#include "driver/last_error.h"
#include "driver/outcome.h"
#include "i2czavik.h"

namespace zavik::Driver {
namespace {

std::string Status() {
  char buffer[I2CZAVIK_STATUS_TEXT_SIZE];
  return UrdGetStatus(buffer);
}

TEST(OutcomeRule, SuccessSetsNoErrorAndReturnsOne) {
  SetLastErrorText("stale");
  EXPECT_EQ(RunUrdExport([] {}), 1);
  EXPECT_EQ(Status(), "No Error");
}

TEST(OutcomeRule, CExceptionTextBecomesTheLastError) {
  EXPECT_EQ(RunUrdExport([] { throw I2cApi::Cpp::CExceptionOpen(); }), 0);
  EXPECT_EQ(Status(), "Cannot open the specified I2C board.");
}

TEST(OutcomeRule, AnyOtherExceptionIsUnknownError) {
  EXPECT_EQ(RunUrdExport([] { throw std::runtime_error("internal detail"); }), 0);
  EXPECT_EQ(Status(), "Unknown error");
  EXPECT_EQ(RunUrdExport([] { throw 42; }), 0);
  EXPECT_EQ(Status(), "Unknown error");
  EXPECT_EQ(RunUrdExport([] { throw NoGlobalClient(); }), 0);
  EXPECT_EQ(Status(), "Unknown error");
}

TEST(OutcomeRule, ArgumentCheckSetsItsOwnText) {
  EXPECT_EQ(FailUrdExport("Pointer to data array is equal to NULL."), 0);
  EXPECT_EQ(Status(), "Pointer to data array is equal to NULL.");
}

TEST(UrdGetStatus, LongTextArrivesAsFirst49CharactersAndATerminator) {
  const std::string sixty(60, 'x');
  SetLastErrorText(sixty.substr(0, 30) + std::string(30, 'y'));
  unsigned char buffer[64];
  std::memset(buffer, 0xAA, sizeof buffer);
  ASSERT_EQ(UrdGetStatus(reinterpret_cast<char*>(buffer)), reinterpret_cast<char*>(buffer));
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer)), std::string(30, 'x') + std::string(19, 'y'));
  EXPECT_EQ(buffer[49], 0);
  for (int i = 50; i < 64; ++i) EXPECT_EQ(buffer[i], 0xAA) << "byte " << i << " written past the 50 bytes";
}

TEST(UrdGetStatus, ShortTextIsZeroFilledToFiftyBytes) {
  SetLastErrorText("No Error");
  unsigned char buffer[50];
  std::memset(buffer, 0xAA, sizeof buffer);
  UrdGetStatus(reinterpret_cast<char*>(buffer));
  EXPECT_EQ(std::memcmp(buffer, "No Error", 8), 0);
  for (int i = 8; i < 50; ++i) EXPECT_EQ(buffer[i], 0) << "byte " << i;
}

TEST(UrdGetStatus, ExactlyFortyNineCharactersSurviveWhole) {
  SetLastErrorText(std::string(49, 'z'));
  EXPECT_EQ(Status(), std::string(49, 'z'));
  SetLastErrorText(std::string(50, 'z'));
  EXPECT_EQ(Status(), std::string(49, 'z'));
}

TEST(UrdGetStatus, NullBufferIsRefusedWithoutTouchingTheText) {
  SetLastErrorText("kept");
  EXPECT_EQ(UrdGetStatus(nullptr), nullptr);
  EXPECT_EQ(LastErrorText(), "kept");
}

TEST(LibMain, AlwaysReturnsOne) {
  EXPECT_EQ(LibMain(), 1);
  SetLastErrorText("anything");
  EXPECT_EQ(LibMain(), 1);
  EXPECT_EQ(LastErrorText(), "anything");
}

}  // namespace
}  // namespace zavik::Driver
