#include "tape_scan.h"

#include <cstring>
#include <iostream>
#include <vector>

#include "commands.h"
#include "dal_tape_api.h"
#include "dal_tape_format.h"

namespace fnxdal {
namespace {

constexpr std::uint32_t kReadSize = 65536;
constexpr std::uint32_t kNoDataDetected = 1104;
constexpr std::uint32_t kHandleEof = 38;

// A label field as "%d" reads it: blanks, a sign, then digits.
long long FieldNumber(const char* field, std::size_t width) {
  std::size_t i = 0;
  while (i < width && field[i] == ' ') ++i;
  bool negative = false;
  if (i < width && (field[i] == '-' || field[i] == '+')) negative = field[i++] == '-';
  long long value = 0;
  for (; i < width && field[i] >= '0' && field[i] <= '9'; ++i) value = value * 10 + (field[i] - '0');
  return negative ? -value : value;
}

bool IsLabel(const char* block) {
  return std::memcmp(block + offsetof(tape_file_label_basic, product_name), kTapeProductName, 10) == 0;
}

// Where a file began: its start label's block and number.
struct OpenFile {
  bool open = false;
  std::uint64_t block = 0;
  long long number = 0;
};

}  // namespace

void ScanVolume(const std::string& drive, const std::string& name, std::ostream& out) {
  CTapeApi api(drive);
  api.PrepareTape(0, 0);  // load
  _TAPE_GET_MEDIA_PARAMETERS media{};
  api.GetTapeMediaParameters(media);
  const std::uint32_t blockSize = media.BlockSize;
  if (blockSize < kTapeLabelSize || kReadSize % blockSize != 0) {
    throw UsageError("the medium in " + drive + " has block size " + std::to_string(blockSize) +
                     ", which no volume of this format has");
  }
  api.SetTapePosition(2, 1, 0, 0, 0);  // logical block 0

  std::vector<char> buffer(kReadSize);
  std::uint64_t block = 0;
  OpenFile file;
  bool labelled = false;
  for (bool end = false; !end;) {
    std::uint32_t got = 0;
    try {
      api.ReadFile(buffer.data(), kReadSize, &got);
    } catch (const exception_GetLastError& error) {
      if (error.Code() != static_cast<std::int32_t>(kNoDataDetected) &&
          error.Code() != static_cast<std::int32_t>(kHandleEof)) {
        throw;
      }
      end = true;  // the blocks that arrived before the end are still looked at
    }
    for (std::uint32_t offset = 0; offset + blockSize <= got; offset += blockSize, ++block) {
      const char* bytes = buffer.data() + offset;
      if (block == 0) {
        labelled = std::memcmp(bytes, kTapeProductName, 10) == 0;
        if (!labelled) throw UsageError("the tape in " + drive + " has no volume label");
        continue;
      }
      if (!IsLabel(bytes)) continue;
      tape_file_label_basic label;
      std::memcpy(label.bytes(), bytes, kTapeFileLabelBasicSize);
      const long long length = FieldNumber(label.m_file_length, sizeof label.m_file_length);
      const long long number = FieldNumber(label.file_seq_num, sizeof label.file_seq_num);
      if (length == 0) {
        file = {true, block, number};
        continue;
      }
      // An end label counts only when it closes the file that was opened:
      // data that happens to look like a label does not.
      const auto start = static_cast<std::uint64_t>(FieldNumber(label.start_Offset_low, sizeof label.start_Offset_low));
      if (!file.open || start != file.block || number != file.number) continue;
      CFnx_Dal_Tape_Location location;
      location.set_from_end_label(label, name);
      std::string text;
      location.put_to_string(text);
      out << "tape@" << text << ",0," << length << "#\n";
      file.open = false;
    }
    if (got < kReadSize) end = true;
  }
  if (!labelled) throw UsageError("the tape in " + drive + " is empty");
  if (file.open) {
    std::cerr << "fnxdal: file " << file.number << " from block " << file.block
              << " is unfinished: its end label never reached the tape\n";
  }
}

}  // namespace fnxdal
