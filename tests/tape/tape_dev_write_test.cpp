// Writing files to tape: where labels and records land, what the caller's
// configuration holds afterwards, and the end of the medium.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "fnx_expect.h"
#include "tape_dev_fixture.h"

namespace {

using Errors = std::vector<std::string>;

const std::string kStartLabelEot =
    "End of tape reached. A new backup will be started.\nPlease, insert a new volume and press \"Retry\"";
const std::string kDataEot =
    "End of tape reached. A new volume will be started.\nPlease, insert a new volume and press \"Retry\"";
const std::string kForeignTape = "Foreign tape in the drive.\nPlease, insert a new volume and press \"Retry\"";

std::string Digits(std::uint32_t number, int width) {
  std::string text = std::to_string(number);
  return std::string(static_cast<std::size_t>(width) - text.size(), '0') + text;
}

class TapeDevWrite : public TapeDevTest {
 protected:
  void SetUp() override { StartRunOnNewVolume(); }

  std::vector<FakeIo> Writes() {
    std::vector<FakeIo> writes;
    for (const FakeIo& io : m_drive.io()) {
      if (io.kind == 'W') writes.push_back(io);
    }
    return writes;
  }
};

}  // namespace

// ---------------------------------------------------------------------------
// The layout on tape.

TEST_F(TapeDevWrite, A700ByteFileLiesAsTheFormatSaysAndRestores) {
  const std::string content = Content(700);
  const std::string location = WriteFile(content, 300);

  const std::string start = Block(1);
  EXPECT_TRUE(tape_is_file_label(start.data()));
  EXPECT_FALSE(tape_is_end_label(start.data()));
  EXPECT_EQ(start.substr(0, 6), "000001");
  EXPECT_EQ(start.substr(63, 10), "0000000001");  // start_Offset_low
  EXPECT_EQ(start.substr(103, 35), VolumeId());

  std::string record = Block(2) + Block(3);
  EXPECT_EQ(tape_get_record_length(record.data()), 704u);
  EXPECT_TRUE(SameBytes(record.substr(4, 700), content));

  const std::string end = Block(4);
  EXPECT_TRUE(tape_is_end_label(end.data()));
  EXPECT_EQ(end.substr(83, 10), "0000000004");  // end_Offset_low
  EXPECT_EQ(end.substr(198, 16), "0000000000000700");
  EXPECT_EQ(end.substr(0, 83), start.substr(0, 83));

  ASSERT_EQ(location.size(), kTapeLocationSize);
  EXPECT_EQ(location.substr(294), "0000000000000700");
  EXPECT_EQ(location.substr(60, 120), Values().m_name + std::string(120 - Values().m_name.size(), ' '));
  EXPECT_EQ(location.substr(180, 16) + location.substr(196, 10) + "/" + location.substr(206, 8), VolumeId());

  WriteFile(Content(10, 2));
  EXPECT_EQ(Block(5).substr(0, 6), "000002");  // the next start label
  EXPECT_TRUE(tape_is_file_label(Block(5).data()));

  EXPECT_TRUE(SameBytes(RestoreFile(location), content));
}

TEST_F(TapeDevWrite, TheLastRecordTakesABlockMoreWhenItsLengthIsAMultipleOfTheBlock) {
  struct Case {
    std::size_t size;
    std::uint32_t record_blocks;  // of the one record, length word size + 4
  } cases[] = {{1, 1}, {507, 1}, {508, 2}, {700, 2}, {1020, 3}, {1021, 3}};
  std::vector<std::string> locations;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.size);
    const std::uint32_t start = m_drive.position();
    locations.push_back(WriteFile(Content(c.size, 7), 100));
    EXPECT_EQ(locations.back().substr(254, 10), Digits(start, 10));
    EXPECT_EQ(locations.back().substr(274, 10), Digits(start + 1 + c.record_blocks, 10));
    EXPECT_EQ(m_drive.position(), start + 2 + c.record_blocks);
  }
  // A restore ends the run, so the files are read back after all are written.
  for (std::size_t i = 0; i < locations.size(); ++i) {
    EXPECT_TRUE(SameBytes(RestoreFile(locations[i]), Content(cases[i].size, 7)));
  }
}

TEST_F(TapeDevWrite, FilesOfEverySizeAroundARecordRestoreByteExact) {
  const std::size_t sizes[] = {1, 700, 65528, 65529, 3 * 65528 + 1};
  const std::size_t chunks[] = {1000, 65528, 1 << 20};
  unsigned seed = 1;
  std::vector<std::pair<std::string, std::string>> files;  // location, content
  for (std::size_t size : sizes) {
    for (std::size_t chunk : chunks) {
      const std::string content = Content(size, ++seed);
      files.emplace_back(WriteFile(content, chunk), content);
    }
  }
  for (const auto& [location, content] : files) {
    for (std::size_t chunk : {std::size_t{10}, std::size_t{65528}, std::size_t{300000}}) {
      SCOPED_TRACE(std::to_string(content.size()) + " bytes read in pieces of " + std::to_string(chunk));
      EXPECT_TRUE(SameBytes(RestoreFile(location, chunk), content));
    }
  }
}

TEST_F(TapeDevWrite, ARecordGoesToTapeOnlyWhenMoreDataArrivesThanItHolds) {
  struct Case {
    const char* name;
    std::vector<std::uint32_t> writes;
    std::size_t full_records;  // written by the FileWrite calls
  } cases[] = {
      {"exactly one record", {65528}, 0},
      {"one record and a byte", {65528, 1}, 1},
      {"one byte more than a record in one call", {65529}, 1},
      {"three records and a byte", {3 * 65528 + 1}, 3},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeTapeDev device(m_config, m_drive);
    device.FileWriteStart();
    const std::uint32_t start = m_drive.position() - 1;
    m_drive.ClearIo();
    std::size_t total = 0;
    for (std::uint32_t length : c.writes) {
      std::string bytes = Content(length);
      std::uint32_t written = 0;
      EXPECT_TRUE(device.FileWrite(bytes.data(), length, written));
      EXPECT_EQ(written, length);
      total += length;
    }
    const std::vector<FakeIo> writes = Writes();
    ASSERT_EQ(writes.size(), c.full_records);
    for (std::size_t i = 0; i < writes.size(); ++i) {
      EXPECT_EQ(writes[i].block, start + 1 + 128 * i);
      EXPECT_EQ(writes[i].count, 128u);
    }
    EXPECT_EQ(device.GetFileSize(), static_cast<std::int64_t>(total));
    CFnx_Dal_Tape_Location location;
    device.FileWriteEnd(location);
    // The last record, 65532 bytes or one byte, then the end label.
    const std::vector<FakeIo> all = Writes();
    ASSERT_EQ(all.size(), c.full_records + 2);
    EXPECT_EQ(all[c.full_records].count, c.full_records == 0 ? 128u : 1u);
    EXPECT_EQ(all.back().count, 1u);
    EXPECT_EQ(device.GetFileSize(), static_cast<std::int64_t>(total));
  }
}

TEST_F(TapeDevWrite, AnEmptyFileLeavesAStartLabelAndNoLocation) {
  const CFnx_Dal_ConfigValues before = Values();
  CFnx_Dal_Tape_Location location;
  {
    FakeTapeDev device(m_config, m_drive);
    device.FileWriteStart();
    device.FileWriteEnd(location);
    EXPECT_EQ(device.GetFileSize(), 0);
  }
  std::string text;
  location.put_to_string(text);
  EXPECT_EQ(text, std::string(kTapeLocationHeadSize, ' '));
  EXPECT_EQ(m_drive.position(), 2u);  // the start label alone
  EXPECT_EQ(Values().m_volumeInfo, before.m_volumeInfo);  // nothing pushed
  const std::string next = WriteFile(Content(5));
  EXPECT_EQ(next.substr(214, 6), "000001");  // the same file number again
  EXPECT_TRUE(SameBytes(RestoreFile(next), Content(5)));
}

TEST_F(TapeDevWrite, FileNumbersFollowTheVolumeInfoAndReachTheCaller) {
  CFnx_Dal_ConfigValues values = Values();
  values.m_volumeInfo.replace(kTapeVolumeIdOffset + 71, 8, "00000041");
  SetValues(values);
  const std::string location = WriteFile(Content(20));
  EXPECT_EQ(location.substr(214, 6), "000042");
  tape_volume_status status;
  status.load(Values().m_volumeInfo);
  EXPECT_EQ(status.get_file_count(), 42);
  EXPECT_NE(Values().m_statusLine.find(", files: 42, "), std::string::npos) << Values().m_statusLine;
  EXPECT_EQ(std::string(status.used_low, 10), Digits(m_drive.position(), 10));
}

TEST_F(TapeDevWrite, TheConfigurationNameIsCutAt120InTheLocation) {
  for (std::size_t length : {std::size_t{3}, std::size_t{130}}) {
    CFnx_Dal_ConfigValues values = Values();
    values.m_name = std::string(length, 'n');
    SetValues(values);
    const std::string location = WriteFile(Content(10));
    EXPECT_EQ(location.substr(60, 120), (std::string(length, 'n') + std::string(120, ' ')).substr(0, 120));
  }
}

// ---------------------------------------------------------------------------
// Refusals.

TEST_F(TapeDevWrite, NoFileIsStartedOutsideABackupRun) {
  CFnx_Dal_ConfigValues values = Values();
  values.m_backupFlag = false;
  SetValues(values);
  m_drive.ClearIo();
  FakeTapeDev device(m_config, m_drive);
  ExpectFnxError([&] { device.FileWriteStart(); }, "QRSDAL0513E", 1290, 8);
  try {
    device.FileWriteStart();
  } catch (const FNXError& error) {
    EXPECT_EQ(error.SourceFile(), kTapeDevSource);
  }
  EXPECT_TRUE(m_drive.io().empty());
  EXPECT_EQ(Values().m_volumeInfo, values.m_volumeInfo);
}

TEST_F(TapeDevWrite, BytesBeyondWhatAFileOnTapeCanHoldAreRefusedUntaken) {
  FakeTapeDev device(m_config, m_drive);
  device.FileWriteStart();
  char bytes[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  std::uint32_t written = 0;
  ASSERT_TRUE(device.FileWrite(bytes, 10, written));
  // The lengths alone are refused: none of the bytes behind them is read.
  for (std::uint32_t length : {0x7FFFFFF6u, 0x80000000u, 0xFFFFFFFFu}) {
    ExpectFnxError([&] { device.FileWrite(bytes, length, written); }, "QRSDAL0542E", 1293, 8);
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(device.GetFileSize(), 10);
  }
  CFnx_Dal_Tape_Location location;
  device.FileWriteEnd(location);
  std::string text;
  location.put_to_string(text);
  EXPECT_TRUE(SameBytes(RestoreFile(text), std::string(bytes, 10)));
}

// ---------------------------------------------------------------------------
// The end of the medium and foreign tapes.

TEST_F(TapeDevWrite, EachAnswerAtTheEndOfTheMediumInTheDataLeadsWhereItShould) {
  struct Case {
    const char* name;
    std::string answer;
  } cases[] = {{"Retry", "Retry"}, {"Cancel", "Cancel"}, {"unmatched", "?"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_cartridge = std::make_shared<FakeCartridge>();
    m_cartridge->end_of_medium = 100;
    m_drive.Insert(m_cartridge);
    StartRunOnNewVolume();
    const std::string old_id = VolumeId();
    auto next = std::make_shared<FakeCartridge>();

    FakeTapeDev device(m_config, m_drive);
    device.FileWriteStart();
    std::string bytes = Content(3 * 65528);
    std::uint32_t written = 77;
    bool result = false;
    bool raised_end_of_tape = false;
    auto change_tape = [&] {
      WaitForNewLabelTime(old_id);
      m_drive.Insert(next);
    };
    EXPECT_EQ(WithOperator({{kDataEot, kRetryCancel, c.answer, change_tape}},
                           [&] {
                             try {
                               result = device.FileWrite(bytes.data(), 3 * 65528, written);
                             } catch (const end_of_tape_error& error) {
                               raised_end_of_tape = true;
                               EXPECT_EQ(error.SourceFile(), kTapeDevSource);
                             }
                           }),
              Errors{});
    EXPECT_EQ(m_drive.closes, 1);
    m_drive.closes = 0;
    if (c.answer == "Cancel") {
      EXPECT_TRUE(raised_end_of_tape);
    } else {
      EXPECT_EQ(result, c.answer == "Retry");
      EXPECT_EQ(written, 0u);
    }
    if (c.answer == "Retry") {
      // The new volume is labelled and the caller knows it at once.
      ASSERT_EQ(next->blocks.size(), 1u);
      EXPECT_TRUE(tape_is_volume_label(next->blocks[0].data()));
      const CFnx_Dal_ConfigValues values = Values();
      EXPECT_NE(VolumeId(), old_id);
      EXPECT_EQ(VolumeId(), next->blocks[0].substr(kTapeVolumeIdOffset, kTapeVolumeIdSize));
      EXPECT_TRUE(values.m_backupFlag);
      EXPECT_NE(values.m_statusLine.find(", files: 0, "), std::string::npos) << values.m_statusLine;
    }
    // The file is given up: more bytes are refused, and its end writes nothing.
    ExpectFnxError([&] { device.FileWrite(bytes.data(), 10, written); }, "QRSDAL0543E", 1294, 8);
    const std::size_t blocks_on_next = next->blocks.size();
    CFnx_Dal_Tape_Location location;
    device.FileWriteEnd(location);
    std::string text;
    location.put_to_string(text);
    EXPECT_EQ(text, std::string(kTapeLocationHeadSize, ' '));
    EXPECT_EQ(next->blocks.size(), blocks_on_next);
  }
}

TEST_F(TapeDevWrite, EachAnswerAtTheEndOfTheMediumAtTheStartLabelLeadsWhereItShould) {
  struct Case {
    const char* name;
    std::vector<std::string> answers;
    bool started;
  } cases[] = {
      {"Retry", {"Retry"}, true},
      {"unmatched asks again", {"?", "?", "Retry"}, true},
      {"Cancel", {"Cancel"}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_cartridge = std::make_shared<FakeCartridge>();
    m_cartridge->end_of_medium = 5;  // label, one 700-byte file
    m_drive.Insert(m_cartridge);
    StartRunOnNewVolume();
    WriteFile(Content(700));
    const std::string old_id = VolumeId();
    auto next = std::make_shared<FakeCartridge>();
    std::vector<OperatorStep> steps;
    for (const std::string& answer : c.answers) {
      steps.push_back({kStartLabelEot, kRetryCancel, answer, [&] {
                         WaitForNewLabelTime(old_id);
                         m_drive.Insert(next);
                       }});
    }
    std::string location;
    bool aborted = false;
    EXPECT_EQ(WithOperator(steps,
                           [&] {
                             try {
                               location = WriteFile(Content(900, 5));
                             } catch (const tape_user_abort&) {
                               aborted = true;
                             }
                           }),
              Errors{});
    EXPECT_EQ(aborted, !c.started);
    if (c.started) {
      EXPECT_EQ(location.substr(214, 6), "000001");  // first file of the new volume
      EXPECT_EQ(location.substr(254, 10), "0000000001");
      EXPECT_TRUE(SameBytes(RestoreFile(location), Content(900, 5)));
    }
  }
}

TEST_F(TapeDevWrite, AForeignTapeAtTheStartOfAFileIsReplacedOrRefused) {
  struct Case {
    const char* name;
    std::string answer;
    const char* outcome;  // "new volume", "abort", "goes on"
  } cases[] = {
      {"Retry", "Retry", "new volume"},
      {"Cancel", "Cancel", "abort"},
      {"unmatched", "?", "goes on"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    m_cartridge = std::make_shared<FakeCartridge>();
    m_drive.Insert(m_cartridge);
    StartRunOnNewVolume();
    auto next = std::make_shared<FakeCartridge>();
    m_drive.position_fails = true;
    const std::size_t blocks_before = m_cartridge->blocks.size();
    std::string outcome = "goes on";
    EXPECT_EQ(WithOperator({{kForeignTape, kRetryCancel, c.answer,
                             [&] {
                               m_drive.position_fails = false;
                               if (c.answer == "Retry") m_drive.Insert(next);
                             }}},
                           [&] {
                             try {
                               FakeTapeDev device(m_config, m_drive);
                               device.FileWriteStart();
                             } catch (const tape_user_abort& abort) {
                               EXPECT_EQ(abort.SourceFile(), kTapeDevSource);
                               outcome = "abort";
                             }
                           }),
              Errors{});
    if (!next->blocks.empty()) outcome = "new volume";
    EXPECT_EQ(outcome, c.outcome);
    if (outcome == std::string("new volume")) {
      ASSERT_EQ(next->blocks.size(), 2u);  // volume label and the start label of file 1
      EXPECT_EQ(next->blocks[1].substr(0, 6), "000001");
    } else if (outcome == std::string("goes on")) {
      EXPECT_EQ(m_cartridge->blocks.size(), blocks_before + 1);  // a start label
    } else {
      EXPECT_EQ(m_cartridge->blocks.size(), blocks_before);
    }
  }
}

TEST_F(TapeDevWrite, ANewVolumeTakenAtTheStartOfAFileReachesTheCallerEvenIfTheFileStaysEmpty) {
  struct Case {
    const char* name;
    bool foreign;  // else the end of the medium at the start label
  } cases[] = {{"end of the medium at the start label", false}, {"foreign tape", true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto old = std::make_shared<FakeCartridge>();
    old->end_of_medium = 5;  // label, one 700-byte file
    m_drive.Insert(old);
    StartRunOnNewVolume();
    WriteFile(Content(700));
    const std::string old_id = VolumeId();
    auto next = std::make_shared<FakeCartridge>();
    m_drive.position_fails = c.foreign;
    EXPECT_EQ(WithOperator({{c.foreign ? kForeignTape : kStartLabelEot, kRetryCancel, "Retry",
                             [&] {
                               m_drive.position_fails = false;
                               WaitForNewLabelTime(old_id);
                               m_drive.Insert(next);
                             }}},
                           [&] {
                             FakeTapeDev device(m_config, m_drive);
                             device.FileWriteStart();
                             CFnx_Dal_Tape_Location location;
                             device.FileWriteEnd(location);  // nothing was written to the file
                           }),
              Errors{});
    const std::string new_id = next->blocks.at(0).substr(kTapeVolumeIdOffset, kTapeVolumeIdSize);
    EXPECT_EQ(VolumeId(), new_id);

    // The next file lies on the new volume and its location says so.
    const std::string location = WriteFile(Content(900, 5));
    EXPECT_EQ(location.substr(180, 26) + "/" + location.substr(206, 8), new_id);
    EXPECT_EQ(location.substr(214, 6), "000001");
    m_drive.Insert(old);  // it holds data where the file starts on the new one
    const std::string found_on_old =
        old->blocks.at(std::stoul(location.substr(254, 10))).substr(kTapeFileLabelVolumeIdOffset, kTapeVolumeIdSize);
    std::string restored;
    EXPECT_EQ(WithOperator({{"Restore: please insert tape with label=(" + new_id + ").\n Label on current tape=(" +
                                 found_on_old + ")",
                             kRetryCancel, "Retry", [&] { m_drive.Insert(next); }}},
                           [&] { restored = RestoreFile(location); }),
              Errors{});
    EXPECT_TRUE(SameBytes(restored, Content(900, 5)));
  }
}

TEST_F(TapeDevWrite, ABlockSizeTheFormatCannotUseIsRefusedAlsoWhenTheForeignTapeIsTakenAsItIs) {
  // The drive's block size fails the start of the file; the operator's answer
  // names no option, so the start label is written all the same.
  struct Case {
    std::uint32_t block_size;
    const char* id;
    int code, error_class;
  } cases[] = {{0, "tape_single_blocksize_error", 0, 0}, {256, "QRSDAL0540E", 1291, 8}, {3000, "QRSDAL0540E", 1291, 8}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.block_size);
    const std::vector<std::string> blocks_before = m_cartridge->blocks;
    m_drive.set_block_size(c.block_size);
    EXPECT_EQ(WithOperator({{kForeignTape, kRetryCancel, "?"}},
                           [&] {
                             FakeTapeDev device(m_config, m_drive);
                             ExpectFnxError([&] { device.FileWriteStart(); }, c.id, c.code, c.error_class);
                           }),
              Errors{});
    m_drive.set_block_size(512);
    EXPECT_EQ(m_cartridge->blocks, blocks_before);
  }
}

// ---------------------------------------------------------------------------
// A run over three volumes.

TEST_F(TapeDevWrite, ARunOverThreeVolumesKeepsEveryFileItGaveALocationFor) {
  std::vector<std::shared_ptr<FakeCartridge>> volumes;
  for (int i = 0; i < 3; ++i) {
    volumes.push_back(std::make_shared<FakeCartridge>());
    volumes.back()->end_of_medium = 260;
  }
  m_drive.Insert(volumes[0]);
  StartRunOnNewVolume();

  // 100000 bytes take 198 blocks: the second such file on a volume meets the
  // end of the medium inside its first record.
  const std::size_t sizes[] = {100000, 100000, 20000, 100000, 1};
  std::vector<std::string> locations;
  std::vector<int> volume_of_file;
  std::size_t loaded = 0;
  for (std::size_t i = 0; i < std::size(sizes); ++i) {
    SCOPED_TRACE("file " + std::to_string(i + 1));
    std::vector<OperatorStep> steps;
    if (i == 1 || i == 3) {
      steps.push_back({kDataEot, kRetryCancel, "Retry", [&] {
                         WaitForNewLabelTime(volumes[loaded]->blocks[0].substr(kTapeVolumeIdOffset, 35));
                         m_drive.Insert(volumes[++loaded]);
                       }});
    }
    EXPECT_EQ(WithOperator(steps, [&] { locations.push_back(WriteFile(Content(sizes[i], 10 + i), 8192)); }),
              Errors{});
    volume_of_file.push_back(static_cast<int>(loaded));

    // The caller's configuration follows the volume in the drive.
    const CFnx_Dal_ConfigValues values = Values();
    EXPECT_TRUE(values.m_backupFlag);
    EXPECT_EQ(VolumeId(), volumes[loaded]->blocks[0].substr(kTapeVolumeIdOffset, kTapeVolumeIdSize));
    EXPECT_EQ(locations.back().substr(180, 16), "VOL_A           ");
    tape_volume_status status;
    status.load(values.m_volumeInfo);
    const int files_on_volume = static_cast<int>(
        std::count(volume_of_file.begin(), volume_of_file.end(), static_cast<int>(loaded)));
    EXPECT_EQ(status.get_file_count(), files_on_volume);
    EXPECT_NE(values.m_statusLine.find(", files: " + std::to_string(files_on_volume) + ", "), std::string::npos)
        << values.m_statusLine;
    EXPECT_EQ(std::string(status.offset_low, 10), Digits(m_drive.position(), 10));
  }
  EXPECT_EQ(loaded, 2u);
  FakeTapeDev(m_config, m_drive).BackupEnd();
  EXPECT_FALSE(Values().m_backupFlag);

  // Restores ask for the volume whenever another one is in the drive.
  for (std::size_t i = 0; i < locations.size(); ++i) {
    SCOPED_TRACE("restore of file " + std::to_string(i + 1));
    const auto& wanted = volumes[static_cast<std::size_t>(volume_of_file[i])];
    std::vector<OperatorStep> steps;
    if (m_drive.Loaded() != wanted) {
      const std::string expected = wanted->blocks[0].substr(kTapeVolumeIdOffset, kTapeVolumeIdSize);
      const std::uint32_t start = static_cast<std::uint32_t>(std::stoul(locations[i].substr(254, 10)));
      const std::string found = m_drive.Loaded()->blocks.at(start).substr(kTapeFileLabelVolumeIdOffset, 35);
      steps.push_back({"Restore: please insert tape with label=(" + expected + ").\n Label on current tape=(" +
                           found + ")",
                       kRetryCancel, "Retry", [&] { m_drive.Insert(wanted); }});
    }
    std::string restored;
    EXPECT_EQ(WithOperator(steps, [&] { restored = RestoreFile(locations[i], 50000); }), Errors{});
    EXPECT_TRUE(SameBytes(restored, Content(sizes[i], static_cast<unsigned>(10 + i))));
  }
}
