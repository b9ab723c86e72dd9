// The backup run: which tape BackupStart takes, labels or refuses, each
// question with its answers, and what reaches the caller's configuration.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tape_dev_fixture.h"

namespace {

const std::string kLabelledQuestion =
    "A new tape expected. Tape in the drive has been labeled already,\nlabel: "
    "volume=\"OLD_VOL, 2020.01.02, 03.04.05\" \nPlease insert a new tape";
const std::string kForeignDataQuestion =
    "A new tape expected. Tape in the drive holds data but no volume label.\nPlease insert a new tape";
const std::string kWriteProtectedQuestion =
    "Tape is write protected. Please, remove write protection and press \"Retry\"";
const std::string kInsertedProtectedQuestion = "Inserted tape is WRITE-PROTECTED\nPlease remove protection";

class TapeDevBackup : public TapeDevTest {
 protected:
  void SetFlags(bool force, bool new1, bool new2) {
    CFnx_Dal_ConfigValues values = Values();
    values.m_forceLabel = force;
    values.m_newVolume1 = new1;
    values.m_newVolume2 = new2;
    values.m_backupFlag = false;
    SetValues(values);
  }

  // A volume with two files and a closed run: the configuration knows it.
  void MakeKnownVolume() {
    StartRunOnNewVolume();
    WriteFile(Content(700, 1));
    WriteFile(Content(900, 2));
    FakeTapeDev(m_config, m_drive).BackupEnd();
  }

  bool Start() {
    bool started = false;
    Aborts([&] {
      FakeTapeDev(m_config, m_drive).BackupStart();
      started = true;
    });
    return started;
  }

  static bool IsOurVolume(const std::shared_ptr<FakeCartridge>& cartridge) {
    return tape_is_volume_label(cartridge->blocks.at(0).data()) && IdOf(cartridge).substr(0, 16) == "VOL_A           ";
  }
};

}  // namespace

TEST_F(TapeDevBackup, LabelsWithoutAQuestionWhenTheFlagsAndTheTapeAllowIt) {
  struct Case {
    const char* name;
    bool force, new1, new2;
    std::function<std::shared_ptr<FakeCartridge>()> tape;
  } cases[] = {
      {"force on a labelled tape", true, false, false, [] { return LabelledCartridge("OLD_VOL"); }},
      {"force on foreign data", true, false, false, [] { return ForeignDataCartridge(); }},
      {"force on a tape of the same name", true, false, false, [] { return LabelledCartridge("VOL_A"); }},
      {"first new-volume flag, blank tape", false, true, false, [] { return std::make_shared<FakeCartridge>(); }},
      {"second new-volume flag, blank tape", false, false, true, [] { return std::make_shared<FakeCartridge>(); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto tape = c.tape();
    const std::string old_id = tape->blocks.empty() ? "" : IdOf(tape);
    m_drive.Insert(tape);
    SetFlags(c.force, c.new1, c.new2);
    CFnx_Dal_ConfigValues before = Values();
    if (!before.m_volumeInfo.empty()) {  // the previous case's volume, with files on it
      before.m_volumeInfo.replace(kTapeVolumeIdOffset + 71, 8, "00000017");
      SetValues(before);
    }
    Operate({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); });

    ASSERT_TRUE(IsOurVolume(tape));
    EXPECT_NE(IdOf(tape), old_id);
    const CFnx_Dal_ConfigValues values = Values();
    EXPECT_TRUE(values.m_backupFlag);
    ASSERT_EQ(values.m_volumeInfo.size(), kTapeVolumeInfoSize);
    EXPECT_EQ(values.m_volumeInfo.substr(0, kTapeVolumeIdOffset + kTapeVolumeIdSize),
              tape->blocks[0].substr(0, kTapeVolumeIdOffset + kTapeVolumeIdSize));
    tape_volume_status status;
    status.load(values.m_volumeInfo);
    EXPECT_EQ(status.get_file_count(), 0);
    EXPECT_EQ(std::string(status.offset_low, 10), "0000000001");  // behind the label
    EXPECT_EQ(std::string(status.block_size, 6), "000512");
  }
}

TEST_F(TapeDevBackup, EachAnswerToALabelledOrForeignTapeLeadsWhereItShould) {
  struct Case {
    const char* name;
    bool foreign_data;
    std::vector<std::string> answers;  // "?" names no option
    bool blank_at_retry;
  } cases[] = {
      {"labelled, Use", false, {kUse}, false},
      {"labelled, Retry with a blank tape", false, {"Retry"}, true},
      {"labelled, Retry on the same tape asks again", false, {"Retry", kUse}, false},
      {"labelled, unmatched reads again", false, {"?", kUse}, false},
      {"labelled, Cancel", false, {"Cancel"}, false},
      {"foreign data, Use", true, {kUse}, false},
      {"foreign data, unmatched reads again", true, {"?", "Cancel"}, false},
      {"foreign data, Retry with a blank tape", true, {"Retry"}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto tape = c.foreign_data ? ForeignDataCartridge() : LabelledCartridge("OLD_VOL");
    const std::string old_block = tape->blocks[0];
    auto blank = std::make_shared<FakeCartridge>();
    m_drive.Insert(tape);
    SetFlags(false, true, false);
    const CFnx_Dal_ConfigValues before = Values();
    std::vector<OperatorStep> steps;
    for (const std::string& answer : c.answers) {
      steps.push_back({c.foreign_data ? kForeignDataQuestion : kLabelledQuestion, kRetryCancelUse, answer});
      if (c.blank_at_retry && answer == "Retry") steps.back().action = [&] { m_drive.Insert(blank); };
    }
    const bool cancel = c.answers.back() == "Cancel";
    Operate(steps, [&] { EXPECT_EQ(Start(), !cancel); });
    if (cancel) {
      EXPECT_EQ(tape->blocks[0], old_block);
      EXPECT_FALSE(Values().m_backupFlag);  // nothing pushed
      EXPECT_EQ(Values().m_volumeInfo, before.m_volumeInfo);
    } else {
      EXPECT_TRUE(IsOurVolume(c.blank_at_retry ? blank : tape));
      EXPECT_TRUE(Values().m_backupFlag);
    }
  }
}

TEST_F(TapeDevBackup, NoMediumAsksForTheTapeTheRunNeeds) {
  MakeKnownVolume();
  const CFnx_Dal_ConfigValues known = Values();
  struct Case {
    const char* name;
    bool force, known_volume;
    std::string question;
  } cases[] = {
      {"labelling", true, false, "Please insert scratch tape into the drive"},
      {"first volume of a run", false, false, "Please insert tape with label=(VOL_A)"},
      {"known volume", false, true, "Please insert tape with label=(" + VolumeId() + ")"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CFnx_Dal_ConfigValues values = known;
    if (!c.known_volume) values.m_volumeInfo.clear();
    values.m_forceLabel = c.force;
    values.m_newVolume1 = !c.force && !c.known_volume;
    SetValues(values);
    m_drive.Insert(nullptr);
    Operate({{c.question, kRetryCancel, "Cancel"}}, [&] { EXPECT_FALSE(Start()); });
    // An unmatched answer goes on without looking again: the empty drive fails.
    Operate({{c.question, kRetryCancel, "?"}},
            [&] { EXPECT_THROW(FakeTapeDev(m_config, m_drive).BackupStart(), no_tape_in_drive_error); });
    auto tape = c.known_volume ? m_cartridge : std::make_shared<FakeCartridge>();
    Operate({{c.question, kRetryCancel, "Retry", [&] { m_drive.Insert(tape); }}}, [&] { EXPECT_TRUE(Start()); });
    EXPECT_TRUE(Values().m_backupFlag);
  }
}

TEST_F(TapeDevBackup, WriteProtectionIsAskedAboutUntilRemoved) {
  MakeKnownVolume();
  const CFnx_Dal_ConfigValues known = Values();
  struct Case {
    std::vector<std::string> answers;  // protection removed at the last
    const char* outcome;
  } cases[] = {
      {{"Retry"}, "started"},
      {{"Retry", "Retry"}, "started"},
      {{"Cancel"}, "abort"},
      {{"?"}, "write fails"},  // goes on unlooked; labelling meets the protection
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.outcome);
    SetValues(known);
    SetFlags(std::string(c.outcome) == "write fails", false, false);
    m_cartridge->write_protected = true;
    m_drive.Insert(m_cartridge);
    std::vector<OperatorStep> steps;
    for (const std::string& answer : c.answers) steps.push_back({kWriteProtectedQuestion, kRetryCancel, answer});
    if (c.answers.back() == "Retry") steps.back().action = [&] { m_cartridge->write_protected = false; };
    std::string outcome = "started";
    Operate(steps, [&] {
      try {
        if (!Start()) outcome = "abort";
      } catch (const FNXError& error) {
        outcome = error.Code() == 19 ? "write fails" : error.Text();
      }
    });
    EXPECT_EQ(outcome, c.outcome);
  }
}

TEST_F(TapeDevBackup, ADriveWithoutTheNeededFeaturesEndsTheStart) {
  m_drive.lacks_features = true;
  SetFlags(true, false, false);
  EXPECT_THROW(FakeTapeDev(m_config, m_drive).BackupStart(), tape_features_support_error);
  EXPECT_FALSE(Values().m_backupFlag);
  EXPECT_TRUE(m_cartridge->blocks.empty());
}

// Each later run goes on behind the last file: by the end block the caller
// keeps, after a restore ended the run, and from the volume info alone.
TEST_F(TapeDevBackup, WritingGoesOnBehindTheLastFileOfTheVolume) {
  StartRunOnNewVolume();
  std::vector<std::string> locations = {WriteFile(Content(700, 0))};
  FakeTapeDev(m_config, m_drive).BackupEnd();
  EXPECT_EQ(Values().m_endBlock, m_drive.position());

  for (const char* how : {"end block", "after a restore", "no end block"}) {
    SCOPED_TRACE(how);
    const std::uint32_t behind_last = m_drive.position();
    if (how == std::string("after a restore")) {
      EXPECT_TRUE(SameBytes(RestoreFile(locations[0]), Content(700, 0)));
    } else if (how == std::string("no end block")) {
      CFnx_Dal_ConfigValues values = Values();
      values.m_backupFlag = false;
      values.m_endBlock = 0;
      SetValues(values);
    }
    m_drive.Insert(m_cartridge);  // rewound, as after a load
    Operate({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); });
    EXPECT_EQ(m_drive.position(), behind_last);
    const auto seed = static_cast<unsigned>(locations.size());
    locations.push_back(WriteFile(Content(70000, seed)));
  }
  EXPECT_TRUE(IsOurVolume(m_cartridge));
  for (std::size_t i = 0; i < locations.size(); ++i) {
    EXPECT_TRUE(SameBytes(RestoreFile(locations[i]), Content(i == 0 ? 700 : 70000, static_cast<unsigned>(i))));
  }
}

TEST_F(TapeDevBackup, EachAnswerToAWrongVolumeLeadsWhereItShould) {
  MakeKnownVolume();
  const CFnx_Dal_ConfigValues known = Values();
  auto other = LabelledCartridge("OLD_VOL");
  const std::string question = "Tape with label=(" + VolumeId() + "), expected.\nTape with label=(" + IdOf(other) +
                               "), in the drive.\nPlease insert correct tape ";
  auto insert_right = [&] { m_drive.Insert(m_cartridge); };
  auto insert_right_protected = [&] {
    m_cartridge->write_protected = true;
    m_drive.Insert(m_cartridge);
  };
  auto unprotect = [&] { m_cartridge->write_protected = false; };
  struct Case {
    const char* name;
    std::vector<OperatorStep> steps;
  } cases[] = {
      {"Retry with the right tape", {{question, kRetryCancel, "Retry", insert_right}}},
      {"unmatched compares again", {{question, kRetryCancel, "?"}, {question, kRetryCancel, "Retry", insert_right}}},
      {"Retry with the right tape write-protected",
       {{question, kRetryCancel, "Retry", insert_right_protected},
        {kInsertedProtectedQuestion, kRetryCancel, "Retry", unprotect}}},
      {"Cancel at the protection",
       {{question, kRetryCancel, "Retry", insert_right_protected},
        {kInsertedProtectedQuestion, kRetryCancel, "Cancel", unprotect}}},
      {"Cancel", {{question, kRetryCancel, "Cancel"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SetValues(known);
    m_drive.Insert(other);
    const bool cancel = c.steps.back().answer == "Cancel";
    Operate(c.steps, [&] { EXPECT_EQ(Start(), !cancel); });
    EXPECT_EQ(Values().m_backupFlag, !cancel);
    if (!cancel) {
      EXPECT_EQ(m_drive.position(), known.m_endBlock);
    }
    EXPECT_EQ(other->blocks.size(), 1u);  // the wrong tape is not written to
  }
}

TEST_F(TapeDevBackup, BackupEndClosesTheRunAndPushesTheStatusLine) {
  SetFlags(false, true, true);
  FakeTapeDev(m_config, m_drive).BackupStart();
  EXPECT_EQ(Values().m_statusLine, "");  // the start shows its line to the operator only
  WriteFile(Content(700, 1));
  EXPECT_NE(Values().m_statusLine.find(", files: 1, last backup: \""), std::string::npos) << Values().m_statusLine;
  WriteFile(Content(65529, 2));
  const std::string date = m_config.GetCurDateFormat();
  FakeTapeDev(m_config, m_drive).BackupEnd();

  const CFnx_Dal_ConfigValues values = Values();
  EXPECT_FALSE(values.m_backupFlag);
  EXPECT_TRUE(values.m_newVolume1);   // stays
  EXPECT_FALSE(values.m_newVolume2);  // cleared by the end of the run
  EXPECT_EQ(values.m_endBlock, m_drive.position());
  const std::string id = VolumeId();
  const std::string head = "volume=\"VOL_A, " + id.substr(16, 10) + ", " + id.substr(27, 8) +
                           "\", used : 0.000 GB, files: 2, last backup: \"" + date + ", ";
  EXPECT_EQ(values.m_statusLine.substr(0, head.size()), head) << values.m_statusLine;
  tape_volume_status status;
  status.load(values.m_volumeInfo);
  EXPECT_EQ(status.get_file_count(), 2);
  EXPECT_EQ(status.used_blocks(), m_drive.position());
}

TEST_F(TapeDevBackup, TheStatusLineShowsTheUsedBlocksInGigabytes) {
  m_drive.set_block_size(65536);
  StartRunOnNewVolume();
  m_cartridge->blocks.resize(100, std::string(65536, 'd'));
  CFnx_Dal_ConfigValues values = Values();
  values.m_endBlock = 100;
  SetValues(values);
  FakeTapeDev(m_config, m_drive).GotoEndOfDataUnixCompatible();
  FakeTapeDev(m_config, m_drive).BackupEnd();
  const std::string id = VolumeId();
  const std::string expected = "volume=\"VOL_A, " + id.substr(16, 10) + ", " + id.substr(27, 8) +
                               "\", used : 0.006 GB, files: 0, last backup: \"";
  EXPECT_EQ(Values().m_statusLine.substr(0, expected.size()), expected) << Values().m_statusLine;
}

TEST_F(TapeDevBackup, BackupEndLeavesAChangedTapeAlone) {
  StartRunOnNewVolume();
  WriteFile(Content(700, 1));
  auto other = LabelledCartridge("OLD_VOL");
  const std::vector<std::string> other_blocks = other->blocks;
  m_drive.Insert(other);
  Operate({}, [&] { FakeTapeDev(m_config, m_drive).BackupEnd(); });
  EXPECT_EQ(other->blocks, other_blocks);
  EXPECT_FALSE(Values().m_backupFlag);
}
