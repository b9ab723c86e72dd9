// Listing a volume from its labels: the table of contents against the
// locations of the files written, and the label dump with its block counts.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
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

// The text in the one-based columns first to last, blanks before it dropped.
std::string Column(const std::string& line, std::size_t first, std::size_t last) {
  std::string text = line.substr(first - 1, last - first + 1);
  return text.substr(text.find_first_not_of(' ') == std::string::npos ? text.size() : text.find_first_not_of(' '));
}

constexpr std::uint32_t kEndOfFile = 38;  // how some drives report the end of the data

using TapeList = TapeDevTest;

}  // namespace

// Each file with bytes gives one line, in tape order, whatever the block size
// and however the drive reports the end of the data; a file of no bytes none.
TEST_F(TapeList, TheTableOfContentsMatchesTheFilesWritten) {
  const std::string das_name = "DAS_WITH_A_LONGER_NAME_25";
  CFnx_Dal_ConfigValues values = Values();
  values.m_dasName = das_name;
  SetValues(values);
  struct Case {
    std::uint32_t block_size;
    std::uint64_t end_of_file_read;  // the read that meets the end reports it so; 0: as no data
    std::vector<std::size_t> sizes;
  } cases[] = {
      {512, 0, {700, 0, 2 * 65528 + 3, 1}},
      {4096, 4, {65528, 0}},
      {65536, 0, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.block_size);
    UseLibrary(c.block_size, 1 << 12);
    StartRunOnNewVolume();
    std::vector<tape_file_label_basic> expected;
    for (std::size_t size : c.sizes) {
      const std::string location = WriteFile(DocumentBytes(size, size));
      if (size == 0) continue;
      CFnx_Dal_Tape_Location parsed;
      parsed.get_from_string(location);
      std::string das, config;
      expected.emplace_back();
      parsed.parse_location(das, config, expected.back());
    }
    if (c.end_of_file_read) Fail("read", kEndOfFile, c.end_of_file_read);

    std::ostringstream out;
    CFnx_Dal_TapeDevWin32 device(m_config);
    dal_tape_list_contents(device, out);
    const std::vector<std::string> lines = Lines(out.str());
    ASSERT_EQ(lines.size(), 1 + 9 + expected.size() + 1);
    EXPECT_EQ(lines[3], "Table of contents of tape: VOL_A           , created: " + VolumeId().substr(16, 10) + ", " +
                            VolumeId().substr(27, 8));
    EXPECT_EQ(lines[4], "Product version: FOLIANTIX 3.5.00      ");
    EXPECT_EQ(lines.back(), lines[6]);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const std::string& line = lines[10 + i];
      const tape_file_label_basic& label = expected[i];
      ASSERT_EQ(line.size(), 84u);
      EXPECT_EQ(Column(line, 1, 6), std::to_string(tape_get_number(label.file_seq_num, 6)));
      const std::string date(label.creation_date, 10), time(label.creation_time, 8);  // YYYY.MM.DD, hh.mm.ss
      EXPECT_EQ(Column(line, 8, 15), date.substr(5, 2) + "/" + date.substr(8, 2) + "/" + date.substr(2, 2));
      EXPECT_EQ(Column(line, 17, 24), time.substr(0, 2) + ":" + time.substr(3, 2) + ":" + time.substr(6, 2));
      EXPECT_EQ(Column(line, 28, 38), std::to_string(tape_get_number(label.m_file_length, 16)));
      EXPECT_EQ(Column(line, 43, 49), std::to_string(tape_get_number(label.start_Offset_low, 10)));
      EXPECT_EQ(Column(line, 56, 62), std::to_string(tape_get_number(label.end_Offset_low, 10)));
      EXPECT_EQ(Column(line, 64, 83), das_name.substr(0, 20));
    }
    // At the end the scanner stays at the end, without going to the drive:
    // with the cartridge out, a drive call would raise.
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
  std::string end_label = Block("C001", 4);
  ASSERT_TRUE(tape_is_end_label(end_label.data()));
  end_label.replace(offsetof(tape_file_label_basic, filler), 10, "0000000001");
  end_label.replace(kTapeFileLabelBasicSize, 10, "9999999999");
  PutBlock("C001", 4, end_label);
  std::ostringstream out;
  CFnx_Dal_TapeDevWin32 device(m_config);
  dal_tape_list_contents(device, out);
  const std::vector<std::string> lines = Lines(out.str());
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(Column(lines[10], 28, 38), "100000700");
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
    EXPECT_EQ(text.find("\ntape_volume_label={---"), 0u);
    EXPECT_NE(text.find("-\nproduct_name=\t\t(FOLIANTIX )\nproduct_ver=\t\t(3.5.00      )\n"), std::string::npos);
    EXPECT_NE(text.find("m_vol_id.volume_name =\t(VOL_A           )\n"), std::string::npos);
    const std::size_t start = text.find("************* file number=1  *****************\n"
                                        "blocks between labels=0, calculated=0\n\ntape_file_label_basic={");
    const std::size_t end = text.find("blocks between labels=2, calculated=2\n");
    EXPECT_NE(start, std::string::npos);
    EXPECT_LT(start, end);
    EXPECT_NE(end, std::string::npos);
    const std::string summary = "************* number files on tape=1  ********************\nnum_single_blocks_read=4\n";
    EXPECT_EQ(text.find(summary) != std::string::npos, no_data);
  }
}

// A drive in variable block mode has no blocks to count: every listing call
// ends in tape_single_blocksize_error, never in a division by zero.
TEST_F(TapeList, ABlockSizeOfZeroEndsInTheSingleBlockSizeError) {
  UseLibrary(0, 16);
  std::ostringstream out;
  tape_volume_label volume;
  tape_file_label_basic label;
  const std::function<void(CFnx_Dal_TapeDev&)> calls[] = {
      [&](CFnx_Dal_TapeDev& device) { device.GetVolumeLabel(volume); },
      [&](CFnx_Dal_TapeDev& device) { device.GetNextEndLabel(label); },
      [&](CFnx_Dal_TapeDev& device) { device.PrintLabelsList(out); },
      [&](CFnx_Dal_TapeDev& device) { dal_tape_list_contents(device, out); },
  };
  for (const auto& call : calls) EXPECT_THROW(call(*Device()), tape_single_blocksize_error);
}
