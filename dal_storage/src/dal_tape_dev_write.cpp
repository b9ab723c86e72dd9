// Writing one file to tape: start label, data records, end label, location.
#include <cstdio>
#include <cstring>
#include <vector>

#include "dal_tape_dev.h"
#include "dal_tape_dev_internal.h"
#include "dal_throw.h"
#include "fnx_log.h"

namespace {

constexpr int kAddData = 0;      // add data to the current record
constexpr int kWriteLabel = 1;   // flush the record, then write data as one block
constexpr int kFlushRecord = 2;  // flush the record and nothing more

}  // namespace

void CFnx_Dal_TapeDev::WriteBuf(char* data, int length, int mode) {
  // Every caller has read a usable block size before.
  const auto block_size = static_cast<std::uint32_t>(m_block_size);
  unsigned long long written = 0;
  if (mode == kWriteLabel || mode == kFlushRecord) {
    if (m_buf_pos > static_cast<std::int32_t>(kTapeRecordHeader)) {
      const auto record_length = static_cast<std::uint32_t>(m_buf_pos);
      tape_put_record_length(m_buffer, record_length);
      WriteBlocks(m_buffer, tape_record_blocks(record_length, block_size), written);
    }
    m_buf_pos = kTapeRecordHeader;
    if (mode == kFlushRecord) return;
    std::vector<char> block(block_size);
    std::memcpy(block.data(), data, static_cast<std::size_t>(length));
    WriteBlocks(block.data(), 1, written);
    return;
  }

  // A record goes to tape only when more data arrives than it can hold, so a
  // record filled exactly waits for the next call or for the flush.
  auto space = static_cast<std::int32_t>(kTapeRecordLimit) - m_buf_pos;
  while (space < length) {
    tape_put_record_length(m_buffer, kTapeRecordLimit);
    std::memcpy(m_buffer + m_buf_pos, data, static_cast<std::size_t>(space));
    WriteBlocks(m_buffer, kTapeRecordSize / block_size, written);
    length -= space;
    data += space;
    m_buf_pos = kTapeRecordHeader;
    space = static_cast<std::int32_t>(kTapeRecordData);
  }
  if (length > 0) {
    std::memcpy(m_buffer + m_buf_pos, data, static_cast<std::size_t>(length));
    m_buf_pos += length;
  }
}

void CFnx_Dal_TapeDev::TakeNewVolume() {
  TapeCheckIsNew();
  WriteTapeLabel();  // the file count starts again at 0
  // The caller learns of the new volume at once, not only when a file on it
  // is ended: a file given up before that would leave the caller naming the
  // old volume, and every later file would carry the old volume's id in its
  // labels and location while it lies on the new one.
  UpdateConfigValues();
}

void CFnx_Dal_TapeDev::set_file_label(tape_file_label& label) {
  label.set_start(m_config.GetCurDateFormat(), m_config.GetCurTimeFormat(), m_position, OwnValues().m_volumeInfo);
}

void CFnx_Dal_TapeDev::FileWriteStart() {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::FileWriteStart");
  for (;;) {
    if (!OwnValues().m_backupFlag) DAL_THROW("QRSDAL0513E");
    // The switch may have been turned since the run began: every file of it
    // would fail at its first block, and the operator would never be asked.
    RequireWritableTape();

    bool foreign = false;
    try {
      ReadBlockSize();
      // The file starts at the run's end block, not wherever the drive
      // stands: after a reload of the tape that would be the volume label.
      GotoEndOfDataUnixCompatible();
      GetCurrentPosition(m_position);
      set_file_label(m_file_label);
      m_buf_pos = kTapeRecordHeader;
      ++m_file_count;
      char number[16];
      // "%.6d" prints as the label format "%06.6d" does.
      std::snprintf(number, sizeof number, "%.6d", static_cast<int>(m_file_count));
      std::memcpy(m_file_label.basic.file_seq_num, number, sizeof m_file_label.basic.file_seq_num);
      SetOperatorStatus(std::string("writing file ") + number + " started");
    } catch (...) {
      foreign = true;
    }
    if (foreign) {
      FnxLogLine("Foreign tape in the drive.");
      const std::string& answer =
          AskRetryCancel("Foreign tape in the drive.\nPlease, insert a new volume and press \"Retry\"", false);
      if (answer == m_opt_cancel) throw tape_user_abort(kSourceFile, __LINE__);
      if (answer == m_opt_retry) TakeNewVolume();
      // An answer that names no option looks at the tape in the drive again:
      // no start label was built, and one written now would carry no volume
      // and no block, so that no location could find the file.
      continue;
    }

    try {
      WriteBuf(m_file_label.bytes(), static_cast<int>(kTapeLabelSize), kWriteLabel);
    } catch (const end_of_tape_error&) {
      FnxLogLine("End of tape reached.");
      // The start label is not on tape: going on would leave a file that no
      // location finds. So an answer that names no option asks again.
      for (;;) {
        const std::string& answer = AskRetryCancel(
            "End of tape reached. A new backup will be started.\nPlease, insert a new volume and press \"Retry\"",
            false);
        if (answer == m_opt_cancel) throw tape_user_abort(kSourceFile, __LINE__);
        if (answer == m_opt_retry) break;
      }
      TakeNewVolume();
      continue;
    }
    break;
  }
  m_file_bytes = 0;
  m_vol_status.set_file_count(m_file_count);
  m_file_open = true;
}

bool CFnx_Dal_TapeDev::FileWrite(char* data, std::uint32_t length, std::uint32_t& written) {
  FnxLogLine("Backup: FileWrite started");
  written = 0;
  // After the end of the medium the file in work is given up: its start label
  // and old records lie on the previous volume, and more bytes would land
  // behind the new volume label where no location finds them. Only a new
  // FileWriteStart opens a file again.
  if (!m_file_open) {
    DAL_THROW("QRSDAL0543E", "CFnx_Dal_TapeDev::FileWrite: ", "start the file anew with FileWriteStart");
  }
  // The end label holds the length as a signed 32-bit number: refuse the
  // bytes that would pass it before any of them is taken.
  if (m_file_bytes + static_cast<std::int64_t>(length) > kTapeMaxFileBytes) {
    DAL_THROW("QRSDAL0542E", "CFnx_Dal_TapeDev::FileWrite: ", static_cast<long long>(m_file_bytes + length),
              static_cast<long long>(kTapeMaxFileBytes));
  }
  ReadBlockSize();
  try {
    WriteBuf(data, static_cast<int>(length), kAddData);
  } catch (const end_of_tape_error&) {
    const std::string& answer = GiveUpFileAtEnd();
    if (answer == m_opt_cancel) throw end_of_tape_error(kSourceFile, __LINE__);
    if (answer != m_opt_retry) return false;
    TakeNewVolume();
    return true;
  }
  m_file_bytes += length;
  written = length;
  return true;
}

const std::string& CFnx_Dal_TapeDev::GiveUpFileAtEnd() {
  m_file_bytes = 0;
  m_file_open = false;
  GetCurrentPosition(m_position);
  GotoPosition(m_position);
  CloseHandle();
  m_buf_pos = kTapeRecordHeader;
  FnxLogLine("End of tape reached.");
  return AskRetryCancel(
      "End of tape reached. A new volume will be started.\nPlease, insert a new volume and press \"Retry\"", false);
}

void CFnx_Dal_TapeDev::FileWriteEnd(CFnx_Dal_Tape_Location& location) {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::FileWriteEnd");
  m_file_open = false;  // an ended file takes no more bytes
  // A later close must not end quietly with no location, nor put this
  // file's end label on the volume that replaced its own.
  if (m_file_past_end) throw end_of_tape_error(kSourceFile, __LINE__, true);
  ReadBlockSize();
  if (GetHandle() == 0 || m_file_bytes == 0) return;

  try {
    WriteBuf(nullptr, 0, kFlushRecord);
    GetCurrentPosition(m_position);
    m_vol_status.refresh(m_position);
    m_file_label.set_end(m_position, m_file_bytes);
    WriteBuf(m_file_label.bytes(), static_cast<int>(kTapeLabelSize), kWriteLabel);
  } catch (const end_of_tape_error& end) {
    // At the early warning a second close still writes the end label. Past
    // the physical end it never will, and the file written anew would start
    // at the same end block and meet the same end: the run goes on on a new
    // volume instead, as after the end of the medium in the data.
    if (end.PastEnd()) {
      m_file_past_end = true;
      if (GiveUpFileAtEnd() == m_opt_retry) TakeNewVolume();
    }
    throw;
  }
  GetCurrentPosition(m_position);
  m_vol_status.note_file_end();
  location.set_from_end_label(m_file_label.basic, OwnValues().m_name);
  UpdateConfigValues();
  FnxLogLine("Backup: FileWrite ended file_label=(", std::string(m_file_label.bytes(), kTapeLabelSize), ")");
}

std::int64_t CFnx_Dal_TapeDev::GetFileSize() const { return m_file_bytes; }
