#include "fnx_versions.h"

void FnxVr_Versions::Register(const std::string& name, const std::string& version) {
  std::lock_guard<std::mutex> guard(m_lock);
  m_entries.emplace_back(name, version);
}

std::vector<std::pair<std::string, std::string>> FnxVr_Versions::Entries() const {
  std::lock_guard<std::mutex> guard(m_lock);
  return m_entries;
}

FnxVr_Versions& FnxVr_Versions::Process() {
  static FnxVr_Versions versions;
  return versions;
}
