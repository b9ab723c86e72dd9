// The backup run: which tape BackupStart takes, labels or refuses, each
// question with its answers, and what reaches the caller's configuration.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tape_dev_fixture.h"

namespace {

const std::string kUnreadableQuestion =
    "A new tape expected. Tape in the drive cannot be read at its start: " + DriveFailure("ReadFile", 1106) +
    "\nIt may hold data written with another block size.\nPlease insert a new tape";
const std::string kInsertedProtectedQuestion = "Inserted tape is WRITE-PROTECTED\nPlease remove protection";

using TapeDevBackup = TapeDevTest;

}  // namespace

// Which tape BackupStart takes or labels, every question it asks with each
// answer: the situation, the exact text and options, and where it leads.
// C001 holds the known volume; each case has two fresh cartridges, the tape
// in the drive and a blank for the operator.
TEST_F(TapeDevBackup, EachSituationQuestionAndAnswerOfTheStartLeadsWhereItShould) {
  UseLibrary(512, 1 << 20, 50);
  StartRunOnNewVolume();
  WriteFile(DocumentBytes(1, 700));
  Device()->BackupEnd();
  const CFnx_Dal_ConfigValues known = Values();
  LabelOther("C002");
  const std::string no_medium_known = "Please insert tape with label=(" + VolumeId() + ")";
  const std::string no_medium_new = "Please insert tape with label=(VOL_A)";
  const std::string no_medium_scratch = "Please insert scratch tape into the drive";
  const std::string wrong = "Tape with label=(" + VolumeId() + "), expected.\nTape with label=(" + IdOf("C002") +
                            "), in the drive.\nPlease insert correct tape ";
  std::string tape, blank;  // the case's cartridges
  auto insert_blank = [&] { FnxVtapeInsert(m_library, blank); };
  auto insert_known = [&] { FnxVtapeInsert(m_library, "C001"); };
  auto insert_known_protected = [&] {
    FnxVtapeProtect(m_library, "C001", true);
    insert_known();
  };
  auto unprotect = [&] { FnxVtapeProtect(m_library, "C001", false); };
  // What the case puts into the drive: "labelled", "foreign", "wound"
  // (labelled, the drive at block 40), "unreadable" (block 0 fails), "blank",
  // "known", "protected known" or "none". What the model run covers (a blank,
  // "Use" and "Retry" with a blank, protection taken off, the right volume
  // fetched) is left to it.
  enum Flags { kNew, kNew2, kForce, kForceKnown, kKnown };  // the new-volume and force-label flags
  struct Case {
    Flags start;
    std::string in_drive;
    std::vector<OperatorStep> steps;
    std::string outcome;  // "labels it", "labels blank", "goes on", "abort", "no tape", "write fails"
  } cases[] = {
      {kForceKnown, "labelled", {}, "labels it"},
      {kNew2, "blank", {}, "labels blank"},
      {kNew,
       "labelled",
       {{kLabelledQuestion, kRetryCancelUse, "Retry"}, {kLabelledQuestion, kRetryCancelUse, kUse}},
       "labels it"},
      {kNew,
       "labelled",
       {{kLabelledQuestion, kRetryCancelUse, "?"}, {kLabelledQuestion, kRetryCancelUse, kUse}},
       "labels it"},
      {kNew, "labelled", {{kLabelledQuestion, kRetryCancelUse, "Cancel"}}, "abort"},
      // A tape written with another block size fails at its first read.
      {kNew, "unreadable", {{kUnreadableQuestion, kRetryCancelUse, kUse}}, "labels it"},
      {kNew, "unreadable", {{kUnreadableQuestion, kRetryCancelUse, "Cancel"}}, "abort"},
      {kNew,
       "foreign",
       {{kForeignDataQuestion, kRetryCancelUse, "?"}, {kForeignDataQuestion, kRetryCancelUse, "Cancel"}},
       "abort"},
      // An unmatched answer to an empty drive goes on without looking again.
      {kForce, "none", {{no_medium_scratch, kRetryCancel, "Retry", insert_blank}}, "labels blank"},
      {kNew, "none", {{no_medium_new, kRetryCancel, "Cancel"}}, "abort"},
      {kKnown, "none", {{no_medium_known, kRetryCancel, "Retry", insert_known}}, "goes on"},
      {kKnown, "none", {{no_medium_known, kRetryCancel, "?"}}, "no tape"},
      {kKnown,
       "protected known",
       {{kProtectedQuestion, kRetryCancel, "Retry"}, {kProtectedQuestion, kRetryCancel, "Retry", unprotect}},
       "goes on"},
      {kKnown, "protected known", {{kProtectedQuestion, kRetryCancel, "Cancel"}}, "abort"},
      // Unmatched goes on unlooked: labelling then meets the protection.
      {kForce, "protected known", {{kProtectedQuestion, kRetryCancel, "?"}}, "write fails"},
      {kKnown, "wound", {{wrong, kRetryCancel, "Retry", insert_known}}, "goes on"},
      {kKnown, "labelled", {{wrong, kRetryCancel, "?"}, {wrong, kRetryCancel, "Retry", insert_known}}, "goes on"},
      {kKnown,
       "labelled",
       {{wrong, kRetryCancel, "Retry", insert_known_protected},
        {kInsertedProtectedQuestion, kRetryCancel, "Retry", unprotect}},
       "goes on"},
      {kKnown,
       "labelled",
       {{wrong, kRetryCancel, "Retry", insert_known_protected},
        {kInsertedProtectedQuestion, kRetryCancel, "Cancel", unprotect}},
       "abort"},
      {kKnown, "labelled", {{wrong, kRetryCancel, "Cancel"}}, "abort"},
  };
  int next = 3;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.in_drive + " -> " + c.outcome + " " + std::to_string(next));
    tape = Cartridge(next++);
    blank = Cartridge(next++);
    unprotect();
    CFnx_Dal_ConfigValues values = known;
    if (c.start != kKnown && c.start != kForceKnown) values.m_volumeInfo.clear();
    values.m_forceLabel = c.start == kForce || c.start == kForceKnown;
    values.m_newVolume1 = c.start == kNew;
    values.m_newVolume2 = c.start == kNew2;
    SetValues(values);
    if (c.in_drive == "labelled" || c.in_drive == "wound" || c.in_drive == "unreadable") LabelOther(tape);
    if (c.in_drive == "wound") {
      for (std::uint64_t n = 1; n <= 40; ++n) PutBlock(tape, n, std::string(512, 'x'));
    }
    if (c.in_drive == "foreign") FillForeign(tape);
    if (c.in_drive == "blank") tape = blank;
    if (c.in_drive.find("known") != std::string::npos) tape = "C001";
    if (c.in_drive == "protected known") FnxVtapeProtect(m_library, "C001", true);
    const std::vector<std::string> blocks_before = Blocks(tape);
    if (c.in_drive == "none") {
      FnxVtapeEject(m_library);
    } else {
      FnxVtapeInsert(m_library, tape);
    }
    if (c.in_drive == "wound") Device()->GotoPosition(CFnx_Dal_Tape_Position(0, 40, 0));
    if (c.in_drive == "unreadable") Fail("read", 1106);

    std::string outcome;
    Operate(c.steps, [&] {
      try {
        outcome = Aborts([&] { Device()->BackupStart(); }) ? "abort" : "started";
      } catch (const FNXError& error) {
        outcome = error.Text() == DriveFailure("WriteFile", 19)                  ? "write fails"
                  : error.Text() == DriveFailure("GetTapeMediaParameters", 1112) ? "no tape"
                                                                                 : error.Text();
      }
    });
    const std::string labelled = FnxVtapeGetStatus(m_library).inDrive;
    if (outcome == "started") {
      outcome = labelled == "C001" ? "goes on" : labelled == blank ? "labels blank" : "labels it";
      EXPECT_TRUE(Values().m_backupFlag);
    }
    EXPECT_EQ(outcome, c.outcome);
    if (c.outcome == "labels it" || c.outcome == "labels blank") {
      // A fresh volume: the caller has its label, no files, the next block behind the label.
      const std::vector<std::string> blocks = Blocks(labelled);
      ASSERT_EQ(blocks.size(), 1u);
      const std::string& label = blocks[0];
      ASSERT_TRUE(tape_is_volume_label(label.data()));
      EXPECT_EQ(label.substr(kTapeVolumeIdOffset, 16), "VOL_A           ");
      const std::string info = Values().m_volumeInfo;
      ASSERT_EQ(info.size(), kTapeVolumeInfoSize);
      EXPECT_EQ(info.substr(0, kTapeVolumeIdOffset + 35), label.substr(0, kTapeVolumeIdOffset + 35));
      tape_volume_status status;
      status.load(info);
      EXPECT_EQ(status.get_file_count(), 0);
      EXPECT_EQ(std::string(status.offset_low, 10) + "/" + std::string(status.block_size, 6), "0000000001/000512");
    } else if (c.outcome == "goes on") {
      EXPECT_EQ(FnxVtapeGetStatus(m_library).position, known.m_endBlock);
    } else if (c.outcome == "abort") {
      EXPECT_EQ(Values().m_volumeInfo, values.m_volumeInfo);  // nothing pushed
    }
    if (c.outcome != "labels it" && tape != blank) {
      EXPECT_EQ(Blocks(tape), blocks_before);  // a tape not taken is not written to
    }
    FnxVtapeClearFaults(m_library);
  }
}

// The status line after each file and at the end of the run, and what
// BackupEnd leaves: the run closed, the second new-volume flag cleared, the
// volume's account as the last label left it, whatever tape is in the drive.
TEST_F(TapeDevBackup, BackupEndClosesTheRunAndPushesTheStatusLine) {
  CFnx_Dal_ConfigValues values = Values();
  values.m_newVolume1 = values.m_newVolume2 = true;
  SetValues(values);
  Device()->BackupStart();
  EXPECT_EQ(Values().m_statusLine, "");  // the start shows its line to the operator only
  WriteFile(DocumentBytes(1, 700));
  EXPECT_NE(Values().m_statusLine.find(", files: 1, last backup: \""), std::string::npos) << Values().m_statusLine;
  WriteFile(DocumentBytes(2, 65529));
  const std::uint64_t end = FnxVtapeGetStatus(m_library).position;
  const std::string date = m_config.GetCurDateFormat();
  LabelOther("C002");
  const std::vector<std::string> other_blocks = Blocks("C002");
  FnxVtapeInsert(m_library, "C002");
  Operate({}, [&] { Device()->BackupEnd(); });
  EXPECT_EQ(Blocks("C002"), other_blocks);

  values = Values();
  EXPECT_FALSE(values.m_backupFlag);
  EXPECT_TRUE(values.m_newVolume1);   // stays
  EXPECT_FALSE(values.m_newVolume2);  // cleared by the end of the run
  EXPECT_EQ(values.m_endBlock, end);
  const std::string id = VolumeId();
  const std::string head = "volume=\"VOL_A, " + id.substr(16, 10) + ", " + id.substr(27, 8) +
                           "\", used : 0.000 GB, files: 2, last backup: \"" + date + ", ";
  EXPECT_EQ(values.m_statusLine.substr(0, head.size()), head) << values.m_statusLine;
  tape_volume_status status;
  status.load(values.m_volumeInfo);
  EXPECT_EQ(status.get_file_count(), 2);
  EXPECT_EQ(status.used_blocks(), end);

  // The used blocks in gigabytes: labels and records up to block 100 of 64 KiB.
  UseLibrary(65536, 1 << 12);
  StartRunOnNewVolume();
  WriteFile(DocumentBytes(3, 97 * 65528), 65528);
  ASSERT_EQ(FnxVtapeGetStatus(m_library).position, 100u);
  Device()->BackupEnd();
  EXPECT_NE(Values().m_statusLine.find("\", used : 0.006 GB, files: 1, "), std::string::npos) << Values().m_statusLine;
}
