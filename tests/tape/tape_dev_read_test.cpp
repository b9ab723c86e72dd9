// Restoring a file: finding its volume through the operator, delivering the
// bytes in pieces, and refusing what is no record of the format.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fnx_expect.h"
#include "tape_dev_fixture.h"

namespace {

using Errors = std::vector<std::string>;

class TapeDevRead : public TapeDevTest {
 protected:
  void SetUp() override {
    StartRunOnNewVolume();
    m_location = WriteFile(m_content, 5000);
    FakeTapeDev(m_config, m_drive).BackupEnd();
  }

  CFnx_Dal_Tape_Location Location() {
    CFnx_Dal_Tape_Location location;
    location.get_from_string(m_location);
    return location;
  }

  std::size_t Reads() {
    std::size_t reads = 0;
    for (const FakeIo& io : m_drive.io()) reads += io.kind == 'R';
    return reads;
  }

  std::string RestoreQuestion(const std::string& found) {
    return "Restore: please insert tape with label=(" + VolumeId() + ").\n Label on current tape=(" + found + ")";
  }

  // 700 bytes more than one full record: records of 65532 and 704.
  const std::string m_content = Content(65528 + 700, 3);
  std::string m_location;
};

}  // namespace

TEST_F(TapeDevRead, BytesComeInPiecesAndRecordsLoadOnlyWhenNeeded) {
  struct Case {
    const char* name;
    std::vector<std::uint32_t> asks;
    std::vector<std::uint32_t> reads;
    std::size_t blocks_read;  // by ReadRead, beyond ReadStart's
  } cases[] = {
      {"nothing asked", {0}, {0}, 0},
      {"more than the file in one call", {200000, 10}, {65528 + 700, 0}, 128 + 2},
      {"pieces of a record's data", {65528, 65528, 1}, {65528, 700, 0}, 128 + 2},
      {"two small pieces from one record", {10, 10}, {10, 10}, 128},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CFnx_Dal_Tape_Location location = Location();
    FakeTapeDev device(m_config, m_drive);
    device.ReadStart(location);
    EXPECT_EQ(device.GetFileSize(), 0);
    EXPECT_EQ(m_drive.position(), 2u);  // behind the start label at block 1
    m_drive.ClearIo();
    std::string restored;
    for (std::size_t i = 0; i < c.asks.size(); ++i) {
      std::string piece(c.asks[i], '\0');
      std::uint32_t read = 99;
      device.ReadRead(piece.data(), c.asks[i], read);
      EXPECT_EQ(read, c.reads[i]);
      restored.append(piece.data(), read);
    }
    EXPECT_TRUE(SameBytes(restored, m_content.substr(0, restored.size())));
    EXPECT_EQ(Reads(), c.blocks_read);
    if (c.blocks_read > 0) {
      EXPECT_EQ(m_drive.io().front().block, 2u);
    }
  }
}

TEST_F(TapeDevRead, ARestoreEndsTheRunOfItsConfiguration) {
  EXPECT_EQ(WithOperator({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); }), Errors{});
  ASSERT_TRUE(Values().m_backupFlag);
  EXPECT_TRUE(SameBytes(RestoreFile(m_location), m_content));
  EXPECT_FALSE(Values().m_backupFlag);
  FakeTapeDev device(m_config, m_drive);
  ExpectFnxError([&] { device.FileWriteStart(); }, "QRSDAL0513E", 1290, 8);
}

TEST_F(TapeDevRead, EachAnswerToAWrongVolumeLeadsWhereItShould) {
  auto other = LabelledCartridge("OLD_VOL", 512);
  other->blocks.resize(3, std::string(512, 'x'));  // block 1, where the file starts, is data
  const std::string found_in_data(35, 'x');
  auto insert_right = [&] { m_drive.Insert(m_cartridge); };
  struct Case {
    const char* name;
    std::vector<OperatorStep> steps;
    bool restored;
  } cases[] = {
      {"Retry with the right tape", {{RestoreQuestion(found_in_data), kRetryCancel, "Retry", insert_right}}, true},
      // Retry on the wrong tape: now the volume label alone is looked at.
      {"Retry on the same tape",
       {{RestoreQuestion(found_in_data), kRetryCancel, "Retry"},
        {RestoreQuestion(other->blocks[0].substr(kTapeVolumeIdOffset, 35)), kRetryCancel, "Retry", insert_right}},
       true},
      {"unmatched asks the same again",
       {{RestoreQuestion(found_in_data), kRetryCancel, "?"},
        {RestoreQuestion(found_in_data), kRetryCancel, "Retry", insert_right}},
       true},
      {"Cancel", {{RestoreQuestion(found_in_data), kRetryCancel, "Cancel"}}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    // A run that the restore ends, unless cancelled.
    EXPECT_EQ(WithOperator({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); }), Errors{});
    m_drive.Insert(other);
    std::string restored;
    bool aborted = false;
    EXPECT_EQ(WithOperator(c.steps,
                           [&] {
                             try {
                               restored = RestoreFile(m_location, 100000);
                             } catch (const tape_user_abort& abort) {
                               aborted = true;
                               EXPECT_EQ(abort.SourceFile(), kTapeDevSource);
                             }
                           }),
              Errors{});
    EXPECT_EQ(aborted, !c.restored);
    EXPECT_EQ(Values().m_backupFlag, aborted);  // Cancel pushes nothing
    if (c.restored) {
      EXPECT_TRUE(SameBytes(restored, m_content));
    }
    EXPECT_EQ(other->blocks.size(), 3u);
    m_drive.Insert(m_cartridge);
  }
}

TEST_F(TapeDevRead, AStartBlockTheWrongTapeDoesNotHoldShowsItsVolumeLabel) {
  auto other = LabelledCartridge("OLD_VOL", 512);  // ends before block 1, where the file starts
  m_drive.Insert(other);
  std::string restored;
  EXPECT_EQ(WithOperator({{RestoreQuestion(other->blocks[0].substr(kTapeVolumeIdOffset, 35)), kRetryCancel, "Retry",
                           [&] { m_drive.Insert(m_cartridge); }}},
                         [&] { restored = RestoreFile(m_location); }),
            Errors{});
  EXPECT_TRUE(SameBytes(restored, m_content));
}

TEST_F(TapeDevRead, AnUnreadableStartLabelOnTheRightVolumeIsNoObstacle) {
  m_cartridge->unreadable.insert(1);
  EXPECT_EQ(WithOperator({}, [&] { EXPECT_TRUE(SameBytes(RestoreFile(m_location), m_content)); }), Errors{});
}

TEST_F(TapeDevRead, NoMediumAsksForTheVolumeOfTheFile) {
  m_drive.Insert(nullptr);
  std::string restored;
  EXPECT_EQ(WithOperator({{"Please insert tape with label=(" + VolumeId() + ")", kRetryCancel, "Retry",
                           [&] { m_drive.Insert(m_cartridge); }}},
                         [&] { restored = RestoreFile(m_location); }),
            Errors{});
  EXPECT_TRUE(SameBytes(restored, m_content));
}

TEST_F(TapeDevRead, ALengthWordOutsideTheFormatIsRefused) {
  // Block 2 holds the first record's length word.
  const std::string good = m_cartridge->blocks[2];
  for (std::uint32_t word : {0u, 4u, 65533u, 65536u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(word);
    tape_put_record_length(m_cartridge->blocks[2].data(), word);
    CFnx_Dal_Tape_Location location = Location();
    FakeTapeDev device(m_config, m_drive);
    device.ReadStart(location);
    std::string piece(70000, '\0');
    std::uint32_t read = 0;
    const std::string text =
        ExpectFnxError([&] { device.ReadRead(piece.data(), 70000, read); }, "QRSDAL0541E", 1292, 8);
    EXPECT_NE(text.find(std::to_string(word)), std::string::npos) << text;
    EXPECT_EQ(read, 0u);
  }
  m_cartridge->blocks[2] = good;
  EXPECT_TRUE(SameBytes(RestoreFile(m_location), m_content));
}
