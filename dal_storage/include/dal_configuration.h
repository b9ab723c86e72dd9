#pragma once
// Configurations: the record in which all values travel, the abstract
// configuration, and the factory behind Create_Dal_Configuration.
#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "fnx_export.h"
#include "os_sync.h"
#include "os_text.h"

// All values of all configurations. A plain value: numbers and flags start at
// 0 / false, strings empty; the caller sets what the media in question reads.
struct FNX_API CFnx_Dal_ConfigValues {
  CFnx_Dal_ConfigValues();
  CFnx_Dal_ConfigValues(const CFnx_Dal_ConfigValues&);
  CFnx_Dal_ConfigValues& operator=(const CFnx_Dal_ConfigValues&);
  ~CFnx_Dal_ConfigValues();

  std::int32_t m_maxPageSize = 0;      // given back by GetMaxPageSize, unused
  std::int32_t m_maxFilesPerDir = 0;   // disk: limit of a date directory
  std::string m_location;              // disk: the root; tape: carried
  bool m_backupFlag = false;           // tape: a backup run is open
  std::string m_volumeInfo;            // tape: the volume info string
  std::string m_carriedString1;        // passed through unread
  std::string m_statusLine;            // tape: status text for the caller
  std::int32_t m_type = 0;             // tape: operator key, type
  std::string m_carriedString2;        // passed through unread
  std::string m_name;                  // tape: operator key, name
  std::string m_deviceName;            // tape: the drive to open
  std::string m_dasName;               // tape: operator key, DAS name
  std::string m_volumeName;            // tape: name of the next volume label
  bool m_newVolume1 = false;           // tape: new volume at BackupStart
  bool m_newVolume2 = false;           // tape: the same; BackupEnd clears it
  bool m_forceLabel = false;           // tape: label without looking
  std::int32_t m_carriedNumber1 = 0;   // passed through unread
  std::int32_t m_carriedNumber2 = 0;   // passed through unread
  std::uint32_t m_endBlock = 0;        // tape: where a run goes on
};

// A configuration tells a media where and how to store. It belongs to the
// caller; the library keeps pointers to it and never deletes one.
class FNX_API CFnx_Dal_Configuration {
 public:
  CFnx_Dal_Configuration(const CFnx_Dal_Configuration&) {}
  // A new default-built object of the same class; no value is copied.
  virtual CFnx_Dal_Configuration* Clone() const = 0;
  virtual void SetValues(const CFnx_Dal_ConfigValues& values) = 0;
  // Writes this class's values into the record; the other fields stay.
  virtual void GetValues(CFnx_Dal_ConfigValues& values) = 0;
  virtual ~CFnx_Dal_Configuration();
  // "disk", "centera" or "tape": also the media name.
  virtual const std::string& GetName() const = 0;
  virtual std::int32_t GetMaxPageSize() const = 0;
  virtual std::string Get_Location() = 0;

 protected:
  CFnx_Dal_Configuration() {}
};

// The process-wide registry of configurations by name. Only "disk" is
// registered; a tape configuration is built by the caller directly.
class FNX_API CFnx_Dal_ConfigurationFactory {
 public:
  ~CFnx_Dal_ConfigurationFactory();
  CFnx_Dal_ConfigurationFactory(const CFnx_Dal_ConfigurationFactory&) = delete;
  CFnx_Dal_ConfigurationFactory& operator=(const CFnx_Dal_ConfigurationFactory&) = delete;

  // The one instance, made at the first call from any thread.
  static CFnx_Dal_ConfigurationFactory* Instance();
  // A new default-built configuration of that type (any case), or null.
  CFnx_Dal_Configuration* Create(const std::string& type);
  // Replaces the list's content with the registered keys, in upper case.
  void GetRegistered(std::list<std::string>& names);

  static std::atomic<CFnx_Dal_ConfigurationFactory*> m_pInstance;
  static os_mutex m_SingletonLock;  // taken by the first Instance calls

 private:
  CFnx_Dal_ConfigurationFactory();
  // Prototypes under upper-case keys; fixed after construction, so lookups take no lock.
  std::map<std::string, CFnx_Dal_Configuration*, StrCmpNoCase> m_registry;
};

// A registered configuration of the type (any case) holding the values;
// owned by the caller. Throws FNXError QRSDAL0515E for an unknown type.
FNX_API CFnx_Dal_Configuration* Create_Dal_Configuration(const std::string& type,
                                                         const CFnx_Dal_ConfigValues& values);
