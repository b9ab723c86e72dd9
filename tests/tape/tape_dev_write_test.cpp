// Writing files to tape: where labels and records land, what the caller's
// configuration holds afterwards, the refusals, and each answer at the end of
// the medium or on a foreign tape.
#include <gtest/gtest.h>

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
const std::string kNoLocation(kTapeLocationHeadSize, ' ');

std::string LocationOf(CFnx_Dal_TapeDev& device) {
  CFnx_Dal_Tape_Location location;
  device.FileWriteEnd(location);
  std::string text;
  location.put_to_string(text);
  return text;
}

// A drive that reports a block size of the test's choosing.
class SizedDevice : public CFnx_Dal_TapeDevWin32 {
 public:
  SizedDevice(CFnx_Dal_ConfigurationTape& config, unsigned long long size) : CFnx_Dal_TapeDevWin32(config), m_size(size) {}
  void GetBlockSize(unsigned long long& block_size) override { block_size = m_size; }

 private:
  unsigned long long m_size;
};

class TapeDevWrite : public TapeDevTest {
 protected:
  void SetUp() override { StartRunOnNewVolume(); }
  // A run on a fresh library whose medium ends at block end_of_medium. The
  // next volume gets another name: it need not wait for the next second.
  void StartOnLibrary(std::uint64_t end_of_medium) {
    UseLibrary(512, end_of_medium);
    StartRunOnNewVolume();
    CFnx_Dal_ConfigValues values = Values();
    values.m_volumeName = "VOL_B";
    SetValues(values);
  }

  std::string IdOf(const std::string& cartridge) { return Block(cartridge, 0).substr(kTapeVolumeIdOffset, kTapeVolumeIdSize); }
  void StartEmptyFile() {
    const auto device = Device();
    device->FileWriteStart();
    EXPECT_EQ(LocationOf(*device), kNoLocation);
  }
};

}  // namespace

TEST_F(TapeDevWrite, A700ByteFileLiesAsTheFormatSaysAndRestores) {
  const std::string content = DocumentBytes(1, 700);
  const std::string location = WriteFile(content, 300);
  const std::vector<std::string> blocks = Blocks("C001");
  ASSERT_EQ(blocks.size(), 5u);
  const std::string& start = blocks[1];
  EXPECT_TRUE(tape_is_file_label(start.data()));
  EXPECT_FALSE(tape_is_end_label(start.data()));
  EXPECT_EQ(start.substr(0, 6), "000001");
  EXPECT_EQ(start.substr(63, 10), "0000000001");  // start_Offset_low
  EXPECT_EQ(start.substr(103, 35), VolumeId());
  const std::string record = blocks[2] + blocks[3];
  EXPECT_EQ(tape_get_record_length(record.data()), 704u);
  EXPECT_TRUE(SameBytes(record.substr(4, 700), content));
  const std::string& end = blocks[4];
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
  const std::string location = WriteFile(DocumentBytes(2, 5));
  EXPECT_EQ(location.substr(214, 6), "000042");
  EXPECT_EQ(location.substr(254, 10), "0000000001");  // over the empty file's start label
  values = Values();
  tape_volume_status status;
  status.load(values.m_volumeInfo);
  EXPECT_EQ(status.get_file_count(), 42);
  EXPECT_NE(values.m_statusLine.find(", files: 42, "), std::string::npos) << values.m_statusLine;
  EXPECT_EQ(std::string(status.used_low, 10), "0000000004");  // the end block, pushed
  EXPECT_TRUE(SameBytes(RestoreFile(location), DocumentBytes(2, 5)));
}

// Lengths a file on tape cannot hold are refused before any byte is taken;
// so are block sizes the format cannot use, before the tape is touched.
TEST_F(TapeDevWrite, WhatTheFormatCannotHoldIsRefusedUntaken) {
  char bytes[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  std::string location;
  {
    CFnx_Dal_TapeDevWin32 device(m_config);
    device.FileWriteStart();
    std::uint32_t written = 0;
    ASSERT_TRUE(device.FileWrite(bytes, 10, written));
    for (std::uint32_t length : {0x7FFFFFF6u, 0xFFFFFFFFu}) {
      ExpectFnxError([&] { device.FileWrite(bytes, length, written); }, "QRSDAL0542E", 1293, 8);
      EXPECT_EQ(written, 0u);
    }
    location = LocationOf(device);
  }
  EXPECT_TRUE(SameBytes(RestoreFile(location), std::string(bytes, 10)));

  const struct {
    unsigned long long block_size;
    const char* id;
    int code, error_class;
  } sizes[] = {{0, "tape_single_blocksize_error", 0, 0}, {256, "QRSDAL0540E", 1291, 8}, {3000, "QRSDAL0540E", 1291, 8},
               {131072, "QRSDAL0540E", 1291, 8}};
  const std::vector<std::string> blocks_before = Blocks("C001");
  for (const auto& size : sizes) {
    SCOPED_TRACE(size.block_size);
    ExpectFnxError([&] { SizedDevice(m_config, size.block_size).BackupStart(); }, size.id, size.code,
                   size.error_class);
  }
  EXPECT_EQ(Blocks("C001"), blocks_before);
}

TEST_F(TapeDevWrite, EachAnswerAtTheEndOfTheMediumInTheDataLeadsWhereItShould) {
  for (const std::string answer : {"Retry", "Cancel", "?"}) {
    SCOPED_TRACE(answer);
    StartOnLibrary(100);
    const std::string old_id = VolumeId();
    const auto device = Device();
    device->FileWriteStart();
    std::string bytes = DocumentBytes(3, 3 * 65528);
    std::uint32_t written = 77;
    bool result = false, end_of_tape = false, released = false;
    // The handle is let go before the operator changes tapes: another device opens the drive.
    auto insert_next = [&] {
      unsigned long long size = 0;
      CFnx_Dal_TapeDevWin32(m_config).GetBlockSize(size);
      released = size == 512;
      FnxVtapeInsert(m_library, "C002");
    };
    Operate({{kDataEot, kRetryCancel, answer, insert_next}}, [&] {
      try {
        result = device->FileWrite(bytes.data(), 3 * 65528, written);
      } catch (const end_of_tape_error& error) {
        end_of_tape = true;
        EXPECT_EQ(error.SourceFile(), kTapeDevSource);
      }
    });
    EXPECT_TRUE(released);
    EXPECT_EQ(end_of_tape, answer == "Cancel");
    if (!end_of_tape) {
      EXPECT_EQ(result, answer == "Retry");
      EXPECT_EQ(written, 0u);
    }
    if (answer == "Retry") {  // labelled, and the caller knows it at once
      EXPECT_EQ(VolumeId(), IdOf("C002"));
      EXPECT_NE(Values().m_statusLine.find(", files: 0, "), std::string::npos) << Values().m_statusLine;
    } else if (answer == "Cancel") {
      EXPECT_EQ(VolumeId(), old_id);
    }
    // The file is given up: more bytes are refused, and its end writes nothing.
    ExpectFnxError([&] { device->FileWrite(bytes.data(), 10, written); }, "QRSDAL0543E", 1294, 8);
    const std::size_t blocks_on_next = Blocks("C002").size();
    EXPECT_EQ(LocationOf(*device), kNoLocation);
    EXPECT_EQ(Blocks("C002").size(), blocks_on_next);
  }
}

// At the start label an unmatched answer asks again: going on would leave a
// file that no location finds.
TEST_F(TapeDevWrite, EachAnswerAtTheEndOfTheMediumAtTheStartLabelLeadsWhereItShould) {
  for (const std::vector<std::string>& answers :
       {std::vector<std::string>{"Retry"}, {"?", "?", "Retry"}, {"Cancel"}}) {
    SCOPED_TRACE(answers.size());
    StartOnLibrary(5);  // room for the label and one 700-byte file
    WriteFile(DocumentBytes(4, 700));
    const std::string old_volume_info = Values().m_volumeInfo;
    std::vector<OperatorStep> steps;
    for (const std::string& answer : answers) {
      steps.push_back({kStartLabelEot, kRetryCancel, answer, [&] { FnxVtapeInsert(m_library, "C002"); }});
    }
    const bool cancel = answers.back() == "Cancel";
    Operate(steps, [&] { EXPECT_EQ(Aborts([&] { StartEmptyFile(); }), cancel); });
    if (cancel) {
      EXPECT_EQ(Values().m_volumeInfo, old_volume_info);
      continue;
    }
    EXPECT_EQ(VolumeId(), IdOf("C002"));  // pushed at once, though the file stayed empty
    const std::string location = WriteFile(DocumentBytes(5, 900));
    EXPECT_EQ(location.substr(214, 6) + location.substr(254, 10), "0000010000000001");  // file 1 of the new volume
    EXPECT_TRUE(SameBytes(RestoreFile(location), DocumentBytes(5, 900)));
  }
}

// A tape whose position cannot be read at the start of a file: "Retry"
// labels a new tape, an unmatched answer looks at the tape in the drive
// again; either way the file lands behind a volume label and restores.
TEST_F(TapeDevWrite, AForeignTapeAtTheStartOfAFileIsReplacedLookedAtAgainOrRefused) {
  for (const std::string answer : {"Retry", "Cancel", "?"}) {
    SCOPED_TRACE(answer);
    StartOnLibrary(1 << 20);
    const std::vector<std::string> blocks_before = Blocks("C001");
    Fail("get_position", 1117);
    std::string location;
    Operate({{kForeignTape, kRetryCancel, answer,
              [&] {
                if (answer == "Retry") FnxVtapeInsert(m_library, "C002");
              }}},
            [&] { EXPECT_EQ(Aborts([&] { location = WriteFile(DocumentBytes(6, 900)); }), answer == "Cancel"); });
    if (answer == "Cancel") {
      EXPECT_EQ(Blocks("C001"), blocks_before);
      continue;
    }
    ASSERT_EQ(location.substr(180, 26) + "/" + location.substr(206, 8), IdOf(answer == "Retry" ? "C002" : "C001"));
    EXPECT_EQ(location.substr(214, 6) + location.substr(254, 10), "0000010000000001");
    EXPECT_TRUE(SameBytes(RestoreFile(location), DocumentBytes(6, 900)));
  }
}
