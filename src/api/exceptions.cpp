#include "api/exceptions.h"

#include <sstream>

#include "api/master_message.h"
#include "api/version.h"

namespace zavik::I2cApi::Cpp {

namespace {

// Version bytes are numbers, never characters: widen before streaming.
void WriteVersion(std::ostream& out, const Version& v) {
  out << unsigned(v.major) << '.' << unsigned(v.minor) << '.' << unsigned(v.build);
}

std::string SchedulerVersionText(const Version& installed, const Version& supported) {
  std::ostringstream out;
  out << "Wrong version of the I2C scheduler. The installed I2C scheduler has got the version number ";
  WriteVersion(out, installed);
  out << ", but the installed I2C API supports only I2C schedulers with a version number of "
      << unsigned(supported.major) << '.' << unsigned(supported.minor) << ".x.";
  return out.str();
}

std::string DriverVersionText(const std::string& component, const Version& installed, const Version& required) {
  std::ostringstream out;
  out << "Wrong version of the board's " << component << ". The installed " << component
      << " has got the version number ";
  WriteVersion(out, installed);
  out << ", but at least version ";
  WriteVersion(out, required);
  out << " is needed. Please update the installed board's driver.";
  return out.str();
}

std::string I2cVccText(std::uint16_t vcc) {
  std::ostringstream out;
  out << "No power supply has been connected to the I2C Vcc pin of the I2C connector (I2C Vcc = " << unsigned(vcc)
      << " mV). Please connect the power supply providing the voltage of the I2C bus to the I2C Vcc pin of the I2C board.";
  return out.str();
}

std::string I2cAddressText(std::uint16_t value, bool tenBit) {
  std::ostringstream out;
  out << "The value \"" << unsigned(value) << "\""
      << (tenBit ? " is not a valid 10 bit I2C address." : " is not a valid 7 bit I2C address.");
  return out.str();
}

std::string IncompleteTxText(std::uint32_t n) {
  if (n == 0) return "The slave has not acknowledged any bytes.";
  if (n == 1) return "The slave has acknowledged only 1 byte.";
  std::ostringstream out;
  out << "The slave has acknowledged only " << n << " bytes.";
  return out.str();
}

std::string IncompleteRxText(std::uint32_t n) {
  if (n == 0) return "We have received no bytes from the slave.";
  if (n == 1) return "We have received only 1 byte from the slave.";
  std::ostringstream out;
  out << "We have received only " << n << " bytes from the slave.";
  return out.str();
}

}  // namespace

CExceptionIo::CExceptionIo() : CException("The I2C scheduler does not respond.") {}

CExceptionSchedulerVersion::CExceptionSchedulerVersion(const Version& installed, const Version& supported)
    : CException(SchedulerVersionText(installed, supported)) {}

CExceptionDriverVersion::CExceptionDriverVersion(const std::string& component, const Version& installed,
                                                 const Version& required)
    : CException(DriverVersionText(component, installed, required)) {}

CExceptionI2cVcc::CExceptionI2cVcc(std::uint16_t vcc) : CException(I2cVccText(vcc)) {}

CExceptionSchedulerBusy::CExceptionSchedulerBusy()
    : CException(
          "Cannot connect to the I2C scheduler, because the scheduler is busy. The scheduler can handle only a "
          "limited number of simultaneous connections.") {}

CExceptionOpen::CExceptionOpen() : CException("Cannot open the specified I2C board.") {}

CExceptionDeviceOpen::CExceptionDeviceOpen()
    : CException("No board has been choosen. Please, open a board and try it again.") {}

CExceptionHardwareIo::CExceptionHardwareIo()
    : CException(
          "The opened I2C board does not respond. Maybe the I2C board has been disconnected from the PC?") {}

CExceptionParallelPort::CExceptionParallelPort() : CException("Cannot enable/disable the specified parallel port.") {}

CExceptionI2cAddress::CExceptionI2cAddress(std::uint16_t value, bool tenBit)
    : CException(I2cAddressText(value, tenBit)) {}

CExceptionMasterNotSupported::CExceptionMasterNotSupported()
    : CExceptionMaster("The hardware does not support the master mode.") {}

CExceptionMasterRunning::CExceptionMasterRunning() : CExceptionMaster("The master module is running.") {}

CExceptionMasterInvalidBitrate::CExceptionMasterInvalidBitrate()
    : CExceptionMaster("The specified bitrate is not valid.") {}

CExceptionMasterInvalidTransfer::CExceptionMasterInvalidTransfer()
    : CExceptionMaster(
          "The used I2C board does not support the specified I2C transfer (e.g. the board does not support all "
          "possible combinations of combined transfers).") {}

CExceptionMasterAddress::CExceptionMasterAddress()
    : CExceptionMaster("There is no slave responsible for this I2C address.") {}

CExceptionMasterAddress::CExceptionMasterAddress(const CMasterMessage&) : CExceptionMasterAddress() {}

CExceptionMasterIncompleteTx::CExceptionMasterIncompleteTx(const CMasterMessage& message)
    : CExceptionMaster(IncompleteTxText(message.GetTransferredCount())) {}

CExceptionMasterIncompleteRx::CExceptionMasterIncompleteRx(const CMasterMessage& message)
    : CExceptionMaster(IncompleteRxText(message.GetTransferredCount())) {}

CExceptionMasterArbitration::CExceptionMasterArbitration()
    : CExceptionMaster(
          "The master module of the I2C board has lost the bus arbitration. At the moment the I2C bus is used by "
          "an other master.") {}

CExceptionMasterTimeout::CExceptionMasterTimeout()
    : CExceptionMaster(
          "A timeout has occurred during transferring a master message (SCL/SDA low for more than 500 ms).") {}

CExceptionMasterI2cProtocol::CExceptionMasterI2cProtocol()
    : CExceptionMaster(
          "The master module has detected an I2C protocol error on the I2C bus. Due to this error the transfer has "
          "been cancelled.") {}

}  // namespace zavik::I2cApi::Cpp
