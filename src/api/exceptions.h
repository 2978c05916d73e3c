#pragma once
// Every failure below the exports travels as one of these, thrown by value and
// caught by reference to CException. Each carries one English text, composed
// completely at construction and never changed.

#include <cstdint>
#include <string>

namespace zavik::I2cApi {
struct Version;
}

namespace zavik::I2cApi::Cpp {

class CMasterMessage;

class CException {
 public:
  virtual ~CException() = default;
  CException(const CException&) = default;
  CException& operator=(const CException&) = default;

  const std::string& GetText() const { return text_; }

 protected:
  explicit CException(std::string text) : text_(std::move(text)) {}

 private:
  std::string text_;
};

class CExceptionIo : public CException {
 public:
  CExceptionIo();
};

class CExceptionSchedulerVersion : public CException {
 public:
  CExceptionSchedulerVersion(const Version& installed, const Version& supported);
};

class CExceptionDriverVersion : public CException {
 public:
  CExceptionDriverVersion(const std::string& component, const Version& installed, const Version& required);
};

class CExceptionI2cVcc : public CException {
 public:
  explicit CExceptionI2cVcc(std::uint16_t vcc);
};

class CExceptionSchedulerBusy : public CException {
 public:
  CExceptionSchedulerBusy();
};

class CExceptionOpen : public CException {
 public:
  CExceptionOpen();
};

class CExceptionDeviceOpen : public CException {
 public:
  CExceptionDeviceOpen();
};

class CExceptionHardwareIo : public CException {
 public:
  CExceptionHardwareIo();
};

class CExceptionParallelPort : public CException {
 public:
  CExceptionParallelPort();
};

class CExceptionI2cAddress : public CException {
 public:
  CExceptionI2cAddress(std::uint16_t value, bool tenBit);
};

// Base of the master-module errors; has no text of its own.
class CExceptionMaster : public CException {
 protected:
  explicit CExceptionMaster(std::string text) : CException(std::move(text)) {}
};

class CExceptionMasterNotSupported : public CExceptionMaster {
 public:
  CExceptionMasterNotSupported();
};

class CExceptionMasterRunning : public CExceptionMaster {
 public:
  CExceptionMasterRunning();
};

class CExceptionMasterInvalidBitrate : public CExceptionMaster {
 public:
  CExceptionMasterInvalidBitrate();
};

class CExceptionMasterInvalidTransfer : public CExceptionMaster {
 public:
  CExceptionMasterInvalidTransfer();
};

class CExceptionMasterAddress : public CExceptionMaster {
 public:
  CExceptionMasterAddress();
  explicit CExceptionMasterAddress(const CMasterMessage& message);
};

class CExceptionMasterIncompleteTx : public CExceptionMaster {
 public:
  explicit CExceptionMasterIncompleteTx(const CMasterMessage& message);
};

class CExceptionMasterIncompleteRx : public CExceptionMaster {
 public:
  explicit CExceptionMasterIncompleteRx(const CMasterMessage& message);
};

class CExceptionMasterArbitration : public CExceptionMaster {
 public:
  CExceptionMasterArbitration();
};

class CExceptionMasterTimeout : public CExceptionMaster {
 public:
  CExceptionMasterTimeout();
};

class CExceptionMasterI2cProtocol : public CExceptionMaster {
 public:
  CExceptionMasterI2cProtocol();
};

}  // namespace zavik::I2cApi::Cpp
