// DAFileSystem: the object, reading, size and close, directory creation.
#include "dal_media_filesystem.h"

#include <mutex>
#include <vector>

#include "dal_throw.h"
#include "fnx_log.h"
#include "os_path.h"
#include "os_sync.h"
#include "osl_directory.h"

namespace {
constexpr const char kSourceFile[] = "dal_storage/src/dal_media_filesystem";
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

void AbandonFile(Osl_File& file) noexcept {
  if (!file.is_open()) return;
  try {
    file.remove_all_locks();
  } catch (...) {
  }
  try {
    file.close();
  } catch (...) {
  }
}

void DAFileSystem::AbandonOpen() noexcept { AbandonFile(m_file); }

std::string DAFileSystem::DirectoryOf(const std::string& path) {
  const os_path parsed(path);
  if (parsed.has_unc()) return parsed.unc() + parsed.directory();
  return parsed.drive() + parsed.drive_separator() + parsed.directory();
}

std::string DAFileSystem::LockFilePath(const std::string& root) { return os_path(root, "lockfile"); }
