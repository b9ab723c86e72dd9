// Writing files to tape: where labels and records land, what the caller's
// configuration holds afterwards, and the end of the medium.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fnx_expect.h"
#include "tape_dev_fixture.h"

namespace {

const std::string kStartLabelEot =
    "End of tape reached. A new backup will be started.\nPlease, insert a new volume and press \"Retry\"";
const std::string kDataEot =
    "End of tape reached. A new volume will be started.\nPlease, insert a new volume and press \"Retry\"";
const std::string kForeignTape = "Foreign tape in the drive.\nPlease, insert a new volume and press \"Retry\"";

std::string Digits(std::uint32_t number, std::size_t width) {
  const std::string text = std::to_string(number);
  return std::string(width - text.size(), '0') + text;
}

std::string LocationOf(CFnx_Dal_TapeDev& device) {
  CFnx_Dal_Tape_Location location;
  device.FileWriteEnd(location);
  std::string text;
  location.put_to_string(text);
  return text;
}

const std::string kNoLocation(kTapeLocationHeadSize, ' ');

class TapeDevWrite : public TapeDevTest {
 protected:
  void SetUp() override { StartRunOnNewVolume(); }

  // A fresh run on a cartridge whose medium ends at block end_of_medium.
  void StartOnCartridge(std::uint32_t end_of_medium) {
    m_cartridge = std::make_shared<FakeCartridge>();
    m_cartridge->end_of_medium = end_of_medium;
    m_drive.Insert(m_cartridge);
    StartRunOnNewVolume();
  }

  void StartEmptyFile() {
    FakeTapeDev device(m_config, m_drive);
    device.FileWriteStart();
    EXPECT_EQ(LocationOf(device), kNoLocation);
  }
};

}  // namespace

TEST_F(TapeDevWrite, A700ByteFileLiesAsTheFormatSaysAndRestores) {
  const std::string content = Content(700);
  const std::string location = WriteFile(content, 300);
  const std::string start = m_cartridge->blocks.at(1);
  EXPECT_TRUE(tape_is_file_label(start.data()));
  EXPECT_FALSE(tape_is_end_label(start.data()));
  EXPECT_EQ(start.substr(0, 6), "000001");
  EXPECT_EQ(start.substr(63, 10), "0000000001");  // start_Offset_low
  EXPECT_EQ(start.substr(103, 35), VolumeId());

  const std::string record = m_cartridge->blocks.at(2) + m_cartridge->blocks.at(3);
  EXPECT_EQ(tape_get_record_length(record.data()), 704u);
  EXPECT_TRUE(SameBytes(record.substr(4, 700), content));

  const std::string end = m_cartridge->blocks.at(4);
  EXPECT_TRUE(tape_is_end_label(end.data()));
  EXPECT_EQ(end.substr(83, 10), "0000000004");  // end_Offset_low
  EXPECT_EQ(end.substr(198, 16), "0000000000000700");
  EXPECT_EQ(end.substr(0, 83), start.substr(0, 83));

  ASSERT_EQ(location.size(), kTapeLocationSize);
  EXPECT_EQ(location.substr(60, 120), Values().m_name + std::string(120 - Values().m_name.size(), ' '));
  EXPECT_EQ(location.substr(180, 26) + "/" + location.substr(206, 8), VolumeId());
  EXPECT_EQ(location.substr(254, 10) + location.substr(274, 10), "00000000010000000004");
  EXPECT_EQ(location.substr(294), "0000000000000700");
  EXPECT_TRUE(SameBytes(RestoreFile(location), content));
}

// File numbers follow the volume info; an empty file leaves no location,
// pushes nothing, and its number and place are used again.
TEST_F(TapeDevWrite, FileNumbersFollowTheVolumeInfoAndReachTheCaller) {
  CFnx_Dal_ConfigValues values = Values();
  values.m_volumeInfo.replace(kTapeVolumeIdOffset + 71, 8, "00000041");
  SetValues(values);
  StartEmptyFile();
  EXPECT_EQ(Values().m_volumeInfo, values.m_volumeInfo);
  const std::string location = WriteFile(Content(5));
  EXPECT_EQ(location.substr(214, 6), "000042");
  EXPECT_EQ(location.substr(254, 10), "0000000001");  // over the empty file's start label
  values = Values();
  tape_volume_status status;
  status.load(values.m_volumeInfo);
  EXPECT_EQ(status.get_file_count(), 42);
  EXPECT_NE(values.m_statusLine.find(", files: 42, "), std::string::npos) << values.m_statusLine;
  EXPECT_EQ(std::string(status.used_low, 10), Digits(m_drive.position(), 10));  // the end block, pushed
  EXPECT_TRUE(SameBytes(RestoreFile(location), Content(5)));
}

TEST_F(TapeDevWrite, BytesBeyondWhatAFileOnTapeCanHoldAreRefusedUntaken) {
  FakeTapeDev device(m_config, m_drive);
  device.FileWriteStart();
  char bytes[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  std::uint32_t written = 0;
  ASSERT_TRUE(device.FileWrite(bytes, 10, written));
  // The lengths alone are refused: none of the bytes behind them is read.
  for (std::uint32_t length : {0x7FFFFFF6u, 0xFFFFFFFFu}) {
    ExpectFnxError([&] { device.FileWrite(bytes, length, written); }, "QRSDAL0542E", 1293, 8);
    EXPECT_EQ(written, 0u);
  }
  EXPECT_TRUE(SameBytes(RestoreFile(LocationOf(device)), std::string(bytes, 10)));
}

TEST_F(TapeDevWrite, EachAnswerAtTheEndOfTheMediumInTheDataLeadsWhereItShould) {
  for (const std::string answer : {"Retry", "Cancel", "?"}) {
    SCOPED_TRACE(answer);
    StartOnCartridge(100);
    const std::string old_id = VolumeId();
    auto next = std::make_shared<FakeCartridge>();
    FakeTapeDev device(m_config, m_drive);
    device.FileWriteStart();
    std::string bytes = Content(3 * 65528);
    std::uint32_t written = 77;
    bool result = false, end_of_tape = false;
    m_drive.closes = 0;
    Operate({{kDataEot, kRetryCancel, answer, InsertNewVolume(next)}}, [&] {
      try {
        result = device.FileWrite(bytes.data(), 3 * 65528, written);
      } catch (const end_of_tape_error& error) {
        end_of_tape = true;
        EXPECT_EQ(error.SourceFile(), kTapeDevSource);
      }
    });
    EXPECT_EQ(m_drive.closes, 1);  // the handle is let go before the operator changes tapes
    EXPECT_EQ(end_of_tape, answer == "Cancel");
    if (!end_of_tape) {
      EXPECT_EQ(result, answer == "Retry");
      EXPECT_EQ(written, 0u);
    }
    if (answer == "Retry") {  // labelled, and the caller knows it at once
      EXPECT_EQ(VolumeId(), IdOf(next));
      EXPECT_NE(Values().m_statusLine.find(", files: 0, "), std::string::npos) << Values().m_statusLine;
    } else if (answer == "Cancel") {
      EXPECT_EQ(VolumeId(), old_id);
    }
    // The file is given up: more bytes are refused, and its end writes nothing.
    ExpectFnxError([&] { device.FileWrite(bytes.data(), 10, written); }, "QRSDAL0543E", 1294, 8);
    const std::size_t blocks_on_next = next->blocks.size();
    EXPECT_EQ(LocationOf(device), kNoLocation);
    EXPECT_EQ(next->blocks.size(), blocks_on_next);
  }
}

TEST_F(TapeDevWrite, EachAnswerAtTheEndOfTheMediumAtTheStartLabelLeadsWhereItShould) {
  struct Case {
    std::vector<std::string> answers;
  } cases[] = {{{"Retry"}}, {{"?", "?", "Retry"}}, {{"Cancel"}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.answers.size());
    StartOnCartridge(5);  // room for the label and one 700-byte file
    WriteFile(Content(700));
    const std::string old_volume_info = Values().m_volumeInfo;
    auto next = std::make_shared<FakeCartridge>();
    std::vector<OperatorStep> steps;
    for (const std::string& answer : c.answers) steps.push_back({kStartLabelEot, kRetryCancel, answer, InsertNewVolume(next)});
    const bool cancel = c.answers.back() == "Cancel";
    Operate(steps, [&] { EXPECT_EQ(Aborts([&] { StartEmptyFile(); }), cancel); });
    if (cancel) {
      EXPECT_EQ(Values().m_volumeInfo, old_volume_info);
      continue;
    }
    EXPECT_EQ(VolumeId(), IdOf(next));  // pushed at once, though the file stayed empty
    const std::string location = WriteFile(Content(900, 5));
    EXPECT_EQ(location.substr(214, 6) + location.substr(254, 10), "0000010000000001");  // file 1 of the new volume
    EXPECT_TRUE(SameBytes(RestoreFile(location), Content(900, 5)));
  }
}

// "Retry" labels a new tape, an unmatched answer looks at the tape in the
// drive again; either way the file lands behind a volume label and restores.
TEST_F(TapeDevWrite, AForeignTapeAtTheStartOfAFileIsReplacedLookedAtAgainOrRefused) {
  for (const std::string answer : {"Retry", "Cancel", "?"}) {
    SCOPED_TRACE(answer);
    StartOnCartridge(0xFFFFFFFFu);
    auto next = std::make_shared<FakeCartridge>();
    m_drive.position_fails = true;
    const std::vector<std::string> blocks_before = m_cartridge->blocks;
    std::string location;
    Operate({{kForeignTape, kRetryCancel, answer,
              [&] {
                m_drive.position_fails = false;
                if (answer == "Retry") m_drive.Insert(next);
              }}},
            [&] { EXPECT_EQ(Aborts([&] { location = WriteFile(Content(900, 7)); }), answer == "Cancel"); });
    if (answer == "Cancel") {
      EXPECT_EQ(m_cartridge->blocks, blocks_before);
      continue;
    }
    ASSERT_EQ(location.substr(180, 26) + "/" + location.substr(206, 8), IdOf(answer == "Retry" ? next : m_cartridge));
    EXPECT_EQ(location.substr(214, 6) + location.substr(254, 10), "0000010000000001");
    EXPECT_TRUE(SameBytes(RestoreFile(location), Content(900, 7)));
  }
}

// Protection turned on in the middle of a run: the next file asks for it to
// be removed instead of failing at its first block, file after file.
TEST_F(TapeDevWrite, WriteProtectionTurnedOnDuringTheRunIsAskedAboutAtTheNextFile) {
  const std::string protectedQuestion =
      "Tape is write protected. Please, remove write protection and press \"Retry\"";
  m_cartridge->write_protected = true;
  std::string location;
  Operate({{protectedQuestion, kRetryCancel, "Retry", [&] { m_cartridge->write_protected = false; }}},
          [&] { location = WriteFile(Content(900, 3)); });
  EXPECT_TRUE(SameBytes(RestoreFile(location), Content(900, 3)));
}

TEST_F(TapeDevWrite, ABlockSizeTheFormatCannotUseIsRefused) {
  struct Case {
    std::uint32_t block_size;
    const char* id;
    int code, error_class;
  } cases[] = {{0, "tape_single_blocksize_error", 0, 0}, {256, "QRSDAL0540E", 1291, 8}, {3000, "QRSDAL0540E", 1291, 8},
               {131072, "QRSDAL0540E", 1291, 8}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.block_size);
    const std::vector<std::string> blocks_before = m_cartridge->blocks;
    m_drive.set_block_size(c.block_size);
    ExpectFnxError([&] { FakeTapeDev(m_config, m_drive).BackupStart(); }, c.id, c.code, c.error_class);
    m_drive.set_block_size(512);
    EXPECT_EQ(m_cartridge->blocks, blocks_before);
  }
}
