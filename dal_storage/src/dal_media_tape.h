#pragma once
// DATape: the media "tape". One open of it is one file on tape: the open
// makes a device for the drive of the configuration, each call forwards to
// it, and Close finishes the file and destroys the device. What tape cannot
// do (open by a location alone, update, resize, delete, relocate) raises.
//
//   closed --OpenForWriting(config) / OpenForReading(location, config)--> open
//   open --Close--> closed (the location and size stay readable)
//
// The configuration is the caller's CFnx_Dal_ConfigurationTape; it must
// outlive the open, since the device writes the run's state back into it.
#include <cstdint>
#include <string>

#include "dal_media.h"
#include "dal_tape_format.h"

class CFnx_Dal_TapeDev;

class DATape : public DAMedia {
 public:
  DATape();
  ~DATape() override;
  DATape(const DATape&) = delete;
  DATape& operator=(const DATape&) = delete;

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
  // The offsets are not looked at: a file on tape goes strictly in order.
  bool Write(const char* data, std::uint32_t length, std::uint32_t& written, std::uint32_t& counted,
             std::int64_t offset) override;
  // Fewer bytes than asked, or none, at the end of the file; failures raise.
  bool Read(char* buffer, std::uint32_t length, std::uint32_t& read, std::int64_t offset) override;
  void GetLocation(std::string& location) override;
  std::int64_t GetFileSize() override;
  bool Resize(std::int64_t size) override;
  // Each on a device of its own that lives for the call.
  void BackupStart(CFnx_Dal_Configuration* config) override;
  void BackupEnd(CFnx_Dal_Configuration* config) override;

 private:
  // Raises QRSDAL0512E naming the operation.
  [[noreturn]] static void Refuse(const char* what, std::int32_t line);

  CFnx_Dal_TapeDev* m_ptape;          // owned; the device of the open file
  CFnx_Dal_Tape_Location m_location;  // the written file's place, from Close on
  std::int64_t m_fileSize = 0;        // last size the device gave
  bool m_emptyFile = false;           // open for reading a file of no bytes: no device
};
