// The "centera" configuration: values, names, and the naming of new files.
// Dates and names are those of the disk configuration.
#include "dal_configuration_centera.h"

#include "dal_configuration_filesystem.h"
#include "os_text.h"

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
  name = CFnx_Dal_ConfigurationFileSystem::NewFileName();
}

std::string CFnx_Dal_ConfigurationCentera::GetDatePrefix() { return CFnx_Dal_ConfigurationFileSystem::GetDatePrefix(); }

void CFnx_Dal_ConfigurationCentera::SetDirectoryName() {
  m_directoryName = GetDatePrefix() + std::to_string(m_directoryNumber);
}

bool CFnx_Dal_ConfigurationCentera::IsDateDirectory(const std::string& name) {
  return CFnx_Dal_ConfigurationFileSystem::IsDateDirectory(name);
}

void CFnx_Dal_ConfigurationCentera::CountEntries(const std::string&, int&) {}
