// Listing a volume from its labels: the volume label, the scan for end
// labels behind it, and the label dump with the block counts between labels.
#include <cstring>
#include <ostream>

#include "dal_tape_dev.h"
#include "dal_tape_dev_internal.h"
#include "fnx_log.h"

namespace {

bool IsEndOfData(const FNXError& error) { return error.Code() == kNoDataDetected; }

template <std::size_t Width>
void PrintVolumeField(std::ostream& out, const char* name, const char (&field)[Width]) {
  out << name << std::string(field, Width) << ")\n";
}

void PrintVolumeLabel(std::ostream& out, const char* block) {
  tape_volume_label label;
  std::memcpy(label.bytes(), block, sizeof label);
  out << "\ntape_volume_label={-----------------------------------------------------------------\n";
  PrintVolumeField(out, "product_name=\t\t(", label.product_name);
  PrintVolumeField(out, "product_ver=\t\t(", label.product_ver);
  PrintVolumeField(out, "das_name=\t\t(", label.das_name);
  PrintVolumeField(out, "m_vol_id.volume_name =\t(", label.m_vol_id.volume_name);
  PrintVolumeField(out, "m_vol_id.creation_date=\t(", label.m_vol_id.creation_date);
  PrintVolumeField(out, "m_vol_id.creation_time=\t(", label.m_vol_id.creation_time);
  out << "------------------------------------------------------------------} tape_volume_label\n";
}

}  // namespace

void CFnx_Dal_TapeDev::GetVolumeLabel(tape_volume_label& label) {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::GetVolumeLabel");
  m_position.set(0, 0);
  LoadTape();
  // Before any positioning, so that a drive in variable block mode says so
  // first. Also leaves the scan index at the end of an empty buffer, so that
  // the first GetNextEndLabel begins with a read.
  ReadBlockSize();
  GotoPosition(m_position);
  m_list_end = false;
  label = tape_volume_label();
  ReadBlocks(m_buffer, 1);
  std::memcpy(label.bytes(), m_buffer, sizeof label);
}

int CFnx_Dal_TapeDev::GetNextEndLabel(tape_file_label_basic& label) {
  // Before GetVolumeLabel the block size is unknown: refuse rather than divide.
  RequireUsableBlockSize();
  const auto block_size = static_cast<std::uint32_t>(m_block_size);
  const auto per_read = static_cast<std::int32_t>(kTapeRecordSize / block_size);
  for (;;) {
    while (m_blocks_per_record < per_read) {
      const char* block = m_buffer + static_cast<std::uint32_t>(m_blocks_per_record) * block_size;
      ++m_blocks_per_record;
      if (tape_is_end_label(block)) {
        std::memcpy(label.bytes(), block, sizeof label);
        return 1;
      }
    }
    if (m_list_end) return 0;
    m_blocks_per_record = 0;
    // A short read fills only part of the buffer, and its byte count does not
    // come up here: the zeros behind it hold no label.
    std::memset(m_buffer, 0, sizeof m_buffer);
    try {
      ReadBlocks(m_buffer, static_cast<unsigned long long>(per_read));
    } catch (const end_of_tape_error&) {
      m_list_end = true;
    } catch (const FNXError& error) {
      if (!IsEndOfData(error)) throw FNXError(error);
      m_list_end = true;
    }
  }
}

void CFnx_Dal_TapeDev::PrintLabelsList(std::ostream& out) {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::PrintLabelsList");
  m_position.set(0, 0);
  LoadTape();
  ReadBlockSize();
  GotoPosition(m_position);
  const auto block_size = static_cast<std::int64_t>(m_block_size);

  std::int32_t files = 0;
  std::int64_t blocks_read = 0;
  try {
    ReadBlocks(m_buffer, 1);
    PrintVolumeLabel(out, m_buffer);
    std::int64_t between = 0;
    for (;;) {
      ReadBlocks(m_buffer, 1);
      ++blocks_read;
      if (!tape_is_file_label(m_buffer)) {
        ++between;
        continue;
      }
      tape_file_label_basic label;
      std::memcpy(label.bytes(), m_buffer, sizeof label);
      const std::int64_t length = tape_get_number(label.m_file_length, sizeof label.m_file_length);
      std::int64_t calculated = (length + block_size) / block_size;
      if (length == 0) {  // a start label
        out << "************* file number=" << files + 1 << "  *****************\n";
        calculated = 0;
      } else {
        ++files;
      }
      out << "blocks between labels=" << between << ", calculated=" << calculated << "\n" << label;
      between = 0;
    }
  } catch (const end_of_tape_error&) {
    return;
  } catch (const FNXError& error) {
    if (!IsEndOfData(error)) throw FNXError(error);
    out << "************* number files on tape=" << files << "  ********************\n"
        << "num_single_blocks_read=" << blocks_read << "\n";
  }
}
