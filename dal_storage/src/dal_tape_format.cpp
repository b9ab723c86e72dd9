// Label records, data records, the volume status record and the volume info
// string of the tape format.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <type_traits>

#include "dal_tape_format.h"
#include "os_text.h"

// The records are byte images of the tape: any padding would move a field.
static_assert(std::is_standard_layout_v<tape_volume_id> && std::is_trivially_copyable_v<tape_volume_id>);
static_assert(offsetof(tape_volume_id, volume_name) == 0);
static_assert(offsetof(tape_volume_id, creation_date) == 16);
static_assert(offsetof(tape_volume_id, separator) == 26);
static_assert(offsetof(tape_volume_id, creation_time) == 27);
static_assert(sizeof(tape_volume_id) == kTapeVolumeIdSize);

static_assert(std::is_standard_layout_v<tape_volume_label> && std::is_trivially_copyable_v<tape_volume_label>);
static_assert(offsetof(tape_volume_label, product_name) == 0);
static_assert(offsetof(tape_volume_label, product_ver) == 10);
static_assert(offsetof(tape_volume_label, das_name) == 22);
static_assert(offsetof(tape_volume_label, m_vol_id) == kTapeVolumeIdOffset);
static_assert(offsetof(tape_volume_label, filler) == 117);
static_assert(sizeof(tape_volume_label) == kTapeLabelSize);

static_assert(std::is_standard_layout_v<tape_file_label_basic> &&
              std::is_trivially_copyable_v<tape_file_label_basic>);
static_assert(offsetof(tape_file_label_basic, file_seq_num) == 0);
static_assert(offsetof(tape_file_label_basic, product_name) == 6);
static_assert(offsetof(tape_file_label_basic, product_ver) == 16);
static_assert(offsetof(tape_file_label_basic, creation_date) == 28);
static_assert(offsetof(tape_file_label_basic, separator) == 38);
static_assert(offsetof(tape_file_label_basic, creation_time) == 39);
static_assert(offsetof(tape_file_label_basic, BLKSIZE) == 47);
static_assert(offsetof(tape_file_label_basic, partition_number) == 53);
static_assert(offsetof(tape_file_label_basic, start_Offset_low) == 63);
static_assert(offsetof(tape_file_label_basic, start_Offset_High) == 73);
static_assert(offsetof(tape_file_label_basic, end_Offset_low) == 83);
static_assert(offsetof(tape_file_label_basic, end_Offset_High) == 93);
static_assert(offsetof(tape_file_label_basic, m_vol_id) == kTapeFileLabelVolumeIdOffset);
static_assert(offsetof(tape_file_label_basic, das_name) == 138);
static_assert(offsetof(tape_file_label_basic, m_file_length) == 198);
static_assert(offsetof(tape_file_label_basic, filler) == 214);
static_assert(sizeof(tape_file_label_basic) == kTapeFileLabelBasicSize);

static_assert(std::is_standard_layout_v<tape_file_label> && std::is_trivially_copyable_v<tape_file_label>);
static_assert(offsetof(tape_file_label, basic) == 0);
static_assert(offsetof(tape_file_label, filler) == kTapeFileLabelBasicSize);
static_assert(sizeof(tape_file_label) == kTapeLabelSize);

static_assert(std::is_standard_layout_v<tape_volume_status> && std::is_trivially_copyable_v<tape_volume_status>);
static_assert(offsetof(tape_volume_status, m_vol_id) == 0);
static_assert(offsetof(tape_volume_status, block_size) == 35);
static_assert(offsetof(tape_volume_status, partition) == 41);
static_assert(offsetof(tape_volume_status, offset_low) == 51);
static_assert(offsetof(tape_volume_status, offset_high) == 61);
static_assert(offsetof(tape_volume_status, file_count) == 71);
static_assert(offsetof(tape_volume_status, file_end_high) == 79);
static_assert(offsetof(tape_volume_status, zeros) == 89);
static_assert(offsetof(tape_volume_status, used_high) == 109);
static_assert(offsetof(tape_volume_status, used_low) == 119);
static_assert(offsetof(tape_volume_status, filler) == 129);
static_assert(sizeof(tape_volume_status) == 512);

namespace {

constexpr std::size_t kProductNameSize = sizeof kTapeProductName - 1;

// Copies text into a field of width bytes as strncpy does: up to the first NUL
// of text, the rest of the field NUL. The blank pass later turns the NULs of a
// label into blanks.
template <std::size_t Width>
void CopyField(char (&field)[Width], const std::string& text) {
  const std::size_t length = std::min(Width, std::strlen(text.c_str()));
  std::memcpy(field, text.data(), length);
  std::memset(field + length, 0, Width - length);
}

// Copies width bytes of text from offset on, as far as text reaches; the rest
// of the field becomes NUL.
void CopyFrom(char* field, std::size_t width, const std::string& text, std::size_t offset) {
  const std::size_t length = offset < text.size() ? std::min(width, text.size() - offset) : 0;
  if (length > 0) std::memcpy(field, text.data() + offset, length);
  std::memset(field + length, 0, width - length);
}

void SetProductFields(char (&name)[10], char (&version)[12]) {
  std::memcpy(name, kTapeProductName, kProductNameSize);
  std::memset(version, ' ', sizeof version);
  std::memcpy(version, kTapeProductVersion, sizeof kTapeProductVersion - 1);
}

void SetStamp(char (&date)[10], char (&separator)[1], char (&time)[8], const std::string& date_text,
              const std::string& time_text) {
  CopyField(date, date_text);
  separator[0] = '/';
  CopyField(time, time_text);
}

template <std::size_t Width>
void PutField(char (&field)[Width], std::int32_t value) {
  tape_put_number(field, static_cast<int>(Width), value);
}

template <std::size_t Width>
std::int32_t GetField(const char (&field)[Width]) {
  return tape_get_number(field, Width);
}

void PutPosition(char (&partition)[10], char (&low)[10], char (&high)[10], const CFnx_Dal_Tape_Position& position) {
  // Block numbers go out through the signed format of the labels.
  PutField(partition, static_cast<std::int32_t>(position.partition()));
  PutField(low, static_cast<std::int32_t>(position.offset_low()));
  PutField(high, static_cast<std::int32_t>(position.offset_high()));
}

template <std::size_t Width>
void PrintField(std::ostream& out, const char* name, const char (&field)[Width]) {
  out << name;
  out.write(field, static_cast<std::streamsize>(Width));
  out << ")\n";
}

}  // namespace

// ---------------------------------------------------------------------------
// Field helpers.

void tape_width_format(char (&format)[16], int width) {
  std::snprintf(format, sizeof format, "%c0%d.%dd", '%', width, width);
}

void tape_put_number(char* field, int width, std::int32_t value) {
  char format[16];
  tape_width_format(format, width);
  char text[32];
  const int length = std::snprintf(text, sizeof text, format, static_cast<int>(value));
  // The width format prints at least width characters, so the whole field is written.
  const int printed = std::clamp(length, 0, static_cast<int>(sizeof text) - 1);
  std::memcpy(field, text, static_cast<std::size_t>(std::min(width, printed)));
}

std::int32_t tape_get_number(const char* field, std::size_t width) {
  return DalAtol(std::string(field, width));
}

void tape_blank_pass(char* buffer, std::size_t length) { std::replace(buffer, buffer + length, '\0', ' '); }

std::string tape_trim(const char* field, std::size_t width) {
  std::size_t length = 0;
  while (length < width && field[length] != '\0') ++length;
  while (length > 1 && field[length - 1] == ' ') --length;
  return std::string(field, length);
}

bool tape_block_size_valid(std::uint64_t block_size) {
  return block_size >= kTapeLabelSize && kTapeRecordSize % block_size == 0;
}

// ---------------------------------------------------------------------------
// Labels.

tape_volume_label::tape_volume_label() { std::memset(bytes(), ' ', sizeof *this); }

void tape_volume_label::set(const std::string& volume_name, const std::string& das_name, const std::string& date,
                            const std::string& time) {
  std::memset(bytes(), ' ', sizeof *this);
  CopyField(m_vol_id.volume_name, volume_name);
  SetStamp(m_vol_id.creation_date, m_vol_id.separator, m_vol_id.creation_time, date, time);
  SetProductFields(product_name, product_ver);
  CopyField(this->das_name, das_name);
  tape_blank_pass(bytes(), sizeof *this);
}

tape_file_label_basic::tape_file_label_basic() { std::memset(bytes(), ' ', sizeof *this); }

std::ostream& operator<<(std::ostream& out, const tape_file_label_basic& label) {
  out << "\ntape_file_label_basic={-----------------------------------------------------------------\n";
  PrintField(out, "file_seq_num=\t\t(", label.file_seq_num);
  PrintField(out, "product_name=\t\t(", label.product_name);
  PrintField(out, "product_ver=\t\t(", label.product_ver);
  PrintField(out, "creation_date=\t\t(", label.creation_date);
  PrintField(out, "creation_time=\t\t(", label.creation_time);
  PrintField(out, "BLKSIZE=\t\t(", label.BLKSIZE);
  PrintField(out, "partition_number=\t(", label.partition_number);
  PrintField(out, "start_Offset_low=\t(", label.start_Offset_low);
  PrintField(out, "start_Offset_High=\t(", label.start_Offset_High);
  PrintField(out, "end_Offset_low=\t\t(", label.end_Offset_low);
  PrintField(out, "end_Offset_High=\t(", label.end_Offset_High);
  PrintField(out, "m_vol_id.volume_name=\t(", label.m_vol_id.volume_name);
  PrintField(out, "m_vol_id.creation_date=\t(", label.m_vol_id.creation_date);
  PrintField(out, "m_vol_id.creation_time=\t(", label.m_vol_id.creation_time);
  PrintField(out, "das_name=\t\t(", label.das_name);
  PrintField(out, "m_file_length=\t\t(", label.m_file_length);
  out << "-----------------------------------------------------------------} tape_file_label_basic\n\n";
  return out;
}

tape_file_label::tape_file_label() { std::memset(bytes(), ' ', sizeof *this); }

void tape_file_label::set_start(const std::string& date, const std::string& time,
                                const CFnx_Dal_Tape_Position& position, const std::string& volume_info) {
  std::memset(bytes(), '0', sizeof *this);
  SetProductFields(basic.product_name, basic.product_ver);
  SetStamp(basic.creation_date, basic.separator, basic.creation_time, date, time);
  PutField(basic.BLKSIZE, static_cast<std::int32_t>(kTapeRecordSize));
  PutPosition(basic.partition_number, basic.start_Offset_low, basic.start_Offset_High, position);
  // A start label's end_Offset_low is a blank and nine "0", as on every
  // volume written so far: the blank is where start_Offset_High's formatting
  // used to end.
  basic.end_Offset_low[0] = ' ';
  CopyFrom(reinterpret_cast<char*>(&basic.m_vol_id), kTapeVolumeIdSize, volume_info, kTapeVolumeIdOffset);
  CopyFrom(basic.das_name, sizeof basic.das_name, volume_info, offsetof(tape_volume_label, das_name));
  tape_blank_pass(bytes(), sizeof *this);
}

void tape_file_label::set_file_seq_num(std::int32_t number) { PutField(basic.file_seq_num, number); }

void tape_file_label::set_end(const CFnx_Dal_Tape_Position& position, std::int64_t file_bytes) {
  // The field holds the low 32 bits, printed as a signed number.
  PutField(basic.m_file_length, static_cast<std::int32_t>(static_cast<std::uint32_t>(file_bytes)));
  PutField(basic.end_Offset_low, static_cast<std::int32_t>(position.offset_low()));
  PutField(basic.end_Offset_High, static_cast<std::int32_t>(position.offset_high()));
}

bool tape_is_volume_label(const char* block) {
  return std::memcmp(block, kTapeProductName, kProductNameSize) == 0;
}

bool tape_is_file_label(const char* block) {
  return std::memcmp(block + offsetof(tape_file_label_basic, product_name), kTapeProductName, kProductNameSize) == 0;
}

bool tape_is_end_label(const char* block) {
  return tape_is_file_label(block) &&
         tape_get_number(block + offsetof(tape_file_label_basic, m_file_length), 16) != 0;
}

// ---------------------------------------------------------------------------
// Data records.

void tape_put_record_length(char* record, std::uint32_t length) {
  for (int i = 0; i < 4; ++i) record[i] = static_cast<char>((length >> (8 * i)) & 0xFFu);
}

std::uint32_t tape_get_record_length(const char* record) {
  std::uint32_t length = 0;
  for (int i = 3; i >= 0; --i) length = (length << 8) | static_cast<unsigned char>(record[i]);
  return length;
}

bool tape_record_length_valid(std::uint32_t length) {
  return length > kTapeRecordHeader && length <= kTapeRecordLimit;
}

std::uint32_t tape_record_blocks(std::uint32_t length, std::uint32_t block_size) {
  return (length + block_size) / block_size;
}

std::uint32_t tape_record_blocks_to_read(std::uint32_t length, std::uint32_t block_size) {
  return length <= block_size ? 1 : tape_record_blocks(length, block_size);
}

// ---------------------------------------------------------------------------
// The volume status record and the volume info string.

tape_volume_status::tape_volume_status() { std::memset(bytes(), '0', sizeof *this); }

void tape_volume_status::load(const std::string& volume_info) {
  std::memset(bytes(), '0', sizeof *this);
  if (volume_info.size() > kTapeVolumeIdOffset) {
    const std::size_t length = std::min(kTapeVolumeStatusShared, volume_info.size() - kTapeVolumeIdOffset);
    std::memcpy(bytes(), volume_info.data() + kTapeVolumeIdOffset, length);
  }
}

void tape_volume_status::set_volume_id(const tape_volume_id& id) { m_vol_id = id; }

void tape_volume_status::set_block_size(std::uint64_t block_size) {
  PutField(this->block_size, static_cast<std::int32_t>(block_size));
}

void tape_volume_status::refresh(const CFnx_Dal_Tape_Position& position) {
  PutPosition(partition, offset_low, offset_high, position);
  file_count[0] = '0';
}

void tape_volume_status::set_file_count(std::int32_t count) { PutField(file_count, count); }

std::int32_t tape_volume_status::get_file_count() const { return GetField(file_count); }

void tape_volume_status::note_used_blocks() {
  std::memcpy(used_low, offset_low, sizeof used_low);
  std::memcpy(used_high, offset_high, sizeof used_high);
}

void tape_volume_status::note_file_end() {
  note_used_blocks();
  std::memcpy(file_end_high, offset_high, sizeof file_end_high);
}

double tape_volume_status::used_blocks() const {
  char digits[sizeof used_high + sizeof used_low + 1] = {};
  std::memcpy(digits, bytes() + offsetof(tape_volume_status, used_high), sizeof digits - 1);
  return std::strtod(digits, nullptr);
}

std::string tape_volume_info_from_label(const tape_volume_label& label) {
  return std::string(label.bytes(), kTapeVolumeInfoLabelledSize);
}

std::string tape_volume_info_refresh(const std::string& volume_info, const tape_volume_status& status) {
  std::string refreshed = volume_info.substr(0, std::min(volume_info.size(), kTapeVolumeIdOffset));
  refreshed.resize(kTapeVolumeIdOffset, ' ');  // keeps the id at its offset
  refreshed.append(status.bytes(), kTapeVolumeStatusShared);
  return refreshed;
}

std::string tape_volume_info_id(const std::string& volume_info) {
  return volume_info.size() > kTapeVolumeIdOffset ? volume_info.substr(kTapeVolumeIdOffset, kTapeVolumeIdSize)
                                                  : std::string();
}
