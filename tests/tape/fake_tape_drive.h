#pragma once
// An in-memory tape drive and the device that drives it. A cartridge is a
// vector of blocks; the drive outlives the short-lived device objects as a
// real drive does. The operator thread changes cartridges only while the
// device waits in the operator table, whose locks order the two.
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dal_tape_dev.h"

struct FakeCartridge {
  std::vector<std::string> blocks;
  bool write_protected = false;
  std::uint32_t end_of_medium = 0xFFFFFFFFu;  // a write at this block or behind fails
  std::set<std::uint32_t> unreadable;
  std::uint32_t wound_to = 0;  // where a drive stands once it is inserted: a tape left wound on
};

class FakeTapeDrive {
 public:
  explicit FakeTapeDrive(std::uint32_t block_size) : m_block_size(block_size) {}

  // Puts a cartridge in where it was wound to; null leaves the drive empty.
  void Insert(std::shared_ptr<FakeCartridge> cartridge) {
    m_cartridge = std::move(cartridge);
    m_position = m_cartridge ? m_cartridge->wound_to : 0;
  }
  std::shared_ptr<FakeCartridge> Loaded() const { return m_cartridge; }
  void set_block_size(std::uint32_t block_size) { m_block_size = block_size; }
  std::uint32_t position() const { return m_position; }

  bool lacks_features = false;
  bool position_fails = false;  // how a tape of another format shows itself
  bool end_of_data_code = false;  // reads at the end fail as a platform drive reports it, 1104
  int closes = 0;

 private:
  friend class FakeTapeDev;
  FakeCartridge& Require();

  std::uint32_t m_block_size;
  std::shared_ptr<FakeCartridge> m_cartridge;
  std::uint32_t m_position = 0;
  bool m_open = false;
};

class FakeTapeDev final : public CFnx_Dal_TapeDev {
 public:
  FakeTapeDev(CFnx_Dal_ConfigurationTape& config, FakeTapeDrive& drive) : CFnx_Dal_TapeDev(config), m_drive(drive) {}

  void GotoPosition(const CFnx_Dal_Tape_Position& position) override;
  void GotoEndOfData(const CFnx_Dal_Tape_Position&) override {
    m_drive.m_position = static_cast<std::uint32_t>(m_drive.Require().blocks.size());
  }
  void GetCurrentPosition(CFnx_Dal_Tape_Position& position) override;
  void GetBlockSize(unsigned long long& block_size) override {
    m_drive.m_open = true;
    block_size = m_drive.m_block_size;
  }
  bool Verify_Tape_Not_WriteProtected() override { return !m_drive.Require().write_protected; }

 protected:
  void PrepareNewTape() override { LoadTape(); }
  void LoadTape() override {
    m_drive.Require();
    m_drive.m_position = 0;
  }
  void UnloadTape() override { m_drive.Insert(nullptr); }
  void CloseHandle() override {
    m_drive.m_open = false;
    ++m_drive.closes;
  }
  int GetHandle() override { return m_drive.m_open ? 1 : 0; }
  void TapeDriveFeaturesCheck() override;
  void ReadBlocks(char* buffer, unsigned long long count) override;
  void WriteBlocks(char* buffer, unsigned long long count, unsigned long long& written) override;
  void Verify_Tape_In_Drive() override { m_drive.Require(); }

 private:
  FakeTapeDrive& m_drive;
};

std::shared_ptr<FakeCartridge> LabelledCartridge(const std::string& volume_name, std::uint32_t block_size = 512);
// Block 0 holds data of some other kind.
std::shared_ptr<FakeCartridge> ForeignDataCartridge(std::uint32_t block_size = 512);
