#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "dal_tape_dev.h"
#include "dal_tape_format.h"

namespace {

const std::string kDate = "2021.07.15";
const std::string kTime = "14.23.59";

std::string Pad(const std::string& text, std::size_t width, char fill = ' ') {
  std::string padded = text.substr(0, width);
  padded.resize(width, fill);
  return padded;
}

template <typename Record>
std::string Bytes(const Record& record) {
  return std::string(record.bytes(), sizeof record);
}

tape_volume_label Labelled(const std::string& volume_name, const std::string& das_name) {
  tape_volume_label label;
  label.set(volume_name, das_name, kDate, kTime);
  return label;
}

const std::string kVolumeId = Pad("MM_VOL1", 16) + kDate + "/" + kTime;
const std::string kVolumeInfo = tape_volume_info_from_label(Labelled("MM_VOL1", "DAS_DAS_350"));

}  // namespace

TEST(TapeVolumeLabel, NamesAreCutOrBlankFilledAtTheirOffsets) {
  struct Case {
    std::string volume_name, das_name;
  } cases[] = {{"VOL", "DAS"}, {"VOLUME_NAME_OF_20_CH", std::string(70, 'd')}, {"", ""}};
  for (const Case& c : cases) {
    const std::string expected = "FOLIANTIX " + Pad("3.5.00", 12) + Pad(c.das_name, 60) + Pad(c.volume_name, 16) +
                                 kDate + "/" + kTime + std::string(395, ' ');
    EXPECT_EQ(Bytes(Labelled(c.volume_name, c.das_name)), expected) << c.volume_name;
  }
  EXPECT_EQ(kVolumeInfo.size(), 117u);
  EXPECT_EQ(tape_volume_info_id(kVolumeInfo), kVolumeId);
}

TEST(TapeFileLabel, StartAndEndLabelsHoldTheirFieldsByteForByte) {
  tape_file_label label;
  label.set_start(kDate, kTime, CFnx_Dal_Tape_Position(1, 1, 0), kVolumeInfo);
  label.set_file_seq_num(1);
  const std::string head = "000001FOLIANTIX " + Pad("3.5.00", 12) + kDate + "/" + kTime + "065536" +
                           "0000000001" + "0000000001" + "0000000000";
  const std::string tail = kVolumeId + Pad("DAS_DAS_350", 60);
  EXPECT_EQ(Bytes(label), head + " 000000000" + "0000000000" + tail + std::string(16 + 10 + 288, '0'));
  EXPECT_TRUE(tape_is_file_label(label.bytes()));
  EXPECT_FALSE(tape_is_end_label(label.bytes()));

  label.set_end(CFnx_Dal_Tape_Position(1, 4, 0), 700);
  EXPECT_EQ(Bytes(label), head + "0000000004" + "0000000000" + tail + "0000000000000700" + std::string(298, '0'));
  EXPECT_TRUE(tape_is_end_label(label.bytes()));
  EXPECT_FALSE(tape_is_volume_label(label.bytes()));

  // The label dump: every field once, in full width, in the label's order.
  std::ostringstream dump;
  dump << label.basic;
  std::string expected = "\ntape_file_label_basic={" + std::string(65, '-') + "\n";
  for (const auto& [name, value] : std::vector<std::pair<std::string, std::string>>{
           {"file_seq_num=\t\t", "000001"}, {"product_name=\t\t", "FOLIANTIX "},
           {"product_ver=\t\t", Pad("3.5.00", 12)}, {"creation_date=\t\t", kDate},
           {"creation_time=\t\t", kTime}, {"BLKSIZE=\t\t", "065536"},
           {"partition_number=\t", "0000000001"}, {"start_Offset_low=\t", "0000000001"},
           {"start_Offset_High=\t", "0000000000"}, {"end_Offset_low=\t\t", "0000000004"},
           {"end_Offset_High=\t", "0000000000"}, {"m_vol_id.volume_name=\t", Pad("MM_VOL1", 16)},
           {"m_vol_id.creation_date=\t", kDate}, {"m_vol_id.creation_time=\t", kTime},
           {"das_name=\t\t", Pad("DAS_DAS_350", 60)}, {"m_file_length=\t\t", "0000000000000700"}}) {
    expected += name + "(" + value + ")\n";
  }
  EXPECT_EQ(dump.str(), expected + std::string(65, '-') + "} tape_file_label_basic\n\n");
}

TEST(TapeFileLabel, LargeNumbersKeepTheirFirstDigitsAndAShortVolumeInfoGivesBlanks) {
  tape_file_label label;
  label.set_start(kDate, kTime, CFnx_Dal_Tape_Position(), kVolumeInfo.substr(0, 90));
  label.set_file_seq_num(1234567);
  label.set_end(CFnx_Dal_Tape_Position(), kTapeMaxFileBytes);
  const std::string bytes = Bytes(label);
  EXPECT_EQ(bytes.substr(0, 6), "123456");
  EXPECT_EQ(bytes.substr(103, 35), Pad("MM_VOL1", 35));
  EXPECT_EQ(bytes.substr(138, 60), Pad("DAS_DAS_350", 60));
  EXPECT_EQ(bytes.substr(198, 16), "0000002147483647");
}

TEST(TapeLabels, RecognisedByTheTenProductBytesAlone) {
  std::string block(kTapeLabelSize, '0');
  EXPECT_FALSE(tape_is_volume_label(block.data()));
  block.replace(0, 10, "FOLIANTIX_");  // the blank is part of the name
  EXPECT_FALSE(tape_is_volume_label(block.data()));
  block.replace(0, 10, "FOLIANTIX ");
  EXPECT_TRUE(tape_is_volume_label(block.data()));
  EXPECT_FALSE(tape_is_file_label(block.data()));
  block.replace(0, 16, "000042FOLIANTIX ");
  EXPECT_TRUE(tape_is_file_label(block.data()));
  EXPECT_FALSE(tape_is_end_label(block.data()));
  block.replace(198, 16, "0000000000000001");
  EXPECT_TRUE(tape_is_end_label(block.data()));
}

TEST(TapeFields, PutAndGetNumbers) {
  char field[12];
  std::memset(field, 'x', sizeof field);
  tape_put_number(field, 10, 42);
  EXPECT_EQ(std::string(field, 12), "0000000042xx");  // no terminator behind the field

  struct Case {
    const char* text;
    std::size_t width;
    std::int32_t value;
  } cases[] = {{"0000000100", 10, 100}, {" 000000000", 10, 0}, {"00000017", 8, 17}, {"1234", 2, 12}};
  for (const Case& c : cases) EXPECT_EQ(tape_get_number(c.text, c.width), c.value) << c.text;
}

TEST(TapeFields, TrimKeepsOneCharacterAndBlankPassFillsNuls) {
  EXPECT_EQ(tape_trim(Pad("DAS", 60).data(), 60), "DAS");
  EXPECT_EQ(tape_trim(Pad("", 60).data(), 60), " ");
  EXPECT_EQ(tape_trim(Pad("A B  ", 5).data(), 5), "A B");
  EXPECT_EQ(tape_trim(Pad("NAME", 16, '\0').data(), 16), "NAME");
  std::string text("a\0b\0\0", 5);
  tape_blank_pass(text.data(), 4);
  EXPECT_EQ(text, std::string("a b \0", 5));
}

TEST(TapePosition, GetOffsetIsTheLabelBlockMinusTheLowWord) {
  struct Case {
    const char* low;
    const char* high;
    std::uint32_t here;
    int offset;
  } cases[] = {{"0000000100", "0000000000", 40, 60},
               {"0000000100", "0000000000", 140, -40},
               {"0000000100", "0000000099", 40, 60},  // the high word takes no part
               {" 000000000", "0000000000", 5, -5}};
  for (const Case& c : cases) {
    EXPECT_EQ(CFnx_Dal_Tape_Position(1, c.here, 0).get_offset(c.low, c.high), c.offset) << c.low << " " << c.here;
  }
}

TEST(TapeRecord, LengthWordIsLittleEndianAndTheBlocksFollowTheLength) {
  char word[4];
  tape_put_record_length(word, 704);
  EXPECT_EQ(std::string(word, 4), std::string("\xC0\x02\x00\x00", 4));
  tape_put_record_length(word, kTapeRecordLimit);
  EXPECT_EQ(std::string(word, 4), std::string("\xFC\xFF\x00\x00", 4));
  EXPECT_EQ(tape_get_record_length(word), 65532u);

  struct Case {
    std::uint32_t length, block_size, blocks, read;
  } cases[] = {{704, 512, 2, 2},     {65532, 512, 128, 128}, {1024, 512, 3, 3},
               {512, 512, 2, 1},     {65532, 65536, 1, 1},   {704, 1024, 1, 1}};
  for (const Case& c : cases) {
    EXPECT_EQ(tape_record_blocks(c.length, c.block_size), c.blocks) << c.length << "/" << c.block_size;
    EXPECT_EQ(tape_record_blocks_to_read(c.length, c.block_size), c.read) << c.length << "/" << c.block_size;
  }
}

TEST(TapeLocation, BuiltFromTheEndLabelAndRoundTrips) {
  tape_file_label label;
  label.set_start(kDate, kTime, CFnx_Dal_Tape_Position(1, 1, 0), kVolumeInfo);
  label.set_file_seq_num(42);
  label.set_end(CFnx_Dal_Tape_Position(1, 4, 0), 700);
  const std::string fields = kVolumeId.substr(0, 26) + kTime + "000042" + kDate + kTime + "065536" + "0000000001" +
                             "0000000001" + "0000000000" + "0000000004" + "0000000000" + "0000000000000700";
  for (const std::string& name : {std::string("tape_cfg"), std::string(130, 'n')}) {
    CFnx_Dal_Tape_Location location;
    location.set_from_end_label(label.basic, name);
    std::string text;
    location.put_to_string(text);
    EXPECT_EQ(text, Pad("DAS_DAS_350", 60) + Pad(name, 120) + fields);

    CFnx_Dal_Tape_Location copy(location), assigned;
    assigned = copy;
    CFnx_Dal_Tape_Location parsed;
    parsed.get_from_string(text);
    for (const CFnx_Dal_Tape_Location* other : {&copy, &assigned, &parsed}) {
      std::string again;
      other->put_to_string(again);
      EXPECT_EQ(again, text);
    }

    std::string das_name, config_name;
    tape_file_label_basic basic;
    parsed.parse_location(das_name, config_name, basic);
    EXPECT_EQ(das_name, "DAS_DAS_350");
    EXPECT_EQ(config_name, name.substr(0, 120));
    tape_file_label_basic expected = label.basic;  // what the string does not carry stays blank
    std::memset(expected.product_name, ' ', sizeof expected.product_name + sizeof expected.product_ver);
    std::memset(expected.das_name, ' ', sizeof expected.das_name);
    expected.separator[0] = expected.m_vol_id.separator[0] = ' ';
    std::memset(expected.filler, ' ', sizeof expected.filler);
    EXPECT_EQ(Bytes(basic), Bytes(expected));
  }
}

TEST(TapeLocation, ShortStringsFailWithOutOfRange) {
  const std::string complete = Pad("DAS", 60) + Pad("cfg", 120) + std::string(130, '7');
  for (std::size_t size : {0, 59, 60, 179}) {
    CFnx_Dal_Tape_Location location;
    EXPECT_THROW(location.get_from_string(complete.substr(0, size)), std::out_of_range) << size;
  }
  for (std::size_t size : {180, 181, 293}) {  // the label string ends before a field begins
    CFnx_Dal_Tape_Location location;
    location.get_from_string(complete.substr(0, size));
    std::string das_name, config_name;
    tape_file_label_basic label;
    EXPECT_THROW(location.parse_location(das_name, config_name, label), std::out_of_range) << size;
  }
  CFnx_Dal_Tape_Location location;  // one that ends inside the last field
  location.get_from_string(complete.substr(0, 300));
  std::string das_name, config_name;
  tape_file_label_basic label;
  location.parse_location(das_name, config_name, label);
  EXPECT_EQ(std::string(label.m_file_length, 16), std::string(6, '7') + std::string(10, '\0'));
}

TEST(TapeVolumeStatus, RefreshCountsAndUsedBlocks) {
  tape_volume_status status;
  EXPECT_EQ(Bytes(status), std::string(512, '0'));
  status.load(kVolumeInfo);
  EXPECT_EQ(Bytes(status), kVolumeId + std::string(512 - 35, '0'));
  EXPECT_EQ(status.get_file_count(), 0);

  status.set_block_size(512);
  status.set_file_count(12345678);
  status.refresh(CFnx_Dal_Tape_Position(1, 100, 2));
  EXPECT_EQ(Bytes(status).substr(35, 44), "000512" "0000000001" "0000000100" "0000000002" "02345678");
  EXPECT_EQ(status.get_file_count(), 2345678);
  status.note_file_end();
  EXPECT_EQ(Bytes(status).substr(79, 50), "0000000002" + std::string(20, '0') + "0000000002" "0000000100");
  EXPECT_DOUBLE_EQ(status.used_blocks(), 20000000100.0);  // high digits, then low
}

// Pushes carry the status record in the volume info (checked by the device
// suite); here the edges: no label head yet, and an info too short for an id.
TEST(TapeVolumeInfo, WithoutALabelHeadTheIdStillComesFromTheStatus) {
  tape_volume_status status;
  status.load(kVolumeInfo);
  const std::string from_nothing = tape_volume_info_refresh("", status);
  ASSERT_EQ(from_nothing.size(), kTapeVolumeInfoSize);
  EXPECT_EQ(from_nothing.substr(0, 82), std::string(82, ' '));
  EXPECT_EQ(tape_volume_info_id(from_nothing), kVolumeId);
  EXPECT_EQ(tape_volume_info_id("short"), "");
}
