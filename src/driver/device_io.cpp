// DeviceIo: the command-code front end. Each opened device has its own board
// client and error text and shares nothing with the Urd exports' global
// client; the outcome is a status in the result block, never an exception.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "api/board_client.h"
#include "api/exceptions.h"
#include "api/master_message.h"
#include "api/master_module.h"
#include "driver/board_selection.h"
#include "driver/client_factory.h"
#include "driver/device_context_registry.h"
#include "driver/outcome.h"
#include "i2czavik.h"

namespace zavik::Driver {

namespace {

using I2cApi::BoardInfo;
using I2cApi::CBoardClient;
using I2cApi::CMasterModule;
using I2cApi::Cpp::CException;
using I2cApi::Cpp::CI2cAddress;
using I2cApi::Cpp::CMasterMessageRx;
using I2cApi::Cpp::CMasterMessageTx;
using I2cApi::Cpp::MasterMessageList;

constexpr std::uint32_t kHighestStandardBitrate = 400000;
constexpr std::int32_t kCapsSize = static_cast<std::int32_t>(sizeof(I2cHardwareCaps));
constexpr std::int32_t kErrorTextLimit = 100;

// A command's failure with its status and the text for the device.
struct CommandFailure {
  std::uint32_t status;
  std::string text;
};

// Invalid arguments from the host are reported the way the board reports a
// transfer it cannot do, before anything is sent.
[[noreturn]] void RefuseTransfer() { throw I2cApi::Cpp::CExceptionMasterInvalidTransfer(); }

void ReportCount(std::uint32_t* resultCount, std::uint32_t count) {
  if (resultCount != nullptr) *resultCount = count;
}

void Succeed(DeviceIoBlock* result, DeviceIoContext& context) {
  result->status = I2CZAVIK_STATUS_SUCCESS;
  context.errorText.clear();
}

void Fail(DeviceIoBlock* result, DeviceIoContext& context, std::uint32_t status, const std::string& text) {
  result->status = status;
  context.errorText = text;
}

void ApplyBitrate(CMasterModule& master, std::uint32_t bitrate) {
  if (bitrate <= kHighestStandardBitrate) {
    master.SetBitrate(bitrate);
  } else {
    master.SetBitrate(kHighestStandardBitrate);
    master.SetHighSpeedBitrate(bitrate);
  }
}

// Runs a read or write under its two handlers: 11 with the exception's text,
// or 3 with "Unknown error", and reports the count the work returned (0 on failure).
template <typename Work>
void RunTransferCommand(DeviceIoBlock* result, DeviceIoContext& context, std::uint32_t* resultCount, Work&& work) {
  std::uint32_t count = 0;
  try {
    count = work();
  } catch (const CommandFailure& failure) {
    Fail(result, context, failure.status, failure.text);
    ReportCount(resultCount, 0);
    return;
  } catch (const CException& e) {
    Fail(result, context, I2CZAVIK_STATUS_TRANSFER_FAILED, e.GetText());
    ReportCount(resultCount, 0);
    return;
  } catch (...) {
    Fail(result, context, I2CZAVIK_STATUS_NO_DEVICE, kUnknownErrorText);
    ReportCount(resultCount, 0);
    return;
  }
  ReportCount(resultCount, count);
  Succeed(result, context);
}

std::uint32_t ReadCommand(const DeviceIoBlock* request, DeviceIoBlock* result, DeviceIoContext& context) {
  const CI2cAddress address(request->slaveAddress, false);
  if (result->count < request->count || result->buffer == nullptr)
    throw CommandFailure{I2CZAVIK_STATUS_BUFFER_TOO_SMALL, "The given output buffer is to small."};
  if (request->count < 0) RefuseTransfer();
  if (request->regAddressCount > 0 && request->regAddress == nullptr) RefuseTransfer();

  MasterMessageList list;
  CMasterMessageTx registerWrite;
  if (request->regAddressCount > 0) {
    registerWrite.SetAddress(address);
    registerWrite.GetData().assign(request->regAddress, request->regAddress + request->regAddressCount);
    list.push_back(&registerWrite);
  }
  CMasterMessageRx read;
  read.SetAddress(address);
  read.SetRequestedCount(static_cast<std::uint32_t>(request->count));
  list.push_back(&read);

  CMasterModule& master = *context.client->GetMasterModule();
  ApplyBitrate(master, request->bitrate);
  master.Transfer(list);

  // The last message ends only at the STOP, so the bus may deliver more than
  // was asked for; the host's buffer is only known to hold the requested count.
  const std::size_t copied = std::min<std::size_t>(read.GetData().size(), static_cast<std::size_t>(request->count));
  std::copy_n(read.GetData().begin(), copied, result->buffer);
  const std::uint32_t written = request->regAddressCount > 0 ? registerWrite.GetTransferredCount() : 0;
  return written + static_cast<std::uint32_t>(copied);
}

std::uint32_t WriteCommand(const DeviceIoBlock* request, DeviceIoContext& context) {
  if (request->regAddressCount > 0)
    throw CommandFailure{I2CZAVIK_STATUS_NOT_SUPPORTED, "This combined mode is not supported."};
  const CI2cAddress address(request->slaveAddress, false);
  if (request->count < 0 || (request->buffer == nullptr && request->count > 0)) RefuseTransfer();

  CMasterMessageTx write;
  write.SetAddress(address);
  write.GetData().assign(request->buffer, request->buffer + request->count);

  CMasterModule& master = *context.client->GetMasterModule();
  ApplyBitrate(master, request->bitrate);
  master.TransferOne(write);
  return write.GetTransferredCount();
}

I2cHardwareCaps CapsOf(const BoardInfo& board) {
  I2cHardwareCaps caps{};
  caps.word[0] = 1;
  // A board that lists no bitrates reports 0 rather than an invented rate.
  caps.word[1] = board.bitrates.empty() ? 0 : board.bitrates.back();
  if (!board.highSpeedBitrates.empty())
    caps.word[2] = board.highSpeedBitrates.front();
  else
    caps.word[2] = board.bitrates.empty() ? 0 : board.bitrates.front();
  caps.word[3] = board.boardType == 2 ? 1 : 0;
  caps.word[7] = 0xFFFF;
  caps.word[9] = 2;
  caps.word[10] = 1;
  return caps;
}

void CapsCommand(const DeviceIoBlock* request, DeviceIoBlock* result) {
  const std::shared_ptr<DeviceIoContext> context = FindDeviceContext(request->context);
  if (context == nullptr || context->client == nullptr) {
    result->status = I2CZAVIK_STATUS_NO_DEVICE;
    return;
  }
  I2cHardwareCaps caps;
  try {
    caps = CapsOf(context->client->GetOpenedBoardInfo());
  } catch (const CException& e) {
    Fail(result, *context, I2CZAVIK_STATUS_NO_DEVICE, e.GetText());
    return;
  } catch (...) {
    Fail(result, *context, I2CZAVIK_STATUS_NO_DEVICE, kUnknownErrorText);
    return;
  }
  if (result->count < kCapsSize || result->buffer == nullptr) {
    Fail(result, *context, I2CZAVIK_STATUS_BUFFER_TOO_SMALL,
         "The output buffer is to small to store I2cHardwareCaps structure.");
    return;
  }
  std::memcpy(result->buffer, &caps, sizeof caps);
  result->count = kCapsSize;
  Succeed(result, *context);
}

void OpenCommand(DeviceIoBlock* result) {
  auto context = std::make_shared<DeviceIoContext>();
  result->context = RegisterDeviceContext(context);
  try {
    context->client = MakeBoardClient();
    context->client->SetParallelPort(0, true);
    std::vector<BoardInfo> boards;
    context->client->EnumerateBoards(boards);
    const BoardInfo* board = FirstSelectableBoard(boards);
    if (board == nullptr) {
      Fail(result, *context, I2CZAVIK_STATUS_OPEN_FAILED, kNoBoardFoundText);
      return;
    }
    context->client->OpenBoard(*board);
  } catch (const CException& e) {
    Fail(result, *context, I2CZAVIK_STATUS_OPEN_FAILED, e.GetText());
    return;
  } catch (...) {
    Fail(result, *context, I2CZAVIK_STATUS_OPEN_FAILED, kUnknownErrorText);
    return;
  }
  Succeed(result, *context);
}

void CloseCommand(DeviceIoBlock* request, DeviceIoBlock* result) {
  // Close only unregisters the handle: a command that another thread is
  // running on the device holds its own share of the context, and the client
  // goes (closing the board and the connection, swallowing a scheduler that
  // has gone) when the last share is dropped, here or when that command ends.
  if (UnregisterDeviceContext(request->context) != nullptr) request->context = nullptr;
  result->status = I2CZAVIK_STATUS_SUCCESS;
}

void ErrorTextCommand(const DeviceIoBlock* request, DeviceIoBlock* result) {
  const std::int32_t size = result->count;
  if (size <= 0 || result->buffer == nullptr) return;
  const std::shared_ptr<DeviceIoContext> context = FindDeviceContext(request->context);
  const std::string& text = context != nullptr ? context->errorText : std::string(kUnknownErrorText);
  char* out = reinterpret_cast<char*>(result->buffer);
  std::strncpy(out, text.c_str(), static_cast<std::size_t>(size - 1));
  out[size - 1] = '\0';
  if (size > kErrorTextLimit) out[kErrorTextLimit] = '\0';
  result->status = I2CZAVIK_STATUS_SUCCESS;
}

template <typename Command>
void TransferCommand(const DeviceIoBlock* request, DeviceIoBlock* result, std::uint32_t* resultCount,
                     Command&& command) {
  const std::shared_ptr<DeviceIoContext> context = FindDeviceContext(request->context);
  if (context == nullptr || context->client == nullptr) {
    result->status = I2CZAVIK_STATUS_NO_DEVICE;
    ReportCount(resultCount, 0);
    return;
  }
  RunTransferCommand(result, *context, resultCount, [&] { return command(*context); });
}

}  // namespace

}  // namespace zavik::Driver

extern "C" I2CZAVIK_API int I2CZAVIK_STDCALL DeviceIo(DeviceIoBlock* request, void*, DeviceIoBlock* result, void*,
                                                      uint32_t* resultCount) {
  using namespace zavik::Driver;
  // Without both blocks there is nowhere to read the command or report it.
  if (request == nullptr || result == nullptr) return 1;
  switch (request->command) {
    case I2CZAVIK_CMD_READ:
      TransferCommand(request, result, resultCount,
                      [&](DeviceIoContext& context) { return ReadCommand(request, result, context); });
      break;
    case I2CZAVIK_CMD_WRITE:
      TransferCommand(request, result, resultCount,
                      [&](DeviceIoContext& context) { return WriteCommand(request, context); });
      break;
    case I2CZAVIK_CMD_HARDWARE_CAPS:
      CapsCommand(request, result);
      break;
    case I2CZAVIK_CMD_OPEN:
      OpenCommand(result);
      break;
    case I2CZAVIK_CMD_CLOSE:
      CloseCommand(request, result);
      break;
    case I2CZAVIK_CMD_ERROR_TEXT:
      ErrorTextCommand(request, result);
      break;
    default:
      result->status = I2CZAVIK_STATUS_NOT_SUPPORTED;
      break;
  }
  return 1;
}
