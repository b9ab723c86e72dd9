#pragma once
// What the tape device suites share: a drive with a cartridge, the caller's
// configuration, the scripted operator, and whole files written and restored
// the way the tape media adapter does it.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "dal_tape_dev.h"
#include "fake_tape_drive.h"
#include "scripted_operator.h"

inline constexpr char kTapeDevSource[] = "dal_storage/src/dal_tape_dev";

class TapeDevTest : public ::testing::Test {
 protected:
  TapeDevTest();

  // The device of the drive under test for one call or one file; the
  // in-memory drive's unless a suite runs on another drive.
  virtual std::unique_ptr<CFnx_Dal_TapeDev> NewDevice();

  CFnx_Dal_ConfigValues Values();
  void SetValues(const CFnx_Dal_ConfigValues& values) { m_config.SetValues(values); }

  // Runs call while the scripted operator answers, and expects the script kept.
  template <typename Call>
  void Operate(std::vector<OperatorStep> steps, Call&& call) {
    const CFnx_Dal_ConfigValues values = Values();
    ScriptedOperator console(CFnx_Dal_OperatorItemID(values.m_type, values.m_name, values.m_dasName),
                             std::move(steps));
    call();
    EXPECT_EQ(console.Finish(), std::vector<std::string>{});
  }
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

  std::string VolumeId() { return tape_volume_info_id(Values().m_volumeInfo); }
  // An operator action that inserts next. It does not wait for the clock: a
  // volume labelled in the same second as the one before must still get an
  // id of its own.
  std::function<void()> InsertNewVolume(std::shared_ptr<FakeCartridge> next);

  FakeTapeDrive m_drive{512};
  std::shared_ptr<FakeCartridge> m_cartridge = std::make_shared<FakeCartridge>();
  CFnx_Dal_ConfigurationTape m_config;
};

std::string IdOf(const std::shared_ptr<FakeCartridge>& cartridge);
std::string RestoreQuestion(const std::string& wanted, const std::string& found);
// Compares contents without printing them: says where they part.
::testing::AssertionResult SameBytes(const std::string& actual, const std::string& expected);
// Bytes that differ from position to position and from seed to seed.
std::string Content(std::size_t size, unsigned seed = 1);
