#pragma once
// A media double for the handle's own logic: each file takes only as many
// bytes as its capacity, the capacities given in the order the files are
// made, so a disk that fills up and a tape that ends look the same to it.
// A read reports up to s_readable bytes without placing any in the buffer.
#include <algorithm>
#include <cstdint>
#include <deque>
#include <string>

#include "dal_media.h"
#include "fnx_error.h"
#include "os_text.h"

struct migrate_parameters {
  int marker = 0;
};

class CappedMedia : public DAMedia {
 public:
  explicit CappedMedia(std::string name) : m_name(std::move(name)) {}
  DAMedia* Clone() override { return new CappedMedia(m_name); }
  const std::string& GetMediaName() override { return m_name; }
  void OpenForReading(const std::string& location, CFnx_Dal_Configuration*) override { m_location = location; }
  void OpenForReading(const std::string& location) override { m_location = location; }
  void OpenForWriting(CFnx_Dal_Configuration*, const std::string&) override {
    static int made = 0;
    if (!s_capacities.empty() && s_capacities.front() == kOpenFails) {
      s_capacities.pop_front();
      throw FNXError("no place for the file", 1281, 8, "media_double", __LINE__);
    }
    m_location = m_name + "-file-" + std::to_string(++made);
    if (!s_capacities.empty()) {
      m_capacity = static_cast<std::uint32_t>(s_capacities.front());
      s_capacities.pop_front();
    }
  }
  void OpenForWriting(const std::string& location, bool) override { m_location = location; }
  void OpenForUpdate(const std::string& location) override { m_location = location; }
  void Close() override {}
  void SetLocation(const std::string& location) override { m_location = location; }
  std::int32_t Delete() override { return 0; }
  bool Write(const char* data, std::uint32_t length, std::uint32_t& written, std::uint32_t& counted,
             std::int64_t) override {
    written = std::min<std::uint32_t>(length, m_capacity - static_cast<std::uint32_t>(m_content.size()));
    m_content.append(data, written);
    counted = written;
    return true;
  }
  bool Read(char*, std::uint32_t length, std::uint32_t& read, std::int64_t) override {
    read = std::min(length, s_readable);
    return true;
  }
  void GetLocation(std::string& location) override { location = m_location; }
  std::int64_t GetFileSize() override { return static_cast<std::int64_t>(m_content.size()); }
  bool Resize(std::int64_t) override { return false; }
  int write_file_to_centera(std::string target, std::string& result, migrate_parameters& parameters) override {
    s_handedTarget = target;
    s_handedParameters = &parameters;
    result = "handed over";
    return 7;
  }

  // Capacities of the next files made by OpenForWriting; unlimited when empty.
  // kOpenFails: that open throws before the file has a place.
  static inline std::deque<std::int64_t> s_capacities;
  static constexpr std::int64_t kOpenFails = -1;
  static inline std::uint32_t s_readable = 0;
  // What the last hand-over received.
  static inline std::string s_handedTarget;
  static inline migrate_parameters* s_handedParameters = nullptr;

 private:
  std::string m_name;
  std::string m_location;
  std::string m_content;
  std::uint32_t m_capacity = UINT32_MAX;
};

// Puts a media prototype into the factory under its name for the life of a
// scope, restoring what was there before.
class DalMediaFactoryTestAccess {
 public:
  explicit DalMediaFactoryTestAccess(DAMedia* prototype) : m_key(DalToUpper(prototype->GetMediaName())) {
    auto& registry = CFnx_Dal_MediaFactory::Instance()->m_registry;
    const auto found = registry.find(m_key);
    if (found != registry.end()) m_previous = found->second;
    registry[m_key] = prototype;
  }
  ~DalMediaFactoryTestAccess() {
    auto& registry = CFnx_Dal_MediaFactory::Instance()->m_registry;
    delete registry[m_key];
    if (m_previous) {
      registry[m_key] = m_previous;
    } else {
      registry.erase(m_key);
    }
  }
  DalMediaFactoryTestAccess(const DalMediaFactoryTestAccess&) = delete;
  DalMediaFactoryTestAccess& operator=(const DalMediaFactoryTestAccess&) = delete;

 private:
  std::string m_key;
  DAMedia* m_previous = nullptr;
};
