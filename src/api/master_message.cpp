#include "api/master_message.h"

namespace zavik::I2cApi::Cpp {

CMasterMessageTx::CMasterMessageTx(const CI2cAddress& address, const std::vector<std::uint8_t>& bytes)
    : CMasterMessage(address) {
  GetData() = bytes;
}

}  // namespace zavik::I2cApi::Cpp
