#pragma once
// The configuration of the media "centera": the disk configuration's values
// for a content-addressed store that lies outside this library. It allocates
// no date directory and counts nothing; a new document is named in the root.
// Not registered with the configuration factory: only Clone makes one.
#include <cstdint>
#include <string>

#include "dal_configuration.h"
#include "os_datetime.h"

class CFnx_Dal_ConfigurationCentera : public CFnx_Dal_Configuration {
 public:
  CFnx_Dal_ConfigurationCentera();

  CFnx_Dal_Configuration* Clone() const override;
  void SetValues(const CFnx_Dal_ConfigValues& values) override;
  void GetValues(CFnx_Dal_ConfigValues& values) override;
  ~CFnx_Dal_ConfigurationCentera() override;
  const std::string& GetName() const override;
  std::int32_t GetMaxPageSize() const override;
  std::string Get_Location() override;

  // The root itself as the directory, and a new file name in it.
  void GetNewLocation(std::string& directory, std::string& name);
  // The current directory name: today's prefix and the directory number.
  void SetDirectoryName();
  const std::string& GetDirectoryName() const { return m_directoryName; }
  static std::string GetDatePrefix();
  static bool IsDateDirectory(const std::string& name);
  // The store keeps no count on disk: count is left as it is.
  static void CountEntries(const std::string& directory, int& count);

 private:
  std::int32_t m_maxPageSize = 0;
  std::int32_t m_maxFilesPerDir = 0;
  std::string m_location;         // the root, in this platform's separators
  int m_directoryNumber;          // -1: unknown
  std::string m_directoryName;    // without a path
  os_date m_date;                 // the day the object was made
};
