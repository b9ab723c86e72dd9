// The handle's own logic over a media double whose files take only as many
// bytes as their capacities, so that a disk that fills up and a tape that
// ends look the same to it.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "dal_configuration_centera.h"
#include "dal_configuration_tape.h"
#include "dal_media.h"
#include "dal_storage.h"
#include "fnx_error.h"

struct migrate_parameters {
  int marker = 0;
};

namespace {

constexpr std::int64_t kOpenFails = -1;  // a capacity: that open throws before the file has a place

class CappedMedia : public DAMedia {
 public:
  explicit CappedMedia(std::string name) : m_name(std::move(name)) {}
  DAMedia* Clone() override { return new CappedMedia(m_name); }
  const std::string& GetMediaName() override { return m_name; }
  void OpenForReading(const std::string&, CFnx_Dal_Configuration*) override {}
  void OpenForReading(const std::string&) override {}
  void OpenForWriting(CFnx_Dal_Configuration*, const std::string&) override {
    const std::int64_t capacity = s_capacities.empty() ? UINT32_MAX : s_capacities.front();
    if (!s_capacities.empty()) s_capacities.pop_front();
    if (capacity == kOpenFails) throw FNXError("no place for the file", 1281, 8, "media_double", __LINE__);
    m_capacity = static_cast<std::uint32_t>(capacity);
  }
  void OpenForWriting(const std::string&, bool) override {}
  void OpenForUpdate(const std::string&) override {}
  void Close() override {}
  void SetLocation(const std::string&) override {}
  std::int32_t Delete() override { return 0; }
  bool Write(const char*, std::uint32_t length, std::uint32_t& written, std::uint32_t& counted, std::int64_t) override {
    counted = written = std::min(length, m_capacity - m_size);
    m_size += written;
    return true;
  }
  // Reports up to s_readable bytes without placing any.
  bool Read(char*, std::uint32_t length, std::uint32_t& read, std::int64_t) override {
    read = std::min(length, s_readable);
    return true;
  }
  void GetLocation(std::string& location) override { location = "file"; }
  std::int64_t GetFileSize() override { return m_size; }
  bool Resize(std::int64_t) override { return false; }
  int write_file_to_centera(std::string target, std::string& result, migrate_parameters& parameters) override {
    result = target + " handed over";
    return parameters.marker;
  }

  static inline std::deque<std::int64_t> s_capacities;
  static inline std::uint32_t s_readable = 0;

 private:
  std::string m_name;
  std::uint32_t m_size = 0;
  std::uint32_t m_capacity = UINT32_MAX;
};

}  // namespace

// Puts a media double into the factory under its name for the life of a
// scope, restoring what was there before.
class DalMediaFactoryTestAccess {
 public:
  explicit DalMediaFactoryTestAccess(const std::string& name)
      : m_registry(CFnx_Dal_MediaFactory::Instance()->m_registry), m_key(DalToUpper(name)) {
    std::swap(m_previous, m_registry[m_key]);
    m_registry[m_key] = new CappedMedia(name);
  }
  ~DalMediaFactoryTestAccess() {
    delete m_registry[m_key];
    m_registry[m_key] = m_previous;
    if (!m_previous) m_registry.erase(m_key);
  }

 private:
  decltype(CFnx_Dal_MediaFactory::m_registry)& m_registry;
  std::string m_key;
  DAMedia* m_previous = nullptr;
};

namespace {

// A file that takes nothing: a full file that was there before gets a new
// file behind it, a file joined in the same call stops the write, and tape
// hands the rest back to the caller. A file whose open fails has no place:
// it never enters the name, and the bytes already written are reported.
TEST(StorageOverADouble, OnlyAFileJoinedInTheSameCallStopsTheWrite) {
  enum Result { kFalse, kTrue, kThrows };
  struct Call {
    std::uint32_t length;
    Result result;
    std::uint32_t written;
    std::size_t files;
  };
  struct Case {
    bool tape;
    std::deque<std::int64_t> capacities;
    std::vector<Call> calls;
  };
  const Case cases[] = {
      {false, {4, 100}, {{4, kTrue, 4, 1}, {3, kTrue, 3, 2}}},  // the full first file was there before
      {false, {4, 4, 0}, {{10, kFalse, 8, 3}}},                 // the third file, joined here, takes nothing
      {false, {4, 0}, {{4, kTrue, 4, 1}, {3, kFalse, 0, 2}}},
      {false, {500, kOpenFails, kOpenFails}, {{800, kThrows, 500, 1}, {1, kThrows, 0, 1}}},
      {false, {kOpenFails}, {}},
      {true, {5}, {{5, kTrue, 5, 1}, {3, kTrue, 0, 1}}},  // tape never gains a file
      {true, {3}, {{5, kTrue, 3, 1}}},
  };
  for (const Case& c : cases) {
    CFnx_Dal_ConfigurationTape tape;
    CFnx_Dal_ConfigurationCentera other;
    CFnx_Dal_Configuration& config = c.tape ? static_cast<CFnx_Dal_Configuration&>(tape) : other;
    DalMediaFactoryTestAccess registration(config.GetName());
    CappedMedia::s_capacities = c.capacities;
    CFnx_Dal_Storage document;
    if (c.capacities.front() == kOpenFails) {
      EXPECT_THROW(document.OpenForWriting(config.GetName(), &config), FNXError);
      EXPECT_EQ(document.GetName(), "");
      continue;
    }
    ASSERT_TRUE(document.OpenForWriting(config.GetName(), &config));
    for (const Call& call : c.calls) {
      const std::string data(call.length, 'd');
      std::uint32_t written = 99;
      if (call.result == kThrows) {
        EXPECT_THROW(document.Write(data.data(), call.length, written, -1), FNXError);
      } else {
        EXPECT_EQ(document.Write(data.data(), call.length, written, -1), call.result == kTrue);
      }
      EXPECT_EQ(written, call.written) << document.GetName();
      std::vector<std::string> files;
      ParseStorageLocation(document.GetName(), files);
      EXPECT_EQ(files.size(), call.files) << document.GetName();
    }
  }
}

// A read never reports more than a long can hold; a centera document hands
// over through its first file's media, the disk media and no file not at all.
TEST(StorageOverADouble, ALongReadIsCappedAndTheFirstFileHandsOver) {
  DalMediaFactoryTestAccess tape("tape");
  DalMediaFactoryTestAccess centera("centera");
  CappedMedia::s_readable = 2000000000;
  char untouched = 0;  // the double reports bytes without placing them
  EXPECT_EQ(CFnx_Dal_Storage("tape@a,0,2000000000#tape@b,2000000000,2000000000#").Read(&untouched, UINT32_MAX, -1),
            INT32_MAX);
  migrate_parameters parameters{7};
  std::string result = "kept";
  EXPECT_EQ(CFnx_Dal_Storage().write_file_to_centera("t", result, parameters), 0);
  EXPECT_EQ(CFnx_Dal_Storage("disk@nowhere,0,1#").write_file_to_centera("t", result, parameters), 0);
  EXPECT_EQ(result, "kept");
  EXPECT_EQ(CFnx_Dal_Storage("centera@a,0,5#centera@b,5,5#").write_file_to_centera("t", result, parameters), 7);
  EXPECT_EQ(result, "t handed over");
}

}  // namespace
