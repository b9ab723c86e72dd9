// Backup runs, restores of earlier files, reloads and changes of tape in a
// random order on one drive, with what goes wrong at a console: full
// volumes, write protection turned on, foreign or labelled tapes offered as
// new ones, failed drive calls, "Cancel" and unmatched answers. Against a
// model of what each volume holds: every location handed out restores
// byte-exact, at once and at the end; each volume's labels, status line and
// table of contents show its files in order.
#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "dal_tape_lister.h"
#include "tape_dev_fixture.h"

namespace {

constexpr std::uint32_t kBlock = 4096;     // 16 blocks to a record
constexpr std::uint32_t kCapacity = 80;  // blocks: a few files to a volume
constexpr int kCartridges = 150;
constexpr int kSteps = 200;
const std::string kDas = "DAS_WITH_A_LONGER_NAME_25";  // the listing shows 20 characters

struct File {
  std::string location;
  std::size_t size;
  unsigned seed;
  std::string cartridge;
};

// A number of the location, "%d" as the listing shows it.
std::string Field(const std::string& location, std::size_t at, std::size_t size) {
  return std::to_string(std::stoll(location.substr(at, size)));
}

class TapeDevModel : public TapeDevTest {
 protected:
  TapeDevModel() {
    UseLibrary(kBlock, kCapacity, kCartridges);
    CFnx_Dal_ConfigValues values = Values();
    values.m_dasName = kDas;
    SetValues(values);
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
  // protection off, uses a tape that is no volume now and then, and at the
  // end of a medium or a foreign tape sometimes answers "Cancel" or what
  // names no option. Questions of fixed text must match it exactly.
  std::string Respond(const std::string& question) {
    if (question == kProtectedQuestion) {
      FnxVtapeProtect(m_library, InDrive(), false);
      return "Retry";
    }
    const auto junk = m_junk.find(InDrive());
    if (junk != m_junk.end() && question == junk->second) {
      if (!Chance(50)) return m_operator.Respond("insert a new volume");
      ++odd_answers;
      return kUse;
    }
    const bool off_list =
        question == kDataEndQuestion || question == kStartEndQuestion || question == kForeignTapeQuestion;
    if (off_list && Chance(40)) {
      ++odd_answers;
      return Chance(50) ? "Cancel" : "?";
    }
    return m_operator.Respond(question);
  }

  // Every volume gets a name of its own, only to keep the test fast: a volume
  // labelled under one name in the second of the one before waits a second.
  void NameNextVolume() {
    CFnx_Dal_ConfigValues values = Values();
    values.m_volumeName = "V" + std::to_string(++m_names);
    SetValues(values);
  }

  void StartRun(bool new_volume) {
    ++runs;
    CFnx_Dal_ConfigValues values = Values();
    values.m_newVolume1 = new_volume;
    if (!new_volume && Chance(20)) values.m_endBlock = 0;  // a caller that kept no end block
    SetValues(values);
    NameNextVolume();
    if (new_volume) {
      ASSERT_FALSE(m_operator.blanks.empty()) << "no blank cartridge left";
      const std::string next = m_operator.blanks.front();
      m_operator.blanks.erase(m_operator.blanks.begin());
      if (Chance(20)) {  // a tape that is no blank: its question fetches a blank or uses it
        const bool labelled = Chance(50);
        labelled ? LabelOther(next) : FillForeign(next);
        m_junk[next] = labelled ? kLabelledQuestion : kForeignDataQuestion;
      }
      FnxVtapeInsert(m_library, next);
    }
    Device()->BackupStart();
    EXPECT_EQ(FnxVtapeGetStatus(m_library).position, Values().m_endBlock);  // behind the last label written
    NoteVolume();
    values = Values();
    values.m_newVolume1 = false;
    SetValues(values);
  }

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
    EXPECT_TRUE(RestoreFile(file.location, chunk) == DocumentBytes(file.seed, file.size))
        << "file at " << file.location.substr(180);
  }

  void Write();
  void CheckVolume(const std::string& cartridge, const std::vector<const File*>& on_it);

  std::mt19937 m_random{20261123};
  CartridgeOperator m_operator;
  std::map<std::string, std::string> m_junk;  // a cartridge that is no blank to the question it brings
  std::vector<File> m_files;
  bool m_run_open = false;
  int m_names = 0;
  int runs = 0, restores = 0, reloads = 0, changes = 0, rewrites = 0, faults = 0, odd_answers = 0;
};

// A file, in the open run or in a new one, written anew until it has a
// location; a file of no bytes has none.
void TapeDevModel::Write() {
  if (!m_run_open) StartRun(m_files.empty() || Chance(15));
  m_run_open = true;
  const std::size_t sizes[] = {0, 1, kBlock - 5, kBlock - 4, 65528, 65529};  // the edges of a block and a record
  const std::size_t size = Chance(20) ? sizes[m_random() % std::size(sizes)]
                                      : std::uniform_int_distribution<std::size_t>(1, 150000)(m_random);
  const auto seed = static_cast<unsigned>(m_files.size());
  std::string location;
  for (int attempt = 0; attempt < 10 && location.empty(); ++attempt) {
    if (Chance(5)) FnxVtapeProtect(m_library, InDrive(), true);  // asked about at the start of the file
    if (Chance(5)) Fail("get_position", 1117);                   // the tape looks foreign: a new volume
    if (Chance(5)) Fail("write", 1117, 1 + m_random() % 3);      // the caller writes the file anew
    NameNextVolume();
    try {
      location = WriteFile(DocumentBytes(seed, size), 1 + m_random() % 20000);
      if (location == "FileWrite refused") location.clear();  // given up at the end of the medium
    } catch (const end_of_tape_error&) {
      // The last record or the end label met the end of the medium: the file
      // has no location, and the caller writes it anew on a new volume (on
      // this one it would meet the same end again).
      ++rewrites;
      StartRun(true);
    } catch (const tape_user_abort&) {
      // Cancelled at the start of the file: the next attempt asks again.
    } catch (const FNXError& error) {
      EXPECT_EQ(error.Code(), 1117) << error.Text();
      ++faults;
    }
    FnxVtapeClearFaults(m_library);
    NoteVolume();
  }
  if (size == 0) {
    EXPECT_EQ(location, std::string(kTapeLocationHeadSize, ' '));
    return;
  }
  ASSERT_EQ(location.size(), kTapeLocationSize) << location;
  m_files.push_back({location, size, seed, InDrive()});
  int on_volume = 0;
  for (const File& file : m_files) on_volume += file.cartridge == m_files.back().cartridge ? 1 : 0;
  EXPECT_EQ(location.substr(214, 6),
            std::string(6 - std::to_string(on_volume).size(), '0') + std::to_string(on_volume));
  EXPECT_NE(Values().m_statusLine.find(", files: " + std::to_string(on_volume) + ", "), std::string::npos)
      << Values().m_statusLine;
}

// Each file's labels where its location says, and one line of the table of
// contents for each, in order.
void TapeDevModel::CheckVolume(const std::string& cartridge, const std::vector<const File*>& on_it) {
  SCOPED_TRACE(cartridge);
  const std::vector<std::string> blocks = Blocks(cartridge);
  FnxVtapeInsert(m_library, cartridge);
  // As the tool lists a drive: by its number, on standard output.
  FnxVtapeRegisterName("\\\\.\\TAPE9", m_library);
  std::ostringstream out;
  std::streambuf* const standard = std::cout.rdbuf(out.rdbuf());
  EXPECT_EQ(dal_tape_lister("9"), 0);
  std::cout.rdbuf(standard);
  std::vector<std::string> lines;
  std::istringstream in(out.str());
  for (std::string line; std::getline(in, line);) {
    if (line.size() == 84) lines.push_back(line);
  }
  ASSERT_EQ(lines.size(), on_it.size());
  for (std::size_t i = 0; i < on_it.size(); ++i) {
    const std::string& location = on_it[i]->location;
    const std::string& start = blocks.at(std::stoul(location.substr(254, 10)));
    const std::string& end = blocks.at(std::stoul(location.substr(274, 10)));
    EXPECT_TRUE(tape_is_file_label(start.data()) && !tape_is_end_label(start.data()) && tape_is_end_label(end.data()));
    EXPECT_EQ(start.substr(0, 6) + start.substr(103, 26) + start.substr(130, 8),
              location.substr(214, 6) + location.substr(180, 34));
    EXPECT_EQ(end.substr(0, 83), start.substr(0, 83));
    EXPECT_EQ(end.substr(198, 16), location.substr(294));
    EXPECT_EQ(location.substr(60, 120), Values().m_name + std::string(120 - Values().m_name.size(), ' '));
    const std::string date = location.substr(220, 10), time = location.substr(230, 8);  // YYYY.MM.DD, hh.mm.ss
    std::string expected(84, ' ');
    auto put = [&](std::size_t last, const std::string& text) {
      expected.replace(last - text.size(), text.size(), text);
    };
    put(6, Field(location, 214, 6));
    put(15, date.substr(5, 2) + "/" + date.substr(8, 2) + "/" + date.substr(2, 2));
    put(24, time.substr(0, 2) + ":" + time.substr(3, 2) + ":" + time.substr(6, 2));
    put(38, Field(location, 294, 16));
    put(49, Field(location, 254, 10));
    put(62, Field(location, 274, 10));
    put(83, kDas.substr(0, 20));
    EXPECT_EQ(lines[i], expected);
  }
}

TEST_F(TapeDevModel, EveryLocationHandedOutRestoresByteExact) {
  ScriptedOperator console(Console(), [this](const std::string& question) { return Respond(question); });
  try {
    for (int step = 0; step < kSteps && !HasFailure(); ++step) {
      const int action = std::uniform_int_distribution<int>(0, 99)(m_random);
      if (action < 50) {
        Write();
      } else if (action < 65 && !m_files.empty()) {  // a restore ends the run
        Restore(m_files[m_random() % m_files.size()], 1 + m_random() % 70000);
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
    const std::size_t chunks[] = {7, 65528, 300000};  // inside a record, one, several
    std::map<std::string, std::vector<const File*>> volumes;
    for (std::size_t i = 0; i < m_files.size(); ++i) {
      Restore(m_files[i], chunks[i % std::size(chunks)]);
      volumes[m_files[i].cartridge].push_back(&m_files[i]);
    }
    for (const auto& [cartridge, on_it] : volumes) CheckVolume(cartridge, on_it);
  } catch (const tape_user_abort&) {
    ADD_FAILURE() << "the operator cancelled a question";  // which one, below
  }
  console.Finish();
  EXPECT_EQ(m_operator.errors, std::vector<std::string>{});
  std::printf(
      "%d runs, %zu files on %zu volumes (%d written anew, %d after a fault), %d restores, %d reloads, "
      "%d changes, %d answers of Use, Cancel or none\n",
      runs, m_files.size(), m_operator.volumes.size(), rewrites, faults, restores, reloads, changes, odd_answers);
}

}  // namespace
