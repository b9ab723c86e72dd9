#pragma once
// The drives that the tape scenarios run on, behind one interface: the
// in-memory test drive with its own device, and the virtual drive of a
// library directory through the platform device (CFnx_Dal_TapeDevWin32). A
// suite parameterized over TapeDriveFactory runs each scenario on both.
#include <cstdint>
#include <memory>
#include <string>

#include "dal_tape_dev.h"

struct TapeDriveShape {
  std::uint32_t block_size = 512;
  std::size_t cartridges = 1;
  std::uint32_t end_of_medium = 1u << 20;  // the first block that no write reaches
};

class TapeTestDrive {
 public:
  virtual ~TapeTestDrive() = default;

  // The device name a configuration gives for this drive.
  virtual std::string DeviceName() const = 0;
  // A device for one call or one file, as the tape media adapter makes them.
  virtual std::unique_ptr<CFnx_Dal_TapeDev> Device(CFnx_Dal_ConfigurationTape& config) = 0;
  // Puts cartridge 0, 1, ... of the shape into the drive, at block 0.
  virtual void Insert(std::size_t cartridge) = 0;
  virtual std::size_t Loaded() const = 0;
  // The block the drive stands at, as the last device left it.
  virtual std::uint32_t Position() const = 0;
  // Block n of a cartridge, as recorded.
  virtual std::string Block(std::size_t cartridge, std::uint32_t n) const = 0;
};

using TapeDriveFactory = std::unique_ptr<TapeTestDrive> (*)(const TapeDriveShape& shape);

// Cartridge 0 in the drive, the others blank beside it.
std::unique_ptr<TapeTestDrive> MakeFakeTestDrive(const TapeDriveShape& shape);
std::unique_ptr<TapeTestDrive> MakeVirtualTestDrive(const TapeDriveShape& shape);

// For INSTANTIATE_TEST_SUITE_P: "fake" or "virtual".
std::string TapeDriveName(TapeDriveFactory factory);
