#include "tape_dev_fixture.h"

#include <algorithm>
#include <chrono>
#include <thread>

TapeDevTest::TapeDevTest(std::uint32_t block_size) : m_drive(block_size) {
  m_drive.Insert(m_cartridge);
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  // One key per test: the operator table is process-wide.
  values.m_name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
  values.m_dasName = "DAS_TEST";
  values.m_volumeName = "VOL_A";
  values.m_deviceName = "fake0";
  m_config.SetValues(values);
}

CFnx_Dal_ConfigValues TapeDevTest::Values() {
  CFnx_Dal_ConfigValues values;
  m_config.GetValues(values);
  return values;
}

CFnx_Dal_OperatorItemID TapeDevTest::OperatorId() {
  const CFnx_Dal_ConfigValues values = Values();
  return CFnx_Dal_OperatorItemID(values.m_type, values.m_name, values.m_dasName);
}

void TapeDevTest::StartRunOnNewVolume() {
  CFnx_Dal_ConfigValues values = Values();
  values.m_forceLabel = true;
  SetValues(values);
  FakeTapeDev(m_config, m_drive).BackupStart();
  values = Values();
  values.m_forceLabel = false;
  SetValues(values);
}

std::string TapeDevTest::WriteFile(const std::string& content, std::size_t chunk) {
  for (;;) {
    FakeTapeDev device(m_config, m_drive);
    device.FileWriteStart();
    bool given_up = false;
    for (std::size_t done = 0; done < content.size() && !given_up;) {
      const auto piece = static_cast<std::uint32_t>(std::min(chunk, content.size() - done));
      std::string bytes = content.substr(done, piece);
      std::uint32_t written = 0;
      const bool ok = device.FileWrite(bytes.data(), piece, written);
      EXPECT_TRUE(ok);
      if (!ok) return std::string();
      given_up = written != piece;
      done += written;
    }
    CFnx_Dal_Tape_Location location;
    device.FileWriteEnd(location);
    if (given_up) continue;
    std::string text;
    location.put_to_string(text);
    return text;
  }
}

std::string TapeDevTest::RestoreFile(const std::string& location_text, std::size_t chunk) {
  CFnx_Dal_Tape_Location location;
  location.get_from_string(location_text);
  FakeTapeDev device(m_config, m_drive);
  device.ReadStart(location);
  std::string restored;
  std::string piece(chunk, '\0');
  for (;;) {
    std::uint32_t read = 0;
    device.ReadRead(piece.data(), static_cast<std::uint32_t>(chunk), read);
    restored.append(piece.data(), read);
    if (read < chunk) break;
  }
  device.ReadEnd();
  return restored;
}

std::string Content(std::size_t size, unsigned seed) {
  std::string content(size, '\0');
  std::uint32_t state = seed * 2654435761u + 1;
  for (char& byte : content) {
    state = state * 1103515245u + 12345u;
    byte = static_cast<char>(state >> 16);
  }
  return content;
}

::testing::AssertionResult SameBytes(const std::string& actual, const std::string& expected) {
  if (actual == expected) return ::testing::AssertionSuccess();
  const auto parted = std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
  return ::testing::AssertionFailure() << actual.size() << " bytes where " << expected.size()
                                       << " were expected; first difference at byte "
                                       << (parted.first - actual.begin());
}

void WaitForNewLabelTime(const std::string& volume_id) {
  CFnx_Dal_ConfigurationTape clock;
  const std::string stamp = volume_id.substr(16);  // date, "/", time
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (clock.GetCurDateFormat() + "/" + clock.GetCurTimeFormat() == stamp &&
         std::chrono::steady_clock::now() < limit) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}
