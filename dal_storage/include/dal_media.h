#pragma once
// The media interface behind which one stored file lies on one kind of
// storage, and the process-wide factory that makes media objects by name.
#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "fnx_export.h"
#include "os_sync.h"
#include "os_text.h"

class CFnx_Dal_Configuration;
struct migrate_parameters;  // known by name only: nothing here reads it

// Offsets: for Write -1 means "where the media stands"; for Read 0 means
// "where it stands" and -1 "from the start of the file". Opens throw on
// failure; Write and Read return false for a failed transfer.
class DAMedia {
 public:
  virtual ~DAMedia();
  // A new object of the same class as default-built: nothing is copied.
  virtual DAMedia* Clone() = 0;
  // The registered name in lower case, the text before "@" in a location.
  virtual const std::string& GetMediaName() = 0;
  virtual void OpenForReading(const std::string& location, CFnx_Dal_Configuration* config) = 0;
  virtual void OpenForReading(const std::string& location) = 0;
  // A new file whose place the configuration chooses.
  virtual void OpenForWriting(CFnx_Dal_Configuration* config, const std::string& extension) = 0;
  // A file at a place the caller names; create: it must not exist yet.
  virtual void OpenForWriting(const std::string& location, bool create) = 0;
  virtual void OpenForUpdate(const std::string& location) = 0;
  virtual void Close() = 0;
  virtual void SetLocation(const std::string& location) = 0;
  // 0 when done; a media's own code otherwise.
  virtual std::int32_t Delete() = 0;
  // written: bytes taken; counted: bytes by which the file grew.
  virtual bool Write(const char* data, std::uint32_t length, std::uint32_t& written,
                     std::uint32_t& counted, std::int64_t offset) = 0;
  virtual bool Read(char* buffer, std::uint32_t length, std::uint32_t& read, std::int64_t offset) = 0;
  virtual void GetLocation(std::string& location) = 0;
  virtual std::int64_t GetFileSize() = 0;
  virtual bool Resize(std::int64_t size) = 0;
  // A media made for this one call, with no location and no open.
  virtual void BackupStart(CFnx_Dal_Configuration* config);
  virtual void BackupEnd(CFnx_Dal_Configuration* config);
  virtual int write_file_to_centera(std::string target, std::string& result, migrate_parameters& parameters);
};

class FNX_API CFnx_Dal_MediaFactory {
 public:
  ~CFnx_Dal_MediaFactory();
  CFnx_Dal_MediaFactory(const CFnx_Dal_MediaFactory&) = delete;
  CFnx_Dal_MediaFactory& operator=(const CFnx_Dal_MediaFactory&) = delete;

  // The one instance, made at the first call from any thread.
  static CFnx_Dal_MediaFactory* Instance();
  // A new media object of that name (any case), owned by the caller, or null.
  DAMedia* Create(const std::string& mediaName);
  // Replaces the list's content with the registered keys, in upper case.
  void GetRegistered(std::list<std::string>& names);

  static std::atomic<CFnx_Dal_MediaFactory*> m_pInstance;
  static os_mutex m_SingletonLock;  // kept for the interface; no operation takes it

 private:
  // Test suites register media doubles through it; the library defines none.
  friend class DalMediaFactoryTestAccess;
  CFnx_Dal_MediaFactory();
  // Prototypes under upper-case keys; fixed after construction.
  std::map<std::string, DAMedia*, StrCmpNoCase> m_registry;
};
