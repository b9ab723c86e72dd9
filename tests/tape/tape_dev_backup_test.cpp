// The backup run: which tape BackupStart takes, labels or refuses, each
// question with its answers, and what reaches the caller's configuration.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "tape_dev_fixture.h"

namespace {

using Errors = std::vector<std::string>;

const std::string kOldLabel = "volume=\"OLD_VOL, 2020.01.02, 03.04.05\" ";
const std::string kLabelledQuestion =
    "A new tape expected. Tape in the drive has been labeled already,\nlabel: " + kOldLabel +
    "\nPlease insert a new tape";
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

  bool BlockZeroIsOurVolume(const std::shared_ptr<FakeCartridge>& cartridge) {
    const std::string& block = cartridge->blocks.at(0);
    return tape_is_volume_label(block.data()) && block.substr(kTapeVolumeIdOffset, 16) == "VOL_A           ";
  }

  std::string WrongVolumeQuestion(const std::string& expected, const std::string& found) {
    return "Tape with label=(" + expected + "), expected.\nTape with label=(" + found +
           "), in the drive.\nPlease insert correct tape ";
  }
};

std::string IdOf(const std::shared_ptr<FakeCartridge>& cartridge) {
  return cartridge->blocks.at(0).substr(kTapeVolumeIdOffset, kTapeVolumeIdSize);
}

}  // namespace

// ---------------------------------------------------------------------------
// Labelling.

TEST_F(TapeDevBackup, LabelsWithoutAQuestionWhenTheFlagsAndTheTapeAllowIt) {
  struct Case {
    const char* name;
    bool force, new1, new2;
    std::function<std::shared_ptr<FakeCartridge>()> tape;
  } cases[] = {
      {"force on a labelled tape", true, false, false, [] { return LabelledCartridge("OLD_VOL", 512); }},
      {"force on foreign data", true, false, false, [] { return ForeignDataCartridge(512); }},
      {"force on a tape of the same name", true, false, false, [] { return LabelledCartridge("VOL_A", 512); }},
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
    EXPECT_EQ(WithOperator({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); }), Errors{});

    ASSERT_TRUE(BlockZeroIsOurVolume(tape));
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
    EXPECT_EQ(m_drive.position(), 1u);
  }
}

TEST_F(TapeDevBackup, EachAnswerToALabelledOrForeignTapeLeadsWhereItShould) {
  const std::string old_label_block = LabelledCartridge("OLD_VOL", 512)->blocks[0];
  struct Case {
    const char* name;
    bool foreign_data;
    std::vector<std::string> answers;  // in turn; "?" names no option
    bool insert_blank_at_retry;
    bool labelled;  // else tape_user_abort
  } cases[] = {
      {"labelled, Use", false, {kUse}, false, true},
      {"labelled, Retry with a blank tape", false, {"Retry"}, true, true},
      {"labelled, Retry on the same tape asks again", false, {"Retry", kUse}, false, true},
      {"labelled, unmatched reads again", false, {"?", kUse}, false, true},
      {"labelled, Cancel", false, {"Cancel"}, false, false},
      {"foreign data, Use", true, {kUse}, false, true},
      {"foreign data, unmatched reads again", true, {"?", "Cancel"}, false, false},
      {"foreign data, Retry with a blank tape", true, {"Retry"}, true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto tape = c.foreign_data ? ForeignDataCartridge(512) : LabelledCartridge("OLD_VOL", 512);
    const std::string old_block = tape->blocks[0];
    auto blank = std::make_shared<FakeCartridge>();
    m_drive.Insert(tape);
    SetFlags(false, true, false);
    const CFnx_Dal_ConfigValues before = Values();

    std::vector<OperatorStep> steps;
    for (const std::string& answer : c.answers) {
      OperatorStep step{c.foreign_data ? kForeignDataQuestion : kLabelledQuestion, kRetryCancelUse, answer};
      if (c.insert_blank_at_retry && answer == "Retry") step.action = [&] { m_drive.Insert(blank); };
      steps.push_back(step);
    }
    bool aborted = false;
    EXPECT_EQ(WithOperator(steps,
                           [&] {
                             try {
                               FakeTapeDev(m_config, m_drive).BackupStart();
                             } catch (const tape_user_abort& abort) {
                               aborted = true;
                               EXPECT_EQ(abort.Text(), "tape_user_abort");
                               EXPECT_EQ(abort.Code(), 0);
                               EXPECT_EQ(abort.Class(), 0);
                               EXPECT_EQ(abort.SourceFile(), kTapeDevSource);
                             }
                           }),
              Errors{});

    EXPECT_EQ(aborted, !c.labelled);
    if (c.labelled) {
      EXPECT_TRUE(BlockZeroIsOurVolume(c.insert_blank_at_retry ? blank : tape));
      EXPECT_TRUE(Values().m_backupFlag);
    } else {
      EXPECT_EQ(tape->blocks[0], old_block);  // nothing written
      const CFnx_Dal_ConfigValues after = Values();
      EXPECT_FALSE(after.m_backupFlag);  // nothing pushed
      EXPECT_EQ(after.m_volumeInfo, before.m_volumeInfo);
    }
  }
}

// ---------------------------------------------------------------------------
// The drive's state: no medium, write protection, missing features.

TEST_F(TapeDevBackup, NoMediumAsksForTheTapeTheRunNeeds) {
  MakeKnownVolume();
  const std::string volume_id = VolumeId();
  const CFnx_Dal_ConfigValues known = Values();
  struct Case {
    const char* name;
    bool force, known_volume;
    std::string question;
  } cases[] = {
      {"labelling", true, false, "Please insert scratch tape into the drive"},
      {"first volume of a run", false, false, "Please insert tape with label=(VOL_A)"},
      {"known volume", false, true, "Please insert tape with label=(" + volume_id + ")"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CFnx_Dal_ConfigValues values = known;
    if (!c.known_volume) values.m_volumeInfo.clear();
    values.m_forceLabel = c.force;
    values.m_newVolume1 = !c.force && !c.known_volume;
    SetValues(values);

    // Cancel: tape_user_abort. An unmatched answer returns without testing
    // the drive again, so the empty drive fails the next call.
    m_drive.Insert(nullptr);
    EXPECT_EQ(WithOperator({{c.question, kRetryCancel, "Cancel"}},
                           [&] { EXPECT_THROW(FakeTapeDev(m_config, m_drive).BackupStart(), tape_user_abort); }),
              Errors{});
    EXPECT_EQ(WithOperator({{c.question, kRetryCancel, "?"}},
                           [&] {
                             EXPECT_THROW(FakeTapeDev(m_config, m_drive).BackupStart(), no_tape_in_drive_error);
                           }),
              Errors{});
    // Retry once the tape is in: the run's volume, or a blank one to label.
    auto tape = c.known_volume ? m_cartridge : std::make_shared<FakeCartridge>();
    EXPECT_EQ(WithOperator({{c.question, kRetryCancel, "Retry", [&] { m_drive.Insert(tape); }}},
                           [&] { FakeTapeDev(m_config, m_drive).BackupStart(); }),
              Errors{});
    EXPECT_TRUE(Values().m_backupFlag);
  }
}

TEST_F(TapeDevBackup, WriteProtectionIsAskedAboutUntilRemoved) {
  MakeKnownVolume();
  const CFnx_Dal_ConfigValues known = Values();
  struct Case {
    const char* name;
    std::vector<std::string> answers;
    bool unprotect_at_last;
    const char* outcome;  // "started", "abort", "write fails"
  } cases[] = {
      {"Retry after removing it", {"Retry"}, true, "started"},
      {"Retry while still protected asks again", {"Retry", "Retry"}, true, "started"},
      {"Cancel", {"Cancel"}, false, "abort"},
      // An unmatched answer goes on untested: labelling then meets the protection.
      {"unmatched", {"?"}, false, "write fails"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SetValues(known);
    SetFlags(std::string(c.outcome) == "write fails", false, false);
    m_cartridge->write_protected = true;
    m_drive.Insert(m_cartridge);
    std::vector<OperatorStep> steps;
    for (std::size_t i = 0; i < c.answers.size(); ++i) {
      steps.push_back({kWriteProtectedQuestion, kRetryCancel, c.answers[i]});
      if (c.unprotect_at_last && i + 1 == c.answers.size()) {
        steps.back().action = [&] { m_cartridge->write_protected = false; };
      }
    }
    std::string outcome = "started";
    EXPECT_EQ(WithOperator(steps,
                           [&] {
                             try {
                               FakeTapeDev(m_config, m_drive).BackupStart();
                             } catch (const tape_user_abort&) {
                               outcome = "abort";
                             } catch (const FNXError& error) {
                               outcome = error.Code() == 19 ? "write fails" : error.Text();
                             }
                           }),
              Errors{});
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

// ---------------------------------------------------------------------------
// Going on with a known volume.

TEST_F(TapeDevBackup, TheSameVolumeIsTakenAndWritingGoesOnBehindTheLastFile) {
  StartRunOnNewVolume();
  const std::string first = WriteFile(Content(700, 1));
  const std::string second = WriteFile(Content(70000, 2));
  FakeTapeDev(m_config, m_drive).BackupEnd();
  const std::uint32_t end_block = m_drive.position();
  EXPECT_EQ(Values().m_endBlock, end_block);  // reaches the caller for the next run

  // A new run on new device objects, with the tape rewound as after a load.
  m_drive.Insert(m_cartridge);
  EXPECT_EQ(WithOperator({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); }), Errors{});
  EXPECT_EQ(m_drive.position(), end_block);
  const std::string third = WriteFile(Content(300, 3));
  EXPECT_EQ(third.substr(254, 10), std::to_string(10000000000LL + end_block).substr(1));  // its start block

  EXPECT_TRUE(SameBytes(RestoreFile(first), Content(700, 1)));
  EXPECT_TRUE(SameBytes(RestoreFile(second), Content(70000, 2)));
  EXPECT_TRUE(SameBytes(RestoreFile(third), Content(300, 3)));
}

TEST_F(TapeDevBackup, AnEndBlockTheCallerDidNotKeepDoesNotSendTheRunOverTheLabel) {
  StartRunOnNewVolume();
  const std::string first = WriteFile(Content(700, 1));
  const std::uint32_t behind_first = m_drive.position();
  CFnx_Dal_ConfigValues values = Values();
  values.m_backupFlag = false;
  values.m_endBlock = 0;  // a caller that keeps the volume info alone
  SetValues(values);

  m_drive.Insert(m_cartridge);
  EXPECT_EQ(WithOperator({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); }), Errors{});
  EXPECT_EQ(m_drive.position(), behind_first);
  const std::string second = WriteFile(Content(300, 2));
  EXPECT_TRUE(BlockZeroIsOurVolume(m_cartridge));
  EXPECT_TRUE(SameBytes(RestoreFile(first), Content(700, 1)));
  EXPECT_TRUE(SameBytes(RestoreFile(second), Content(300, 2)));
}

TEST_F(TapeDevBackup, ARunEndedByARestoreGoesOnBehindItsLastFileNotOverIt) {
  StartRunOnNewVolume();
  const std::string first = WriteFile(Content(700, 1));
  FakeTapeDev(m_config, m_drive).BackupEnd();
  EXPECT_EQ(WithOperator({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); }), Errors{});
  const std::string second = WriteFile(Content(900, 2));
  const std::uint32_t behind_second = m_drive.position();
  // The restore ends the run without a BackupEnd; the caller starts a new one.
  EXPECT_TRUE(SameBytes(RestoreFile(first), Content(700, 1)));
  EXPECT_EQ(WithOperator({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); }), Errors{});
  EXPECT_EQ(m_drive.position(), behind_second);
  const std::string third = WriteFile(Content(300, 3));
  EXPECT_TRUE(SameBytes(RestoreFile(second), Content(900, 2)));
  EXPECT_TRUE(SameBytes(RestoreFile(third), Content(300, 3)));
}

TEST_F(TapeDevBackup, EachAnswerToAWrongVolumeLeadsWhereItShould) {
  MakeKnownVolume();
  const CFnx_Dal_ConfigValues known = Values();
  const std::string expected = VolumeId();
  const std::uint32_t end_block = known.m_endBlock;
  auto other = LabelledCartridge("OLD_VOL", 512);
  const std::string question = WrongVolumeQuestion(expected, IdOf(other));
  auto insert_right = [&] { m_drive.Insert(m_cartridge); };
  auto insert_right_protected = [&] {
    m_cartridge->write_protected = true;
    m_drive.Insert(m_cartridge);
  };
  auto unprotect = [&] { m_cartridge->write_protected = false; };
  struct Case {
    const char* name;
    std::vector<OperatorStep> steps;
    bool started;
  } cases[] = {
      {"Retry with the right tape", {{question, kRetryCancel, "Retry", insert_right}}, true},
      {"unmatched compares again", {{question, kRetryCancel, "?"}, {question, kRetryCancel, "Retry", insert_right}},
       true},
      {"Retry with the right tape write-protected",
       {{question, kRetryCancel, "Retry", insert_right_protected},
        {kInsertedProtectedQuestion, kRetryCancel, "Retry", unprotect}},
       true},
      {"Cancel at the protection", {{question, kRetryCancel, "Retry", insert_right_protected},
                                    {kInsertedProtectedQuestion, kRetryCancel, "Cancel", unprotect}},
       false},
      {"Cancel", {{question, kRetryCancel, "Cancel"}}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SetValues(known);
    m_drive.Insert(other);
    bool started = true;
    EXPECT_EQ(WithOperator(c.steps,
                           [&] {
                             try {
                               FakeTapeDev(m_config, m_drive).BackupStart();
                             } catch (const tape_user_abort&) {
                               started = false;
                             }
                           }),
              Errors{});
    EXPECT_EQ(started, c.started);
    EXPECT_EQ(Values().m_backupFlag, c.started);
    if (c.started) {
      EXPECT_EQ(m_drive.Loaded(), m_cartridge);
      EXPECT_EQ(m_drive.position(), end_block);
    }
    EXPECT_EQ(other->blocks.size(), 1u);  // the wrong tape is not written to
  }
}

// ---------------------------------------------------------------------------
// The account of the run in the caller's configuration.

TEST_F(TapeDevBackup, BackupEndClosesTheRunAndPushesTheStatusLine) {
  SetFlags(false, true, true);
  m_drive.Insert(m_cartridge);
  FakeTapeDev(m_config, m_drive).BackupStart();
  const std::string date = m_config.GetCurDateFormat();
  CFnx_Dal_ConfigValues values = Values();
  EXPECT_TRUE(values.m_backupFlag);
  EXPECT_EQ(values.m_statusLine, "");  // the start shows its line to the operator only

  WriteFile(Content(700, 1));
  values = Values();
  EXPECT_NE(values.m_statusLine.find(", files: 1, last backup: \""), std::string::npos) << values.m_statusLine;
  WriteFile(Content(65529, 2));
  FakeTapeDev(m_config, m_drive).BackupEnd();

  values = Values();
  EXPECT_FALSE(values.m_backupFlag);
  EXPECT_TRUE(values.m_newVolume1);   // stays
  EXPECT_FALSE(values.m_newVolume2);  // cleared by the end of the run
  EXPECT_EQ(values.m_endBlock, m_drive.position());
  const std::string id = VolumeId();
  // Label and two files take 1 + 4 + 131 blocks of 512 bytes: 0.000 GB.
  const std::string head = "volume=\"VOL_A, " + id.substr(16, 10) + ", " + id.substr(27, 8) +
                           "\", used : 0.000 GB, files: 2, last backup: \"" + date + ", ";
  EXPECT_EQ(values.m_statusLine.substr(0, head.size()), head) << values.m_statusLine;
  tape_volume_status status;
  status.load(values.m_volumeInfo);
  EXPECT_EQ(status.get_file_count(), 2);
  EXPECT_EQ(status.used_blocks(), m_drive.position());
}

TEST_F(TapeDevBackup, TheStatusLineShowsTheTrimmedNameAndTheUsedBlocksInGigabytes) {
  struct Case {
    const char* name;
    std::string volume_name;
    std::uint32_t block_size, end_block;
    std::string shown_name, used;
  } cases[] = {
      {"100 blocks of 64 KiB", "VOL_A", 65536, 100, "VOL_A", "0.006 GB"},
      {"a blank name, nothing written", std::string(16, ' '), 512, 1, " ", "0.000 GB"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_cartridge = std::make_shared<FakeCartridge>();
    m_drive.Insert(m_cartridge);
    m_drive.set_block_size(c.block_size);
    CFnx_Dal_ConfigValues values = Values();
    values.m_volumeName = c.volume_name;
    SetValues(values);
    StartRunOnNewVolume();
    m_cartridge->blocks.resize(c.end_block, std::string(c.block_size, 'd'));
    values = Values();
    values.m_endBlock = c.end_block;
    SetValues(values);
    FakeTapeDev(m_config, m_drive).GotoEndOfDataUnixCompatible();
    ASSERT_EQ(m_drive.position(), c.end_block);
    FakeTapeDev(m_config, m_drive).BackupEnd();

    const std::string id = VolumeId();
    const std::string expected = "volume=\"" + c.shown_name + ", " + id.substr(16, 10) + ", " + id.substr(27, 8) +
                                 "\", used : " + c.used + ", files: 0, last backup: \"";
    EXPECT_EQ(Values().m_statusLine.substr(0, expected.size()), expected) << Values().m_statusLine;
  }
}

TEST_F(TapeDevBackup, BackupEndLeavesAChangedTapeAlone) {
  StartRunOnNewVolume();
  WriteFile(Content(700, 1));
  auto other = LabelledCartridge("OLD_VOL", 512);
  const std::vector<std::string> other_blocks = other->blocks;
  m_drive.Insert(other);
  EXPECT_EQ(WithOperator({}, [&] { FakeTapeDev(m_config, m_drive).BackupEnd(); }), Errors{});
  EXPECT_EQ(other->blocks, other_blocks);
  EXPECT_FALSE(Values().m_backupFlag);
}
