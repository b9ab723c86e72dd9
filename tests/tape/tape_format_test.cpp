// The tape block format byte for byte: random labels and locations through
// encoding and decoding against a model of the fields, and fixed images where
// the exact layout is the point.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

#include "dal_tape_dev.h"
#include "dal_tape_format.h"

namespace {

const std::string kDate = "2021.07.15";
const std::string kTime = "14.23.59";
const std::string kProduct = "FOLIANTIX 3.5.00      ";

std::string Pad(const std::string& text, std::size_t width, char fill = ' ') {
  std::string padded = text.substr(0, width);
  padded.resize(width, fill);
  return padded;
}

// A number as a label field holds it: zero-filled, its first digits when too long.
std::string Digits(std::int64_t value, std::size_t width) {
  const std::string digits = std::to_string(value);
  return (std::string(width - std::min(width, digits.size()), '0') + digits).substr(0, width);
}

template <typename Record>
std::string Bytes(const Record& record) {
  return std::string(record.bytes(), sizeof record);
}

}  // namespace

TEST(TapeFormat, RandomLabelsAndLocationsEncodeAndDecodeTheirFields) {
  std::mt19937 random(18);  // fixed, so that a failure reproduces
  const auto name = [&](std::size_t longest) {
    std::string text(random() % (longest + 1), 'x');
    for (char& c : text) c = "ABCXYZ_019"[random() % 10];
    return text;
  };
  const auto number = [&](std::uint32_t limit) { return static_cast<std::int32_t>(random() % limit); };
  for (int run = 0; run < 300; ++run) {
    const std::string volume = name(20), das = name(70), config = name(130);
    SCOPED_TRACE(volume + " " + das + " " + config);
    tape_volume_label volume_label;
    volume_label.set(volume, das, kDate, kTime);
    const std::string id = Pad(volume, 16) + kDate + "/" + kTime;
    ASSERT_EQ(Bytes(volume_label), kProduct + Pad(das, 60) + id + std::string(395, ' '));
    ASSERT_TRUE(tape_is_volume_label(volume_label.bytes()));

    // The file label takes das and id from the volume info, a short one blank-filled.
    std::string info = tape_volume_info_from_label(volume_label);
    if (run % 4 == 0) info.resize(random() % info.size());
    const std::string das_field = Pad(info, 117).substr(22, 60), id_field = Pad(info, 117).substr(82, 35);
    const std::int32_t sequence = number(9999999), partition = number(3), start = number(0x7FFFFFFF),
                       start_high = number(9), end = number(0x7FFFFFFF), end_high = number(9),
                       length = 1 + number(0x7FFFFFFE);
    tape_file_label label;
    label.set_start(kDate, kTime, CFnx_Dal_Tape_Position(partition, start, start_high), info);
    label.set_file_seq_num(sequence);
    const std::string head = Digits(sequence, 6) + kProduct + kDate + "/" + kTime + "065536" +
                             Digits(partition, 10) + Digits(start, 10) + Digits(start_high, 10);
    ASSERT_EQ(Bytes(label), head + " 000000000" + Digits(0, 10) + id_field + das_field + std::string(314, '0'));
    EXPECT_TRUE(tape_is_file_label(label.bytes()));
    EXPECT_FALSE(tape_is_end_label(label.bytes()));
    EXPECT_FALSE(tape_is_volume_label(label.bytes()));
    label.set_end(CFnx_Dal_Tape_Position(partition, end, end_high), length);
    const std::string ends = Digits(end, 10) + Digits(end_high, 10);
    ASSERT_EQ(Bytes(label), head + ends + id_field + das_field + Digits(length, 16) + std::string(298, '0'));
    EXPECT_TRUE(tape_is_end_label(label.bytes()));

    CFnx_Dal_Tape_Location location;
    location.set_from_end_label(label.basic, config);
    std::string text;
    location.put_to_string(text);
    ASSERT_EQ(text, das_field + Pad(config, 120) + id_field.substr(0, 26) + id_field.substr(27) + Digits(sequence, 6) + kDate +
                        kTime + "065536" + Digits(partition, 10) + Digits(start, 10) + Digits(start_high, 10) +
                        ends + Digits(length, 16));
    CFnx_Dal_Tape_Location parsed, assigned;
    parsed.get_from_string(text);
    assigned = CFnx_Dal_Tape_Location(parsed);
    std::string again;
    assigned.put_to_string(again);
    EXPECT_EQ(again, text);
    std::string das_name, config_name;
    tape_file_label_basic basic;
    assigned.parse_location(das_name, config_name, basic);
    const std::string trimmed = das_field.substr(0, das_field.find_last_not_of(' ') + 1);
    EXPECT_EQ(das_name, trimmed.empty() ? " " : trimmed);
    EXPECT_EQ(config_name, config.empty() ? " " : config.substr(0, 120));
    // What the string does not carry stays blank.
    EXPECT_EQ(Bytes(basic), Digits(sequence, 6) + std::string(22, ' ') + kDate + " " + kTime + "065536" +
                                Digits(partition, 10) + Digits(start, 10) + Digits(start_high, 10) + ends +
                                id_field.substr(0, 26) + " " + id_field.substr(27) + std::string(60, ' ') +
                                Digits(length, 16) + std::string(10, ' '));

    char word[4];
    const auto record_length = static_cast<std::uint32_t>(random());
    tape_put_record_length(word, record_length);
    EXPECT_EQ(tape_get_record_length(word), record_length);
    EXPECT_EQ(static_cast<unsigned char>(word[0]), record_length & 0xFFu);  // little-endian
  }
}

TEST(TapeFormat, FixedImagesOfTheFileLabelAndItsDump) {
  tape_volume_label volume_label;
  volume_label.set("MM_VOL1", "DAS_DAS_350", kDate, kTime);
  const std::string info = tape_volume_info_from_label(volume_label);
  ASSERT_EQ(info.size(), 117u);
  const std::string id = "MM_VOL1         2021.07.15/14.23.59";
  EXPECT_EQ(tape_volume_info_id(info), id);
  EXPECT_EQ(tape_volume_info_id("short"), "");
  tape_file_label label;
  label.set_start(kDate, kTime, CFnx_Dal_Tape_Position(1, 1, 0), info);
  label.set_file_seq_num(1);
  label.set_end(CFnx_Dal_Tape_Position(1, 4, 0), 700);
  EXPECT_EQ(Bytes(label).substr(0, 224), "000001" "FOLIANTIX 3.5.00      " "2021.07.15/14.23.59" "065536"
                                         "0000000001" "0000000001" "0000000000" "0000000004" "0000000000" +
                                             id + Pad("DAS_DAS_350", 60) + "0000000000000700" + std::string(10, '0'));
  std::ostringstream dump;
  dump << label.basic;
  std::string expected = "\ntape_file_label_basic={" + std::string(65, '-') + "\n";
  for (const char* field : {"file_seq_num=\t\t(000001", "product_name=\t\t(FOLIANTIX ", "product_ver=\t\t(3.5.00      ",
                            "creation_date=\t\t(2021.07.15", "creation_time=\t\t(14.23.59", "BLKSIZE=\t\t(065536",
                            "partition_number=\t(0000000001", "start_Offset_low=\t(0000000001",
                            "start_Offset_High=\t(0000000000", "end_Offset_low=\t\t(0000000004",
                            "end_Offset_High=\t(0000000000", "m_vol_id.volume_name=\t(MM_VOL1         ",
                            "m_vol_id.creation_date=\t(2021.07.15", "m_vol_id.creation_time=\t(14.23.59"}) {
    expected += std::string(field) + ")\n";
  }
  expected += "das_name=\t\t(" + Pad("DAS_DAS_350", 60) + ")\nm_file_length=\t\t(0000000000000700)\n";
  EXPECT_EQ(dump.str(), expected + std::string(65, '-') + "} tape_file_label_basic\n\n");
}

TEST(TapeFormat, FieldHelpers) {
  EXPECT_EQ(tape_trim(Pad("A B", 60).data(), 60), "A B");
  EXPECT_EQ(tape_trim(Pad("", 60).data(), 60), " ");  // one character stays
  EXPECT_EQ(tape_trim(Pad("NAME", 16, '\0').data(), 16), "NAME");
  std::string text("a\0b\0\0", 5);
  tape_blank_pass(text.data(), 4);
  EXPECT_EQ(text, std::string("a b \0", 5));
  std::string block(kTapeLabelSize, '0');  // a label is known by its ten product bytes alone
  block.replace(6, 10, "FOLIANTIX_");
  EXPECT_FALSE(tape_is_file_label(block.data()));
}

TEST(TapeFormat, OffsetsAndRecordBlocks) {
  EXPECT_EQ(CFnx_Dal_Tape_Position(1, 40, 0).get_offset("0000000100", "0000000099"), 60);  // the high word takes no part
  EXPECT_EQ(CFnx_Dal_Tape_Position(1, 140, 0).get_offset("0000000100", "0000000000"), -40);
  EXPECT_EQ(CFnx_Dal_Tape_Position(1, 5, 0).get_offset(" 000000000", "0000000000"), -5);
  struct {
    std::uint32_t length, block_size, blocks, read;
  } records[] = {{704, 512, 2, 2}, {65532, 512, 128, 128}, {1024, 512, 3, 3}, {512, 512, 2, 1}, {704, 1024, 1, 1}};
  for (const auto& c : records) {
    EXPECT_EQ(tape_record_blocks(c.length, c.block_size), c.blocks) << c.length << "/" << c.block_size;
    EXPECT_EQ(tape_record_blocks_to_read(c.length, c.block_size), c.read) << c.length << "/" << c.block_size;
  }
}

TEST(TapeFormat, ALocationStringTooShortFailsWithOutOfRange) {
  const std::string complete = Pad("DAS", 60) + Pad("cfg", 120) + std::string(130, '7');
  for (std::size_t size : {0, 59, 60, 179}) {
    CFnx_Dal_Tape_Location location;
    EXPECT_THROW(location.get_from_string(complete.substr(0, size)), std::out_of_range) << size;
  }
  for (std::size_t size : {180, 293, 300}) {  // 300 ends inside the last field, which is kept in part
    CFnx_Dal_Tape_Location location;
    location.get_from_string(complete.substr(0, size));
    std::string das_name, config_name;
    tape_file_label_basic label;
    if (size < 294) {
      EXPECT_THROW(location.parse_location(das_name, config_name, label), std::out_of_range) << size;
      continue;
    }
    location.parse_location(das_name, config_name, label);
    EXPECT_EQ(std::string(label.m_file_length, 16), std::string(6, '7') + std::string(10, '\0'));
  }
}

TEST(TapeFormat, VolumeStatusRecord) {
  tape_volume_status status;
  EXPECT_EQ(Bytes(status), std::string(512, '0'));
  const std::string id = "MM_VOL1         2021.07.15/14.23.59";
  status.load(std::string(82, 'i') + id);
  EXPECT_EQ(Bytes(status), id + std::string(512 - 35, '0'));
  status.set_block_size(512);
  status.set_file_count(12345678);
  status.refresh(CFnx_Dal_Tape_Position(1, 100, 2));
  EXPECT_EQ(Bytes(status).substr(35, 44), "000512" "0000000001" "0000000100" "0000000002" "02345678");
  EXPECT_EQ(status.get_file_count(), 2345678);
  status.note_file_end();
  EXPECT_EQ(Bytes(status).substr(79, 50), "0000000002" + std::string(20, '0') + "0000000002" "0000000100");
  EXPECT_DOUBLE_EQ(status.used_blocks(), 20000000100.0);  // high digits, then low
  // Without a label head, the id still comes from the status.
  const std::string info = tape_volume_info_refresh("", status);
  ASSERT_EQ(info.size(), kTapeVolumeInfoSize);
  EXPECT_EQ(info.substr(0, 82), std::string(82, ' '));
  EXPECT_EQ(tape_volume_info_id(info), id);
}
