#include "os_path.h"

os_path::os_path(const std::string& path) : m_path(path) {}

os_path::os_path(const std::string& directory, const std::string& name) {
  m_path = directory;
  if (!m_path.empty() && m_path.back() != OS_PATH_SEPARATOR) m_path += OS_PATH_SEPARATOR;
  m_path += name;
}

os_path::os_path(const std::string& directory, const std::string& name, const std::string& extension)
    : os_path(directory, extension.empty() || extension.front() == '.' ? name + extension
                                                                        : name + "." + extension) {}

std::size_t os_path::prefix_length() const {
#if defined(_WIN32)
  if (m_path.size() >= 2 && m_path[0] == OS_PATH_SEPARATOR && m_path[1] == OS_PATH_SEPARATOR) {
    const std::size_t host_end = m_path.find(OS_PATH_SEPARATOR, 2);
    if (host_end == std::string::npos) return m_path.size();
    const std::size_t share_end = m_path.find(OS_PATH_SEPARATOR, host_end + 1);
    return share_end == std::string::npos ? m_path.size() : share_end;
  }
  const bool letter = m_path.size() >= 2 && ((m_path[0] >= 'A' && m_path[0] <= 'Z') ||
                                             (m_path[0] >= 'a' && m_path[0] <= 'z'));
  if (letter && m_path[1] == ':') return 2;
#endif
  return 0;
}

bool os_path::has_unc() const {
#if defined(_WIN32)
  return m_path.size() >= 2 && m_path[0] == OS_PATH_SEPARATOR && m_path[1] == OS_PATH_SEPARATOR;
#else
  return false;
#endif
}

std::string os_path::unc() const { return has_unc() ? m_path.substr(0, prefix_length()) : std::string(); }

std::string os_path::drive() const {
  return (!has_unc() && prefix_length() == 2) ? m_path.substr(0, 1) : std::string();
}

std::string os_path::drive_separator() const { return drive().empty() ? std::string() : ":"; }

std::string os_path::directory() const {
  const std::size_t prefix = prefix_length();
  const std::size_t last = m_path.rfind(OS_PATH_SEPARATOR);
  if (last == std::string::npos || last < prefix) return std::string();
  if (last == prefix) return std::string(1, OS_PATH_SEPARATOR);
  return m_path.substr(prefix, last - prefix);
}

std::string os_path::filename() const {
  const std::size_t prefix = prefix_length();
  const std::size_t last = m_path.rfind(OS_PATH_SEPARATOR);
  if (last == std::string::npos || last < prefix) return m_path.substr(prefix);
  return m_path.substr(last + 1);
}
