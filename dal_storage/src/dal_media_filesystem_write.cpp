// DAFileSystem: the writing opens, the document lock and Write.
#include <algorithm>
#include <cstdint>

#include "dal_configuration_filesystem.h"
#include "dal_media_filesystem.h"
#include "dal_throw.h"
#include "fnx_log.h"
#include "os_path.h"
#include "osl_directory.h"

namespace {

constexpr const char kSourceFile[] = "dal_storage/src/dal_media_filesystem";
constexpr int kNewFileFlags = OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE;
constexpr const char kLocationSeparators[] = "@#,";  // nothing in a location escapes them

// A new document's location must read back: a root or an extension holding a
// separator of the location grammar is refused, and so is an empty root,
// which would put the lockfile in the working directory.
void RequirePlaceable(const std::string& root, const std::string& extension) {
  const char* bad = root.empty() || root.find_first_of(kLocationSeparators) != std::string::npos ? "root"
                    : extension.find_first_of(kLocationSeparators) != std::string::npos      ? "extension"
                                                                                              : nullptr;
  if (!bad) return;
  const std::string& value = bad[0] == 'r' ? root : extension;
  DAL_THROW("QRSDAL0502E", "DAFileSystem:OpenForWriting: ", std::string(bad) + " '" + value + "'");
}

}  // namespace

RootLock::RootLock(const std::string& root, const char* context) : m_path(DAFileSystem::LockFilePath(root)) {
  m_file.open(m_path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  try {
    if (!m_file.add_lock(os_file_lock(1, 0, 0, 0), /*wait=*/true)) {
      ThrowLockRefused(context, m_path, /*withErrorCode=*/true, __LINE__);
    }
  } catch (const os_file_toolkit_error&) {
    // A file system without locks: go on unlocked, as a single writer would.
  }
}

RootLock::~RootLock() { AbandonFile(m_file); }

void ThrowLockRefused(const char* context, const std::string& path, bool withErrorCode, int line) {
  const auto error = os_last_error();  // before the message's allocations can change it
  if (!withErrorCode) throw DalError(kSourceFile, line, "QRSDAL0514E", context, path);
  throw DalError(kSourceFile, line, "QRSDAL0514E", context, path, "Error code: " + std::to_string(error));
}

void DAFileSystem::LockDocument(const char* context, bool withErrorCode) {
  m_lock.set_lock(1, 0, 0, 0);
  bool granted = true;
  try {
    granted = m_file.add_lock(m_lock, /*wait=*/false);
  } catch (const os_file_toolkit_error&) {
    // No locks on this file system: the document is written unlocked.
  }
  if (granted) return;
  try {
    ThrowLockRefused(context, m_location, withErrorCode, __LINE__);  // reads the error number first
  } catch (...) {
    AbandonOpen();
    throw;
  }
}

void DAFileSystem::OpenForWriting(CFnx_Dal_Configuration* config, const std::string& extension) {
  CFnx_Dal_Trace trace("DAFileSystem::OpenForWriting()");
  auto* diskConfig = static_cast<CFnx_Dal_ConfigurationFileSystem*>(config);
  const std::string root = diskConfig->Get_Location();
  RequirePlaceable(root, extension);
  MakeDirectories(root);
  RootLock rootLock(root, "DAFileSystem:OpenForWriting: ");
  try {
    for (;;) {
      std::string directory;
      std::string name;
      diskConfig->GetNewLocation(directory, name);
      MakeDirectories(directory);
      m_location = os_path(directory, name, extension);
      m_openFlags = kNewFileFlags;
      m_accessMode = OSL_ACCESS_READ_WRITE;
      try {
        Open();
        break;
      } catch (const os_file_toolkit_error& error) {
        // Another writer made the same name just now: count and name anew.
        if (Osl_File_System::exists(m_location)) continue;
        DAL_THROW("QRSDAL0200E", "DAFileSystem:OpenForWriting: ", "", error.native());
      }
    }
    LockDocument("DAFileSystem:OpenForWriting: ", /*withErrorCode=*/true);
    m_size = 0;
    m_position = 0;
  } catch (...) {
    AbandonOpen();
    throw;
  }
}

void DAFileSystem::OpenForWriting(const std::string& location, bool create) {
  CFnx_Dal_Trace trace("DAFileSystem::OpenForWriting()");
  m_location = location;
  if (create) {
    if (Osl_File_System::exists(m_location)) {
      DAL_THROW("QRSDAL0505E", "DAFileSystem:OpenForWriting: ", m_location);
    }
    MakeDirectories(LocationDirectory());
    m_openFlags = kNewFileFlags;
    m_accessMode = OSL_ACCESS_READ_WRITE;
    try {
      Open();
    } catch (const os_file_toolkit_error& error) {
      if (Osl_File_System::exists(m_location)) {
        DAL_THROW("QRSDAL0505E", "DAFileSystem:OpenForWriting: ", m_location);
      }
      DAL_THROW("QRSDAL0200E", "DAFileSystem:OpenForWriting: ", m_location, error.native());
    }
  } else {
    OpenExisting("DAFileSystem:OpenForWriting: ", OSL_ACCESS_READ_WRITE, "QRSDAL0506E");
  }
  LockDocument("DAFileSystem:OpenForWriting: ", /*withErrorCode=*/false);
  m_size = 0;
  m_position = 0;
  if (!create) GetFileSize();  // written from its start
}

void DAFileSystem::OpenForUpdate(const std::string& location) {
  CFnx_Dal_Trace trace("DAFileSystem::OpenForUpdate()");
  m_location = location;
  OpenExisting("DAFileSystem:OpenForUpdate: ", OSL_ACCESS_READ_WRITE, "QRSDAL0506E");
  LockDocument("DAFileSystem:OpenForUpdate: ", /*withErrorCode=*/false);
  m_size = 0;
  m_position = 0;
  m_position = GetFileSize();
  SetPosition(m_position, 0);
}

bool DAFileSystem::Write(const char* data, std::uint32_t length, std::uint32_t& written, std::uint32_t& counted,
                         std::int64_t offset) {
  CFnx_Dal_Trace trace("DAFileSystem::Write");
  if (offset != -1 && offset != m_position) {
    SetPosition(offset, 0);
    m_position = offset;
  }
  const std::int64_t untilEnd = m_size - m_position;
  const std::int64_t count = TransferInChunks(length, [&](std::uint32_t done, int chunk) {
    return m_file.write(data + done, chunk);
  });
  m_position = GetPosition();
  if (count < 0) {
    written = 0;
    counted = 0;
    return false;
  }
  written = static_cast<std::uint32_t>(count);
  counted = 0;
  if (count > untilEnd) {
    const std::int64_t growth = count - untilEnd;
    m_size += growth;
    counted = static_cast<std::uint32_t>(std::min<std::int64_t>(growth, UINT32_MAX));
  }
  return true;
}
