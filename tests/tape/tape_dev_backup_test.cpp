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
const std::string kUnreadableQuestion =
    "A new tape expected. Tape in the drive cannot be read at its start: ReadBlocks\n"
    "It may hold data written with another block size.\nPlease insert a new tape";
const std::string kWriteProtectedQuestion =
    "Tape is write protected. Please, remove write protection and press \"Retry\"";
const std::string kInsertedProtectedQuestion = "Inserted tape is WRITE-PROTECTED\nPlease remove protection";

class TapeDevBackup : public TapeDevTest {
 protected:
  static bool IsOurVolume(const std::shared_ptr<FakeCartridge>& cartridge) {
    return !cartridge->blocks.empty() && tape_is_volume_label(cartridge->blocks[0].data()) &&
           IdOf(cartridge).substr(0, 16) == "VOL_A           ";
  }
};

}  // namespace

// Which tape BackupStart takes or labels, every question it asks with each
// answer: the situation, the exact text and options, and where it leads.
TEST_F(TapeDevBackup, EachSituationQuestionAndAnswerOfTheStartLeadsWhereItShould) {
  StartRunOnNewVolume();  // a volume with files and a closed run: the configuration knows it
  WriteFile(Content(700));
  FakeTapeDev(m_config, m_drive).BackupEnd();
  const CFnx_Dal_ConfigValues known = Values();
  const std::string no_medium_known = "Please insert tape with label=(" + VolumeId() + ")";
  const std::string no_medium_new = "Please insert tape with label=(VOL_A)";
  const std::string no_medium_scratch = "Please insert scratch tape into the drive";
  const std::string wrong = "Tape with label=(" + VolumeId() + "), expected.\nTape with label=(" +
                            IdOf(LabelledCartridge("OLD_VOL")) + "), in the drive.\nPlease insert correct tape ";
  std::shared_ptr<FakeCartridge> blank;
  auto insert_blank = [&] { m_drive.Insert(blank); };
  auto insert_known = [&] { m_drive.Insert(m_cartridge); };
  auto insert_known_protected = [&] {
    m_cartridge->write_protected = true;
    m_drive.Insert(m_cartridge);
  };
  auto unprotect = [&] { m_cartridge->write_protected = false; };
  auto labelled = [] { return LabelledCartridge("OLD_VOL"); };
  auto foreign = [] { return ForeignDataCartridge(); };
  auto labelled_wound = [] {  // wound on to block 40, far behind the end of the known volume
    auto tape = LabelledCartridge("OLD_VOL");
    tape->blocks.resize(41, std::string(512, 'x'));
    tape->wound_to = 40;
    return tape;
  };
  auto used_unreadable = [] {  // a used tape whose block 0 fails
    auto tape = LabelledCartridge("OLD_VOL");
    tape->blocks.resize(5, std::string(512, 'x'));
    tape->unreadable.insert(0);
    return tape;
  };
  auto none = [] { return std::shared_ptr<FakeCartridge>(); };
  auto blank_tape = [&] { return blank; };
  auto protected_known = [&] {
    m_cartridge->write_protected = true;
    return m_cartridge;
  };
  // A new-volume flag, the force-label flag (with or without the known
  // volume's info), or the known volume alone.
  enum Flags { kNew, kNew2, kForce, kForceKnown, kKnown };
  struct Case {
    const char* name;
    Flags start;
    std::function<std::shared_ptr<FakeCartridge>()> in_drive;
    std::vector<OperatorStep> steps;
    std::string outcome;  // "labels it", "labels blank", "goes on", "abort", "no tape", "write fails"
  } cases[] = {
      {"force on a labelled tape", kForceKnown, labelled, {}, "labels it"},
      {"force on foreign data", kForceKnown, foreign, {}, "labels it"},
      {"force on a tape of the same name", kForceKnown, [] { return LabelledCartridge("VOL_A"); }, {}, "labels it"},
      {"first new-volume flag, blank tape", kNew, blank_tape, {}, "labels blank"},
      {"second new-volume flag, blank tape", kNew2, blank_tape, {}, "labels blank"},
      {"labelled, Use", kNew, labelled, {{kLabelledQuestion, kRetryCancelUse, kUse}}, "labels it"},
      {"labelled, Retry with a blank", kNew, labelled, {{kLabelledQuestion, kRetryCancelUse, "Retry", insert_blank}},
       "labels blank"},
      {"labelled, Retry on the same tape asks again", kNew, labelled,
       {{kLabelledQuestion, kRetryCancelUse, "Retry"}, {kLabelledQuestion, kRetryCancelUse, kUse}}, "labels it"},
      {"labelled, unmatched reads again", kNew, labelled,
       {{kLabelledQuestion, kRetryCancelUse, "?"}, {kLabelledQuestion, kRetryCancelUse, kUse}}, "labels it"},
      {"labelled, Cancel", kNew, labelled, {{kLabelledQuestion, kRetryCancelUse, "Cancel"}}, "abort"},
      {"unreadable at block 0, Use", kNew, used_unreadable, {{kUnreadableQuestion, kRetryCancelUse, kUse}},
       "labels it"},
      {"foreign data, Use", kNew, foreign, {{kForeignDataQuestion, kRetryCancelUse, kUse}}, "labels it"},
      {"foreign data, Retry with a blank", kNew, foreign,
       {{kForeignDataQuestion, kRetryCancelUse, "Retry", insert_blank}}, "labels blank"},
      {"foreign data, unmatched reads again", kNew, foreign,
       {{kForeignDataQuestion, kRetryCancelUse, "?"}, {kForeignDataQuestion, kRetryCancelUse, "Cancel"}}, "abort"},
      // An unmatched answer to an empty drive goes on without looking again.
      {"no medium to label, Retry", kForce, none, {{no_medium_scratch, kRetryCancel, "Retry", insert_blank}},
       "labels blank"},
      {"no medium to label, Cancel", kForce, none, {{no_medium_scratch, kRetryCancel, "Cancel"}}, "abort"},
      {"no medium to label, unmatched", kForce, none, {{no_medium_scratch, kRetryCancel, "?"}}, "no tape"},
      {"no first volume, Retry", kNew, none, {{no_medium_new, kRetryCancel, "Retry", insert_blank}}, "labels blank"},
      {"no first volume, Cancel", kNew, none, {{no_medium_new, kRetryCancel, "Cancel"}}, "abort"},
      {"no first volume, unmatched", kNew, none, {{no_medium_new, kRetryCancel, "?"}}, "no tape"},
      {"no known volume, Retry", kKnown, none, {{no_medium_known, kRetryCancel, "Retry", insert_known}}, "goes on"},
      {"no known volume, Cancel", kKnown, none, {{no_medium_known, kRetryCancel, "Cancel"}}, "abort"},
      {"no known volume, unmatched", kKnown, none, {{no_medium_known, kRetryCancel, "?"}}, "no tape"},
      {"protected, Retry once removed", kKnown, protected_known,
       {{kWriteProtectedQuestion, kRetryCancel, "Retry", unprotect}}, "goes on"},
      {"protected, Retry while protected asks again", kKnown, protected_known,
       {{kWriteProtectedQuestion, kRetryCancel, "Retry"}, {kWriteProtectedQuestion, kRetryCancel, "Retry", unprotect}},
       "goes on"},
      {"protected, Cancel", kKnown, protected_known, {{kWriteProtectedQuestion, kRetryCancel, "Cancel"}}, "abort"},
      // Unmatched goes on unlooked: labelling then meets the protection.
      {"protected, unmatched", kForce, protected_known, {{kWriteProtectedQuestion, kRetryCancel, "?"}},
       "write fails"},
      {"wrong volume, Retry with the right one", kKnown, labelled, {{wrong, kRetryCancel, "Retry", insert_known}},
       "goes on"},
      {"wrong volume wound on, Retry with the right one", kKnown, labelled_wound,
       {{wrong, kRetryCancel, "Retry", insert_known}}, "goes on"},
      {"wrong volume, unmatched compares again", kKnown, labelled,
       {{wrong, kRetryCancel, "?"}, {wrong, kRetryCancel, "Retry", insert_known}}, "goes on"},
      {"wrong volume, the right one protected", kKnown, labelled,
       {{wrong, kRetryCancel, "Retry", insert_known_protected},
        {kInsertedProtectedQuestion, kRetryCancel, "Retry", unprotect}},
       "goes on"},
      {"wrong volume, Cancel at the protection", kKnown, labelled,
       {{wrong, kRetryCancel, "Retry", insert_known_protected},
        {kInsertedProtectedQuestion, kRetryCancel, "Cancel", unprotect}},
       "abort"},
      {"wrong volume, Cancel", kKnown, labelled, {{wrong, kRetryCancel, "Cancel"}}, "abort"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_cartridge->write_protected = false;
    blank = std::make_shared<FakeCartridge>();
    CFnx_Dal_ConfigValues values = known;
    if (c.start != kKnown && c.start != kForceKnown) values.m_volumeInfo.clear();
    values.m_forceLabel = c.start == kForce || c.start == kForceKnown;
    values.m_newVolume1 = c.start == kNew;
    values.m_newVolume2 = c.start == kNew2;
    SetValues(values);
    auto tape = c.in_drive();
    const std::vector<std::string> blocks_before = tape ? tape->blocks : std::vector<std::string>{};
    m_drive.Insert(tape);

    std::string outcome;
    Operate(c.steps, [&] {
      try {
        outcome = Aborts([&] { FakeTapeDev(m_config, m_drive).BackupStart(); }) ? "abort" : "started";
      } catch (const no_tape_in_drive_error&) {
        outcome = "no tape";
      } catch (const FNXError& error) {
        outcome = error.Code() == 19 ? "write fails" : error.Text();
      }
    });
    if (outcome == "started") {
      outcome = IsOurVolume(blank) ? "labels blank" : m_drive.Loaded() == m_cartridge ? "goes on" : "labels it";
      EXPECT_TRUE(Values().m_backupFlag);
    }
    EXPECT_EQ(outcome, c.outcome);
    if (c.outcome == "labels it" || c.outcome == "labels blank") {
      // A fresh volume: the caller has its label, no files, the next block behind the label.
      const auto& labelled_tape = c.outcome == "labels it" ? tape : blank;
      ASSERT_TRUE(IsOurVolume(labelled_tape));
      const std::string info = Values().m_volumeInfo;
      ASSERT_EQ(info.size(), kTapeVolumeInfoSize);
      EXPECT_EQ(info.substr(0, kTapeVolumeIdOffset + 35), labelled_tape->blocks[0].substr(0, kTapeVolumeIdOffset + 35));
      tape_volume_status status;
      status.load(info);
      EXPECT_EQ(status.get_file_count(), 0);
      EXPECT_EQ(std::string(status.offset_low, 10) + "/" + std::string(status.block_size, 6), "0000000001/000512");
    } else if (c.outcome == "goes on") {
      EXPECT_EQ(m_drive.position(), known.m_endBlock);
    } else if (c.outcome == "abort") {
      EXPECT_EQ(Values().m_volumeInfo, values.m_volumeInfo);  // nothing pushed
    }
    if (tape && tape != m_cartridge && tape != blank && c.outcome != "labels it") {
      EXPECT_EQ(tape->blocks, blocks_before);  // a tape not taken is not written to
    }
  }
}

// Each later run goes on behind the last file: by the end block the caller
// keeps, after a restore ended the run, after BackupEnd wherever the drive
// stood then, and from the volume info alone.
TEST_F(TapeDevBackup, WritingGoesOnBehindTheLastFileOfTheVolume) {
  StartRunOnNewVolume();
  std::vector<std::string> locations = {WriteFile(Content(700, 0))};
  FakeTapeDev(m_config, m_drive).BackupEnd();
  EXPECT_EQ(Values().m_endBlock, m_drive.position());

  for (const std::string how : {"end block", "after a restore", "a restore, then BackupEnd",
                                "a reload, then BackupEnd", "no end block"}) {
    SCOPED_TRACE(how);
    const std::uint32_t behind_last = m_drive.position();
    if (how == "after a restore" || how == "a restore, then BackupEnd") {
      EXPECT_TRUE(SameBytes(RestoreFile(locations[0]), Content(700, 0)));
    } else if (how == "a reload, then BackupEnd") {
      m_drive.Insert(m_cartridge);
    }
    if (how.find("BackupEnd") != std::string::npos) {
      FakeTapeDev(m_config, m_drive).BackupEnd();
    } else if (how == "no end block") {
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

TEST_F(TapeDevBackup, BackupEndClosesTheRunAndPushesTheStatusLine) {
  CFnx_Dal_ConfigValues values = Values();
  values.m_newVolume1 = values.m_newVolume2 = true;
  SetValues(values);
  FakeTapeDev(m_config, m_drive).BackupStart();
  EXPECT_EQ(Values().m_statusLine, "");  // the start shows its line to the operator only
  WriteFile(Content(700, 1));
  EXPECT_NE(Values().m_statusLine.find(", files: 1, last backup: \""), std::string::npos) << Values().m_statusLine;
  WriteFile(Content(65529, 2));
  const std::string date = m_config.GetCurDateFormat();
  FakeTapeDev(m_config, m_drive).BackupEnd();

  values = Values();
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

  // The used blocks in gigabytes: labels and records up to block 100 of 64 KiB.
  m_cartridge = std::make_shared<FakeCartridge>();
  m_drive.Insert(m_cartridge);
  m_drive.set_block_size(65536);
  StartRunOnNewVolume();
  WriteFile(Content(97 * 65528), 65528);
  ASSERT_EQ(m_drive.position(), 100u);
  FakeTapeDev(m_config, m_drive).BackupEnd();
  EXPECT_NE(Values().m_statusLine.find("\", used : 0.006 GB, files: 1, "), std::string::npos) << Values().m_statusLine;
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
