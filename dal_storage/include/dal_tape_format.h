#pragma once
// The on-tape format of labelled volumes and the strings that name a place on
// tape.
//
// A volume is a run of fixed-size blocks of size B (the drive's media block
// size, B >= 512 and dividing 65536). Block 0 holds the volume label; each file
// follows as one start label block, a chain of data records and one end label
// block; the next file's start label comes right behind. There are no tape
// marks: only the labels tell where a file begins and ends. A label is 512
// bytes at the start of its block; the rest of the block is ignored.
//
// Label text is single-byte ASCII. Numbers are zero-padded decimal of a fixed
// width, strings are blank-filled and unterminated. The one binary field is
// the length word at the head of a data record.
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "fnx_export.h"

// The product fields of every label.
inline constexpr char kTapeProductName[] = "FOLIANTIX ";  // ten bytes, the blank included
inline constexpr char kTapeProductVersion[] = "3.5.00";   // blank-filled to twelve bytes

inline constexpr std::size_t kTapeLabelSize = 512;
// A label's first bytes, the part that readers and the lister look at.
inline constexpr std::size_t kTapeFileLabelBasicSize = 224;

// The size of the part of a volume label that precedes its id. The volume id
// stands at this offset in the volume label and in the volume info string.
inline constexpr std::size_t kTapeVolumeIdOffset = 82;
inline constexpr std::size_t kTapeVolumeIdSize = 35;
// Where a file label carries its copy of the volume id.
inline constexpr std::size_t kTapeFileLabelVolumeIdOffset = 103;

// Data records: a 32-bit little-endian length word N (4 plus the data bytes),
// the data, then filler up to the end of the record's last block.
inline constexpr std::uint32_t kTapeRecordSize = 65536;  // room a record takes in the buffer
inline constexpr std::uint32_t kTapeRecordHeader = 4;    // the length word
inline constexpr std::uint32_t kTapeRecordLimit = 65532; // N of a full record
inline constexpr std::uint32_t kTapeRecordData = kTapeRecordLimit - kTapeRecordHeader;

// m_file_length holds a signed 32-bit number: longer files do not fit the format.
inline constexpr std::int64_t kTapeMaxFileBytes = 0x7FFFFFFF;

// Location strings: 60 bytes DAS name, 120 bytes configuration name, then the
// label fields; 310 characters when complete.
inline constexpr std::size_t kTapeLocationDasSize = 60;
inline constexpr std::size_t kTapeLocationNameSize = 120;
inline constexpr std::size_t kTapeLocationHeadSize = kTapeLocationDasSize + kTapeLocationNameSize;
inline constexpr std::size_t kTapeLocationSize = 310;

// Volume info string: 117 characters right after labelling (the label up to the
// end of its id), 512 from the first status refresh on.
inline constexpr std::size_t kTapeVolumeInfoLabelledSize = kTapeVolumeIdOffset + kTapeVolumeIdSize;
inline constexpr std::size_t kTapeVolumeInfoSize = 512;
// The characters of the volume status record that travel in the volume info.
inline constexpr std::size_t kTapeVolumeStatusShared = kTapeVolumeInfoSize - kTapeVolumeIdOffset;

// ---------------------------------------------------------------------------
// Field helpers shared by every label writer and reader.

// The width formatter: writes the printf format "%0W.Wd" for width W, so that
// 6 gives "%06.6d" and 10 gives "%010.10d".
void tape_width_format(char (&format)[16], int width);

// Writes value into the width bytes of field as the width format prints it,
// keeping the first width characters (a seven-digit number in six bytes keeps
// its first six digits). Writes no terminator. REQUIRES: 1 <= width <= 16.
void tape_put_number(char* field, int width, std::int32_t value);

// Reads a number field as "%d" reads a terminated copy of it: leading white
// space, a sign, digits up to the first other byte; 32-bit wrap-around; no
// digits give 0. Nothing checks that the field holds digits.
std::int32_t tape_get_number(const char* field, std::size_t width);

// The blank pass: turns every NUL byte of the buffer into a blank.
void tape_blank_pass(char* buffer, std::size_t length);

// A blank-filled field as text: up to its first NUL, trailing blanks removed,
// but never its first character, so an all-blank field gives one blank.
std::string tape_trim(const char* field, std::size_t width);

// True when the tape block size B suits the format: at least one label and a
// whole number of blocks per record. B of 0 (variable block mode) is not.
bool tape_block_size_valid(std::uint64_t block_size);

// ---------------------------------------------------------------------------
// A logical block address of the drive.
class FNX_API CFnx_Dal_Tape_Position {
 public:
  CFnx_Dal_Tape_Position() = default;  // partition 1, block 0
  CFnx_Dal_Tape_Position(std::uint32_t partition, std::uint32_t offset_low, std::uint32_t offset_high)
      : m_partition(partition), m_offset_low(offset_low), m_offset_high(offset_high) {}
  CFnx_Dal_Tape_Position(const CFnx_Dal_Tape_Position&) = default;
  CFnx_Dal_Tape_Position& operator=(const CFnx_Dal_Tape_Position&) = default;

  // Sets the block number; the partition stays.
  void set(std::uint32_t offset_low, std::uint32_t offset_high) {
    m_offset_low = offset_low;
    m_offset_high = offset_high;
  }

  // The block number in a label's ten-character low field minus this
  // position's low word, so that adding the result to the low word gives the
  // label's block. The high field takes no part in it.
  int get_offset(const char* low_field, const char* high_field) const;

  std::uint32_t partition() const { return m_partition; }
  std::uint32_t offset_low() const { return m_offset_low; }
  std::uint32_t offset_high() const { return m_offset_high; }

 private:
  std::uint32_t m_partition = 1;
  std::uint32_t m_offset_low = 0;
  std::uint32_t m_offset_high = 0;
};

// ---------------------------------------------------------------------------
// Label records: byte images of the 512 (or 224) bytes on tape, without
// padding. Every offset is checked at compile time below.

// The identity of a volume: name, date of labelling, "/", time of labelling.
// Two tapes are the same volume exactly when these 35 bytes are equal, blanks
// included, so relabelling under the same name makes a different volume.
struct tape_volume_id {
  char volume_name[16];
  char creation_date[10];  // "%Y.%m.%d"
  char separator[1];       // "/"
  char creation_time[8];   // "%H.%M.%S"
};

// Block 0 of a volume.
struct tape_volume_label {
  char product_name[10];
  char product_ver[12];
  char das_name[60];
  tape_volume_id m_vol_id;
  char filler[395];

  tape_volume_label();  // 512 blanks

  // Labels a new volume: names are cut at their field's width, short ones are
  // filled with blanks; date and time are the stamps of this moment, in the
  // forms of tape_volume_id.
  void set(const std::string& volume_name, const std::string& das_name, const std::string& date,
           const std::string& time);

  char* bytes() { return reinterpret_cast<char*>(this); }
  const char* bytes() const { return reinterpret_cast<const char*>(this); }
};

// The first 224 bytes of a file label: all that a location carries and that
// the lister prints. The implicit assignment copies the 224 bytes.
struct FNX_API tape_file_label_basic {
  char file_seq_num[6];       // number of the file in the volume, from 1
  char product_name[10];
  char product_ver[12];
  char creation_date[10];     // start of writing
  char separator[1];          // "/"
  char creation_time[8];
  char BLKSIZE[6];            // always 065536, the record size
  char partition_number[10];
  char start_Offset_low[10];  // block of the start label
  char start_Offset_High[10];
  char end_Offset_low[10];    // block of the end label; " 000000000" in a start label
  char end_Offset_High[10];
  tape_volume_id m_vol_id;
  char das_name[60];
  char m_file_length[16];     // data bytes; all "0" in a start label
  char filler[10];

  tape_file_label_basic();  // 224 blanks

  char* bytes() { return reinterpret_cast<char*>(this); }
  const char* bytes() const { return reinterpret_cast<const char*>(this); }
};

// Prints the label field by field, each in full width, for the label dump.
FNX_API std::ostream& operator<<(std::ostream& out, const tape_file_label_basic& label);

// A start or end label block.
struct tape_file_label {
  tape_file_label_basic basic;
  char filler[288];

  tape_file_label();  // 512 blanks

  // Makes the start label of a file that begins at position: "0" everywhere,
  // the product fields, the stamps of the start of writing, the record size,
  // the position, and the volume id and DAS name out of the volume info
  // string. The file number stays "000000" until set_file_seq_num.
  void set_start(const std::string& date, const std::string& time, const CFnx_Dal_Tape_Position& position,
                 const std::string& volume_info);
  void set_file_seq_num(std::int32_t number);
  // Turns the start label into the end label: the block of the end label and
  // the length. REQUIRES: file_bytes <= kTapeMaxFileBytes; a longer count
  // keeps only its low 32 bits.
  void set_end(const CFnx_Dal_Tape_Position& position, std::int64_t file_bytes);

  char* bytes() { return reinterpret_cast<char*>(this); }
  const char* bytes() const { return reinterpret_cast<const char*>(this); }
};

// Recognising a label block, by byte comparison of the product name.
// REQUIRES: block holds at least kTapeFileLabelBasicSize bytes.
bool tape_is_volume_label(const char* block);
bool tape_is_file_label(const char* block);
// A file label whose length is not zero.
bool tape_is_end_label(const char* block);

// ---------------------------------------------------------------------------
// Data records.

void tape_put_record_length(char* record, std::uint32_t length);
std::uint32_t tape_get_record_length(const char* record);
// True for a length word that a record of this format can carry.
bool tape_record_length_valid(std::uint32_t length);
// Blocks that a record of length word N takes on tape: (N + B) / B, one more
// than needed when N is a multiple of B. A full record takes 65536 / B.
// REQUIRES: tape_block_size_valid(block_size).
std::uint32_t tape_record_blocks(std::uint32_t length, std::uint32_t block_size);
// Blocks that a reader loads: one when N is at most B, else all that the
// record takes; so a record with N equal to B is read as one block of its two.
std::uint32_t tape_record_blocks_to_read(std::uint32_t length, std::uint32_t block_size);

// ---------------------------------------------------------------------------
// The place of one file on tape: what a caller keeps to read the file back.
class FNX_API CFnx_Dal_Tape_Location {
 public:
  CFnx_Dal_Tape_Location();  // blank names, empty label string
  CFnx_Dal_Tape_Location(const CFnx_Dal_Tape_Location& other);
  CFnx_Dal_Tape_Location& operator=(const CFnx_Dal_Tape_Location& other);
  ~CFnx_Dal_Tape_Location();

  // The 60 bytes, the 120 bytes, the label string, with no separators.
  void put_to_string(std::string& out) const;
  // Takes a location string apart. A string of fewer than 180 characters
  // throws std::out_of_range and leaves the object partly filled.
  void get_from_string(const std::string& in);
  // The trimmed DAS name, the trimmed configuration name, and the label
  // fields of the string copied into label; fields the string does not carry
  // keep what label held. A label string that ends before a field begins
  // throws std::out_of_range; one that ends inside a field leaves that field
  // short, filled up with NUL bytes.
  void parse_location(std::string& das_name, std::string& config_name, tape_file_label_basic& label) const;

  // Fills the location from the end label of a file just written: its DAS
  // name, up to 120 characters of the configuration's name (the rest of that
  // field stays as it was) and the label string.
  void set_from_end_label(const tape_file_label_basic& end_label, const std::string& config_name);

 private:
  char m_das_name[kTapeLocationDasSize];      // blank-filled, unterminated
  char m_config_name[kTapeLocationNameSize];  // blank-filled, unterminated
  std::string m_label;                        // the thirteen label fields
};

// ---------------------------------------------------------------------------
// The volume status record: the device's running account of a volume. It
// never goes to tape; its first 430 characters travel in the volume info.
struct tape_volume_status {
  tape_volume_id m_vol_id;
  char block_size[6];      // B, "%06.6d"
  char partition[10];      // last status position
  char offset_low[10];
  char offset_high[10];
  char file_count[8];      // files on the volume
  char file_end_high[10];  // high word, copied at the end of each file
  char zeros[20];
  char used_high[10];      // with used_low: the used blocks, read as one number
  char used_low[10];
  char filler[383];

  tape_volume_status();  // 512 "0": no volume known

  // 512 "0", then the volume info's characters from offset 82 on.
  void load(const std::string& volume_info);
  void set_volume_id(const tape_volume_id& id);
  void set_block_size(std::uint64_t block_size);
  // The status refresh: the position into partition, offset_low and
  // offset_high, and "0" into the first digit of file_count.
  void refresh(const CFnx_Dal_Tape_Position& position);
  void set_file_count(std::int32_t count);
  std::int32_t get_file_count() const;
  // Copies the status position into the used-blocks figure.
  void note_used_blocks();
  // The same at the end of a file, which also keeps the high word apart.
  void note_file_end();
  // The used-blocks figure: the 20 digits of used_high and used_low as one number.
  double used_blocks() const;

  char* bytes() { return reinterpret_cast<char*>(this); }
  const char* bytes() const { return reinterpret_cast<const char*>(this); }
};

// ---------------------------------------------------------------------------
// The volume info string.

// Right after labelling: the label up to the end of its id, 117 characters.
std::string tape_volume_info_from_label(const tape_volume_label& label);
// From a status refresh on: the head of the current string (product fields and
// DAS name, blank-filled to 82 characters if it is shorter) and the first 430
// characters of the status record, 512 characters in all.
std::string tape_volume_info_refresh(const std::string& volume_info, const tape_volume_status& status);
// The 35 characters of the volume id, or what stands of them in a short string.
std::string tape_volume_info_id(const std::string& volume_info);
