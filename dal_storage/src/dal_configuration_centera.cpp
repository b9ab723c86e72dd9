// The "centera" configuration: values, names, and the naming of new files.
#include "dal_configuration_centera.h"

#include "os_regexp.h"
#include "os_text.h"

namespace {
constexpr const char kFilePrefix[] = "fnx_das_";
constexpr const char kDirectoryDateFormat[] = "%m_%d_%Y";
constexpr const char kFileTimeFormat[] = "%H%M%S";
constexpr const char kDirectorySeparator[] = "_";
constexpr const char kDatePattern[] = "[0-9][0-9]_[0-9][0-9]_[0-9][0-9][0-9][0-9]_+[0-9]";
}  // namespace

CFnx_Dal_ConfigurationCentera::CFnx_Dal_ConfigurationCentera()
    : m_directoryNumber(-1), m_date(os_date::today()) {}

CFnx_Dal_ConfigurationCentera::~CFnx_Dal_ConfigurationCentera() = default;

CFnx_Dal_Configuration* CFnx_Dal_ConfigurationCentera::Clone() const { return new CFnx_Dal_ConfigurationCentera(); }

void CFnx_Dal_ConfigurationCentera::SetValues(const CFnx_Dal_ConfigValues& values) {
  m_maxPageSize = values.m_maxPageSize;
  m_maxFilesPerDir = values.m_maxFilesPerDir;
  m_location = values.m_location;
  DalParsePathSeparators(m_location);
}

void CFnx_Dal_ConfigurationCentera::GetValues(CFnx_Dal_ConfigValues& values) {
  values.m_maxPageSize = m_maxPageSize;
  values.m_maxFilesPerDir = m_maxFilesPerDir;
  values.m_location = m_location;
}

const std::string& CFnx_Dal_ConfigurationCentera::GetName() const {
  static const std::string name = "centera";
  return name;
}

std::int32_t CFnx_Dal_ConfigurationCentera::GetMaxPageSize() const { return m_maxPageSize; }

std::string CFnx_Dal_ConfigurationCentera::Get_Location() { return m_location; }

void CFnx_Dal_ConfigurationCentera::GetNewLocation(std::string& directory, std::string& name) {
  directory = m_location;
  name = std::string(kFilePrefix) + os_time::now().to_string(kFileTimeFormat) + "_" + RandomNumber();
}

std::string CFnx_Dal_ConfigurationCentera::GetDatePrefix() {
  return os_date::today().to_string(kDirectoryDateFormat) + kDirectorySeparator;
}

void CFnx_Dal_ConfigurationCentera::SetDirectoryName() {
  m_directoryName = GetDatePrefix() + std::to_string(m_directoryNumber);
}

bool CFnx_Dal_ConfigurationCentera::IsDateDirectory(const std::string& name) {
  static const os_regexp pattern(kDatePattern, false, false);
  return !pattern.search(name, 0, -1).empty();
}

void CFnx_Dal_ConfigurationCentera::CountEntries(const std::string&, int&) {}
