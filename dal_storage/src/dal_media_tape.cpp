#include "dal_media_tape.h"

#include <memory>

#include "dal_configuration_tape.h"
#include "dal_tape_dev_win32.h"
#include "dal_throw.h"
#include "fnx_log.h"

namespace {

constexpr const char kSourceFile[] = "dal_storage/src/dal_media_tape";

// The caller hands a tape configuration through the media interface.
CFnx_Dal_ConfigurationTape& TapeConfig(CFnx_Dal_Configuration* config) {
  return *static_cast<CFnx_Dal_ConfigurationTape*>(config);
}

}  // namespace

DATape::DATape() : m_ptape(nullptr) { CFnx_Dal_Trace trace("DATape::DATape"); }

DATape::~DATape() {
  CFnx_Dal_Trace trace("DATape::~DATape");
  // No end call here: a file not closed is not finished on tape.
  delete m_ptape;
}

void DATape::Refuse(const char* what, std::int32_t line) {
  // One prefix for every operation, so that callers match the text as one.
  throw DalError(kSourceFile, line, DalCode{1281}, "QRSDAL0512E", "DATape:OpenForReading: ", what);
}

DAMedia* DATape::Clone() { return new DATape(); }

const std::string& DATape::GetMediaName() {
  static const std::string name = "tape";
  return name;
}

void DATape::OpenForReading(const std::string& location, CFnx_Dal_Configuration* config) {
  CFnx_Dal_Trace trace("DATape::OpenForReading()");
  delete m_ptape;  // a second open replaces the first: one file per open
  m_ptape = nullptr;
  m_emptyFile = false;
  CFnx_Dal_Tape_Location tapeLocation;
  tapeLocation.get_from_string(location);
  // A file of no bytes has no end label, so its location names no place on
  // tape: there is nothing to find, and the read gives no bytes.
  if (location.size() == kTapeLocationHeadSize) {
    m_emptyFile = true;
    m_fileSize = 0;
    return;
  }
  m_ptape = new CFnx_Dal_TapeDevWin32(TapeConfig(config));
  m_ptape->ReadStart(tapeLocation);
}

void DATape::OpenForReading(const std::string&) { Refuse("OpenForReading(location)", __LINE__); }

void DATape::OpenForWriting(CFnx_Dal_Configuration* config, const std::string&) {
  CFnx_Dal_Trace trace("DATape::OpenForWriting()");
  delete m_ptape;
  m_ptape = nullptr;
  m_emptyFile = false;
  m_ptape = new CFnx_Dal_TapeDevWin32(TapeConfig(config));
  m_ptape->FileWriteStart();
}

void DATape::OpenForWriting(const std::string&, bool) { Refuse("OpenForWriting(location)", __LINE__); }

void DATape::OpenForUpdate(const std::string&) { Refuse("OpenForUpdate(location)", __LINE__); }

void DATape::Close() {
  if (m_emptyFile) {
    m_emptyFile = false;
    return;
  }
  if (!m_ptape) Refuse("Close:m_ptape==0", __LINE__);
  // The device holds the run's flag while a backup is open; a restore clears
  // its own copy at ReadStart.
  CFnx_Dal_ConfigValues values;
  m_ptape->get_config_tape()->GetValues(values);
  if (values.m_backupFlag) {
    m_ptape->FileWriteEnd(m_location);
  } else {
    m_ptape->ReadEnd();
  }
  m_fileSize = m_ptape->GetFileSize();
  delete m_ptape;
  m_ptape = nullptr;
}

void DATape::SetLocation(const std::string&) { Refuse("SetLocation", __LINE__); }

std::int32_t DATape::Delete() { Refuse("Delete", __LINE__); }

bool DATape::Write(const char* data, std::uint32_t length, std::uint32_t& written, std::uint32_t& counted,
                   std::int64_t) {
  CFnx_Dal_Trace trace("DATape::Write");
  if (!m_ptape) Refuse("Write:m_ptape==0", __LINE__);
  // The device frames the bytes into its own buffer and never writes to data.
  const bool done = m_ptape->FileWrite(const_cast<char*>(data), length, written);
  counted = written;
  return done;
}

bool DATape::Read(char* buffer, std::uint32_t length, std::uint32_t& read, std::int64_t) {
  CFnx_Dal_Trace trace("DATape::Read");
  if (m_emptyFile) {
    read = 0;
    return true;
  }
  if (!m_ptape) Refuse("Read:m_ptape==0", __LINE__);
  // A read that reaches the end of the file delivers what was there: the end
  // is no failed transfer, and the handle reports it as a short count or 0.
  // The device raises every failure of the drive.
  m_ptape->ReadRead(buffer, length, read);
  return true;
}

void DATape::GetLocation(std::string& location) { m_location.put_to_string(location); }

std::int64_t DATape::GetFileSize() {
  if (m_ptape) m_fileSize = m_ptape->GetFileSize();
  return m_fileSize;
}

bool DATape::Resize(std::int64_t) { Refuse("Resize", __LINE__); }

void DATape::BackupStart(CFnx_Dal_Configuration* config) {
  std::make_unique<CFnx_Dal_TapeDevWin32>(TapeConfig(config))->BackupStart();
}

void DATape::BackupEnd(CFnx_Dal_Configuration* config) {
  std::make_unique<CFnx_Dal_TapeDevWin32>(TapeConfig(config))->BackupEnd();
}
