#pragma once
// What the tape device suites share: a virtual drive of blank cartridges
// (C001 in the drive), the caller's configuration for it, an operator who
// follows a script, and whole files written and restored the way the tape
// media adapter does it.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dal_tape_dev_win32.h"
#include "disk_content.h"
#include "fnx_vtape.h"
#include "scripted_operator.h"
#include "temp_dir.h"

inline constexpr char kTapeDevSource[] = "dal_storage/src/dal_tape_dev";
inline const std::vector<std::string> kRetryCancel = {"Retry", "Cancel"};
inline const std::string kUse = "Use. Tape will be erased. All data will be LOST!";
inline const std::vector<std::string> kRetryCancelUse = {"Retry", "Cancel", kUse};
inline const std::string kProtectedQuestion =
    "Tape is write protected. Please, remove write protection and press \"Retry\"";
inline const std::string kStartEndQuestion =
    "End of tape reached. A new backup will be started.\nPlease, insert a new volume and press \"Retry\"";
inline const std::string kDataEndQuestion =
    "End of tape reached. A new volume will be started.\nPlease, insert a new volume and press \"Retry\"";
inline const std::string kForeignTapeQuestion =
    "Foreign tape in the drive.\nPlease, insert a new volume and press \"Retry\"";
// A new volume wanted, and a tape labelled by another run (TapeDevTest::LabelOther) or holding other data.
inline const std::string kLabelledQuestion =
    "A new tape expected. Tape in the drive has been labeled already,\nlabel: "
    "volume=\"OLD_VOL, 2020.01.02, 03.04.05\" \nPlease insert a new tape";
inline const std::string kForeignDataQuestion =
    "A new tape expected. Tape in the drive holds data but no volume label.\nPlease insert a new tape";

struct OperatorStep {
  std::string question;
  std::vector<std::string> options;
  std::string answer;                 // text that is no option answers past the list
  std::function<void()> action = {};  // done before answering
};

class TapeDevTest : public ::testing::Test {
 protected:
  TapeDevTest();

  // A new library for the configuration's device, C001 in its drive; the
  // first write at end_of_medium or behind it fails.
  void UseLibrary(std::uint32_t block_size, std::uint64_t end_of_medium, int cartridges = 4);
  // The device for one call or one file, as the tape media adapter makes them.
  std::unique_ptr<CFnx_Dal_TapeDev> Device() { return std::make_unique<CFnx_Dal_TapeDevWin32>(m_config); }
  CFnx_Dal_ConfigValues Values();
  void SetValues(const CFnx_Dal_ConfigValues& values) { m_config.SetValues(values); }
  std::string VolumeId() { return tape_volume_info_id(Values().m_volumeInfo); }
  CFnx_Dal_OperatorItemID Console();

  // Runs call while the operator follows the steps, and expects them kept.
  void Operate(const std::vector<OperatorStep>& steps, const std::function<void()>& call);
  // Whether call raised tape_user_abort, naming the device as its source.
  static bool Aborts(const std::function<void()>& call);

  // A backup run on a fresh volume: the force-label flag set for the start.
  void StartRunOnNewVolume();
  // Writes content as one file in pieces of chunk bytes; after the end of the
  // medium the file is written anew, as the caller does. Returns its location.
  std::string WriteFile(const std::string& content, std::size_t chunk = 4096);
  std::string RestoreFile(const std::string& location, std::size_t chunk = 4096);

  // The drive: scripted failures of its calls, and a cartridge's blocks.
  void Fail(const std::string& call, std::uint32_t error, std::uint64_t at = 1, bool always = false);
  std::vector<std::string> Blocks(const std::string& cartridge);
  void PutBlock(const std::string& cartridge, std::uint64_t n, const std::string& bytes);
  std::string IdOf(const std::string& cartridge) {
    return Blocks(cartridge).at(0).substr(kTapeVolumeIdOffset, kTapeVolumeIdSize);
  }
  // Block 0 labelled by another run as "OLD_VOL", or data of some other kind.
  void LabelOther(const std::string& cartridge);
  void FillForeign(const std::string& cartridge);

  TempDir m_dir;
  std::string m_library;
  int m_libraries = 0;
  std::uint32_t m_block_size = 512;
  CFnx_Dal_ConfigurationTape m_config;
};

std::string Cartridge(int n);  // C001, C002, ...
// What a failed drive call says: "ReadFile:Err(1117)" and the system's text.
std::string DriveFailure(const std::string& call, std::uint32_t error);
