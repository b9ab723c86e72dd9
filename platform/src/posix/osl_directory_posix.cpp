// POSIX directories and entry status.
#include <cerrno>
#include <memory>

#include "os_file.h"
#include "os_syscalls.h"
#include "os_toolkit_error.h"
#include "osl_directory.h"

Osl_Directory::Osl_Directory(const std::string& path, int /*reserved*/) : m_path(path) {}

std::vector<std::string> Osl_Directory::filenames() const {
  // Closed however the listing ends, also when a name cannot be stored.
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(os_sys.opendir(os_file_path("list directory", m_path)),
                                                      os_sys.closedir);
  if (!directory) throw os_file_error("list directory", m_path, errno);
  std::vector<std::string> names{".", ".."};
  for (;;) {
    errno = 0;  // readdir tells its end from a failure only by errno
    const dirent* entry = os_sys.readdir(directory.get());
    if (!entry) break;
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  if (errno != 0) throw os_file_error("list directory", m_path, errno);
  return names;
}

bool Osl_Directory::exists(const std::string& path) {
  struct stat status{};
  return os_path_usable(path) && os_sys.stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void Osl_Directory::create(const std::string& path) {
  if (os_sys.mkdir(os_file_path("create directory", path), 0777) != 0) throw os_file_error("create directory", path, errno);
}

void Osl_Directory::remove(const std::string& path) {
  if (os_sys.rmdir(os_file_path("remove directory", path)) != 0) throw os_file_error("remove directory", path, errno);
}

bool Osl_File_System::exists(const std::string& path) {
  struct stat status{};
  return os_path_usable(path) && os_sys.lstat(path.c_str(), &status) == 0;
}

void Osl_File_System::remove(const std::string& path) {
  if (os_sys.unlink(os_file_path("remove", path)) != 0) throw os_file_error("remove", path, errno);
}

void Osl_File_System::replace(const std::string& from, const std::string& to) {
  if (os_sys.rename(os_file_path("rename", from), os_file_path("rename", to)) != 0) throw os_file_error("rename", from, errno);
}

Osl_IO_Status::Osl_IO_Status(const std::string& path) {
  struct stat status{};
  if (os_sys.stat(path.c_str(), &status) != 0) throw os_io_error("status", path, errno);
  unsigned type = 0;
  if (S_ISDIR(status.st_mode)) type = TYPE_DIRECTORY;
  else if (S_ISREG(status.st_mode)) type = TYPE_REGULAR;
  m_mode = type | (static_cast<unsigned>(status.st_mode) & 0777u);
}
