#include "media_double.h"

#include <algorithm>

#include "os_text.h"

std::deque<std::uint32_t> CappedMedia::s_capacities;
std::string CappedMedia::s_handedTarget;
migrate_parameters* CappedMedia::s_handedParameters = nullptr;

void CappedMedia::OpenForWriting(CFnx_Dal_Configuration*, const std::string&) {
  static int made = 0;
  m_location = m_name + "-file-" + std::to_string(++made);
  if (!s_capacities.empty()) {
    m_capacity = s_capacities.front();
    s_capacities.pop_front();
  }
}

bool CappedMedia::Write(const char* data, std::uint32_t length, std::uint32_t& written, std::uint32_t& counted,
                        std::int64_t) {
  written = std::min<std::uint32_t>(length, m_capacity - static_cast<std::uint32_t>(m_content.size()));
  m_content.append(data, written);
  counted = written;
  return true;
}

int CappedMedia::write_file_to_centera(std::string target, std::string& result, migrate_parameters& parameters) {
  s_handedTarget = target;
  s_handedParameters = &parameters;
  result = "handed over";
  return 7;
}

DalMediaFactoryTestAccess::DalMediaFactoryTestAccess(DAMedia* prototype)
    : m_key(DalToUpper(prototype->GetMediaName())) {
  auto& registry = CFnx_Dal_MediaFactory::Instance()->m_registry;
  const auto found = registry.find(m_key);
  if (found != registry.end()) m_previous = found->second;
  registry[m_key] = prototype;
}

DalMediaFactoryTestAccess::~DalMediaFactoryTestAccess() {
  auto& registry = CFnx_Dal_MediaFactory::Instance()->m_registry;
  delete registry[m_key];
  if (m_previous) {
    registry[m_key] = m_previous;
  } else {
    registry.erase(m_key);
  }
}
