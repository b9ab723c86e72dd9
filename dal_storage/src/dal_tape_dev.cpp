// The tape device core: construction, the operator dialogue, the choice and
// labelling of a volume, and the backup run.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "dal_operator.h"
#include "dal_tape_dev.h"
#include "dal_tape_dev_internal.h"
#include "dal_throw.h"
#include "fnx_log.h"

namespace {

// "volume=\"NAME, DATE, TIME\"", how questions and the status line name a volume.
std::string DescribeVolume(const tape_volume_id& id) {
  return "volume=\"" + tape_trim(id.volume_name, sizeof id.volume_name) + ", " +
         std::string(id.creation_date, sizeof id.creation_date) + ", " +
         std::string(id.creation_time, sizeof id.creation_time) + "\"";
}

// The description of a labelled tape in a question, from its block 0.
std::string DescribeVolumeLabel(const char* block) {
  tape_volume_label label;
  std::memcpy(label.bytes(), block, sizeof label);
  return DescribeVolume(label.m_vol_id) + " ";
}

}  // namespace

// ---------------------------------------------------------------------------
// Exceptions of the tape path.

tape_user_abort::tape_user_abort(const char* source_file, std::int32_t line)
    : FNXError("tape_user_abort", 0, 0, source_file, line) {}
end_of_tape_error::end_of_tape_error(const char* source_file, std::int32_t line, bool past_end)
    : FNXError("end_of_tape_error", 0, 0, source_file, line), m_pastEnd(past_end) {}
tape_features_support_error::tape_features_support_error(const char* source_file, std::int32_t line)
    : FNXError("tape_features_support_error", 0, 0, source_file, line) {}
tape_single_blocksize_error::tape_single_blocksize_error(const char* source_file, std::int32_t line)
    : FNXError("tape_single_blocksize_error", 0, 0, source_file, line) {}
no_tape_in_drive_error::no_tape_in_drive_error(const char* source_file, std::int32_t line)
    : FNXError("no_tape_in_drive_error", 0, 0, source_file, line) {}

// ---------------------------------------------------------------------------
// Construction and the working values.

CFnx_Dal_TapeDev::CFnx_Dal_TapeDev(CFnx_Dal_ConfigurationTape& config)
    : m_config(config),
      m_config_ref(config),
      m_opt_retry("Retry"),
      m_opt_cancel("Cancel"),
      m_opt_use("Use. Tape will be erased. All data will be LOST!") {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::CFnx_Dal_TapeDev");
  std::memset(m_buffer, 0, sizeof m_buffer);
  m_vol_status.load(OwnValues().m_volumeInfo);
  m_file_count = m_vol_status.get_file_count();
  std::memcpy(m_file_label.bytes(), "00000000", 8);
}

CFnx_Dal_TapeDev::~CFnx_Dal_TapeDev() = default;

CFnx_Dal_ConfigurationTape* CFnx_Dal_TapeDev::get_config_tape() { return &m_config; }

CFnx_Dal_ConfigValues CFnx_Dal_TapeDev::OwnValues() {
  CFnx_Dal_ConfigValues values;
  m_config.GetValues(values);
  return values;
}

void CFnx_Dal_TapeDev::SetOwnValues(const CFnx_Dal_ConfigValues& values) { m_config.SetValues(values); }

void CFnx_Dal_TapeDev::Push() { m_config_ref.SetValues(OwnValues()); }

void CFnx_Dal_TapeDev::SetOperatorStatus(const std::string& text) {
  CFnx_Dal_OperatorSingelton::Get().setOperatorMsg(TapeOperatorId(OwnValues()), text);
}

void CFnx_Dal_TapeDev::ReadBlockSize() {
  unsigned long long block_size = 0;
  GetBlockSize(block_size);
  m_block_size = block_size;
  RequireUsableBlockSize();
  m_blocks_per_record = static_cast<std::int32_t>(kTapeRecordSize / block_size);
}

void CFnx_Dal_TapeDev::RequireUsableBlockSize() const {
  if (m_block_size == 0) throw tape_single_blocksize_error(kSourceFile, __LINE__);
  // Every block is read into m_buffer and a record has to be a whole number
  // of blocks: any other size would overrun the buffer or split a record.
  if (!tape_block_size_valid(m_block_size)) {
    DAL_THROW("QRSDAL0540E", "CFnx_Dal_TapeDev::GetBlockSize: ", static_cast<unsigned long long>(m_block_size));
  }
}

// ---------------------------------------------------------------------------
// The operator dialogue.

void CFnx_Dal_TapeDev::AskOper(std::string question) {
  CLogMsg log(nullptr, "media-request", 5);
  log << LogSeverity{5} << "Backup request: " << question << flush;
  std::uint32_t answer = 0;
  CFnx_Dal_OperatorSingelton::Get().AskOperator(TapeOperatorId(OwnValues()), question, m_options, answer);
  // An answer beyond INT_MAX is past the end of any list, as is a negative index.
  m_answer = get_option_value(answer > 0x7FFFFFFFu ? -1 : static_cast<int>(answer));
  log << "Operator responce: " << m_answer << flush;
}

std::string CFnx_Dal_TapeDev::get_option_value(int index) const {
  if (index < 0) return std::string();
  for (const std::string& option : m_options) {
    if (index-- == 0) return option;
  }
  return std::string();
}

const std::string& CFnx_Dal_TapeDev::AskRetryCancel(const std::string& question, bool offer_use) {
  m_options.clear();
  m_options.push_back(m_opt_retry);
  m_options.push_back(m_opt_cancel);
  if (offer_use) m_options.push_back(m_opt_use);
  AskOper(question);
  return m_answer;
}

bool CFnx_Dal_TapeDev::aux_Verify_Tape_In_Drive() {
  for (;;) {
    try {
      Verify_Tape_In_Drive();
      return true;
    } catch (const no_tape_in_drive_error&) {
    }
    const CFnx_Dal_ConfigValues values = OwnValues();
    std::string question;
    if (values.m_forceLabel && values.m_backupFlag) {
      question = "Please insert scratch tape into the drive";
    } else {
      const std::string label =
          values.m_volumeInfo.empty() ? values.m_volumeName : tape_volume_info_id(values.m_volumeInfo);
      question = "Please insert tape with label=(" + label + ")";
    }
    const std::string& answer = AskRetryCancel(question, false);
    if (answer == m_opt_cancel) throw tape_user_abort(kSourceFile, __LINE__);
    if (answer != m_opt_retry) return true;  // no further test
  }
}

// ---------------------------------------------------------------------------
// Which tape may be written.

void CFnx_Dal_TapeDev::TapeCheckIsNew() {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::TapeCheckIsNew");
  for (;;) {
    aux_Verify_Tape_In_Drive();
    m_position.set(0, 0);
    std::string unreadable;
    try {
      GotoPosition(m_position);
      ReadBlocks(m_buffer, 1);
    } catch (const end_of_tape_error&) {
      return;  // nothing recorded at block 0: a blank tape
    } catch (const FNXError& error) {
      if (error.Code() == kNoDataDetected) return;
      // Any other failure is no proof of a blank tape: a volume written with
      // another block size than the drive's fails here, and labelling would
      // destroy it. The operator decides, as for data without a label.
      unreadable = error.Text();
    }
    std::string question;
    if (!unreadable.empty()) {
      question = "A new tape expected. Tape in the drive cannot be read at its start: " + unreadable +
                 "\nIt may hold data written with another block size.\nPlease insert a new tape";
    } else if (tape_is_volume_label(m_buffer)) {
      question = "A new tape expected. Tape in the drive has been labeled already,\nlabel: " +
                 DescribeVolumeLabel(m_buffer) + "\nPlease insert a new tape";
    } else {
      // Block 0 reads but holds no volume label: data of some other kind. It
      // is neither taken silently, which could destroy it, nor read again and
      // again: the operator decides with the same three answers.
      question =
          "A new tape expected. Tape in the drive holds data but no volume label.\n"
          "Please insert a new tape";
    }
    const std::string& answer = AskRetryCancel(question, true);
    if (answer == m_opt_use) return;
    if (answer == m_opt_cancel) throw tape_user_abort(kSourceFile, __LINE__);
    // "Retry" or an answer that names no option: read the tape again.
  }
}

bool CFnx_Dal_TapeDev::test_if_label(char* buffer, char*& volume_id) {
  if (m_position.offset_low() == 0) return false;
  CFnx_Dal_Tape_Position before = m_position;
  before.set(m_position.offset_low() - 1, m_position.offset_high());
  GotoPosition(before);
  ReadBlocks(buffer, 1);
  GotoPosition(m_position);
  if (!tape_is_file_label(buffer)) return false;
  volume_id = buffer + kTapeFileLabelVolumeIdOffset;
  return true;
}

bool CFnx_Dal_TapeDev::TapeCheckIsSame(std::string& id_found) {
  char* volume_id = nullptr;
  if (test_if_label(m_buffer, volume_id)) {
    id_found.assign(volume_id, kTapeVolumeIdSize);
  } else {
    CFnx_Dal_Tape_Position start = m_position;
    start.set(0, 0);
    GotoPosition(start);
    ReadBlocks(m_buffer, 1);
    GotoPosition(m_position);
    id_found.assign(m_buffer + kTapeVolumeIdOffset, kTapeVolumeIdSize);
  }
  return std::memcmp(id_found.data(), m_vol_status.bytes(), kTapeVolumeIdSize) == 0;
}

void CFnx_Dal_TapeDev::AskWrongVolume(const std::string& expected, const std::string& id_found) {
  AskRetryCancel("Tape with label=(" + expected + "), expected.\nTape with label=(" + id_found +
                     "), in the drive.\nPlease insert correct tape ",
                 false);
  for (;;) {
    if (m_answer == m_opt_cancel) throw tape_user_abort(kSourceFile, __LINE__);
    if (m_answer != m_opt_retry) return;  // compare the volumes again
    aux_Verify_Tape_In_Drive();
    if (Verify_Tape_Not_WriteProtected()) return;
    AskRetryCancel("Inserted tape is WRITE-PROTECTED\nPlease remove protection", false);
  }
}

void CFnx_Dal_TapeDev::GotoEndOfDataUnixCompatible() {
  std::uint32_t end_block = OwnValues().m_endBlock;
  // Block 0 holds the volume label, so an end block of 0 is one the caller
  // never kept: the volume's own account, the last status position pushed
  // behind each file, stands in for it rather than the label being written over.
  if (end_block == 0) end_block = static_cast<std::uint32_t>(tape_get_number(m_vol_status.offset_low, 10));
  CFnx_Dal_Tape_Position end;
  end.set(end_block, 0);
  GotoPosition(end);
}

// ---------------------------------------------------------------------------
// Labelling a volume and the volume's account.

void CFnx_Dal_TapeDev::create_new_volume_info() {
  m_file_count = 0;
  CFnx_Dal_ConfigValues values = OwnValues();
  m_vol_label.set(values.m_volumeName, values.m_dasName, m_config.GetCurDateFormat(), m_config.GetCurTimeFormat());
  // A volume's id is its name and the second it was labelled in. A run that
  // fills a volume within a second would give the next one the same id, and
  // a restore could not tell the two apart: wait for the next second.
  const std::string previous = values.m_volumeInfo.size() >= kTapeVolumeInfoLabelledSize
                                   ? values.m_volumeInfo.substr(kTapeVolumeIdOffset, kTapeVolumeIdSize)
                                   : std::string();
  while (previous == std::string(reinterpret_cast<const char*>(&m_vol_label.m_vol_id), kTapeVolumeIdSize)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    m_vol_label.set(values.m_volumeName, values.m_dasName, m_config.GetCurDateFormat(), m_config.GetCurTimeFormat());
  }
  m_vol_status = tape_volume_status();
  m_vol_status.set_block_size(m_block_size);
  GetCurrentPosition(m_position);
  m_vol_status.refresh(m_position);
  m_vol_status.set_volume_id(m_vol_label.m_vol_id);
  values.m_volumeInfo = tape_volume_info_from_label(m_vol_label);
  SetOwnValues(values);
}

void CFnx_Dal_TapeDev::WriteTapeLabel() {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::WriteTapeLabel");
  PrepareNewTape();
  create_new_volume_info();
  ReadBlockSize();
  FnxLogLine("Backup: WriteTapeLabel ", std::string(m_vol_label.bytes(), kTapeLabelSize));
  WriteBuf(m_vol_label.bytes(), static_cast<int>(kTapeLabelSize), 1);
  GetCurrentPosition(m_position);
}

void CFnx_Dal_TapeDev::set_config_values() {
  CFnx_Dal_Tape_Position here;
  GetCurrentPosition(here);
  m_vol_status.refresh(here);
  CFnx_Dal_ConfigValues values = OwnValues();
  // Called only where the drive stands at the end of the data: behind a new
  // volume label, behind the end label of a file, or at the end block where
  // a run goes on. The end block follows it there and nowhere else, so the
  // next run, on a new device object, continues behind the last file.
  values.m_endBlock = here.offset_low();
  SetOwnValues(values);
  ShareVolumeStatus();
}

void CFnx_Dal_TapeDev::ShareVolumeStatus() {
  m_vol_status.note_used_blocks();
  tape_blank_pass(m_vol_status.bytes(), sizeof m_vol_status);
  CFnx_Dal_ConfigValues values = OwnValues();
  values.m_volumeInfo = tape_volume_info_refresh(values.m_volumeInfo, m_vol_status);
  SetOwnValues(values);
}

void CFnx_Dal_TapeDev::UpdateConfigValues() {
  set_config_values();
  PushStatusLine();
}

void CFnx_Dal_TapeDev::PushStatusLine() {
  CFnx_Dal_ConfigValues values = OwnValues();
  values.m_statusLine = create_BackupVolumeStatus_string();
  SetOwnValues(values);
  Push();
}

std::string CFnx_Dal_TapeDev::create_BackupVolumeStatus_string() {
  char used[64];
  std::snprintf(used, sizeof used, "%.3lf GB",
                m_vol_status.used_blocks() * static_cast<double>(m_block_size) / 1073741824.0);
  return DescribeVolume(m_vol_status.m_vol_id) + ", used : " + used + ", files: " + std::to_string(m_file_count) + ", last backup: \"" + m_config.GetCurDateFormat() + ", " +
         m_config.GetCurTimeFormat() + "\"";
}

// ---------------------------------------------------------------------------
// The backup run.

void CFnx_Dal_TapeDev::RequireWritableTape() {
  for (;;) {
    aux_Verify_Tape_In_Drive();
    if (Verify_Tape_Not_WriteProtected()) return;
    const std::string& answer = AskRetryCancel(
        "Tape is write protected. Please, remove write protection and press \"Retry\"", false);
    if (answer == m_opt_cancel) throw tape_user_abort(kSourceFile, __LINE__);
    if (answer != m_opt_retry) return;  // go on without a further test
  }
}

void CFnx_Dal_TapeDev::BackupStart() {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::BackupStart");
  CFnx_Dal_ConfigValues values = OwnValues();
  values.m_backupFlag = true;
  SetOwnValues(values);

  aux_Verify_Tape_In_Drive();
  ReadBlockSize();
  TapeDriveFeaturesCheck();

  RequireWritableTape();

  GetCurrentPosition(m_position);
  if (m_position.offset_low() == 0 && m_position.offset_high() == 0) LoadTape();

  if (values.m_forceLabel) {
    WriteTapeLabel();
  } else if (values.m_newVolume1 || values.m_newVolume2) {
    TapeCheckIsNew();
    WriteTapeLabel();
  } else {
    const std::string expected =
        values.m_volumeInfo.empty() ? values.m_volumeName : tape_volume_info_id(values.m_volumeInfo);
    for (;;) {
      // Each check starts from where the tape in the drive stands: after
      // "Retry" it is another tape, and the last one's position may lie
      // beyond its end.
      GetCurrentPosition(m_position);
      std::string id_found;
      if (TapeCheckIsSame(id_found)) {
        GotoEndOfDataUnixCompatible();
        GetCurrentPosition(m_position);
        break;
      }
      AskWrongVolume(expected, id_found);
    }
  }

  set_config_values();
  Push();
  SetOperatorStatus("Backup started: " + create_BackupVolumeStatus_string());
}

void CFnx_Dal_TapeDev::BackupEnd() {
  CFnx_Dal_Trace trace("CFnx_Dal_TapeDev::BackupEnd");
  ReadBlockSize();
  const std::string message = "Backup ended: " + create_BackupVolumeStatus_string();
  FnxLogLine(message);
  SetOperatorStatus(message);

  CFnx_Dal_ConfigValues values = OwnValues();
  values.m_backupFlag = false;
  values.m_newVolume2 = false;
  SetOwnValues(values);
  // The drive may stand anywhere by now: inside the data after a restore, at
  // block 0 after a reload, or on another tape. Its position is no end of
  // the data, so the end block and the volume's account stay as the last
  // label written left them, and the next run goes on behind the last file.
  ShareVolumeStatus();
  PushStatusLine();
}
