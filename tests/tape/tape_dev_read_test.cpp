// Restoring a file: finding its volume through the operator, and refusing
// what is no record of the format. Byte-exact restores are in the write suite.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fnx_expect.h"
#include "tape_dev_fixture.h"

namespace {

class TapeDevRead : public TapeDevTest {
 protected:
  void SetUp() override {
    StartRunOnNewVolume();
    m_location = WriteFile(m_content, 5000);
    FakeTapeDev(m_config, m_drive).BackupEnd();
  }

  const std::string m_content = Content(65528 + 700, 3);
  std::string m_location;
};

}  // namespace

// Finding the file's volume: the tape in the drive, the question asked and
// where each answer leads. A restore ends the run of its configuration.
TEST_F(TapeDevRead, EachTapeInTheDriveAndEachAnswerLeadWhereTheyShould) {
  const std::string wanted = VolumeId();
  // Block 1, where the file starts, holds data on the first; the second ends before it.
  auto with_data = LabelledCartridge("OLD_VOL");
  with_data->blocks.resize(3, std::string(512, 'x'));
  auto label_only = LabelledCartridge("OLD_VOL");
  auto right_unreadable = std::make_shared<FakeCartridge>(*m_cartridge);  // the start label fails
  right_unreadable->unreadable.insert(1);
  const std::string in_data = RestoreQuestion(wanted, std::string(35, 'x'));
  const std::string at_label = RestoreQuestion(wanted, IdOf(label_only));
  auto insert_right = [&] { m_drive.Insert(m_cartridge); };
  struct Case {
    const char* name;
    std::shared_ptr<FakeCartridge> other;
    std::vector<OperatorStep> steps;
  } cases[] = {
      {"Retry with the right tape", with_data, {{in_data, kRetryCancel, "Retry", insert_right}}},
      // On the same tape the volume label alone is looked at.
      {"Retry on the same tape",
       with_data,
       {{in_data, kRetryCancel, "Retry"}, {at_label, kRetryCancel, "Retry", insert_right}}},
      {"unmatched asks again", with_data, {{in_data, kRetryCancel, "?"}, {in_data, kRetryCancel, "Retry", insert_right}}},
      {"start block beyond the data", label_only, {{at_label, kRetryCancel, "Retry", insert_right}}},
      {"Cancel", with_data, {{in_data, kRetryCancel, "Cancel"}}},
      {"no medium",
       nullptr,
       {{"Please insert tape with label=(" + wanted + ")", kRetryCancel, "Retry", insert_right}}},
      {"the right volume, its start label unreadable", right_unreadable, {}},
      {"a blank tape", std::make_shared<FakeCartridge>(), {{RestoreQuestion(wanted, ""), kRetryCancel, "Retry", insert_right}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Operate({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); });  // a run the restore ends
    const std::vector<std::string> other_blocks = c.other ? c.other->blocks : std::vector<std::string>{};
    m_drive.Insert(c.other);
    std::string restored;
    const bool aborted = !c.steps.empty() && c.steps.back().answer == "Cancel";
    Operate(c.steps, [&] { EXPECT_EQ(Aborts([&] { restored = RestoreFile(m_location, 100000); }), aborted); });
    EXPECT_EQ(Values().m_backupFlag, aborted);  // Cancel pushes nothing
    if (!aborted) {
      EXPECT_TRUE(SameBytes(restored, m_content));
      FakeTapeDev device(m_config, m_drive);
      ExpectFnxError([&] { device.FileWriteStart(); }, "QRSDAL0513E", 1290, 8);
    }
    if (c.other) {
      EXPECT_EQ(c.other->blocks, other_blocks);
    }
    m_drive.Insert(m_cartridge);
  }
}

// A location that leads to a place of its volume where its file does not
// lie is refused, rather than answered with another file's bytes.
TEST_F(TapeDevRead, ALocationWhoseStartBlockHoldsNoStartLabelOfItsFileIsRefused) {
  Operate({}, [&] { FakeTapeDev(m_config, m_drive).BackupStart(); });
  const std::string second = WriteFile(Content(700, 4));
  auto changed = [](std::string location, std::size_t at, const std::string& text) {
    return location.replace(at, text.size(), text);
  };
  const std::string in_data = m_cartridge->blocks.at(3).substr(kTapeFileLabelVolumeIdOffset, kTapeVolumeIdSize);
  struct Case {
    const char* name;
    std::string location;
    std::vector<OperatorStep> steps;
  } cases[] = {
      {"another file's start block", changed(second, 254, m_location.substr(254, 10)), {}},
      {"another file number", changed(m_location, 214, "000009"), {}},
      {"another time of writing", changed(m_location, 230, "99.99.99"), {}},
      {"a block inside the data", changed(m_location, 254, "0000000003"),
       {{RestoreQuestion(VolumeId(), in_data), kRetryCancel, "Retry"}}},
      {"a block beyond the data", changed(m_location, 254, "0000009999"), {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Operate(c.steps, [&] { ExpectFnxError([&] { RestoreFile(c.location); }, "QRSDAL0544E", 1295, 8); });
  }
  EXPECT_TRUE(SameBytes(RestoreFile(second), Content(700, 4)));
  EXPECT_TRUE(SameBytes(RestoreFile(m_location), m_content));
}

TEST_F(TapeDevRead, ALengthWordOutsideTheFormatIsRefused) {
  const std::string good = m_cartridge->blocks[2];  // the first record's length word
  for (std::uint32_t word : {0u, 4u, 65533u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(word);
    tape_put_record_length(m_cartridge->blocks[2].data(), word);
    CFnx_Dal_Tape_Location location;
    location.get_from_string(m_location);
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

// One device object restores again and again, also after a restore that
// stopped inside a record, as a reader that closes early does; the operator
// sees each restore start and end.
TEST_F(TapeDevRead, OneDeviceRestoresAgainAfterAWholeAndAnUnfinishedRestore) {
  CFnx_Dal_Tape_Location location;
  location.get_from_string(m_location);
  FakeTapeDev device(m_config, m_drive);
  const CFnx_Dal_ConfigValues values = Values();
  const CFnx_Dal_OperatorItemID console(values.m_type, values.m_name, values.m_dasName);
  CFnx_Dal_Operator& table = CFnx_Dal_OperatorSingelton::Get();
  for (const std::size_t stop : {m_content.size(), std::size_t{100}, m_content.size()}) {
    SCOPED_TRACE(stop);
    device.ReadStart(location);
    EXPECT_EQ(table.getOperatorMsg(console), "Restore started from tape: " + VolumeId());
    std::string restored(stop, '\0');
    std::uint32_t read = 0;
    device.ReadRead(restored.data(), static_cast<std::uint32_t>(stop), read);
    EXPECT_EQ(read, stop);
    EXPECT_TRUE(SameBytes(restored, m_content.substr(0, stop)));
    device.ReadEnd();
    EXPECT_EQ(table.getOperatorMsg(console), "Restore ended");
  }
}

// Neither a backup run nor a restore starts on it, and the tape stays as it was.
TEST_F(TapeDevRead, ADriveWithoutTheNeededFeaturesRefusesTheStartAndTheRestore) {
  m_drive.lacks_features = true;
  const std::vector<std::string> blocks = m_cartridge->blocks;
  CFnx_Dal_ConfigValues values = Values();
  values.m_forceLabel = true;
  SetValues(values);
  EXPECT_THROW(FakeTapeDev(m_config, m_drive).BackupStart(), tape_features_support_error);
  EXPECT_FALSE(Values().m_backupFlag);
  CFnx_Dal_Tape_Location location;
  location.get_from_string(m_location);
  EXPECT_THROW(FakeTapeDev(m_config, m_drive).ReadStart(location), tape_features_support_error);
  EXPECT_EQ(m_cartridge->blocks, blocks);
}
