#include "png_reader.h"

#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_PNG
#include <stb_image.h>

namespace zavik::I2cSim::SimTest {

std::optional<PanelImage> ReadPng(const std::string& path) {
  int width = 0, height = 0, channels = 0;
  unsigned char* pixels = stbi_load(path.c_str(), &width, &height, &channels, 1);
  if (pixels == nullptr) return std::nullopt;
  PanelImage image(width, height);
  for (std::size_t i = 0; i < image.lit.size(); ++i) image.lit[i] = pixels[i] == 255 ? 1 : pixels[i] == 0 ? 0 : 2;
  stbi_image_free(pixels);
  return image;
}

}  // namespace zavik::I2cSim::SimTest
