#include "fake_library.h"

#include <cstring>

#include "library_text.h"

namespace zavik::I2cTool::Testing {

namespace {

FakeLibrary instance;
FakeLibrary* const fake = &instance;

const char* kNoError = "No Error";

int Succeed() {
  fake->status = kNoError;
  return 1;
}

int FailWith(const std::string& text) {
  fake->status = text;
  return 0;
}

std::uint64_t RegisterOf(const std::vector<std::uint8_t>& address) {
  std::uint64_t value = 0;
  for (std::size_t i = address.size() - 1; i-- > 0;) value = (value << 8) | address[i];
  return value;
}

int Open() {
  ++fake->opens;
  return fake->openFailure.empty() ? Succeed() : FailWith(fake->openFailure);
}

int Close() {
  ++fake->closes;
  return fake->closeFailure.empty() ? Succeed() : FailWith(fake->closeFailure);
}

char* GetStatus(char* buffer) {
  // Bounded like the library's: at most 49 characters arrive.
  std::strncpy(buffer, fake->status.c_str(), kStatusTextSize);
  buffer[kStatusTextSize - 1] = '\0';
  return buffer;
}

// Common part of both register calls: logs and decides whether the slave answers.
int Address(bool isWrite, int addressCount, int dataCount, const unsigned char* address, const unsigned char* data,
            std::uint8_t& slave) {
  RegisterCall call{isWrite, std::vector<std::uint8_t>(address, address + addressCount), dataCount, {},
                    data == nullptr};
  if (isWrite && data != nullptr) call.data.assign(data, data + dataCount);
  fake->calls.push_back(call);
  slave = static_cast<std::uint8_t>(address[addressCount - 1] >> 1);
  if (isWrite && fake->refuseEmptyWrite && addressCount + dataCount == 1) {
    return FailWith(std::string(LibraryText::kUnsupportedTransfer));
  }
  auto failure = fake->failAt.find(slave);
  if (failure != fake->failAt.end()) return FailWith(failure->second);
  if (fake->slaves.count(slave) == 0) return FailWith(std::string(LibraryText::kNoSlave));
  return 1;
}

int SetLongReg(int addressCount, int dataCount, const unsigned char* address, const unsigned char* data) {
  std::uint8_t slave = 0;
  if (Address(true, addressCount, dataCount, address, data, slave) != 1) return 0;
  auto& memory = fake->slaves[slave];
  std::uint64_t reg = RegisterOf(fake->calls.back().address);
  for (int i = 0; i < dataCount; ++i) memory[reg + static_cast<std::uint64_t>(i)] = data[i];
  return Succeed();
}

int GetLongReg(int addressCount, int dataCount, const unsigned char* address, unsigned char* data) {
  std::uint8_t slave = 0;
  if (Address(false, addressCount, dataCount, address, data, slave) != 1) return 0;
  auto& memory = fake->slaves[slave];
  std::uint64_t reg = RegisterOf(fake->calls.back().address);
  for (int i = 0; i < dataCount; ++i) data[i] = memory[reg + static_cast<std::uint64_t>(i)];
  return Succeed();
}

// One context object is enough: the tool opens one device at a time.
int deviceContext;

int I2CZAVIK_STDCALL DeviceIo(DeviceIoBlock* request, void*, DeviceIoBlock* result, void*, std::uint32_t*) {
  fake->deviceCommands.push_back(request->command);
  switch (request->command) {
    case I2CZAVIK_CMD_OPEN:
      result->context = &deviceContext;
      ++fake->liveContexts;
      result->status = fake->deviceOpenStatus;
      break;
    case I2CZAVIK_CMD_HARDWARE_CAPS:
      if (request->context == nullptr || result->count < 44) {
        result->status = I2CZAVIK_STATUS_NO_DEVICE;
        break;
      }
      std::memcpy(result->buffer, &fake->caps, 44);
      result->count = 44;
      result->status = I2CZAVIK_STATUS_SUCCESS;
      break;
    case I2CZAVIK_CMD_CLOSE:
      if (request->context != nullptr) --fake->liveContexts;
      request->context = nullptr;
      result->status = I2CZAVIK_STATUS_SUCCESS;
      break;
    case I2CZAVIK_CMD_ERROR_TEXT:
      if (result->count == 0) break;
      std::strncpy(reinterpret_cast<char*>(result->buffer), fake->deviceOpenError.c_str(),
                   static_cast<std::size_t>(result->count) - 1);
      result->buffer[result->count - 1] = 0;
      result->status = I2CZAVIK_STATUS_SUCCESS;
      break;
    default:
      result->status = I2CZAVIK_STATUS_NOT_SUPPORTED;
  }
  return 1;
}

}  // namespace

FakeLibrary& Fake() { return *fake; }

void ResetFake() { *fake = FakeLibrary{}; }

UrdApi FakeApi() {
  UrdApi api;
  api.open = &Open;
  api.close = &Close;
  api.getStatus = &GetStatus;
  api.setLongReg = &SetLongReg;
  api.getLongReg = &GetLongReg;
  api.deviceIo = &DeviceIo;
  return api;
}

std::uint8_t SlaveOf(const RegisterCall& call) { return static_cast<std::uint8_t>(call.address.back() >> 1); }

}  // namespace zavik::I2cTool::Testing
