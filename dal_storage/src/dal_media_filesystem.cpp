// DAFileSystem: the media "disk": the object and its names, directories,
// reading, the writing opens and their locks, writing, delete and resize.
#include "dal_media_filesystem.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <vector>

#include "dal_configuration_filesystem.h"
#include "dal_throw.h"
#include "fnx_log.h"
#include "os_path.h"
#include "os_sync.h"
#include "os_text.h"
#include "osl_directory.h"

namespace {

constexpr const char kSourceFile[] = "dal_storage/src/dal_media_filesystem";
constexpr int kNewFileFlags = OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE;
constexpr const char kLocationSeparators[] = "@#,";  // nothing in a location escapes them
constexpr std::int32_t kFileMissing = 7;  // Delete's answer for a file that is not there

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

// Runs a transfer of length bytes as calls of at most 1 GiB, since the file
// calls take an int. Returns the bytes moved, or -1 when the first call
// failed; a later failure ends the transfer short.
template <typename Transfer>
std::int64_t TransferInChunks(std::uint32_t length, Transfer transfer) {
  constexpr std::uint32_t kChunk = 1u << 30;
  std::uint32_t done = 0;
  while (done < length) {
    const int chunk = static_cast<int>(length - done < kChunk ? length - done : kChunk);
    const int n = transfer(done, chunk);
    // Both arms signed: an unsigned arm would turn the -1 into 4 GiB moved.
    if (n < 0) return done == 0 ? std::int64_t{-1} : std::int64_t{done};
    done += static_cast<std::uint32_t>(n);
    if (n < chunk) break;
  }
  return done;
}

// Raises QRSDAL0514E for a lock that was refused, with the platform's error
// number read first when the text carries it.
[[noreturn]] void ThrowLockRefused(const char* context, const std::string& path, bool withErrorCode, int line) {
  const auto error = os_last_error();  // before the message's allocations can change it
  if (!withErrorCode) throw DalError(kSourceFile, line, "QRSDAL0514E", context, path);
  throw DalError(kSourceFile, line, "QRSDAL0514E", context, path, "Error code: " + std::to_string(error));
}

}  // namespace

DAFileSystem::DAFileSystem() : m_lock(1, 0, 0, 0) {
  CFnx_Dal_Trace trace("DAFileSystem::DAFileSystem");
  Init();
}

DAFileSystem::~DAFileSystem() {
  CFnx_Dal_Trace trace("DAFileSystem::~DAFileSystem");
  try {
    Close();
  } catch (...) {
    // The descriptor is gone either way; a destructor reports nothing.
  }
}

void DAFileSystem::Init() {
  CFnx_Dal_Trace trace("DAFileSystem::Init");
  m_openFlags = OSL_FILE_CREATE;
  m_accessMode = OSL_ACCESS_READ;
  m_size = 0;
  m_position = 0;
}

DAMedia* DAFileSystem::Clone() { return new DAFileSystem(); }

const std::string& DAFileSystem::GetMediaName() {
  static const std::string name = "disk";
  return name;
}

void DAFileSystem::SetLocation(const std::string& location) { m_location = location; }

void DAFileSystem::GetLocation(std::string& location) { location = m_location; }

void DAFileSystem::SetPosition(std::int64_t offset, short origin) {
  os_set_file_pointer(m_file.descriptor(), offset, origin, nullptr);
}

std::int64_t DAFileSystem::GetPosition() {
  std::int64_t position = 0;
  return os_set_file_pointer(m_file.descriptor(), 0, 1, &position) ? position : -1;
}

void DAFileSystem::Open() { m_file.open(m_location, m_openFlags, m_accessMode, 0); }

void DAFileSystem::MakeDirectories(const std::string& directory) {
  // A loop over the lengths of the missing levels, not a call and a copy of
  // the path per level: a path of thousands of levels must reach the system's
  // refusal without exhausting the stack or the heap first.
  std::vector<std::size_t> missing;  // deepest first
  std::string level = directory;
  while (!level.empty() && !Osl_Directory::exists(level)) {
    missing.push_back(level.size());
    const std::size_t last = level.rfind(OS_PATH_SEPARATOR);
    level.resize(last == std::string::npos ? 0 : last);
  }
  static os_critical_section section(false);
  for (auto length = missing.rbegin(); length != missing.rend(); ++length) {
    level.assign(directory, 0, *length);
    const std::size_t last = level.rfind(OS_PATH_SEPARATOR);
    // A trailing separator is served by the level above; a name with no
    // separator is made unless it is only a drive ("C:").
    const bool creatable = last == std::string::npos ? !os_path(level).filename().empty() : last + 1 < level.size();
    if (!creatable) continue;
    std::lock_guard<os_critical_section> guard(section);
    try {
      Osl_Directory::create(level);
    } catch (const os_file_toolkit_error&) {
      if (!Osl_Directory::exists(level)) throw;  // else another process was faster
    }
  }
}

void DAFileSystem::OpenForReading(const std::string&, CFnx_Dal_Configuration*) {
  CFnx_Dal_Trace trace("DAFileSystem::OpenForReading()");
  DAL_THROW("QRSDAL0512E", "DAFileSystem:OpenForReading: ", "disk");
}

void DAFileSystem::OpenForReading(const std::string& location) {
  CFnx_Dal_Trace trace("DAFileSystem::OpenForReading()");
  m_location = location;
  OpenExisting("DAFileSystem:OpenForReading: ", OSL_ACCESS_READ, "QRSDAL0504E");
  GetFileSize();
  m_position = 0;
}

void DAFileSystem::OpenExisting(const char* context, int access, DalMessageId missingId) {
  if (!Osl_File_System::exists(m_location)) DAL_THROW(missingId, context, m_location);
  m_openFlags = 0;
  m_accessMode = access;
  try {
    Open();
  } catch (const os_file_toolkit_error& error) {
    DAL_THROW("QRSDAL0200E", context, "", error.native());
  }
}

bool DAFileSystem::Read(char* buffer, std::uint32_t length, std::uint32_t& read, std::int64_t offset) {
  CFnx_Dal_Trace trace("DAFileSystem::Read");
  if (offset == -1) {
    SetPosition(0, 0);
    m_position = 0;
  } else if (offset != 0 && offset != m_position) {
    SetPosition(offset, 0);  // absolute: the cached position may be stale
  }
  const std::int64_t count = TransferInChunks(length, [&](std::uint32_t done, int chunk) {
    return m_file.read(buffer + done, chunk);
  });
  m_position = GetPosition();
  if (count < 0) return false;
  read = static_cast<std::uint32_t>(count);
  return true;
}

std::int64_t DAFileSystem::GetFileSize() {
  if (m_size != 0) return m_size;
  if (m_file.descriptor() == os_invalid_handle) return 0;
  SetPosition(0, 2);
  m_size = GetPosition();
  SetPosition(m_position, 0);
  return m_size;
}

void DAFileSystem::Close() {
  CFnx_Dal_Trace trace("DAFileSystem::Close");
  if (!m_file.is_open()) return;
  try {
    m_file.close();
    if (m_file.is_open()) m_file.remove_all_locks();
  } catch (...) {
    // A second close below reports what is still wrong.
  }
  if (m_file.is_open()) m_file.close();
}

void DAFileSystem::AbandonOpen() noexcept {
  try {
    m_file.close();  // which releases the file's locks as well
  } catch (...) {
  }
}

void DAFileSystem::GiveBackCount(const std::string& directory) noexcept {
  try {
    if (!CFnx_Dal_ConfigurationFileSystem::UpdateDirFile(directory, 2, 0)) Osl_Directory::remove(directory);
  } catch (...) {
    // The count stays one high, which the disk check reports; the failure
    // the caller must see is the open's.
  }
}

std::string DAFileSystem::DirectoryOf(const std::string& path) {
  const os_path parsed(path);
  if (parsed.has_unc()) return parsed.unc() + parsed.directory();
  return parsed.drive() + parsed.drive_separator() + parsed.directory();
}

std::string DAFileSystem::LockFilePath(const std::string& root) { return os_path(root, "lockfile"); }

DAFileSystem::RootLock::RootLock(const std::string& root, const char* context) : m_path(LockFilePath(root)) {
  m_file.open(m_path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  try {
    if (!m_file.add_lock(os_file_lock(1, 0, 0, 0), /*wait=*/true)) {
      ThrowLockRefused(context, m_path, /*withErrorCode=*/true, __LINE__);
    }
  } catch (const os_file_toolkit_error&) {
    // A file system without locks: go on unlocked, as a single writer would.
  }
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
        // The count taken for this name goes back: the file is none, or
        // another writer's, counted by that writer. Then name anew.
        GiveBackCount(directory);
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

bool DAFileSystem::DateDirectoryRoot(const std::string& directory, std::string& root) {
  std::string trimmed = directory;
  if (trimmed.size() > 1 && trimmed.back() == OS_PATH_SEPARATOR) trimmed.pop_back();
  const std::size_t last = trimmed.rfind(OS_PATH_SEPARATOR);
  if (last == std::string::npos) return false;
  if (!CFnx_Dal_ConfigurationFileSystem::IsDateDirectory(trimmed.substr(last + 1))) return false;
  // Not merely the text before the separator: for a date directory at the top
  // of the file system that is empty, and the lockfile would be looked for in
  // the working directory instead of where the writers took it.
  root = DirectoryOf(trimmed);
  return true;
}

std::int32_t DAFileSystem::Delete() {
  CFnx_Dal_Trace trace("DAFileSystem::Delete");
  FnxLogLine("DAFileSystem::Delete started, location : ", m_location);
  if (!Osl_File_System::exists(m_location)) return kFileMissing;
  Close();

  // Windows takes both separators in a location; the date directory, its
  // root and its count are found in the one form that the writers used.
  std::string native = m_location;
  DalParsePathSeparators(native);
  const std::string directory = DirectoryOf(native);
  FnxLogLine("DAFileSystem::Delete dir : ", directory);
  std::string root;
  const bool inDateDirectory = DateDirectoryRoot(directory, root);
  if (!inDateDirectory) {
    FnxLogLine("DAFileSystem::Delete remove file no lock: ", m_location);
    try {
      Osl_File_System::remove(m_location);
    } catch (const os_file_toolkit_error& error) {
      DAL_THROW("QRSDAL0D08E", "DAFileSystem::Delete remove:", m_location, error.native());
    }
    return 0;
  }

  // Under the root's lockfile: no new document of this root is named while
  // the file, its count and perhaps its directory go.
  std::string inWork;
  try {
    RootLock rootLock(root, "DAFileSystem::Delete lock: ");
    inWork = m_location;
    FnxLogLine("DAFileSystem::Delete remove file with lock: ", m_location);
    Osl_File_System::remove(m_location);
    if (!CFnx_Dal_ConfigurationFileSystem::UpdateDirFile(directory, 2, 0)) {
      inWork = directory;
      FnxLogLine("DAFileSystem::Delete remove dir: ", directory);
      Osl_Directory::remove(directory);
    }
  } catch (const os_file_toolkit_error& error) {
    DAL_THROW("QRSDAL0D08E", "DAFileSystem::Delete:", inWork, error.native());
  }
  return 0;
}

bool DAFileSystem::Resize(std::int64_t size) {
  try {
    const os_native_handle handle = m_file.descriptor();
    SetPosition(size, 0);
    if (!os_set_end_of_file(handle)) {
      SetPosition(m_position, 0);  // a read or write that goes on finds the file pointer where it was
      return false;
    }
    m_size = size;
    m_position = size;
    SetPosition(m_position, 0);
    return true;
  } catch (...) {
    return false;
  }
}
