#pragma once
// SSD1306 OLED controller on I2C driving a 128x64 or 128x32 panel: the
// control byte (Co and D/C#), the fundamental, addressing, hardware
// configuration, timing, charge pump and scrolling commands, GDDRAM writes in
// horizontal, vertical and page addressing mode, and what the panel shows.
// A command and its arguments may arrive in separate transfers: the command
// being assembled survives the end of a message.

#include <array>
#include <cstdint>
#include <vector>

#include "sim/display.h"
#include "sim/i2c_device.h"

namespace zavik::I2cSim {

struct Ssd1306Config {
  int height = 64;  // panel rows, 64 or 32; the panel is 128 pixels wide
};

class Ssd1306 : public I2cDevice, public Display {
 public:
  static constexpr int kColumns = 128;
  static constexpr int kPages = 8;  // GDDRAM is 128x64 whatever the panel
  static constexpr int kRows = 64;
  // The only byte the I2C interface reads: the status register, whose bit 6
  // tells that the display is off.
  static constexpr std::uint8_t kStatusDisplayOff = 0x40;

  explicit Ssd1306(const Ssd1306Config& config);

  bool Select(bool read) override;
  bool Write(std::uint8_t byte) override;
  std::uint8_t Read() override;
  void Release(bool stop) override;

  PanelImage Shown() const override;

  std::uint8_t Ram(int page, int column) const { return ram_[static_cast<std::size_t>(page * kColumns + column)]; }
  std::uint8_t Contrast() const { return contrast_; }

 private:
  enum class Expect { kControl, kOneCommand, kOneData, kCommands, kData };
  enum class Addressing { kHorizontal = 0, kVertical = 1, kPage = 2 };

  void ControlByte(std::uint8_t byte);
  void CommandByte(std::uint8_t byte);
  void Execute(const std::vector<std::uint8_t>& command);
  void ExecuteSingle(std::uint8_t opcode);
  void DataByte(std::uint8_t byte);
  void AdvanceColumnFirst();
  void AdvancePageFirst();
  bool PixelOn(int x, int y) const;
  int ComOfPanelRow(int panelRow) const;

  const int height_;
  std::array<std::uint8_t, kColumns * kPages> ram_{};

  // The I2C message: what the next byte is.
  Expect expect_ = Expect::kControl;
  bool writing_ = false;
  // The command being assembled and how many argument bytes it still needs.
  std::vector<std::uint8_t> command_;
  std::size_t argumentsMissing_ = 0;

  // Fundamental commands.
  std::uint8_t contrast_ = 0x7F;
  bool entireOn_ = false;
  bool inverse_ = false;
  bool displayOn_ = false;
  bool chargePump_ = false;
  // Addressing.
  Addressing addressing_ = Addressing::kPage;
  int columnStart_ = 0, columnEnd_ = kColumns - 1;
  int pageStart_ = 0, pageEnd_ = kPages - 1;
  int column_ = 0, page_ = 0;
  int pageModeColumnStart_ = 0;  // where page mode wraps to (0x00-0x1F)
  // Hardware configuration.
  int startLine_ = 0;
  bool segmentRemap_ = false;  // 0xA1: column 127 drives SEG0
  int multiplex_ = kRows;      // rows scanned
  bool comScanReversed_ = false;  // 0xC8
  int displayOffset_ = 0;
  std::uint8_t comPins_ = 0x12;
};

}  // namespace zavik::I2cSim
