// The disk configuration's values and names. Allocation of date directories
// and the "dirfile.txt" count live in dal_configuration_filesystem_dirfile.cpp.
#include "dal_configuration_filesystem.h"

#include "os_regexp.h"
#include "os_text.h"
#include "osl_directory.h"

namespace {
constexpr const char kDatePattern[] = "[0-9][0-9]_[0-9][0-9]_[0-9][0-9][0-9][0-9]_+[0-9]";
constexpr const char kDirectoryDateFormat[] = "%m_%d_%Y";
constexpr const char kDirectorySeparator[] = "_";
}  // namespace

CFnx_Dal_ConfigurationFileSystem::CFnx_Dal_ConfigurationFileSystem()
    : m_directoryNumber(-1), m_date(os_date::today()) {}

CFnx_Dal_ConfigurationFileSystem::~CFnx_Dal_ConfigurationFileSystem() = default;

CFnx_Dal_Configuration* CFnx_Dal_ConfigurationFileSystem::Clone() const {
  return new CFnx_Dal_ConfigurationFileSystem();
}

void CFnx_Dal_ConfigurationFileSystem::SetValues(const CFnx_Dal_ConfigValues& values) {
  m_maxPageSize = values.m_maxPageSize;
  m_maxFilesPerDir = values.m_maxFilesPerDir;
  m_location = values.m_location;
  DalParsePathSeparators(m_location);
}

void CFnx_Dal_ConfigurationFileSystem::GetValues(CFnx_Dal_ConfigValues& values) {
  values.m_maxPageSize = m_maxPageSize;
  values.m_maxFilesPerDir = m_maxFilesPerDir;
  values.m_location = m_location;
}

const std::string& CFnx_Dal_ConfigurationFileSystem::GetName() const {
  static const std::string name = "disk";
  return name;
}

std::int32_t CFnx_Dal_ConfigurationFileSystem::GetMaxPageSize() const { return m_maxPageSize; }

std::string CFnx_Dal_ConfigurationFileSystem::Get_Location() { return m_location; }

std::string CFnx_Dal_ConfigurationFileSystem::GetDatePrefix() {
  return os_date::today().to_string(kDirectoryDateFormat) + kDirectorySeparator;
}

void CFnx_Dal_ConfigurationFileSystem::SetDirectoryName() {
  m_directoryName = GetDatePrefix() + std::to_string(m_directoryNumber);
}

bool CFnx_Dal_ConfigurationFileSystem::IsDateDirectory(const std::string& name) {
  static const os_regexp pattern(kDatePattern, false, false);
  return !pattern.search(name, 0, -1).empty();
}

int CFnx_Dal_ConfigurationFileSystem::CountEntries(const std::string& directory) {
  return static_cast<int>(Osl_Directory(directory, 0).filenames().size()) - 2;
}
