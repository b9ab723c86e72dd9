#pragma once
// What the tape device suites share: a drive with cartridges, the caller's
// configuration, the operator's key, and whole files written and restored
// the way the tape media adapter does it.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dal_tape_dev.h"
#include "fake_tape_drive.h"
#include "scripted_operator.h"

// The source that the device's own failures name.
inline constexpr char kTapeDevSource[] = "dal_storage/src/dal_tape_dev";

class TapeDevTest : public ::testing::Test {
 protected:
  explicit TapeDevTest(std::uint32_t block_size = 512);

  CFnx_Dal_ConfigValues Values();
  void SetValues(const CFnx_Dal_ConfigValues& values) { m_config.SetValues(values); }
  CFnx_Dal_OperatorItemID OperatorId();

  // Runs call while the scripted operator answers; returns what went
  // against the script.
  template <typename Call>
  std::vector<std::string> WithOperator(std::vector<OperatorStep> steps, Call&& call) {
    ScriptedOperator console(OperatorId(), std::move(steps));
    call();
    return console.Finish();
  }

  // A backup run on a fresh volume: the force-label flag set for the start.
  void StartRunOnNewVolume();
  // Writes content as one file in pieces of chunk bytes, on a device of its
  // own; after the end of the medium the file is written anew from its start,
  // as the caller does it. Returns the location string.
  std::string WriteFile(const std::string& content, std::size_t chunk = 4096);
  // Restores the file of location in pieces of chunk bytes.
  std::string RestoreFile(const std::string& location, std::size_t chunk = 4096);

  std::string VolumeId() { return tape_volume_info_id(Values().m_volumeInfo); }
  std::string Block(std::uint32_t index) { return m_drive.Loaded()->blocks.at(index); }

  FakeTapeDrive m_drive;
  std::shared_ptr<FakeCartridge> m_cartridge = std::make_shared<FakeCartridge>();
  CFnx_Dal_ConfigurationTape m_config;
};

// Compares file contents without printing them: says where they part.
::testing::AssertionResult SameBytes(const std::string& actual, const std::string& expected);

// Returns once a label made now has another time stamp than the volume id:
// two volumes labelled within one second would be the same volume.
void WaitForNewLabelTime(const std::string& volume_id);

// Bytes that differ from position to position and from file to file.
std::string Content(std::size_t size, unsigned seed = 1);
