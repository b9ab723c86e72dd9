// The media interface's defaults and the process-wide media factory.
#include <memory>

#include "dal_media.h"
#include "dal_media_filesystem.h"
#include "dal_media_tape.h"

DAMedia::~DAMedia() = default;
void DAMedia::BackupStart(CFnx_Dal_Configuration*) {}
void DAMedia::BackupEnd(CFnx_Dal_Configuration*) {}
int DAMedia::write_file_to_centera(std::string, std::string&, migrate_parameters&) { return 0; }

std::atomic<CFnx_Dal_MediaFactory*> CFnx_Dal_MediaFactory::m_pInstance{nullptr};
os_mutex CFnx_Dal_MediaFactory::m_SingletonLock(false);

CFnx_Dal_MediaFactory::CFnx_Dal_MediaFactory() {
  const auto add = [this](std::unique_ptr<DAMedia> media) {
    const std::string key = DalToUpper(media->GetMediaName());
    m_registry[key] = media.release();
  };
  add(std::make_unique<DAFileSystem>());
  add(std::make_unique<DATape>());
}

CFnx_Dal_MediaFactory::~CFnx_Dal_MediaFactory() {
  for (auto& entry : m_registry) delete entry.second;
}

CFnx_Dal_MediaFactory* CFnx_Dal_MediaFactory::Instance() {
  if (CFnx_Dal_MediaFactory* factory = m_pInstance.load(std::memory_order_acquire)) return factory;
  static os_critical_section section(false);
  std::lock_guard<os_critical_section> guard(section);
  CFnx_Dal_MediaFactory* factory = m_pInstance.load(std::memory_order_relaxed);
  if (!factory) {
    factory = new CFnx_Dal_MediaFactory();  // lives for the process
    m_pInstance.store(factory, std::memory_order_release);
  }
  return factory;
}

DAMedia* CFnx_Dal_MediaFactory::Create(const std::string& mediaName) {
  static os_critical_section section(false);
  DAMedia* prototype = nullptr;
  {
    std::lock_guard<os_critical_section> guard(section);
    const auto found = m_registry.find(DalToUpper(mediaName));
    if (found != m_registry.end()) prototype = found->second;
  }
  return prototype ? prototype->Clone() : nullptr;
}

void CFnx_Dal_MediaFactory::GetRegistered(std::list<std::string>& names) {
  names.clear();
  for (const auto& entry : m_registry) names.push_back(entry.first);
}
