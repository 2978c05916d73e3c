#include "register_session.h"

#include "library_text.h"

namespace zavik::I2cTool {

std::vector<std::uint8_t> AddressArray(std::uint8_t slave, std::uint64_t registerAddress, unsigned width) {
  std::vector<std::uint8_t> address;
  address.reserve(width + 1);
  for (unsigned i = 0; i < width; ++i) address.push_back(static_cast<std::uint8_t>(registerAddress >> (8 * i)));
  address.push_back(static_cast<std::uint8_t>(slave << 1));
  return address;
}

RegisterSession::~RegisterSession() {
  if (needsClose_) api_.close();
}

bool RegisterSession::Open() {
  // A failed UrdOpen can still leave the library's client behind (no board
  // found), so the session closes in every case once it tried to open.
  needsClose_ = true;
  return api_.open() == 1;
}

bool RegisterSession::Close() {
  needsClose_ = false;
  return api_.close() == 1;
}

bool RegisterSession::Write(std::uint8_t slave, std::uint64_t registerAddress, unsigned width,
                            const std::vector<std::uint8_t>& data) {
  std::vector<std::uint8_t> address = AddressArray(slave, registerAddress, width);
  // The export wants a data pointer even for an empty write.
  const std::uint8_t none = 0;
  const std::uint8_t* bytes = data.empty() ? &none : data.data();
  return api_.setLongReg(static_cast<int>(address.size()), static_cast<int>(data.size()), address.data(), bytes) == 1;
}

bool RegisterSession::Read(std::uint8_t slave, std::uint64_t registerAddress, unsigned width, std::uint32_t count,
                           std::vector<std::uint8_t>& data) {
  std::vector<std::uint8_t> address = AddressArray(slave, registerAddress, width);
  std::vector<std::uint8_t> received(count == 0 ? 1 : count);
  if (api_.getLongReg(static_cast<int>(address.size()), static_cast<int>(count), address.data(), received.data()) != 1) {
    return false;
  }
  received.resize(count);
  data = std::move(received);
  return true;
}

std::string RegisterSession::LastStatus() const {
  char buffer[kStatusTextSize] = {};
  api_.getStatus(buffer);
  buffer[kStatusTextSize - 1] = '\0';
  return buffer;
}

}  // namespace zavik::I2cTool
