// Win32 directories and entry status.
#include <memory>

#include "osl_directory.h"
#include "os_path.h"
#include "win32_error.h"

namespace {

struct FindCloser {
  void operator()(HANDLE search) const { os_sys.FindClose(search); }
};

}  // namespace

Osl_Directory::Osl_Directory(const std::string& path, int /*reserved*/) : m_path(path) {}

std::vector<std::string> Osl_Directory::filenames() const {
  std::vector<std::string> names{".", ".."};
  WIN32_FIND_DATAA entry{};
  const HANDLE search = os_sys.FindFirstFileA(os_path(os_file_path("list directory", m_path), "*").str().c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    const DWORD error = ::GetLastError();
    // The root of a drive lists no "." and "..": an empty one has no entry at all.
    if (error == ERROR_FILE_NOT_FOUND && exists(m_path)) return names;
    throw os_file_error("list directory", m_path, error);
  }
  // Closed however the listing ends, also when a name cannot be stored.
  const std::unique_ptr<void, FindCloser> closer(search);
  DWORD error = ERROR_SUCCESS;
  do {
    const std::string name = entry.cFileName;
    if (name != "." && name != "..") names.push_back(name);
    if (!os_sys.FindNextFileA(search, &entry)) error = ::GetLastError();
  } while (error == ERROR_SUCCESS);
  if (error != ERROR_NO_MORE_FILES) throw os_file_error("list directory", m_path, error);
  return names;
}

bool Osl_Directory::exists(const std::string& path) {
  if (!os_path_usable(path)) return false;
  const DWORD attributes = os_sys.GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void Osl_Directory::create(const std::string& path) {
  if (!os_sys.CreateDirectoryA(os_file_path("create directory", path), nullptr)) throw os_file_error("create directory", path, ::GetLastError());
}

void Osl_Directory::remove(const std::string& path) {
  if (!os_sys.RemoveDirectoryA(os_file_path("remove directory", path))) throw os_file_error("remove directory", path, ::GetLastError());
}

bool Osl_File_System::exists(const std::string& path) {
  return os_path_usable(path) && os_sys.GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void Osl_File_System::remove(const std::string& path) {
  if (!os_sys.DeleteFileA(os_file_path("remove", path))) throw os_file_error("remove", path, ::GetLastError());
}

void Osl_File_System::replace(const std::string& from, const std::string& to) {
  if (!os_sys.MoveFileExA(os_file_path("rename", from), os_file_path("rename", to),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    throw os_file_error("rename", from, ::GetLastError());
}

// The mode bits as the C runtime's stat gives them on Windows: read for all,
// write unless read-only, execute for directories.
Osl_IO_Status::Osl_IO_Status(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!os_sys.GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data)) {
    throw os_io_error("status", path, ::GetLastError());
  }
  const bool directory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  unsigned mode = directory ? TYPE_DIRECTORY | 0555u : TYPE_REGULAR | 0444u;
  if (!(data.dwFileAttributes & FILE_ATTRIBUTE_READONLY)) mode |= 0222u;
  m_mode = mode;
}
