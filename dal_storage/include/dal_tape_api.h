#pragma once
// The tape call wrapper: the one place where the library calls the drive.
// One member per tape call; each opens the device on demand, makes the call
// through the tape platform seam, and turns a failure into an
// exception_GetLastError whose Code() is the platform's error number. It
// decides which numbers count as success and holds the only retry of the
// tape path (ReadFile after a change of the medium).
//
// States: closed (m_hDev 0) and open. Any call that needs the device opens
// it; CloseHandle and the ReadFile retry close it. The device opens with
// exclusive use, so a second object of the same drive fails at its first
// call with "CreateFile" while the first one holds it.
//
// An object is used by one thread at a time and takes no lock.
#include <cstdint>
#include <string>

#include "fnx_error.h"
#include "fnx_export.h"
#include "os_tape_records.h"

// A failed tape call. Code() is the platform's error number; the text is the
// call's name, ":" and "Err(<number>)", followed by a blank and the
// platform's text for the number when it has one and the number is not 0.
class FNX_API exception_GetLastError : public FNXError {
 public:
  // Reads the calling thread's last tape error: it must be made right after
  // the failed call, before any other tape call.
  explicit exception_GetLastError(const std::string& name);
};

class FNX_API CTapeApi {
 public:
  // Touches no device: the first call that needs it opens it.
  explicit CTapeApi(const std::string& device_name);
  // Closes an open device.
  ~CTapeApi();
  // Not copyable: two copies would close one handle twice, and a copy with a
  // handle of its own could not open the drive that the original holds.
  CTapeApi(const CTapeApi&) = delete;
  CTapeApi& operator=(const CTapeApi&) = delete;

  // Opens the device unless it is open; "CreateFile" on failure, after which
  // the object stays closed and the next call tries again.
  void ValidateDeviceHandle();
  // Gives the drive free; nothing happens on a closed object.
  void CloseHandle();
  // The low 32 bits of the handle; 0 when closed.
  int GetHandle();

  // The tape calls. Success is 0 and 1110 (the medium changed), for
  // SetTapePosition also 1104 (at the end of the data); every other number
  // raises with the member's name. A drive that answers 1110 has not done
  // what it was asked, so the call is made once more. A record asked for is
  // zeroed before each call: the caller never sees what its storage held.
  void GetTapeParameters(_TAPE_GET_DRIVE_PARAMETERS& parameters);
  void GetTapeMediaParameters(_TAPE_GET_MEDIA_PARAMETERS& parameters);
  void SetTapeParameters(const _TAPE_SET_DRIVE_PARAMETERS& parameters);
  void SetTapeMediaParameters(const _TAPE_SET_MEDIA_PARAMETERS& parameters);
  void CreateTapePartition(std::uint32_t method, std::uint32_t count, std::uint32_t size);
  void PrepareTape(std::uint32_t operation, int immediate);
  void EraseTape(std::uint32_t type, int immediate);
  void SetTapePosition(std::uint32_t method, std::uint32_t partition, std::uint32_t offset_low,
                       std::uint32_t offset_high, int immediate);
  void GetTapePosition(std::uint32_t type, std::uint32_t* partition, std::uint32_t* offset_low,
                       std::uint32_t* offset_high);
  void WriteTapemark(std::uint32_t type, std::uint32_t count, int immediate);
  // The drive's status: 0, or 1110 once after a change of the medium.
  std::uint32_t CheckTapeStatus();

  // Writes length bytes of whole blocks; *written becomes length.
  void WriteFile(const void* buffer, std::uint32_t length, unsigned long long* written);
  // Reads up to length bytes into buffer; *read the bytes read. After a
  // change of the medium (1110) the device is reopened and the read made
  // again, three reads at most; the last one returns what it read, or raises
  // when it read nothing.
  void ReadFile(void* buffer, std::uint32_t length, std::uint32_t* read);

  // Readable reports of a record, one "label:value" line per item; they
  // touch no device (dal_tape_api_reports.cpp).
  std::string GetTapeParametersString(const _TAPE_GET_DRIVE_PARAMETERS& parameters);
  std::string GetTapeMediaParametersString(const _TAPE_GET_MEDIA_PARAMETERS& parameters);

 private:
  std::int64_t m_hDev;         // the open device; 0 when none is open
  std::string m_deviceName;    // the name the device opens by
};
