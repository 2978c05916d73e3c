#include "sim/png_writer.h"

#include <filesystem>
#include <system_error>
#include <vector>

// The one translation unit that compiles the encoder.
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace zavik::I2cSim {

bool WritePng(const std::string& path, const PanelImage& image) {
  std::vector<unsigned char> gray(image.lit.size());
  for (std::size_t i = 0; i < gray.size(); ++i) gray[i] = image.lit[i] ? kPngLit : kPngDark;
  const std::string temporary = path + ".tmp";
  if (stbi_write_png(temporary.c_str(), image.width, image.height, 1, gray.data(), image.width) == 0) return false;
  // std::filesystem::rename replaces an existing file on every platform,
  // unlike std::rename on Windows.
  std::error_code error;
  std::filesystem::rename(temporary, path, error);
  if (!error) return true;
  std::filesystem::remove(temporary, error);
  return false;
}

}  // namespace zavik::I2cSim
