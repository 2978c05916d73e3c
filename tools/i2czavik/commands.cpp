#include "commands.h"

#include <cstdio>
#include <string>

#include "bus_scanner.h"
#include "caps_report.h"
#include "device_io_session.h"
#include "dump_table.h"
#include "register_session.h"
#include "usage_text.h"

namespace zavik::I2cTool {

namespace {

int Fail(std::ostream& err, const std::string& text) {
  err << "i2czavik: " << (text.empty() ? "failed without an error text" : text) << '\n';
  return kExitFailure;
}

std::string ByteList(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (std::uint8_t byte : bytes) {
    char cell[8];
    std::snprintf(cell, sizeof cell, text.empty() ? "0x%02x" : " 0x%02x", byte);
    text += cell;
  }
  return text;
}

// Runs `work` between UrdOpen and UrdClose. `work` returns false after a
// failure of the library, whose text is kept before closing replaces it.
template <typename Work>
int WithRegisterSession(const UrdApi& api, std::ostream& err, Work work) {
  RegisterSession session(api);
  if (!session.Open()) {
    std::string text = session.LastStatus();
    session.Close();
    return Fail(err, text);
  }
  std::string failure;
  bool ok = work(session, failure);
  if (!ok) {
    session.Close();
    return Fail(err, failure);
  }
  if (!session.Close()) return Fail(err, session.LastStatus());
  return kExitSuccess;
}

int RunScan(const UrdApi& api, std::ostream& out, std::ostream& err) {
  ScanOutcome outcome;
  int status = WithRegisterSession(api, err, [&](RegisterSession& session, std::string& failure) {
    outcome = BusScanner(session).Scan();
    failure = outcome.error;
    return !outcome.failed;
  });
  if (status != kExitSuccess) return status;
  out << FormatScanGrid(outcome.cells) << ScanLegend();
  if (outcome.usedReadProbe) out << "(the board refuses empty writes: probed with 1-byte reads)\n";
  return kExitSuccess;
}

int RunGet(const UrdApi& api, const CommandLine& line, std::ostream& out, std::ostream& err) {
  std::vector<std::uint8_t> bytes;
  int status = WithRegisterSession(api, err, [&](RegisterSession& session, std::string& failure) {
    if (session.Read(line.address, line.registerAddress, line.registerWidth, line.count, bytes)) return true;
    failure = session.LastStatus();
    return false;
  });
  if (status == kExitSuccess) out << ByteList(bytes) << '\n';
  return status;
}

int RunSet(const UrdApi& api, const CommandLine& line, std::ostream& err) {
  return WithRegisterSession(api, err, [&](RegisterSession& session, std::string& failure) {
    if (session.Write(line.address, line.registerAddress, line.registerWidth, line.data)) return true;
    failure = session.LastStatus();
    return false;
  });
}

int RunDump(const UrdApi& api, const CommandLine& line, std::ostream& out, std::ostream& err) {
  std::vector<std::uint8_t> bytes;
  int status = WithRegisterSession(api, err, [&](RegisterSession& session, std::string& failure) {
    while (bytes.size() < line.length) {
      std::uint32_t chunk = std::min<std::uint32_t>(kDumpChunkSize, line.length - static_cast<std::uint32_t>(bytes.size()));
      std::vector<std::uint8_t> part;
      if (!session.Read(line.address, line.registerAddress + bytes.size(), line.registerWidth, chunk, part)) {
        failure = session.LastStatus();
        return false;
      }
      bytes.insert(bytes.end(), part.begin(), part.end());
    }
    return true;
  });
  if (status == kExitSuccess) out << FormatDumpTable(line.registerAddress, bytes);
  return status;
}

int RunCaps(const UrdApi& api, std::ostream& out, std::ostream& err) {
  DeviceIoSession device(api);
  I2cHardwareCaps caps{};
  if (!device.Open() || !device.HardwareCaps(caps)) {
    std::string text = device.ErrorText();
    device.Close();
    return Fail(err, text);
  }
  device.Close();
  out << FormatCaps(caps);
  return kExitSuccess;
}

}  // namespace

int RunCommand(const UrdApi& api, const CommandLine& line, std::ostream& out, std::ostream& err) {
  switch (line.command) {
    case Command::Help:
      out << UsageText();
      return kExitSuccess;
    case Command::Scan:
      return RunScan(api, out, err);
    case Command::Get:
      return RunGet(api, line, out, err);
    case Command::Set:
      return RunSet(api, line, err);
    case Command::Dump:
      return RunDump(api, line, out, err);
    case Command::Caps:
      return RunCaps(api, out, err);
  }
  return kExitUsage;
}

}  // namespace zavik::I2cTool
