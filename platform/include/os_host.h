#pragma once
#include <cstdint>
#include <string>

class os_host {
 public:
  static os_host my_host();
  // The name of this computer, possibly with a domain behind a ".".
  const std::string& name() const { return m_name; }

 private:
  explicit os_host(std::string name) : m_name(std::move(name)) {}
  std::string m_name;
};

// The id of this process, for seeds that must differ between processes.
std::uint32_t os_process_id();
