// Restoring a file: finding its volume through the operator, refusing what
// is no record or no file of the format, and failures of the drive.
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "fnx_expect.h"
#include "tape_dev_fixture.h"

namespace {

std::string RestoreQuestion(const std::string& wanted, const std::string& found) {
  return "Restore: please insert tape with label=(" + wanted + ").\n Label on current tape=(" + found + ")";
}

class TapeDevRead : public TapeDevTest {
 protected:
  void SetUp() override {
    UseLibrary(512, 1 << 20, 12);
    StartRunOnNewVolume();
    m_location = WriteFile(m_content, 5000);
    Device()->BackupEnd();
  }

  const std::string m_content = DocumentBytes(7, 65528 + 700);
  std::string m_location;
};

}  // namespace

// Finding the file's volume: the tape in the drive, the question asked and
// where each answer leads. A restore ends the run of its configuration.
TEST_F(TapeDevRead, EachTapeInTheDriveAndEachAnswerLeadWhereTheyShould) {
  const std::string wanted = VolumeId();
  LabelOther("C002");  // block 1, where the file starts, holds data
  PutBlock("C002", 1, std::string(512, 'x'));
  PutBlock("C002", 2, std::string(512, 'x'));
  LabelOther("C003");  // ends before block 1
  const std::string in_data = RestoreQuestion(wanted, std::string(35, 'x'));
  const std::string at_label = RestoreQuestion(wanted, IdOf("C003"));
  auto insert_right = [&] { FnxVtapeInsert(m_library, "C001"); };
  struct Case {
    const char* name;
    std::string other;  // the tape in the drive; empty: none
    std::vector<OperatorStep> steps;
  } cases[] = {
      {"Retry with the right tape", "C002", {{in_data, kRetryCancel, "Retry", insert_right}}},
      // On the same tape the volume label alone is looked at.
      {"Retry on the same tape",
       "C002",
       {{in_data, kRetryCancel, "Retry"}, {at_label, kRetryCancel, "Retry", insert_right}}},
      {"unmatched asks again", "C002", {{in_data, kRetryCancel, "?"}, {in_data, kRetryCancel, "Retry", insert_right}}},
      {"start block beyond the data", "C003", {{at_label, kRetryCancel, "Retry", insert_right}}},
      {"Cancel", "C002", {{in_data, kRetryCancel, "Cancel"}}},
      {"no medium", "", {{"Please insert tape with label=(" + wanted + ")", kRetryCancel, "Retry", insert_right}}},
      // Its start label fails to read, then the end label vouches for the place.
      {"the right volume, its start label unreadable", "C001", {}},
      {"a blank tape", "C004", {{RestoreQuestion(wanted, ""), kRetryCancel, "Retry", insert_right}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    insert_right();
    Operate({}, [&] { Device()->BackupStart(); });  // a run the restore ends
    const std::vector<std::string> other_blocks = c.other.empty() ? std::vector<std::string>{} : Blocks(c.other);
    c.other.empty() ? FnxVtapeEject(m_library) : FnxVtapeInsert(m_library, c.other);
    if (c.other == "C001") {
      Fail("read", 1117, 1);
      Fail("read", 1117, 3);
    }
    std::string restored;
    const bool aborted = !c.steps.empty() && c.steps.back().answer == "Cancel";
    Operate(c.steps, [&] { EXPECT_EQ(Aborts([&] { restored = RestoreFile(m_location, 100000); }), aborted); });
    EXPECT_EQ(Values().m_backupFlag, aborted);  // Cancel pushes nothing
    if (!aborted) {
      EXPECT_TRUE(restored == m_content);
      ExpectFnxError([&] { Device()->FileWriteStart(); }, "QRSDAL0513E", 1290, 8);
    }
    if (!c.other.empty()) {
      EXPECT_EQ(Blocks(c.other), other_blocks);
    }
    EXPECT_EQ(FnxVtapeGetStatus(m_library).faults, std::vector<std::string>{});
  }
}

// A location that leads to a place of its volume where its file does not
// lie is refused, rather than answered with another file's bytes.
TEST_F(TapeDevRead, ALocationWhoseStartBlockHoldsNoStartLabelOfItsFileIsRefused) {
  Operate({}, [&] { Device()->BackupStart(); });
  const std::string second = WriteFile(DocumentBytes(8, 700));
  auto changed = [](std::string location, std::size_t at, const std::string& text) {
    return location.replace(at, text.size(), text);
  };
  const std::string in_data = Blocks("C001").at(3).substr(kTapeFileLabelVolumeIdOffset, kTapeVolumeIdSize);
  struct Case {
    const char* name;
    std::string location;
    std::vector<OperatorStep> steps;
  } cases[] = {
      {"another file's start block", changed(second, 254, m_location.substr(254, 10)), {}},
      {"another file number", changed(m_location, 214, "000009"), {}},
      {"another time of writing", changed(m_location, 230, "99.99.99"), {}},
      {"a block inside the data",
       changed(m_location, 254, "0000000003"),
       {{RestoreQuestion(VolumeId(), in_data), kRetryCancel, "Retry"}}},
      {"a block beyond the data", changed(m_location, 254, "0000009999"), {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Operate(c.steps, [&] { ExpectFnxError([&] { RestoreFile(c.location); }, "QRSDAL0544E", 1295, 8); });
  }
  EXPECT_TRUE(RestoreFile(second) == DocumentBytes(8, 700));
  EXPECT_TRUE(RestoreFile(m_location) == m_content);
}

TEST_F(TapeDevRead, ALengthWordOutsideTheFormatIsRefused) {
  const std::string good = Blocks("C001")[2];  // the first record's length word
  for (std::uint32_t word : {0u, 4u, 65533u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(word);
    std::string bad = good;
    tape_put_record_length(bad.data(), word);
    PutBlock("C001", 2, bad);
    CFnx_Dal_Tape_Location location;
    location.get_from_string(m_location);
    const auto device = Device();
    device->ReadStart(location);
    std::string piece(70000, '\0');
    std::uint32_t read = 0;
    const std::string text =
        ExpectFnxError([&] { device->ReadRead(piece.data(), 70000, read); }, "QRSDAL0541E", 1292, 8);
    EXPECT_NE(text.find(std::to_string(word)), std::string::npos) << text;
    EXPECT_EQ(read, 0u);
  }
  PutBlock("C001", 2, good);
  EXPECT_TRUE(RestoreFile(m_location) == m_content);
}

// One device object restores again and again, also after a restore that
// stopped inside a record, as a reader that closes early does; the operator
// sees each restore start and end.
TEST_F(TapeDevRead, OneDeviceRestoresAgainAfterAWholeAndAnUnfinishedRestore) {
  CFnx_Dal_Tape_Location location;
  location.get_from_string(m_location);
  CFnx_Dal_TapeDevWin32 device(m_config);
  CFnx_Dal_Operator& table = CFnx_Dal_OperatorSingelton::Get();
  for (const std::size_t stop : {m_content.size(), std::size_t{100}, m_content.size()}) {
    SCOPED_TRACE(stop);
    device.ReadStart(location);
    EXPECT_EQ(table.getOperatorMsg(Console()), "Restore started from tape: " + VolumeId());
    std::string restored(stop, '\0');
    std::uint32_t read = 0;
    device.ReadRead(restored.data(), static_cast<std::uint32_t>(stop), read);
    EXPECT_EQ(read, stop);
    EXPECT_TRUE(restored == m_content.substr(0, stop));
    device.ReadEnd();
    EXPECT_EQ(table.getOperatorMsg(Console()), "Restore ended");
  }
}

// A drive that cannot tell its features (its second parameter call) refuses
// the start and the restore; one whose reads fail, as at a volume of another
// block size, fails every call that reads, never taking the tape for blank.
// Either way the tape stays as it was.
TEST_F(TapeDevRead, DriveFailuresReachTheCallerAndLeaveTheTapeAlone) {
  const std::vector<std::string> blocks = Blocks("C001");
  CFnx_Dal_Tape_Location location;
  location.get_from_string(m_location);
  CFnx_Dal_ConfigValues values = Values();
  values.m_forceLabel = true;
  SetValues(values);
  for (const std::function<void()>& call :
       std::vector<std::function<void()>>{[&] { Device()->BackupStart(); }, [&] { Device()->ReadStart(location); }}) {
    Fail("get_parameters", 1117, 2);
    ExpectFnxError(call, DriveFailure("GetTapeParameters", 1117).c_str(), 1117, 0);
    EXPECT_FALSE(Values().m_backupFlag);
  }
  values.m_forceLabel = false;
  SetValues(values);
  Fail("read", 1106, 1, /*always=*/true);
  tape_volume_label label;
  std::ostringstream dump;
  for (const std::function<void()>& call : std::vector<std::function<void()>>{
           [&] { Device()->BackupStart(); },
           [&] { RestoreFile(m_location); },
           [&] { Device()->GetVolumeLabel(label); },
           [&] { Device()->PrintLabelsList(dump); },
       }) {
    try {
      call();
      ADD_FAILURE() << "the call returned";
    } catch (const FNXError& error) {
      EXPECT_EQ(error.Code(), 1106) << error.Text();
    }
  }
  FnxVtapeClearFaults(m_library);
  EXPECT_EQ(Blocks("C001"), blocks);
}
