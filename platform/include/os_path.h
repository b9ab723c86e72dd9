#pragma once
// Paths of this platform: '\' on Win32, '/' on POSIX. No other code spells a
// path separator. On POSIX a path has no drive and no UNC part.
#include <string>

#if defined(_WIN32)
inline constexpr char OS_PATH_SEPARATOR = '\\';
#else
inline constexpr char OS_PATH_SEPARATOR = '/';
#endif

class os_path {
 public:
  explicit os_path(const std::string& path);
  // directory, separator (unless the directory is empty or ends in one), name.
  os_path(const std::string& directory, const std::string& name);
  // As above with the extension behind the name; a "." is put before an
  // extension that lacks one.
  os_path(const std::string& directory, const std::string& name, const std::string& extension);

  operator std::string() const { return m_path; }
  const std::string& str() const { return m_path; }

  // "C:\dir\sub\name.ext" -> drive "C", drive_separator ":", directory
  // "\dir\sub", filename "name.ext". "\\host\share\dir\f" -> unc
  // "\\host\share", directory "\dir". The directory has no trailing
  // separator unless it is the root itself.
  std::string drive() const;
  std::string drive_separator() const;
  bool has_unc() const;
  std::string unc() const;
  std::string directory() const;
  std::string filename() const;

 private:
  // Length of the drive ("C:") or UNC ("\\host\share") prefix; 0 on POSIX.
  std::size_t prefix_length() const;
  std::string m_path;
};
