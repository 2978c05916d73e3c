// The register exports: each call is one master transfer on the global
// client's master module: a write of register address and data, or a write
// of the register address followed by a read in one combined transfer.

#include <algorithm>
#include <cstdarg>
#include <cstdint>

#include "api/master_message.h"
#include "api/master_module.h"
#include "driver/global_client.h"
#include "driver/outcome.h"
#include "i2czavik.h"

namespace zavik::Driver {
namespace {

using I2cApi::Cpp::CI2cAddress;
using I2cApi::Cpp::CMasterMessageRx;
using I2cApi::Cpp::CMasterMessageTx;
using I2cApi::Cpp::MasterMessageList;

constexpr int kMaxShortDataCount = 4;
constexpr int kMaxAddressCount = 8;

constexpr const char* kShortDataCountText = "The number of data bytes is not valid (range: 0..4)";
constexpr const char* kAddressCountText = "The number of address bytes is not valid (range: 1..8)";
constexpr const char* kNegativeDataCountText = "The number of data bytes is not valid (< 0)";
constexpr const char* kNullAddressText = "Pointer to I2C address array is equal to NULL.";
constexpr const char* kNullDataText = "Pointer to data array is equal to NULL.";

bool ShortDataCountValid(int dataCount) { return dataCount >= 0 && dataCount <= kMaxShortDataCount; }

// The checks of the long forms, in their order; null when all pass.
const char* ArgumentError(int addressCount, int dataCount, const void* address, const void* data) {
  if (addressCount < 1 || addressCount > kMaxAddressCount) return kAddressCountText;
  if (dataCount < 0) return kNegativeDataCountText;
  if (address == nullptr) return kNullAddressText;
  if (data == nullptr) return kNullDataText;
  return nullptr;
}

// The last address byte is the slave's address in 8-bit form; its lowest bit
// is ignored. Throws CExceptionI2cAddress for the reserved addresses.
CI2cAddress SlaveAddress(int addressCount, const unsigned char* address) {
  return CI2cAddress(static_cast<std::uint16_t>(address[addressCount - 1] >> 1), false);
}

// The register address is stored least significant byte first and goes on
// the bus most significant byte first.
void AppendRegisterAddress(std::vector<std::uint8_t>& out, int addressCount, const unsigned char* address) {
  for (int i = addressCount - 2; i >= 0; --i) out.push_back(address[i]);
}

I2cApi::CMasterModule& MasterModule() {
  I2cApi::CMasterModule* module = RequireGlobalClient().GetMasterModule();
  if (module == nullptr) throw NoGlobalClient();
  return *module;
}

void WriteRegister(int addressCount, int dataCount, const unsigned char* address, const unsigned char* data) {
  CMasterMessageTx write;
  AppendRegisterAddress(write.GetData(), addressCount, address);
  write.GetData().insert(write.GetData().end(), data, data + dataCount);
  write.SetAddress(SlaveAddress(addressCount, address));
  MasterModule().TransferOne(write);
}

void ReadRegister(int addressCount, int dataCount, const unsigned char* address, unsigned char* data) {
  const CI2cAddress slave = SlaveAddress(addressCount, address);
  MasterMessageList list;
  CMasterMessageTx registerAddress;
  if (addressCount >= 2) {
    registerAddress.SetAddress(slave);
    AppendRegisterAddress(registerAddress.GetData(), addressCount, address);
    list.push_back(&registerAddress);
  }
  CMasterMessageRx read;
  read.SetAddress(slave);
  read.SetRequestedCount(static_cast<std::uint32_t>(dataCount));
  list.push_back(&read);
  MasterModule().Transfer(list);
  // Only after the whole transfer succeeded; never more than the caller asked
  // for, whatever the scheduler delivered.
  const std::vector<std::uint8_t>& received = read.GetData();
  std::copy_n(received.begin(), std::min<std::size_t>(received.size(), static_cast<std::size_t>(dataCount)), data);
}

}  // namespace
}  // namespace zavik::Driver

using namespace zavik::Driver;

extern "C" I2CZAVIK_API int I2CZAVIK_CDECL UrdSetLongReg(int addressCount, int dataCount,
                                                         const unsigned char* address, const unsigned char* data) {
  if (const char* error = ArgumentError(addressCount, dataCount, address, data)) return FailUrdExport(error);
  return RunUrdExport([&] { WriteRegister(addressCount, dataCount, address, data); });
}

extern "C" I2CZAVIK_API int I2CZAVIK_CDECL UrdGetLongReg(int addressCount, int dataCount,
                                                         const unsigned char* address, unsigned char* data) {
  if (const char* error = ArgumentError(addressCount, dataCount, address, data)) return FailUrdExport(error);
  return RunUrdExport([&] { ReadRegister(addressCount, dataCount, address, data); });
}

extern "C" I2CZAVIK_API int I2CZAVIK_CDECL UrdSetReg(int addressCount, int dataCount, const unsigned char* address,
                                                     ...) {
  if (!ShortDataCountValid(dataCount)) return FailUrdExport(kShortDataCountText);
  va_list args;
  va_start(args, address);
  const std::uint32_t value = va_arg(args, std::uint32_t);
  va_end(args);
  // The data bytes are the value's bytes, least significant first.
  const unsigned char bytes[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                                  static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
  return UrdSetLongReg(addressCount, dataCount, address, bytes);
}

extern "C" I2CZAVIK_API int I2CZAVIK_CDECL UrdGetReg(int addressCount, int dataCount, const unsigned char* address,
                                                     unsigned char* data) {
  if (!ShortDataCountValid(dataCount)) return FailUrdExport(kShortDataCountText);
  return UrdGetLongReg(addressCount, dataCount, address, data);
}
