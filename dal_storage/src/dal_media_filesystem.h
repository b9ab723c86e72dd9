#pragma once
// DAFileSystem: the media "disk". One stored file in one plain file.
//
// Locks (across processes and within one): the root's "lockfile" is held,
// waiting, only while a new document is named and created and while a file
// of a date directory is deleted; the document's own lock is taken without
// waiting by every writing open and held until Close. Lockfile first,
// document second. Readers take no lock.
#include <cstdint>
#include <string>

#include "dal_media.h"
#include "dal_message.h"
#include "os_file.h"

class DAFileSystem : public DAMedia {
 public:
  DAFileSystem();
  ~DAFileSystem() override;
  DAFileSystem(const DAFileSystem&) = delete;
  DAFileSystem& operator=(const DAFileSystem&) = delete;

  DAMedia* Clone() override;
  const std::string& GetMediaName() override;
  void OpenForReading(const std::string& location, CFnx_Dal_Configuration* config) override;
  void OpenForReading(const std::string& location) override;
  void OpenForWriting(CFnx_Dal_Configuration* config, const std::string& extension) override;
  void OpenForWriting(const std::string& location, bool create) override;
  void OpenForUpdate(const std::string& location) override;
  void Close() override;
  void SetLocation(const std::string& location) override;
  std::int32_t Delete() override;
  bool Write(const char* data, std::uint32_t length, std::uint32_t& written, std::uint32_t& counted,
             std::int64_t offset) override;
  bool Read(char* buffer, std::uint32_t length, std::uint32_t& read, std::int64_t offset) override;
  void GetLocation(std::string& location) override;
  std::int64_t GetFileSize() override;
  bool Resize(std::int64_t size) override;

  // Creates a directory and its missing parents; safe against other
  // processes creating the same path at the same time.
  static void MakeDirectories(const std::string& directory);
  // The root's "lockfile", where writers and deleters of one root meet.
  static std::string LockFilePath(const std::string& root);
  // The directory that holds path, drive or UNC part included; it keeps its
  // separator when it is the top of a drive or of the file system.
  static std::string DirectoryOf(const std::string& path);
  // True when directory is a date directory: its last name holds the date
  // pattern. root then receives the directory above it, the writers' root.
  static bool DateDirectoryRoot(const std::string& directory, std::string& root);

  // The root's lockfile, held (waiting) for the object's lifetime: while a
  // new document is named and created, a file of a date directory deleted,
  // or a root checked. The open's os_file_toolkit_error goes to the caller;
  // a refused lock raises QRSDAL0514E with context; a file system without
  // locks is taken unlocked. The lock goes with the file's close.
  class RootLock {
   public:
    RootLock(const std::string& root, const char* context);

   private:
    std::string m_path;
    Osl_File m_file;
  };

 private:
  void Init();
  void SetPosition(std::int64_t offset, short origin);
  std::int64_t GetPosition();
  void Open();
  // Opens the existing file at m_location with the given access: a missing
  // file raises missingId, a refused open QRSDAL0200E.
  void OpenExisting(const char* context, int access, DalMessageId missingId);
  // Takes the document lock without waiting; when refused, drops the open
  // file and raises QRSDAL0514E.
  void LockDocument(const char* context, bool withErrorCode);
  // Drops the locks and closes the file after a failed open; never throws.
  void AbandonOpen() noexcept;
  // Takes back the count of a new name whose file was not made; never throws.
  static void GiveBackCount(const std::string& directory) noexcept;
  // The directory of the stored location.
  std::string LocationDirectory() const { return DirectoryOf(m_location); }

  std::string m_location;  // full path; set by every open and SetLocation
  int m_openFlags;         // of the last open
  int m_accessMode;        // of the last open
  Osl_File m_file;
  os_file_lock m_lock;     // the document lock: exclusive, whole file
  std::int64_t m_size;     // cached; 0: not measured yet
  std::int64_t m_position; // cached file pointer
};
