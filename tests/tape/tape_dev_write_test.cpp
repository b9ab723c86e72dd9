// Writing files to tape: what is refused before any byte is taken, and what
// each answer at the end of the medium leaves of the file in work.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fnx_expect.h"
#include "tape_dev_fixture.h"

namespace {

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
  SizedDevice(CFnx_Dal_ConfigurationTape& config, unsigned long long size)
      : CFnx_Dal_TapeDevWin32(config), m_size(size) {}
  void GetBlockSize(unsigned long long& block_size) override { block_size = m_size; }

 private:
  unsigned long long m_size;
};

using TapeDevWrite = TapeDevTest;

}  // namespace

// Lengths a file on tape cannot hold, block sizes the format cannot use, and
// a file outside a backup run.
TEST_F(TapeDevWrite, WhatTheFormatCannotHoldIsRefusedUntaken) {
  ExpectFnxError([&] { Device()->FileWriteStart(); }, "QRSDAL0513E", 1290, 8);
  StartRunOnNewVolume();
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
  EXPECT_EQ(RestoreFile(location), std::string(bytes, 10));

  const std::vector<std::string> blocks_before = Blocks("C001");
  ExpectFnxError([&] { SizedDevice(m_config, 0).BackupStart(); }, "tape_single_blocksize_error", 0, 0);
  for (unsigned long long size : {256, 3000, 131072}) {
    ExpectFnxError([&] { SizedDevice(m_config, size).BackupStart(); }, "QRSDAL0540E", 1291, 8);
  }
  EXPECT_EQ(Blocks("C001"), blocks_before);
}

// The file in work is given up whatever the answer: the handle is let go
// before the operator changes tapes, more bytes are refused, its end writes
// nothing; after "Retry" the caller knows the new volume at once.
TEST_F(TapeDevWrite, EachAnswerAtTheEndOfTheMediumInTheDataLeadsWhereItShould) {
  for (const std::string answer : {"Retry", "Cancel", "?"}) {
    SCOPED_TRACE(answer);
    UseLibrary(512, 100);
    StartRunOnNewVolume();
    const std::string old_id = VolumeId();
    const auto device = Device();
    device->FileWriteStart();
    std::string bytes = DocumentBytes(3, 3 * 65528);
    std::uint32_t written = 77;
    bool result = false, end_of_tape = false, released = false;
    auto insert_next = [&] {
      unsigned long long size = 0;
      CFnx_Dal_TapeDevWin32(m_config).GetBlockSize(size);  // another device opens the drive
      released = size == 512;
      FnxVtapeInsert(m_library, "C002");
    };
    Operate({{kDataEndQuestion, kRetryCancel, answer, insert_next}}, [&] {
      try {
        result = device->FileWrite(bytes.data(), 3 * 65528, written);
      } catch (const end_of_tape_error&) {
        end_of_tape = true;
      }
    });
    EXPECT_TRUE(released);
    EXPECT_EQ(end_of_tape, answer == "Cancel");
    EXPECT_EQ(result, answer == "Retry");
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(VolumeId(), answer == "Retry" ? IdOf("C002") : old_id);
    if (answer == "Retry") {
      EXPECT_NE(Values().m_statusLine.find(", files: 0, "), std::string::npos) << Values().m_statusLine;
    }
    ExpectFnxError([&] { device->FileWrite(bytes.data(), 10, written); }, "QRSDAL0543E", 1294, 8);
    const std::vector<std::string> on_next = Blocks("C002");
    EXPECT_EQ(LocationOf(*device), std::string(kTapeLocationHeadSize, ' '));
    EXPECT_EQ(Blocks("C002"), on_next);
  }
}
