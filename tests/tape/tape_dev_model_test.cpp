// Backup runs, restores of earlier files, reloads and changes of tape in a
// random order on one drive, against a model of what each volume holds:
// every location handed out restores byte-exact, at once and at the end.
// The suite runs on every drive of the tape scenarios.
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tape_dev_fixture.h"
#include "tape_test_drive.h"

namespace {

constexpr std::uint32_t kCapacity = 1000;  // blocks: a few files to a volume
constexpr std::size_t kCartridges = 24;
constexpr int kSteps = 300;

const std::string kRestorePrefix = "Restore: please insert tape with label=(";
const std::string kWrongPrefix = "Tape with label=(";
const std::string kEndOfTape = "End of tape reached.";

class TapeDevModel : public TapeDevTest, public ::testing::WithParamInterface<TapeDriveFactory> {
 protected:
  TapeDevModel() : m_test_drive(GetParam()({/*block_size=*/512, kCartridges, kCapacity})) {
    CFnx_Dal_ConfigValues values = Values();
    values.m_deviceName = m_test_drive->DeviceName();
    SetValues(values);
  }
  std::unique_ptr<CFnx_Dal_TapeDev> NewDevice() override { return m_test_drive->Device(m_config); }

  void Insert(std::size_t cartridge) { m_test_drive->Insert(cartridge); }
  // The next cartridge never used; cartridge 0 starts in the drive.
  void InsertBlank() {
    if (volumes == static_cast<int>(kCartridges)) throw std::out_of_range("no blank cartridge left");
    Insert(static_cast<std::size_t>(volumes++));
  }
  // After a call that may have labelled the tape in the drive.
  void NoteVolume() {
    if (!VolumeId().empty()) m_cartridge_of[VolumeId()] = m_test_drive->Loaded();
  }

  // The operator: fetches the volume a question names, or a blank at the
  // end of the medium.
  std::string Respond(const std::string& question) {
    // The same question again after fetching the volume it asked for: the
    // device does not find what it wants there, and asking on would never end.
    m_repeats = question == m_last_question ? m_repeats + 1 : 0;
    m_last_question = question;
    for (const std::string& prefix : {kRestorePrefix, kWrongPrefix}) {
      if (question.rfind(prefix, 0) == 0 && m_repeats < 2) {
        const auto known = m_cartridge_of.find(question.substr(prefix.size(), kTapeVolumeIdSize));
        if (known == m_cartridge_of.end()) break;
        Insert(known->second);
        return "Retry";
      }
    }
    if (question.rfind(kEndOfTape, 0) == 0 && volumes < static_cast<int>(kCartridges)) {
      InsertBlank();
      return "Retry";
    }
    m_unexpected.push_back(question);
    return "Cancel";
  }

  // Every volume gets a name of its own, only to keep the test fast: a volume
  // labelled under one name in the second of the one before waits a second.
  void NameNextVolume() {
    CFnx_Dal_ConfigValues values = Values();
    values.m_volumeName = "V" + std::to_string(++m_names);
    m_config.SetValues(values);
  }

  void StartRun(bool new_volume) {
    CFnx_Dal_ConfigValues values = Values();
    values.m_newVolume1 = new_volume;
    m_config.SetValues(values);
    if (new_volume) InsertBlank();
    NameNextVolume();
    NewDevice()->BackupStart();
    EXPECT_EQ(m_test_drive->Position(), Values().m_endBlock);  // behind the last label written
    NoteVolume();
    values = Values();
    values.m_newVolume1 = false;
    m_config.SetValues(values);
    ++runs;
  }

  struct File {
    std::string location;
    std::size_t size;
    unsigned seed;
  };
  void Restore(const File& file, std::size_t chunk) {
    ++restores;
    EXPECT_TRUE(SameBytes(RestoreFile(file.location, chunk), Content(file.size, file.seed)))
        << "file at " << file.location.substr(180);
  }

  // Random steps until kSteps or the first failure; files receives each file written.
  void RunSteps(std::mt19937& random, std::vector<File>& files);

  std::unique_ptr<TapeTestDrive> m_test_drive;
  std::map<std::string, std::size_t> m_cartridge_of;  // volume id to cartridge
  int m_names = 0;
  std::vector<std::string> m_unexpected;
  std::string m_last_question;
  int m_repeats = 0;
  int runs = 0, restores = 0, reloads = 0, changes = 0, volumes = 0, rewrites = 0;
};

TEST_P(TapeDevModel, EveryLocationHandedOutRestoresByteExact) {
  const CFnx_Dal_ConfigValues values = Values();
  ScriptedOperator console(CFnx_Dal_OperatorItemID(values.m_type, values.m_name, values.m_dasName),
                           [this](const std::string& question) { return Respond(question); });
  std::mt19937 random(20261123);
  std::vector<File> files;

  try {
    RunSteps(random, files);
    const std::size_t chunks[] = {7, 65528, 300000};  // inside a record, one, several
    for (std::size_t i = 0; i < files.size(); ++i) Restore(files[i], chunks[i % std::size(chunks)]);
    for (std::size_t cartridge = 0; cartridge < static_cast<std::size_t>(volumes); ++cartridge) {
      const std::string block = m_test_drive->Block(cartridge, 0);
      EXPECT_TRUE(block.size() >= kTapeLabelSize && tape_is_volume_label(block.data())) << "cartridge " << cartridge;
    }
  } catch (const tape_user_abort&) {
    ADD_FAILURE() << "the operator cancelled a question";  // which one, below
  }
  EXPECT_EQ(console.Finish(), std::vector<std::string>{});
  EXPECT_EQ(m_unexpected, std::vector<std::string>{});
  std::printf("%s: %d runs, %zu files on %d volumes (%d written anew), %d restores, %d reloads, %d changes\n",
              TapeDriveName(GetParam()).c_str(), runs, files.size(), volumes, rewrites, restores, reloads, changes);
}

void TapeDevModel::RunSteps(std::mt19937& random, std::vector<File>& files) {
  auto chance = [&](int percent) { return std::uniform_int_distribution<int>(0, 99)(random) < percent; };
  const std::size_t sizes[] = {1, 507, 508, 65528, 65529};  // the edges of a record
  bool run_open = false;
  for (int step = 0; step < kSteps && !::testing::Test::HasFailure(); ++step) {
    const int action = std::uniform_int_distribution<int>(0, 99)(random);
    if (action < 50) {  // a file, in the open run or in a new one
      if (!run_open) StartRun(files.empty() || chance(15));
      run_open = true;
      const std::size_t size = chance(20) ? sizes[random() % std::size(sizes)]
                                          : std::uniform_int_distribution<std::size_t>(1, 60000)(random);
      const auto seed = static_cast<unsigned>(files.size());
      std::string location;
      for (int attempt = 0; attempt < 3 && location.empty(); ++attempt) {
        NameNextVolume();
        try {
          location = WriteFile(Content(size, seed), 1 + random() % 20000);
        } catch (const end_of_tape_error&) {
          // The last record or the end label met the end of the medium: the
          // file has no location, and the caller writes it anew on a new
          // volume (on this one it would meet the same end again).
          ++rewrites;
          StartRun(true);
        }
        NoteVolume();
      }
      ASSERT_FALSE(location.empty());
      files.push_back({location, size, seed});
    } else if (action < 65 && !files.empty()) {  // a restore ends the run
      Restore(files[random() % files.size()], 1 + random() % 70000);
      run_open = false;
    } else if (action < 80) {  // a reload, inside a run too
      Insert(m_test_drive->Loaded());
      ++reloads;
    } else if (action < 90 && !run_open && volumes > 1) {  // the operator puts another volume in
      Insert(random() % volumes);
      ++changes;
    } else if (run_open) {
      NewDevice()->BackupEnd();
      run_open = false;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Drives, TapeDevModel, ::testing::Values(&MakeFakeTestDrive, &MakeVirtualTestDrive),
                         [](const auto& info) { return TapeDriveName(info.param); });

}  // namespace
