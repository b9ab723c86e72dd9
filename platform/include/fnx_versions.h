#pragma once
// The version list of the process: each library registers its version text.
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "fnx_export.h"

class FNX_API FnxVr_Versions {
 public:
  void Register(const std::string& name, const std::string& version);
  // (name, version text) in the order of registration.
  std::vector<std::pair<std::string, std::string>> Entries() const;

  // The process-wide list that FnxVr_AutoRegister fills at load time.
  static FnxVr_Versions& Process();

 private:
  mutable std::mutex m_lock;
  std::vector<std::pair<std::string, std::string>> m_entries;  // guarded by m_lock
};

class FnxVr_AutoRegister {
 public:
  FnxVr_AutoRegister(const std::string& name, const std::string& version) {
    FnxVr_Versions::Process().Register(name, version);
  }
};
