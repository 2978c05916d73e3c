#pragma once
// The codes of the scheduler protocol, in one place for the library and the
// simulator alike. The same number means different things in the two
// directions (19 to the scheduler configures the master, 19 from it begins a
// board list), hence one namespace per direction.

#include <cstdint>

namespace zavik::I2cScheduler {

namespace ToScheduler {
constexpr std::uint32_t kBoardListRequest = 0;
constexpr std::uint32_t kOpenBoard = 2;
constexpr std::uint32_t kCloseBoard = 3;
constexpr std::uint32_t kParallelPort = 9;
constexpr std::uint32_t kWriteHeader = 16;
constexpr std::uint32_t kReadHeader = 17;
constexpr std::uint32_t kWriteData = 18;
constexpr std::uint32_t kConfigureMaster = 19;
}  // namespace ToScheduler

namespace FromScheduler {
constexpr std::uint32_t kGreeting = 1;  // what the simulator greets with; the library ignores the code
constexpr std::uint32_t kStart = 5;
constexpr std::uint32_t kStop = 6;
constexpr std::uint32_t kBit = 7;
constexpr std::uint32_t kProtocolError = 8;
constexpr std::uint32_t kStatusWords = 10;
constexpr std::uint32_t kStatusBytes = 11;
constexpr std::uint32_t kStatusPair = 12;
constexpr std::uint32_t kAcknowledgement = 13;  // also carries the master status numbers
constexpr std::uint32_t kBoardListBegin = 19;
constexpr std::uint32_t kBoardListData = 20;
constexpr std::uint32_t kBoardListEnd = 21;
constexpr std::uint32_t kMessageBegins = 22;
constexpr std::uint32_t kI2cVcc = 24;
constexpr std::uint32_t kFlagPair = 25;
constexpr std::uint32_t kStatusByte = 26;
}  // namespace FromScheduler

// Values of code 13 that answer the board exchanges.
namespace Acknowledgement {
constexpr std::uint32_t kOpened = 1;
constexpr std::uint32_t kOpenRefused = 2;
constexpr std::uint32_t kClosed = 3;
constexpr std::uint32_t kPortDone = 14;
constexpr std::uint32_t kPortRefused = 15;
constexpr std::uint32_t kBoardLost = 46;
}  // namespace Acknowledgement

// Values of code 13 that report on a master transfer.
namespace MasterStatus {
constexpr std::uint32_t kConfigAccepted = 30;
constexpr std::uint32_t kConfigRejected = 31;
constexpr std::uint32_t kArbitrationLost = 32;
constexpr std::uint32_t kWriteEnded = 33;
constexpr std::uint32_t kNoEffect = 34;
constexpr std::uint32_t kReadEnded = 35;
constexpr std::uint32_t kBusTimeout = 36;
}  // namespace MasterStatus

// The first byte after START in high-speed mode; no slave acknowledges it.
constexpr std::uint8_t kHighSpeedMasterCode = 0x08;

}  // namespace zavik::I2cScheduler
