#pragma once
// The outcome rule every Urd export runs its work through: a CException's
// text, "Unknown error" for anything else, "No Error" on success.

#include <exception>

#include "api/exceptions.h"
#include "driver/last_error.h"

namespace zavik::Driver {

constexpr const char* kNoErrorText = "No Error";
constexpr const char* kUnknownErrorText = "Unknown error";

// Thrown where an export needs the global client and there is none; it is
// deliberately not a CException, so the rule reports "Unknown error".
struct NoGlobalClient : std::exception {};

template <typename Work>
int RunUrdExport(Work&& work) {
  try {
    work();
  } catch (const I2cApi::Cpp::CException& e) {
    SetLastErrorText(e.GetText());
    return 0;
  } catch (...) {
    SetLastErrorText(kUnknownErrorText);
    return 0;
  }
  SetLastErrorText(kNoErrorText);
  return 1;
}

// Fails an export before any work started, with its own text.
inline int FailUrdExport(const char* text) {
  SetLastErrorText(text);
  return 0;
}

}  // namespace zavik::Driver
