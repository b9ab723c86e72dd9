#pragma once
// CFnx_Dal_Storage: the handle through which a caller writes, reads, cuts or
// deletes one document. A document is an ordered list of stored files; what
// the caller keeps of it is the location string that GetName returns.
//
// Roads: new document (default handle, OpenForWriting, Write, Close(false),
// GetName); reading (handle from a location, OpenForReading, Read, Close);
// changing a disk document (handle from a location, ReOpenForWriting, Write
// at positions, Resize, Close); Delete needs no open.
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "dal_configuration.h"
#include "fnx_export.h"

class DAFile;
struct migrate_parameters;

class FNX_API CFnx_Dal_Storage {
 public:
  CFnx_Dal_Storage();
  // The stored files of a location; throws FNXError for a malformed one.
  explicit CFnx_Dal_Storage(const std::string& location);
  CFnx_Dal_Storage(const CFnx_Dal_Storage& other);
  ~CFnx_Dal_Storage();
  // Takes all fields; the files are copied as the copy constructor does, so
  // that no file object has two owners.
  CFnx_Dal_Storage& operator=(const CFnx_Dal_Storage& other);

  // false: the handle is open already. Config: null for disk, the tape
  // configuration for tape.
  bool OpenForReading(CFnx_Dal_Configuration* config);
  bool OpenForWriting(const std::string& mediaType, CFnx_Dal_Configuration* config);
  bool ReOpenForWriting();

  // position: a place in the document, -1 where the last file stands.
  bool Write(const char* data, std::uint32_t length, std::uint32_t& written, std::int64_t position);
  // position: 0 goes on at the cursor, -1 starts at the beginning.
  // Returns the bytes read, 0 at the end, -1 when a media read failed.
  std::int32_t Read(char* buffer, std::uint32_t length, std::int64_t position);
  void Close(bool destroyFiles);

  std::string GetName() const;
  std::int64_t GetSize() const;
  // 0, or -1 when the delete of a file failed (the others are still tried).
  std::int32_t Delete();
  // Cuts the document to newSize; never makes it longer. false, with nothing
  // changed, for a negative size.
  bool Resize(std::int64_t newSize);
  void GetFirstFilePath(std::string& path) const;
  void ResetLocation(const std::string& location);
  void SetFileExtension(const std::string& extension);
  void SetFileCreateFlag(bool create);
  bool IsOpen() const { return m_isOpen; }

  static void BackupStart(CFnx_Dal_Configuration* config);
  static void BackupEnd(CFnx_Dal_Configuration* config);
  static void ParseLocation(const std::string& location, std::vector<std::string>& tokens);

  int write_file_to_centera(std::string target, std::string& result, migrate_parameters& parameters);

 private:
  void Init();
  void InitLocation(const std::string& location);
  // The first file whose end is at or past position; null when none.
  DAFile* FindTarget(std::int64_t position) const;
  void DestroyFiles();
  // Appends a new file whose media has chosen its place (OpenForWriting).
  DAFile* AppendNewFile(const char* context);

  std::list<DAFile*> m_files;  // owned; in document order
  std::int64_t m_position;     // read cursor; 0 after Init and Close
  bool m_isOpen;
  std::string m_mediaType;
  CFnx_Dal_Configuration* m_config;  // the caller's; never deleted here
  std::string m_fileExtension;
  bool m_fileCreateFlag = false;  // see SetFileCreateFlag
  bool m_fixedLocation;           // built from a location: never gains a file
};

// The file locations of a document location, split at "#".
FNX_API void ParseStorageLocation(const std::string& location, std::vector<std::string>& tokens);
// media@path[,from,size]: false for a malformed location (see DAFile).
FNX_API bool ParseFileLocation(const std::string& location, std::string& media, std::string& path,
                               std::int64_t& from, std::int64_t& size);
// For "tape": the DAS name, configuration name and volume id of a tape
// location. Any other media name: false, with the outputs emptied.
FNX_API bool ParseMediaLocation(const std::string& mediaName, const std::string& location,
                                std::string& dasName, std::string& configName, std::string& volumeId);
