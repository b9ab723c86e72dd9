#pragma once
// An in-memory tape drive for the tape logic's tests, and the device that
// drives it through the fourteen operations.
//
// A cartridge is a vector of blocks; the drive holds at most one and a
// position in it, and outlives the short-lived device objects as a real drive
// does. Faults are scripted on the cartridge (write protection, end of medium
// at block N, unreadable blocks) or on the drive (no position, missing
// features).
//
// Thread safety: none of its own. The operator thread changes cartridges only
// while the device's thread waits in the operator table, whose locks order
// the two.
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "dal_tape_dev.h"

struct FakeCartridge {
  std::vector<std::string> blocks;                  // the recorded data, each block B bytes
  bool write_protected = false;
  std::uint32_t end_of_medium = 0xFFFFFFFFu;        // a write at this block or behind fails
  std::set<std::uint32_t> unreadable;               // reads of these blocks fail
};

// A block-level record of one drive call, for tests that look at the I/O.
struct FakeIo {
  char kind;             // 'R' read, 'W' write
  std::uint32_t block;   // first block
  std::uint64_t count;   // blocks asked for
};

class FakeTapeDrive {
 public:
  explicit FakeTapeDrive(std::uint32_t block_size) : m_block_size(block_size) {}

  // Puts a cartridge in, standing at block 0; null leaves the drive empty.
  void Insert(std::shared_ptr<FakeCartridge> cartridge);
  std::shared_ptr<FakeCartridge> Loaded() const { return m_cartridge; }

  std::uint32_t block_size() const { return m_block_size; }
  // What the drive reports from now on, as after a change of medium or mode.
  void set_block_size(std::uint32_t block_size) { m_block_size = block_size; }
  std::uint32_t position() const { return m_position; }
  const std::vector<FakeIo>& io() const { return m_io; }
  void ClearIo() { m_io.clear(); }

  // Faults of the drive itself.
  bool lacks_features = false;
  bool position_fails = false;  // GetCurrentPosition raises a drive failure
  int closes = 0;               // CloseHandle calls

 private:
  friend class FakeTapeDev;

  FakeCartridge& Require();  // no_tape_in_drive_error without a cartridge

  std::uint32_t m_block_size;
  std::shared_ptr<FakeCartridge> m_cartridge;
  std::uint32_t m_position = 0;
  bool m_open = false;
  std::vector<FakeIo> m_io;
};

class FakeTapeDev final : public CFnx_Dal_TapeDev {
 public:
  FakeTapeDev(CFnx_Dal_ConfigurationTape& config, FakeTapeDrive& drive) : CFnx_Dal_TapeDev(config), m_drive(drive) {}

  void GotoPosition(const CFnx_Dal_Tape_Position& position) override;
  void GotoEndOfData(const CFnx_Dal_Tape_Position& position) override;
  void GetCurrentPosition(CFnx_Dal_Tape_Position& position) override;
  void GetBlockSize(unsigned long long& block_size) override;
  bool Verify_Tape_Not_WriteProtected() override;

 protected:
  void PrepareNewTape() override;
  void LoadTape() override;
  void UnloadTape() override;
  void CloseHandle() override;
  int GetHandle() override;
  void TapeDriveFeaturesCheck() override;
  void ReadBlocks(char* buffer, unsigned long long count) override;
  void WriteBlocks(char* buffer, unsigned long long count, unsigned long long& written) override;
  void Verify_Tape_In_Drive() override;

 private:
  FakeTapeDrive& m_drive;
};

// Block 0 of a cartridge labelled as a volume of this format would be.
std::shared_ptr<FakeCartridge> LabelledCartridge(const std::string& volume_name, std::uint32_t block_size);
// A cartridge whose block 0 holds data of some other kind.
std::shared_ptr<FakeCartridge> ForeignDataCartridge(std::uint32_t block_size);
