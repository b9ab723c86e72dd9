#include "fake_tape_drive.h"

#include <cstring>

namespace {

constexpr const char kSourceFile[] = "tests/tape/fake_tape_drive";

// What a platform drive reports for a medium error.
FNXError DriveFailure(const char* what) { return FNXError(what, 23, 12, kSourceFile, 0); }

}  // namespace

FakeCartridge& FakeTapeDrive::Require() {
  if (!m_cartridge) throw no_tape_in_drive_error(kSourceFile, __LINE__);
  m_open = true;
  return *m_cartridge;
}

void FakeTapeDev::TapeDriveFeaturesCheck() {
  m_drive.Require();
  if (m_drive.lacks_features) throw tape_features_support_error(kSourceFile, __LINE__);
}

void FakeTapeDev::GotoPosition(const CFnx_Dal_Tape_Position& position) {
  if (position.offset_low() > m_drive.Require().blocks.size()) throw end_of_tape_error(kSourceFile, __LINE__);
  m_drive.m_position = position.offset_low();
}

void FakeTapeDev::GetCurrentPosition(CFnx_Dal_Tape_Position& position) {
  m_drive.Require();
  if (m_drive.position_fails) throw DriveFailure("GetCurrentPosition");
  position = CFnx_Dal_Tape_Position(1, m_drive.m_position, 0);
}

void FakeTapeDev::ReadBlocks(char* buffer, unsigned long long count) {
  const FakeCartridge& cartridge = m_drive.Require();
  for (unsigned long long i = 0; i < count; ++i) {
    if (m_drive.m_position >= cartridge.blocks.size()) {
      if (m_drive.end_of_data_code) throw FNXError("ReadBlocks: no data", 1104, 12, kSourceFile, __LINE__);
      throw end_of_tape_error(kSourceFile, __LINE__);
    }
    if (cartridge.unreadable.count(m_drive.m_position)) throw DriveFailure("ReadBlocks");
    const std::string& block = cartridge.blocks[m_drive.m_position];
    // A block recorded at another size than the drive's fails, as a drive in
    // fixed block mode reports it, and the drive does not move.
    if (block.size() != m_drive.m_block_size) throw FNXError("ReadBlocks: invalid block length", 1106, 12, kSourceFile, __LINE__);
    ++m_drive.m_position;
    std::memcpy(buffer + i * m_drive.m_block_size, block.data(), block.size());
  }
}

void FakeTapeDev::WriteBlocks(char* buffer, unsigned long long count, unsigned long long& written) {
  FakeCartridge& cartridge = m_drive.Require();
  written = 0;
  if (cartridge.write_protected) throw FNXError("WriteBlocks: write protected", 19, 12, kSourceFile, __LINE__);
  for (; written < count; ++written) {
    if (m_drive.m_position >= cartridge.end_of_medium) throw end_of_tape_error(kSourceFile, __LINE__);
    // A write makes everything behind it unreadable, as on tape.
    cartridge.blocks.resize(m_drive.m_position++);
    cartridge.blocks.emplace_back(buffer + written * m_drive.m_block_size, m_drive.m_block_size);
  }
}

std::shared_ptr<FakeCartridge> LabelledCartridge(const std::string& volume_name, std::uint32_t block_size) {
  tape_volume_label label;
  label.set(volume_name, "DAS_OTHER", "2020.01.02", "03.04.05");
  auto cartridge = std::make_shared<FakeCartridge>();
  cartridge->blocks.emplace_back(label.bytes(), kTapeLabelSize);
  cartridge->blocks[0].resize(block_size, ' ');
  return cartridge;
}

std::shared_ptr<FakeCartridge> ForeignDataCartridge(std::uint32_t block_size) {
  auto cartridge = std::make_shared<FakeCartridge>();
  for (char fill : {'a', 'b', 'c'}) cartridge->blocks.emplace_back(block_size, fill);
  return cartridge;
}
