#pragma once
// The configuration of the media "disk": holds the root and the limit of a
// date directory, and decides where a new document goes. All state that
// outlives a process lies in the directory names and each "dirfile.txt", so
// that processes can share one root under its lockfile.
#include <cstdint>
#include <string>

#include "dal_configuration.h"
#include "os_datetime.h"

class CFnx_Dal_ConfigurationFileSystem : public CFnx_Dal_Configuration {
 public:
  CFnx_Dal_ConfigurationFileSystem();

  CFnx_Dal_Configuration* Clone() const override;
  void SetValues(const CFnx_Dal_ConfigValues& values) override;
  void GetValues(CFnx_Dal_ConfigValues& values) override;
  ~CFnx_Dal_ConfigurationFileSystem() override;
  const std::string& GetName() const override;
  std::int32_t GetMaxPageSize() const override;
  std::string Get_Location() override;

  // The date directory (full path) and file name for a new document; counts
  // the file in the directory's "dirfile.txt". Call under the root lockfile.
  void GetNewLocation(std::string& directory, std::string& name);
  // operation 1 counts a file in (false: the directory is full), 2 counts one
  // out (false: nothing is left, "dirfile.txt" is gone). Call under the root lockfile.
  static bool UpdateDirFile(const std::string& directory, int operation, int limit);
  // True when the name holds a date directory's pattern anywhere.
  static bool IsDateDirectory(const std::string& name);
  // The count that the directory's "dirfile.txt" holds; -1 when it has none.
  static long ReadDirFileCount(const std::string& directory);
  // Writes "dirfile.txt" anew with count. Call under the root lockfile.
  static void WriteDirFileCount(const std::string& directory, long count);
  // Entries of the directory, "." and ".." not counted.
  static int CountEntries(const std::string& directory);
  // A new document's file name: "fnx_das_", the time, "_" and a random number.
  static std::string NewFileName();
  // Today's date directory prefix: "MM_DD_YYYY_".
  static std::string GetDatePrefix();

 private:
  void ScanDirectories();
  void SetDirectoryName();

  std::int32_t m_maxPageSize = 0;
  std::int32_t m_maxFilesPerDir = 0;
  std::string m_location;     // the root, in this platform's separators
  int m_directoryNumber;      // sequence number of the current date directory; -1 unknown
  std::string m_directoryName;  // e.g. 07_15_2021_3, without a path
  os_date m_date;             // the day of the last scan
};
