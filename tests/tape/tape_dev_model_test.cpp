// Backup runs, restores of earlier files, reloads and changes of tape in a
// random order on one drive, with what goes wrong at a console: full
// volumes, write protection turned on, foreign or labelled tapes offered as
// new ones, failed drive calls, unmatched answers. Against a model of what
// each volume holds: every location handed out restores byte-exact, at once
// and at the end.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tape_dev_fixture.h"

namespace {

constexpr std::uint32_t kCapacity = 1000;  // blocks: a few files to a volume
constexpr int kCartridges = 40;
constexpr int kSteps = 300;

class TapeDevModel : public TapeDevTest {
 protected:
  TapeDevModel() {
    UseLibrary(512, kCapacity, kCartridges);
    m_operator.library = m_library;
    for (int i = 2; i <= kCartridges; ++i) m_operator.blanks.push_back(Cartridge(i));
  }

  bool Chance(int percent) { return std::uniform_int_distribution<int>(0, 99)(m_random) < percent; }
  std::string InDrive() { return FnxVtapeGetStatus(m_library).inDrive; }
  // After a call that may have labelled the tape in the drive.
  void NoteVolume() {
    if (!VolumeId().empty()) m_operator.Note(VolumeId(), InDrive());
  }

  // The operator: fetches the volume a question names or a blank, takes
  // protection off, and now and then answers what names no option.
  std::string Respond(const std::string& question) {
    if (question.rfind("Tape is write protected.", 0) == 0) {
      FnxVtapeProtect(m_library, InDrive(), false);
      return "Retry";
    }
    if (question.rfind("A new tape expected.", 0) == 0) {
      if (m_junk.count(InDrive()) && Chance(50)) return kUse;
      m_operator.last_question.clear();
      return m_operator.Respond("insert a new volume");
    }
    if (question.rfind("End of tape reached. A new volume", 0) == 0 && Chance(25)) return "?";
    return m_operator.Respond(question);
  }

  void StartRun(bool new_volume) {
    CFnx_Dal_ConfigValues values = Values();
    values.m_newVolume1 = new_volume;
    if (!new_volume && Chance(20)) values.m_endBlock = 0;  // a caller that kept no end block
    SetValues(values);
    if (new_volume) {
      ASSERT_FALSE(m_operator.blanks.empty()) << "no blank cartridge left";
      const std::string next = m_operator.blanks.front();
      m_operator.blanks.erase(m_operator.blanks.begin());
      if (Chance(20)) {  // a tape that is no blank: its question fetches a blank or uses it
        m_junk.insert(next);
        Chance(50) ? LabelOther(next) : FillForeign(next);
      }
      FnxVtapeInsert(m_library, next);
    }
    // Every volume gets a name of its own, only to keep the test fast: a volume
    // labelled under one name in the second of the one before waits a second.
    values = Values();
    values.m_volumeName = "V" + std::to_string(++m_names);
    SetValues(values);
    Device()->BackupStart();
    EXPECT_EQ(FnxVtapeGetStatus(m_library).position, Values().m_endBlock);  // behind the last label written
    NoteVolume();
    values = Values();
    values.m_newVolume1 = false;
    SetValues(values);
    ++runs;
  }

  struct File {
    std::string location;
    std::size_t size;
    unsigned seed;
  };
  void Restore(const File& file, std::size_t chunk) {
    ++restores;
    if (Chance(10)) {  // a failed read: the restore fails, and the next one finds the file
      Fail("read", 1117, 1 + m_random() % 4);
      try {
        RestoreFile(file.location, chunk);
      } catch (const FNXError& error) {
        EXPECT_EQ(error.Code(), 1117) << error.Text();
      }
      FnxVtapeClearFaults(m_library);
    }
    EXPECT_TRUE(SameBytes(RestoreFile(file.location, chunk), DocumentBytes(file.seed, file.size)))
        << "file at " << file.location.substr(180);
  }

  void Write(std::vector<File>& files);
  void RunSteps(std::vector<File>& files);

  std::mt19937 m_random{20261123};
  CartridgeOperator m_operator;
  std::set<std::string> m_junk;
  int m_names = 0;
  bool m_run_open = false;
  int runs = 0, restores = 0, reloads = 0, changes = 0, rewrites = 0, faults = 0;
};

TEST_F(TapeDevModel, EveryLocationHandedOutRestoresByteExact) {
  ScriptedOperator console(Console(), [this](const std::string& question) { return Respond(question); });
  std::vector<File> files;
  try {
    RunSteps(files);
    const std::size_t chunks[] = {7, 65528, 300000};  // inside a record, one, several
    for (std::size_t i = 0; i < files.size(); ++i) Restore(files[i], chunks[i % std::size(chunks)]);
  } catch (const tape_user_abort&) {
    ADD_FAILURE() << "the operator cancelled a question";  // which one, below
  }
  EXPECT_EQ(console.Finish(), std::vector<std::string>{});
  EXPECT_EQ(m_operator.errors, std::vector<std::string>{});
  std::printf("%d runs, %zu files on %zu volumes (%d written anew, %d after a fault), %d restores, %d reloads, "
              "%d changes\n",
              runs, files.size(), m_operator.volumes.size(), rewrites, faults, restores, reloads, changes);
}

// A file, in the open run or in a new one, written anew until it has a location.
void TapeDevModel::Write(std::vector<File>& files) {
  if (!m_run_open) StartRun(files.empty() || Chance(15));
  m_run_open = true;
  const std::size_t sizes[] = {1, 507, 508, 65528, 65529};  // the edges of a record
  const std::size_t size = Chance(20) ? sizes[m_random() % std::size(sizes)]
                                      : std::uniform_int_distribution<std::size_t>(1, 60000)(m_random);
  const auto seed = static_cast<unsigned>(files.size());
  std::string location;
  for (int attempt = 0; attempt < 4 && location.size() != kTapeLocationSize; ++attempt) {
    if (Chance(5)) FnxVtapeProtect(m_library, InDrive(), true);  // asked about at the start of the file
    if (Chance(5)) Fail("get_position", 1117);                   // the tape looks foreign: a new volume
    if (Chance(5)) Fail("write", 1117, 1 + m_random() % 3);      // the caller writes the file anew
    try {
      location = WriteFile(DocumentBytes(seed, size), 1 + m_random() % 20000);
    } catch (const end_of_tape_error&) {
      // The last record or the end label met the end of the medium: the file
      // has no location, and the caller writes it anew on a new volume (on
      // this one it would meet the same end again).
      ++rewrites;
      StartRun(true);
    } catch (const FNXError& error) {
      EXPECT_EQ(error.Code(), 1117) << error.Text();
      ++faults;
    }
    FnxVtapeClearFaults(m_library);
    NoteVolume();
  }
  ASSERT_EQ(location.size(), kTapeLocationSize) << location;
  files.push_back({location, size, seed});
}

void TapeDevModel::RunSteps(std::vector<File>& files) {
  for (int step = 0; step < kSteps && !::testing::Test::HasFailure(); ++step) {
    const int action = std::uniform_int_distribution<int>(0, 99)(m_random);
    if (action < 50) {
      Write(files);
    } else if (action < 65 && !files.empty()) {  // a restore ends the run
      Restore(files[m_random() % files.size()], 1 + m_random() % 70000);
      m_run_open = false;
    } else if (action < 80) {  // a reload, inside a run too
      FnxVtapeInsert(m_library, InDrive());
      ++reloads;
    } else if (action < 90 && !m_run_open && !m_operator.volumes.empty()) {  // another volume in the drive
      auto volume = m_operator.volumes.begin();
      std::advance(volume, m_random() % m_operator.volumes.size());
      FnxVtapeInsert(m_library, volume->second);
      ++changes;
    } else if (m_run_open) {
      Device()->BackupEnd();
      m_run_open = false;
    }
  }
}

}  // namespace
