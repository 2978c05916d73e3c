#include "library_text.h"

#include <algorithm>

namespace zavik::I2cTool {

bool IsLibraryText(std::string_view status, std::string_view known) {
  return status == known.substr(0, std::min(known.size(), kStatusTextSize - 1));
}

}  // namespace zavik::I2cTool
