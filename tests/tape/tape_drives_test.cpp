// Tape scenarios that run on every drive: the in-memory test drive and the
// virtual drive through the platform device, with the operator answering
// from a second thread.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tape_dev_fixture.h"
#include "tape_test_drive.h"

namespace {

const std::string kDataEot =
    "End of tape reached. A new volume will be started.\nPlease, insert a new volume and press \"Retry\"";

std::string Digits(std::uint32_t number, std::size_t width) {
  const std::string text = std::to_string(number);
  return std::string(width - text.size(), '0') + text;
}

class TapeOnEachDrive : public TapeDevTest, public ::testing::WithParamInterface<TapeDriveFactory> {
 protected:
  // The drive of the spec, cartridge 0 in it, named in the configuration.
  void Use(const TapeDriveSpec& spec) {
    m_test_drive = GetParam()(spec);
    CFnx_Dal_ConfigValues values = Values();
    values.m_deviceName = m_test_drive->DeviceName();
    SetValues(values);
  }
  std::unique_ptr<CFnx_Dal_TapeDev> NewDevice() override { return m_test_drive->Device(m_config); }
  std::string IdOf(std::size_t cartridge) {
    return m_test_drive->Block(cartridge, 0).substr(kTapeVolumeIdOffset, kTapeVolumeIdSize);
  }

  std::unique_ptr<TapeTestDrive> m_test_drive;
};

}  // namespace

TEST_P(TapeOnEachDrive, ARunOverThreeVolumesKeepsEveryFileItGaveALocationFor) {
  Use({/*block_size=*/512, /*cartridges=*/3, /*end_of_medium=*/260});
  StartRunOnNewVolume();

  // 100000 bytes take 198 blocks: the second such file on a volume meets the
  // end of the medium inside its first record.
  const std::size_t sizes[] = {100000, 100000, 20000, 100000, 1};
  std::vector<std::string> locations;
  std::vector<std::size_t> volume_of_file;
  std::size_t loaded = 0;
  for (std::size_t i = 0; i < std::size(sizes); ++i) {
    SCOPED_TRACE("file " + std::to_string(i + 1));
    std::vector<OperatorStep> steps;
    if (i == 1 || i == 3) {
      const std::size_t next = ++loaded;
      steps.push_back({kDataEot, kRetryCancel, "Retry", InsertNewVolume([this, next] { m_test_drive->Insert(next); })});
    }
    Operate(steps, [&] { locations.push_back(WriteFile(Content(sizes[i], 10 + i), 8192)); });
    volume_of_file.push_back(loaded);

    // The caller's configuration follows the volume in the drive.
    const CFnx_Dal_ConfigValues values = Values();
    EXPECT_TRUE(values.m_backupFlag);
    EXPECT_EQ(VolumeId(), IdOf(loaded));
    EXPECT_EQ(locations.back().substr(180, 26) + "/" + locations.back().substr(206, 8), VolumeId());
    tape_volume_status status;
    status.load(values.m_volumeInfo);
    const auto files = std::count(volume_of_file.begin(), volume_of_file.end(), loaded);
    EXPECT_EQ(status.get_file_count(), files);
    EXPECT_NE(values.m_statusLine.find(", files: " + std::to_string(files) + ", "), std::string::npos)
        << values.m_statusLine;
    EXPECT_EQ(std::string(status.offset_low, 10), Digits(m_test_drive->Position(), 10));
  }
  NewDevice()->BackupEnd();
  EXPECT_FALSE(Values().m_backupFlag);

  // Restores ask for the volume whenever another one is in the drive.
  for (std::size_t i = 0; i < locations.size(); ++i) {
    SCOPED_TRACE("restore of file " + std::to_string(i + 1));
    const std::size_t wanted = volume_of_file[i];
    std::vector<OperatorStep> steps;
    if (m_test_drive->Loaded() != wanted) {
      const std::string found =
          m_test_drive->Block(m_test_drive->Loaded(), static_cast<std::uint32_t>(std::stoul(locations[i].substr(254, 10))));
      steps.push_back({RestoreQuestion(IdOf(wanted), found.substr(kTapeFileLabelVolumeIdOffset, kTapeVolumeIdSize)),
                       kRetryCancel, "Retry", [this, wanted] { m_test_drive->Insert(wanted); }});
    }
    std::string restored;
    Operate(steps, [&] { restored = RestoreFile(locations[i], 50000); });
    EXPECT_TRUE(SameBytes(restored, Content(sizes[i], static_cast<unsigned>(10 + i))));
  }
}

INSTANTIATE_TEST_SUITE_P(Drives, TapeOnEachDrive, ::testing::Values(&MakeFakeTestDrive, &MakeVirtualTestDrive),
                         [](const auto& info) { return TapeDriveName(info.param); });
