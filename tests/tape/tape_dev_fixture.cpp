#include "tape_dev_fixture.h"

#include <algorithm>
#include <chrono>
#include <thread>

TapeDevTest::TapeDevTest() {
  m_drive.Insert(m_cartridge);
  CFnx_Dal_ConfigValues values;
  values.m_type = 7;
  // One operator key per test: the operator table is process-wide.
  values.m_name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
  values.m_dasName = "DAS_TEST";
  values.m_volumeName = "VOL_A";
  values.m_deviceName = "fake0";
  m_config.SetValues(values);
}

std::unique_ptr<CFnx_Dal_TapeDev> TapeDevTest::NewDevice() { return std::make_unique<FakeTapeDev>(m_config, m_drive); }

CFnx_Dal_ConfigValues TapeDevTest::Values() {
  CFnx_Dal_ConfigValues values;
  m_config.GetValues(values);
  return values;
}

void TapeDevTest::StartRunOnNewVolume() {
  CFnx_Dal_ConfigValues values = Values();
  values.m_forceLabel = true;
  SetValues(values);
  NewDevice()->BackupStart();
  values = Values();
  values.m_forceLabel = false;
  SetValues(values);
}

std::string TapeDevTest::WriteFile(const std::string& content, std::size_t chunk) {
  for (;;) {
    const std::unique_ptr<CFnx_Dal_TapeDev> file_device = NewDevice();
    CFnx_Dal_TapeDev& device = *file_device;
    device.FileWriteStart();
    bool given_up = false;
    for (std::size_t done = 0; done < content.size() && !given_up;) {
      const auto piece = static_cast<std::uint32_t>(std::min(chunk, content.size() - done));
      std::string bytes = content.substr(done, piece);
      std::uint32_t written = 0;
      if (!device.FileWrite(bytes.data(), piece, written)) return "FileWrite refused";
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
  const std::unique_ptr<CFnx_Dal_TapeDev> file_device = NewDevice();
  CFnx_Dal_TapeDev& device = *file_device;
  device.ReadStart(location);
  std::string restored;
  std::string piece(chunk, '\0');
  for (std::uint32_t read = static_cast<std::uint32_t>(chunk); read == chunk;) {
    device.ReadRead(piece.data(), static_cast<std::uint32_t>(chunk), read);
    restored.append(piece.data(), read);
  }
  device.ReadEnd();
  return restored;
}

std::function<void()> TapeDevTest::InsertNewVolume(std::shared_ptr<FakeCartridge> next) {
  return [this, next] { m_drive.Insert(next); };
}

std::string IdOf(const std::shared_ptr<FakeCartridge>& cartridge) {
  return cartridge->blocks.at(0).substr(kTapeVolumeIdOffset, kTapeVolumeIdSize);
}

std::string RestoreQuestion(const std::string& wanted, const std::string& found) {
  return "Restore: please insert tape with label=(" + wanted + ").\n Label on current tape=(" + found + ")";
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
