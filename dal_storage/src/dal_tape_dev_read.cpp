// Restoring one file from tape: find the volume and the start label, then
// deliver the bytes of the data records up to the file's length.
#include <cstring>
#include <vector>

#include "dal_tape_dev.h"
#include "dal_tape_dev_internal.h"
#include "dal_throw.h"
#include "fnx_log.h"

namespace {

// True when block holds a label of the file that wanted describes, its start
// label or, with end_label, its end label: same volume, number, time of
// writing and start block.
bool IsLabelOfFile(const char* block, const tape_file_label_basic& wanted, bool end_label) {
  if (!tape_is_file_label(block) || tape_is_end_label(block) != end_label) return false;
  tape_file_label_basic found;
  std::memcpy(found.bytes(), block, sizeof found);
  auto same = [](const auto& a, const auto& b) { return std::memcmp(&a, &b, sizeof a) == 0; };
  return same(found.m_vol_id, wanted.m_vol_id) && same(found.file_seq_num, wanted.file_seq_num) &&
         same(found.creation_date, wanted.creation_date) && same(found.creation_time, wanted.creation_time) &&
         same(found.start_Offset_low, wanted.start_Offset_low);
}

}  // namespace

void CFnx_Dal_TapeDev::RequireFileAt(const tape_file_label_basic& wanted, std::uint32_t start_block,
                                     std::vector<char>& block, bool start_read) {
  CFnx_Dal_Tape_Position at = m_position;
  if (!start_read) {
    try {
      at.set(start_block, m_position.offset_high());
      GotoPosition(at);
      ReadBlocks(block.data(), 1);
      start_read = true;
    } catch (const FNXError&) {
    }
  }
  bool found = false;
  if (start_read) {
    found = IsLabelOfFile(block.data(), wanted, false);
  } else {
    // The start label cannot be read: the file's end label vouches for the
    // place instead. A drive failure there goes on to the caller.
    try {
      at.set(static_cast<std::uint32_t>(tape_get_number(wanted.end_Offset_low, sizeof wanted.end_Offset_low)),
             m_position.offset_high());
      GotoPosition(at);
      ReadBlocks(block.data(), 1);
      found = IsLabelOfFile(block.data(), wanted, true);
    } catch (const end_of_tape_error&) {
    }
  }
  if (!found) {
    DAL_THROW("QRSDAL0544E", "CFnx_Dal_TapeDev::ReadStart: ", static_cast<unsigned long long>(start_block),
              std::string(reinterpret_cast<const char*>(&wanted.m_vol_id), kTapeVolumeIdSize),
              std::string(wanted.file_seq_num, sizeof wanted.file_seq_num) + " written " +
                  std::string(wanted.creation_date, sizeof wanted.creation_date) + "/" +
                  std::string(wanted.creation_time, sizeof wanted.creation_time));
  }
}

bool CFnx_Dal_TapeDev::check_tape_vol_id(const std::string& expected_id, std::string& id_found) {
  m_position.set(0, 0);
  LoadTape();
  try {
    ReadBlocks(m_buffer, 1);
  } catch (const FNXError& error) {
    // A blank tape holds no volume at all: the wrong tape, and the operator
    // is asked for the right one, rather than the restore failing.
    if (error.Code() != kNoDataDetected && !dynamic_cast<const end_of_tape_error*>(&error)) throw;
    id_found.clear();
    return false;
  }
  GotoPosition(m_position);
  id_found.assign(m_buffer + kTapeVolumeIdOffset, kTapeVolumeIdSize);
  return expected_id.size() >= kTapeVolumeIdSize &&
         std::memcmp(id_found.data(), expected_id.data(), kTapeVolumeIdSize) == 0;
}

void CFnx_Dal_TapeDev::ReadStart(CFnx_Dal_Tape_Location& location) {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::ReadStart");
  aux_Verify_Tape_In_Drive();
  ReadBlockSize();
  TapeDriveFeaturesCheck();

  tape_file_label_basic label;
  std::string das_name;
  std::string config_name;
  location.parse_location(das_name, config_name, label);
  label.m_vol_id.separator[0] = '/';  // the id in the form that labels hold
  const std::string expected(reinterpret_cast<const char*>(&label.m_vol_id), kTapeVolumeIdSize);

  FnxLogLine("Restore started from tape: ", expected);
  SetOperatorStatus("Restore started from tape: " + expected);

  std::vector<char> block(m_block_size);
  bool found = false;
  bool start_read = false;  // block holds the start block of the tape in the drive
  std::string id_found;
  GetCurrentPosition(m_position);
  m_position.set(m_position.offset_low() + static_cast<std::uint32_t>(m_position.get_offset(
                                               label.start_Offset_low, label.start_Offset_High)),
                 m_position.offset_high());
  const std::uint32_t start_block = m_position.offset_low();
  try {
    GotoPosition(m_position);
    ReadBlocks(block.data(), 1);
    id_found.assign(block.data() + kTapeFileLabelVolumeIdOffset, kTapeVolumeIdSize);
    start_read = found = id_found == expected;
  } catch (...) {
    // A start block that cannot be reached or read: the volume label decides.
    found = check_tape_vol_id(expected, id_found);
  }

  while (!found) {
    const std::string& answer = AskRetryCancel(
        "Restore: please insert tape with label=(" + expected + ").\n Label on current tape=(" + id_found + ")",
        false);
    if (answer == m_opt_cancel) throw tape_user_abort(kSourceFile, __LINE__);
    if (answer == m_opt_retry) found = check_tape_vol_id(expected, id_found);
    // An answer that names no option asks again.
  }
  // The volume id alone would let another file's bytes through: one written
  // over this one's place, or a location that names a block of the wrong file.
  RequireFileAt(label, start_block, block, start_read);

  GetCurrentPosition(m_position);
  m_position.set(start_block + 1, m_position.offset_high());
  GotoPosition(m_position);

  m_buf_pos = 0;
  m_read_length = tape_get_number(label.m_file_length, sizeof label.m_file_length);
  m_read_done = 0;

  CFnx_Dal_ConfigValues values = OwnValues();
  values.m_backupFlag = false;
  SetOwnValues(values);
  Push();
}

void CFnx_Dal_TapeDev::ReadRead(char* buffer, std::uint32_t length, std::uint32_t& read) {
  read = 0;
  ReadBlockSize();
  const auto block_size = static_cast<std::uint32_t>(m_block_size);
  while (length != 0 && m_read_done < m_read_length) {
    if (m_buf_pos == 0) {
      ReadBlocks(m_buffer, 1);
      const std::uint32_t record_length = tape_get_record_length(m_buffer);
      // A length word outside 5..65532 is no record of this format: following
      // it would deliver garbage or run past m_buffer.
      if (!tape_record_length_valid(record_length)) {
        CFnx_Dal_Tape_Position here;
        GetCurrentPosition(here);
        DAL_THROW("QRSDAL0541E", "CFnx_Dal_TapeDev::ReadRead: ", static_cast<unsigned long long>(here.offset_low()) - 1,
                  record_length);
      }
      const std::uint32_t blocks = tape_record_blocks_to_read(record_length, block_size);
      for (std::uint32_t i = 1; i < blocks; ++i) ReadBlocks(m_buffer + i * block_size, 1);
      m_buf_pos = kTapeRecordHeader;
      m_read_last = static_cast<std::int32_t>(record_length) - 1;
    }
    const auto available = static_cast<std::uint32_t>(m_read_last + 1 - m_buf_pos);
    if (available < length) {
      std::memcpy(buffer, m_buffer + m_buf_pos, available);
      m_buf_pos = 0;
      m_read_done += static_cast<std::int32_t>(available);
      read += available;
      length -= available;
      buffer += available;
      continue;
    }
    std::memcpy(buffer, m_buffer + m_buf_pos, length);
    m_buf_pos += static_cast<std::int32_t>(length);
    m_read_done += static_cast<std::int32_t>(length);
    if (m_buf_pos > m_read_last) m_buf_pos = 0;
    read += length;
    return;
  }
}

void CFnx_Dal_TapeDev::ReadEnd() {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::ReadEnd");
  ReadBlockSize();
  std::vector<char> block(m_block_size);
  ReadBlocks(block.data(), 1);
  CFnx_Dal_Tape_Position here;
  GetCurrentPosition(here);
  FnxLogLine("Restore ended, curpos=", static_cast<unsigned long>(here.offset_low()));
  SetOperatorStatus("Restore ended");
}
