#pragma once
// Directories and file-system entries of the toolkit.
#include <string>
#include <vector>

class Osl_Directory {
 public:
  // Names the directory; nothing is read until filenames().
  Osl_Directory(const std::string& path, int reserved);

  // Every entry name, "." and ".." included (each exactly once), in no fixed
  // order. Throws os_file_toolkit_error when the directory cannot be read.
  std::vector<std::string> filenames() const;

  // True when path names a directory.
  static bool exists(const std::string& path);
  // Create one directory (not its parents) / remove an empty one.
  // Both throw os_file_toolkit_error.
  static void create(const std::string& path);
  static void remove(const std::string& path);

 private:
  std::string m_path;
};

class Osl_File_System {
 public:
  // True when path names an entry of any kind.
  static bool exists(const std::string& path);
  // Removes a file. Throws os_file_toolkit_error.
  static void remove(const std::string& path);
  // Renames the file from to the name to, replacing a file of that name in
  // one step: a reader sees the old file or the new one, never a mix.
  // Throws os_file_toolkit_error.
  static void replace(const std::string& from, const std::string& to);
};

// The status of an entry, read at construction.
class Osl_IO_Status {
 public:
  static constexpr unsigned TYPE_MASK = 0xF000;
  static constexpr unsigned TYPE_DIRECTORY = 0x4000;
  static constexpr unsigned TYPE_REGULAR = 0x8000;

  // Throws os_io_toolkit_error when the entry cannot be read.
  explicit Osl_IO_Status(const std::string& path);
  // Type bits as above, in TYPE_MASK; permission bits below.
  unsigned mode() const { return m_mode; }

 private:
  unsigned m_mode;
};
