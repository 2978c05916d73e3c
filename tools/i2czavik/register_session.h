// One stretch of work with the board through the register exports:
// UrdOpen on Open, UrdClose on Close (or at the latest on destruction).
#ifndef I2CZAVIK_TOOL_REGISTER_SESSION_H
#define I2CZAVIK_TOOL_REGISTER_SESSION_H

#include <cstdint>
#include <string>
#include <vector>

#include "urd_api.h"

namespace zavik::I2cTool {

// The address array of the register exports: the register address in
// `width` bytes, least significant first, then the slave's address byte
// (the 7-bit address shifted left by one).
std::vector<std::uint8_t> AddressArray(std::uint8_t slave, std::uint64_t registerAddress, unsigned width);

class RegisterSession {
 public:
  explicit RegisterSession(const UrdApi& api) : api_(api) {}
  ~RegisterSession();
  RegisterSession(const RegisterSession&) = delete;
  RegisterSession& operator=(const RegisterSession&) = delete;

  // Each returns false on failure; LastStatus() then tells why.
  bool Open();
  bool Close();
  bool Write(std::uint8_t slave, std::uint64_t registerAddress, unsigned width, const std::vector<std::uint8_t>& data);
  bool Read(std::uint8_t slave, std::uint64_t registerAddress, unsigned width, std::uint32_t count,
            std::vector<std::uint8_t>& data);

  // The library's last-error text.
  std::string LastStatus() const;

 private:
  const UrdApi& api_;
  bool needsClose_ = false;
};

}  // namespace zavik::I2cTool

#endif
