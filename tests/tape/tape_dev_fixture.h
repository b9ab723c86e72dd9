#pragma once
// What the tape device suites share: a virtual drive of blank cartridges
// (C001 in the drive), the caller's configuration for it, the scripted
// operator, and whole files written and restored the way the tape media
// adapter does it.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dal_tape_dev_win32.h"
#include "disk_content.h"
#include "fnx_vtape.h"
#include "scripted_operator.h"
#include "temp_dir.h"

inline constexpr char kTapeDevSource[] = "dal_storage/src/dal_tape_dev";

class TapeDevTest : public ::testing::Test {
 protected:
  TapeDevTest();

  // A new library for the configuration's device, C001 in its drive; the
  // first write at end_of_medium or behind it fails.
  void UseLibrary(std::uint32_t block_size, std::uint64_t end_of_medium, unsigned cartridges = 4);
  // The device for one call or one file, as the tape media adapter makes them.
  std::unique_ptr<CFnx_Dal_TapeDev> Device() { return std::make_unique<CFnx_Dal_TapeDevWin32>(m_config); }

  CFnx_Dal_ConfigValues Values();
  void SetValues(const CFnx_Dal_ConfigValues& values) { m_config.SetValues(values); }
  std::string VolumeId() { return tape_volume_info_id(Values().m_volumeInfo); }

  // Runs call while the scripted operator answers, and expects the script kept.
  template <typename Call>
  void Operate(std::vector<OperatorStep> steps, Call&& call) {
    ScriptedOperator console(Console(), std::move(steps));
    call();
    EXPECT_EQ(console.Finish(), std::vector<std::string>{});
  }
  CFnx_Dal_OperatorItemID Console();
  // Whether call raised tape_user_abort, naming the device as its source.
  template <typename Call>
  static bool Aborts(Call&& call) {
    try {
      call();
    } catch (const tape_user_abort& abort) {
      EXPECT_EQ(abort.SourceFile(), kTapeDevSource);
      return true;
    }
    return false;
  }

  // A backup run on a fresh volume: the force-label flag set for the start.
  void StartRunOnNewVolume();
  // Writes content as one file in pieces of chunk bytes; after the end of the
  // medium the file is written anew, as the caller does. Returns its location.
  std::string WriteFile(const std::string& content, std::size_t chunk = 4096);
  std::string RestoreFile(const std::string& location, std::size_t chunk = 4096);

  // The drive: scripted failures of its calls, and a cartridge's blocks.
  void Fail(const std::string& call, std::uint32_t error, std::uint64_t at = 1, bool always = false);
  std::string Block(const std::string& cartridge, std::uint64_t n);  // empty behind the data
  std::vector<std::string> Blocks(const std::string& cartridge);
  void PutBlock(const std::string& cartridge, std::uint64_t n, const std::string& bytes);
  // Cartridge n of a library: C001, C002, ...
  static std::string Cartridge(int n);
  // Block 0 labelled by another run as "OLD_VOL", or data of some other kind.
  void LabelOther(const std::string& cartridge);
  void FillForeign(const std::string& cartridge);

  TempDir m_dir;
  std::string m_library;
  int m_libraries = 0;
  std::uint32_t m_block_size = 512;
  CFnx_Dal_ConfigurationTape m_config;
};

std::string RestoreQuestion(const std::string& wanted, const std::string& found);
// What a failed drive call says: "ReadFile:Err(1117)" and the system's text.
std::string DriveFailure(const std::string& call, std::uint32_t error);
// Compares contents without printing them: says where they part.
::testing::AssertionResult SameBytes(const std::string& actual, const std::string& expected);
