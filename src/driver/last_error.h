#pragma once
// The process-wide last-error text of the Urd exports. Constructed before any
// other static object of the library and destroyed after all of them.

#include <string>

namespace zavik::Driver {

const std::string& LastErrorText();
void SetLastErrorText(const std::string& text);

}  // namespace zavik::Driver
