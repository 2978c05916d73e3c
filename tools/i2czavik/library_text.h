// Recognising the library's own error texts in what UrdGetStatus delivers.
// UrdGetStatus hands out at most 49 characters, so the longer texts arrive
// cut short and are compared by their delivered beginning.
#ifndef I2CZAVIK_TOOL_LIBRARY_TEXT_H
#define I2CZAVIK_TOOL_LIBRARY_TEXT_H

#include <string>
#include <string_view>

namespace zavik::I2cTool {

namespace LibraryText {
inline constexpr std::string_view kNoSlave = "There is no slave responsible for this I2C address.";
inline constexpr std::string_view kUnsupportedTransfer =
    "The used I2C board does not support the specified I2C transfer (e.g. the board does not support all "
    "possible combinations of combined transfers).";
// Beginnings of the short-read and short-write texts; the slave answered
// its address in both.
inline constexpr std::string_view kIncompleteReadPrefix = "We have received ";
inline constexpr std::string_view kIncompleteWritePrefix = "The slave has ";
}  // namespace LibraryText

// Size of the buffer that UrdGetStatus fills, terminator included.
constexpr std::size_t kStatusTextSize = 50;

// True when `status` is `known` as UrdGetStatus delivers it (whole, or cut
// after its first kStatusTextSize - 1 characters).
bool IsLibraryText(std::string_view status, std::string_view known);

}  // namespace zavik::I2cTool

#endif
