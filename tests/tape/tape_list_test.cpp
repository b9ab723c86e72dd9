// Listing a volume from its labels: the table of contents against the
// locations of the files written, and the label dump with its block counts.
#include <gtest/gtest.h>

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "dal_tape_lister_contents.h"
#include "tape_dev_fixture.h"

namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

constexpr std::uint32_t kEndOfFile = 38;  // how some drives report the end of the data

using TapeList = TapeDevTest;

}  // namespace

// The table of contents ends at the end of the data however the drive
// reports it, and the scanner stays there without going to the drive again:
// with the cartridge out, a drive call would raise. The lines themselves are
// checked against the files written by the model run.
TEST_F(TapeList, TheTableOfContentsEndsAtTheEndOfTheData) {
  for (const std::uint32_t block_size : {4096u, 65536u}) {
    SCOPED_TRACE(block_size);
    UseLibrary(block_size, 1 << 12);
    StartRunOnNewVolume();
    if (block_size == 4096) {
      WriteFile(DocumentBytes(1, 65528));
      WriteFile("");
      Fail("read", kEndOfFile, 4);  // the label, a record's blocks, the last two blocks, the end
    }
    std::ostringstream out;
    CFnx_Dal_TapeDevWin32 device(m_config);
    dal_tape_list_contents(device, out);
    const std::vector<std::string> lines = Lines(out.str());
    ASSERT_EQ(lines.size(), block_size == 4096 ? 12u : 11u);
    EXPECT_EQ(lines[3], "Table of contents of tape: VOL_A           , created: " + VolumeId().substr(16, 10) + ", " +
                            VolumeId().substr(27, 8));
    EXPECT_EQ(lines[4], "Product version: FOLIANTIX 3.5.00      ");
    EXPECT_EQ(lines.back(), lines[6]);
    EXPECT_EQ(FnxVtapeGetStatus(m_library).faults, std::vector<std::string>{});  // it met the end
    tape_file_label_basic label;
    FnxVtapeEject(m_library);
    EXPECT_EQ(device.GetNextEndLabel(label), 0);
  }
}

// The length's high part is the label's last ten bytes: what follows them in
// the block takes no part, and each unit of it counts 10^8 bytes.
TEST_F(TapeList, TheLengthReadsItsHighPartFromTheLabelAlone) {
  StartRunOnNewVolume();
  WriteFile(DocumentBytes(1, 700));
  std::string end_label = Blocks("C001").at(4);
  ASSERT_TRUE(tape_is_end_label(end_label.data()));
  end_label.replace(offsetof(tape_file_label_basic, filler), 10, "0000000001");
  end_label.replace(kTapeFileLabelBasicSize, 10, "9999999999");
  PutBlock("C001", 4, end_label);
  std::ostringstream out;
  CFnx_Dal_TapeDevWin32 device(m_config);
  dal_tape_list_contents(device, out);
  const std::vector<std::string> lines = Lines(out.str());
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(lines[10].substr(27, 11), "  100000700");
  // The scan one label at a time, as the tool's listing makes it: 1 for each, 0 at the end.
  tape_volume_label volume;
  tape_file_label_basic label;
  device.GetVolumeLabel(volume);
  EXPECT_EQ(device.GetNextEndLabel(label), 1);
  EXPECT_EQ(device.GetNextEndLabel(label), 0);
}

// The dump counts the blocks between labels and, at an end of the data that
// the drive reports as no data, sums up; at the end of a file it stops.
TEST_F(TapeList, TheLabelDumpCountsTheBlocksBetweenLabels) {
  StartRunOnNewVolume();
  WriteFile(DocumentBytes(1, 700));
  for (bool no_data : {true, false}) {
    if (!no_data) Fail("read", kEndOfFile, 6);  // the read behind the fifth block
    std::ostringstream out;
    Device()->PrintLabelsList(out);
    const std::string text = out.str();
    EXPECT_EQ(FnxVtapeGetStatus(m_library).faults, std::vector<std::string>{});
    EXPECT_EQ(text.find("\ntape_volume_label={---"), 0u);
    EXPECT_NE(text.find("-\nproduct_name=\t\t(FOLIANTIX )\nproduct_ver=\t\t(3.5.00      )\n"), std::string::npos);
    EXPECT_NE(text.find("m_vol_id.volume_name =\t(VOL_A           )\n"), std::string::npos);
    const std::size_t start = text.find(
        "************* file number=1  *****************\n"
        "blocks between labels=0, calculated=0\n\ntape_file_label_basic={");
    const std::size_t end = text.find("blocks between labels=2, calculated=2\n");
    EXPECT_NE(start, std::string::npos);
    EXPECT_LT(start, end);
    EXPECT_NE(end, std::string::npos);
    const std::string summary =
        "************* number files on tape=1  ********************\nnum_single_blocks_read=4\n";
    EXPECT_EQ(text.find(summary) != std::string::npos, no_data);
  }
}
