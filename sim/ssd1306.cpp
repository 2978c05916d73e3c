#include "sim/ssd1306.h"

namespace zavik::I2cSim {

namespace {

constexpr std::uint8_t kComAlternative = 0x10;  // COM pins configuration A[4]
constexpr std::uint8_t kComLeftRightRemap = 0x20;  // A[5]

int Mod64(int value) { return ((value % 64) + 64) % 64; }

// Argument bytes that follow each multi-byte command.
std::size_t ArgumentCount(std::uint8_t opcode) {
  switch (opcode) {
    case 0x81: case 0x20: case 0xA8: case 0xD3: case 0xDA:  // contrast, mode, mux, offset, COM pins
    case 0x8D: case 0xD5: case 0xD9: case 0xDB:             // charge pump, clock, pre-charge, VCOMH
      return 1;
    case 0x21: case 0x22: case 0xA3:  // column and page address, vertical scroll area
      return 2;
    case 0x26: case 0x27:  // horizontal scroll setup
      return 6;
    case 0x29: case 0x2A:  // vertical and horizontal scroll setup
      return 5;
    default: return 0;
  }
}

// The row pad of the chip that carries a COM signal under a COM pins
// configuration: sequential puts COM0..63 on pads 0..63, alternative
// interleaves the halves (COM0 pad 0, COM32 pad 1, COM1 pad 2, ...); the
// left/right remap swaps the halves first.
int PadOfCom(std::uint8_t comPins, int com) {
  const int signal = (comPins & kComLeftRightRemap) ? (com + 32) % 64 : com;
  if (!(comPins & kComAlternative)) return signal;
  return signal < 32 ? 2 * signal : 2 * (signal - 32) + 1;
}

int ComOfPad(std::uint8_t comPins, int pad) {
  const int signal = (comPins & kComAlternative) ? (pad % 2 == 0 ? pad / 2 : 32 + pad / 2) : pad;
  return (comPins & kComLeftRightRemap) ? (signal + 32) % 64 : signal;
}

}  // namespace

Ssd1306::Ssd1306(const Ssd1306Config& config) : height_(config.height) {}

bool Ssd1306::Select(bool read) {
  writing_ = !read;
  expect_ = Expect::kControl;
  return true;
}

bool Ssd1306::Write(std::uint8_t byte) {
  if (!writing_) return false;
  switch (expect_) {
    case Expect::kControl: ControlByte(byte); break;
    case Expect::kOneCommand:
      CommandByte(byte);
      expect_ = Expect::kControl;
      break;
    case Expect::kOneData:
      DataByte(byte);
      expect_ = Expect::kControl;
      break;
    case Expect::kCommands: CommandByte(byte); break;
    case Expect::kData: DataByte(byte); break;
  }
  return true;
}

// Over I2C the chip gives no access to GDDRAM: every byte read is the status register.
std::uint8_t Ssd1306::Read() { return displayOn_ ? 0x00 : kStatusDisplayOff; }

void Ssd1306::Release(bool) { writing_ = false; }

// Co set: one byte of the kind D/C# names, then another control byte.
// Co clear: the rest of the message is of that kind.
void Ssd1306::ControlByte(std::uint8_t byte) {
  const bool single = (byte & 0x80) != 0;
  const bool data = (byte & 0x40) != 0;
  if (single) {
    expect_ = data ? Expect::kOneData : Expect::kOneCommand;
  } else {
    expect_ = data ? Expect::kData : Expect::kCommands;
  }
}

void Ssd1306::CommandByte(std::uint8_t byte) {
  if (argumentsMissing_ == 0) {
    command_.assign(1, byte);
    argumentsMissing_ = ArgumentCount(byte);
  } else {
    command_.push_back(byte);
    --argumentsMissing_;
  }
  if (argumentsMissing_ == 0) Execute(command_);
}

void Ssd1306::Execute(const std::vector<std::uint8_t>& command) {
  switch (command[0]) {
    case 0x81: contrast_ = command[1]; break;
    case 0x20:
      if ((command[1] & 0x03) != 0x03) addressing_ = static_cast<Addressing>(command[1] & 0x03);  // 3 is invalid
      break;
    case 0x21:
      columnStart_ = command[1] & 0x7F;
      columnEnd_ = command[2] & 0x7F;
      column_ = columnStart_;
      break;
    case 0x22:
      pageStart_ = command[1] & 0x07;
      pageEnd_ = command[2] & 0x07;
      page_ = pageStart_;
      break;
    case 0xA8:
      if ((command[1] & 0x3F) >= 15) multiplex_ = (command[1] & 0x3F) + 1;  // ratios below 16 are invalid
      break;
    case 0xD3: displayOffset_ = command[1] & 0x3F; break;
    case 0xDA: comPins_ = command[1] & (kComAlternative | kComLeftRightRemap); break;
    case 0x8D: chargePump_ = (command[1] & 0x04) != 0; break;
    default:
      // Timing and scrolling commands are accepted with their arguments and
      // change nothing on the picture.
      if (command.size() == 1) ExecuteSingle(command[0]);
      break;
  }
}

void Ssd1306::ExecuteSingle(std::uint8_t opcode) {
  if (opcode <= 0x0F) {
    pageModeColumnStart_ = (pageModeColumnStart_ & 0x70) | opcode;
    column_ = pageModeColumnStart_;
  } else if (opcode <= 0x1F) {
    pageModeColumnStart_ = (pageModeColumnStart_ & 0x0F) | ((opcode & 0x07) << 4);
    column_ = pageModeColumnStart_;
  } else if (opcode >= 0x40 && opcode <= 0x7F) {
    startLine_ = opcode & 0x3F;
  } else if (opcode >= 0xB0 && opcode <= 0xB7) {
    page_ = opcode & 0x07;
  } else if (opcode >= 0xC0 && opcode <= 0xCF) {
    comScanReversed_ = (opcode & 0x08) != 0;
  } else {
    switch (opcode) {
      case 0xA0: case 0xA1: segmentRemap_ = opcode == 0xA1; break;
      case 0xA4: case 0xA5: entireOn_ = opcode == 0xA5; break;
      case 0xA6: case 0xA7: inverse_ = opcode == 0xA7; break;
      case 0xAE: case 0xAF: displayOn_ = opcode == 0xAF; break;
      default: break;  // NOP (0xE3), scroll on/off (0x2F/0x2E), unknown
    }
  }
}

void Ssd1306::DataByte(std::uint8_t byte) {
  ram_[static_cast<std::size_t>(page_ * kColumns + column_)] = byte;
  switch (addressing_) {
    case Addressing::kHorizontal: AdvanceColumnFirst(); break;
    case Addressing::kVertical: AdvancePageFirst(); break;
    case Addressing::kPage:
      // The page stays; at the last column the pointer returns to the
      // column start that 0x00-0x1F set.
      column_ = column_ == kColumns - 1 ? pageModeColumnStart_ : column_ + 1;
      break;
  }
}

// Horizontal mode: along the columns of the window, then to the next page,
// from the last page back to the first.
void Ssd1306::AdvanceColumnFirst() {
  if (column_ != columnEnd_) {
    column_ = (column_ + 1) % kColumns;
    return;
  }
  column_ = columnStart_;
  page_ = page_ == pageEnd_ ? pageStart_ : (page_ + 1) % kPages;
}

// Vertical mode: down the pages of the window, then to the next column.
void Ssd1306::AdvancePageFirst() {
  if (page_ != pageEnd_) {
    page_ = (page_ + 1) % kPages;
    return;
  }
  page_ = pageStart_;
  column_ = column_ == columnEnd_ ? columnStart_ : (column_ + 1) % kColumns;
}

PanelImage Ssd1306::Shown() const {
  PanelImage image(kColumns, height_);
  // The usual modules have no VCC supply of their own: without the charge
  // pump the panel stays dark even when the display is on.
  if (!displayOn_ || !chargePump_) return image;
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < kColumns; ++x) image.Set(x, y, PixelOn(x, y));
  }
  return image;
}

// The COM signal that lights a row of the picture. The module carries the
// glass upside down and mirrored (so that the usual 0xA1/0xC8 set-up shows
// GDDRAM upright), and its rows are wired to the pads that the COM pins
// configuration its height wants (0x12 for 64 rows, 0x02 for 32) puts in
// order; with any other configuration the rows come out interleaved.
int Ssd1306::ComOfPanelRow(int panelRow) const {
  const int glassRow = height_ - 1 - panelRow;
  const std::uint8_t straight = height_ == 64 ? kComAlternative : 0x00;
  return ComOfPad(comPins_, PadOfCom(straight, glassRow));
}

bool Ssd1306::PixelOn(int x, int y) const {
  const int com = ComOfPanelRow(y);
  // The row counter runs over the multiplex ratio, from COM0 up or, with the
  // reversed scan, from COM[mux-1] down; the display offset shifts the COMs
  // against it. COMs it does not reach stay dark, whatever inverse says.
  const int scanned = comScanReversed_ ? Mod64(multiplex_ - 1 - com) : com;
  const int step = (scanned + displayOffset_) % kRows;
  if (step >= multiplex_) return false;
  if (entireOn_) return true;
  const int ramRow = (step + startLine_) % kRows;
  const int segment = kColumns - 1 - x;
  const int column = segmentRemap_ ? kColumns - 1 - segment : segment;
  const bool bit = ((Ram(ramRow / 8, column) >> (ramRow % 8)) & 1) != 0;
  return bit != inverse_;
}

}  // namespace zavik::I2cSim
