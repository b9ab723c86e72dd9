#include "dal_configuration_tape.h"

#include "fnx_log.h"
#include "os_datetime.h"

namespace {
constexpr const char kDateFormat[] = "%Y.%m.%d";
constexpr const char kTimeFormat[] = "%H.%M.%S";
}  // namespace

CFnx_Dal_ConfigurationTape::CFnx_Dal_ConfigurationTape() {
  CFnx_Dal_Trace trace("CFnx_Dal_ConfigurationTape::CFnx_Dal_ConfigurationTape");
  Init();
}

CFnx_Dal_ConfigurationTape::CFnx_Dal_ConfigurationTape(const CFnx_Dal_ConfigurationTape& other)
    : CFnx_Dal_Configuration(other), m_values(other.m_values) {}

CFnx_Dal_ConfigurationTape& CFnx_Dal_ConfigurationTape::operator=(const CFnx_Dal_ConfigurationTape& other) {
  m_values = other.m_values;
  return *this;
}

CFnx_Dal_ConfigurationTape::~CFnx_Dal_ConfigurationTape() {
  CFnx_Dal_Trace trace("CFnx_Dal_ConfigurationTape::~CFnx_Dal_ConfigurationTape");
}

void CFnx_Dal_ConfigurationTape::Init() {}

CFnx_Dal_Configuration* CFnx_Dal_ConfigurationTape::Clone() const { return new CFnx_Dal_ConfigurationTape(); }

void CFnx_Dal_ConfigurationTape::SetValues(const CFnx_Dal_ConfigValues& values) { m_values = values; }

void CFnx_Dal_ConfigurationTape::GetValues(CFnx_Dal_ConfigValues& values) { values = m_values; }

void CFnx_Dal_ConfigurationTape::set_config_values(CFnx_Dal_ConfigValues& values) { m_values = values; }

const std::string& CFnx_Dal_ConfigurationTape::GetName() const {
  static const std::string name = "tape";
  return name;
}

std::int32_t CFnx_Dal_ConfigurationTape::GetMaxPageSize() const { return m_values.m_maxPageSize; }

std::string CFnx_Dal_ConfigurationTape::Get_Location() { return m_values.m_location; }

std::string CFnx_Dal_ConfigurationTape::GetCurDateFormat() const { return os_date::today().to_string(kDateFormat); }

std::string CFnx_Dal_ConfigurationTape::GetCurTimeFormat() const { return os_time::now().to_string(kTimeFormat); }
