// The configuration record, the abstract configuration and its factory.
#include <memory>

#include "dal_configuration.h"
#include "dal_configuration_filesystem.h"
#include "dal_throw.h"
#include "fnx_log.h"

namespace {
constexpr const char kSourceFile[] = "dal_storage/src/dal_configuration";
}  // namespace

CFnx_Dal_ConfigValues::CFnx_Dal_ConfigValues() = default;
CFnx_Dal_ConfigValues::CFnx_Dal_ConfigValues(const CFnx_Dal_ConfigValues&) = default;
CFnx_Dal_ConfigValues& CFnx_Dal_ConfigValues::operator=(const CFnx_Dal_ConfigValues&) = default;
CFnx_Dal_ConfigValues::~CFnx_Dal_ConfigValues() = default;

CFnx_Dal_Configuration::~CFnx_Dal_Configuration() = default;

std::atomic<CFnx_Dal_ConfigurationFactory*> CFnx_Dal_ConfigurationFactory::m_pInstance{nullptr};
os_mutex CFnx_Dal_ConfigurationFactory::m_SingletonLock(false);

CFnx_Dal_ConfigurationFactory::CFnx_Dal_ConfigurationFactory() {
  std::unique_ptr<CFnx_Dal_Configuration> disk = std::make_unique<CFnx_Dal_ConfigurationFileSystem>();
  const std::string key = DalToUpper(disk->GetName());
  m_registry[key] = disk.release();
}

CFnx_Dal_ConfigurationFactory::~CFnx_Dal_ConfigurationFactory() {
  for (auto& entry : m_registry) delete entry.second;
}

CFnx_Dal_ConfigurationFactory* CFnx_Dal_ConfigurationFactory::Instance() {
  if (CFnx_Dal_ConfigurationFactory* factory = m_pInstance.load(std::memory_order_acquire)) return factory;
  std::lock_guard<os_mutex> guard(m_SingletonLock);
  CFnx_Dal_ConfigurationFactory* factory = m_pInstance.load(std::memory_order_relaxed);
  if (!factory) {
    factory = new CFnx_Dal_ConfigurationFactory();  // lives for the process
    m_pInstance.store(factory, std::memory_order_release);
  }
  return factory;
}

CFnx_Dal_Configuration* CFnx_Dal_ConfigurationFactory::Create(const std::string& type) {
  const auto found = m_registry.find(DalToUpper(type));
  return found == m_registry.end() ? nullptr : found->second->Clone();
}

void CFnx_Dal_ConfigurationFactory::GetRegistered(std::list<std::string>& names) {
  names.clear();
  for (const auto& entry : m_registry) names.push_back(entry.first);
}

CFnx_Dal_Configuration* Create_Dal_Configuration(const std::string& type, const CFnx_Dal_ConfigValues& values) {
  CFnx_Dal_Trace trace("Create_Dal_Configuration(Type,ConfigValues)");
  std::unique_ptr<CFnx_Dal_Configuration> config(CFnx_Dal_ConfigurationFactory::Instance()->Create(type));
  if (!config) DAL_THROW("QRSDAL0515E", "Create_Dal_Configuration: ", type);
  config->SetValues(values);
  return config.release();
}
