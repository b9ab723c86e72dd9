// DAFileSystem: delete with the book-keeping of its date directory, and resize.
#include "dal_configuration_filesystem.h"
#include "dal_media_filesystem.h"
#include "dal_throw.h"
#include "fnx_log.h"
#include "os_path.h"
#include "os_text.h"
#include "osl_directory.h"

namespace {

constexpr const char kSourceFile[] = "dal_storage/src/dal_media_filesystem";
constexpr std::int32_t kFileMissing = 7;

}  // namespace

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
