#pragma once
// The tape platform seam: the only place above the backends that knows a
// drive. Its calls have the semantics of the Windows tape interface (open by
// name with exclusive use, the four parameter records, status, position,
// prepare, erase, partition, tapemark, block read and write, a last error per
// thread), whichever backend stands behind a handle:
//
//   "vtape:<directory>"        the virtual drive of that library directory,
//                              on every platform (platform/src/vtape)
//   a name registered for a virtual drive in this process through the
//                              virtual drive's management calls
//   any other name             the operating system's drive: KERNEL32 on
//                              Windows, the SCSI tape driver on Linux, where
//                              "\\.\TAPEn" stands for /dev/nstN
//
// Every call that takes a handle may be made from any thread, but one handle
// serves one thread at a time (the caller keeps to that, as CTapeApi does).
// The calls that return a number return 0 on success or the platform error
// number; those that return bool return false on failure. In both cases the
// number is also the calling thread's os_tape_last_error().
#include <cstdint>
#include <string>

#include "os_tape_records.h"

// A handle of the seam; never 0 and never os_tape_invalid_handle when valid,
// and its low 32 bits are never 0 (CTapeApi hands them out as an int).
using os_tape_handle = std::int64_t;
inline constexpr os_tape_handle os_tape_invalid_handle = -1;

// The platform error numbers that the tape path gives a meaning to, with the
// Windows values on every platform.
inline constexpr std::uint32_t OS_TAPE_NO_ERROR = 0;
inline constexpr std::uint32_t OS_TAPE_FILE_NOT_FOUND = 2;         // no such drive or library
inline constexpr std::uint32_t OS_TAPE_PATH_NOT_FOUND = 3;
inline constexpr std::uint32_t OS_TAPE_ACCESS_DENIED = 5;
inline constexpr std::uint32_t OS_TAPE_INVALID_HANDLE = 6;
inline constexpr std::uint32_t OS_TAPE_WRITE_PROTECT = 19;
inline constexpr std::uint32_t OS_TAPE_CRC = 23;                   // a block that cannot be read
inline constexpr std::uint32_t OS_TAPE_SHARING_VIOLATION = 32;     // the drive is in use
inline constexpr std::uint32_t OS_TAPE_HANDLE_EOF = 38;
inline constexpr std::uint32_t OS_TAPE_NOT_SUPPORTED = 50;
inline constexpr std::uint32_t OS_TAPE_INVALID_PARAMETER = 87;
inline constexpr std::uint32_t OS_TAPE_END_OF_MEDIA = 1100;        // early warning
inline constexpr std::uint32_t OS_TAPE_FILEMARK_DETECTED = 1101;   // a tape mark, which no volume of ours holds
inline constexpr std::uint32_t OS_TAPE_NO_DATA_DETECTED = 1104;    // end of data
inline constexpr std::uint32_t OS_TAPE_INVALID_BLOCK_LENGTH = 1106;
inline constexpr std::uint32_t OS_TAPE_MEDIA_CHANGED = 1110;
inline constexpr std::uint32_t OS_TAPE_NO_MEDIA_IN_DRIVE = 1112;
inline constexpr std::uint32_t OS_TAPE_IO_DEVICE = 1117;
inline constexpr std::uint32_t OS_TAPE_EOM_OVERFLOW = 1129;        // physical end
inline constexpr std::uint32_t OS_TAPE_FILE_CORRUPT = 1392;        // a damaged cartridge image

// Operations and methods of the calls, with the published values.
inline constexpr std::uint32_t OS_TAPE_GET_MEDIA_INFORMATION = 0;  // Get/SetParameters
inline constexpr std::uint32_t OS_TAPE_GET_DRIVE_INFORMATION = 1;
inline constexpr std::uint32_t OS_TAPE_LOAD = 0;                   // Prepare
inline constexpr std::uint32_t OS_TAPE_UNLOAD = 1;
inline constexpr std::uint32_t OS_TAPE_REWIND = 0;                 // SetPosition methods
inline constexpr std::uint32_t OS_TAPE_LOGICAL_BLOCK = 2;
inline constexpr std::uint32_t OS_TAPE_SPACE_END_OF_DATA = 4;
inline constexpr std::uint32_t OS_TAPE_ABSOLUTE_POSITION = 0;      // GetPosition types
inline constexpr std::uint32_t OS_TAPE_LOGICAL_POSITION = 1;

// Opens the drive by name for reading and writing with exclusive use, as
// CreateFileA with share mode 0 does: while one handle holds a drive, a second
// open of it fails with OS_TAPE_SHARING_VIOLATION, from this process or
// another. Returns os_tape_invalid_handle on failure.
os_tape_handle os_tape_open(const std::string& name);
// Gives the drive free; the handle is invalid afterwards. A process that dies
// holding a drive does not hold it afterwards.
void os_tape_close(os_tape_handle handle);

// GetTapeParameters and SetTapeParameters: operation 0 the media record,
// 1 the drive record; size is in bytes, in and out.
std::uint32_t os_tape_get_parameters(os_tape_handle handle, std::uint32_t operation,
                                     std::uint32_t* size, void* record);
std::uint32_t os_tape_set_parameters(os_tape_handle handle, std::uint32_t operation,
                                     const void* record);
// GetTapeStatus: 0 ready, OS_TAPE_MEDIA_CHANGED once after a load or insert,
// OS_TAPE_NO_MEDIA_IN_DRIVE without a cartridge, or another number.
std::uint32_t os_tape_get_status(os_tape_handle handle);
std::uint32_t os_tape_get_position(os_tape_handle handle, std::uint32_t type,
                                   std::uint32_t* partition, std::uint32_t* offsetLow,
                                   std::uint32_t* offsetHigh);
// OS_TAPE_NO_DATA_DETECTED when the position is the end of the data.
std::uint32_t os_tape_set_position(os_tape_handle handle, std::uint32_t method,
                                   std::uint32_t partition, std::uint32_t offsetLow,
                                   std::uint32_t offsetHigh, bool immediate);
std::uint32_t os_tape_prepare(os_tape_handle handle, std::uint32_t operation, bool immediate);
std::uint32_t os_tape_erase(os_tape_handle handle, std::uint32_t type, bool immediate);
std::uint32_t os_tape_create_partition(os_tape_handle handle, std::uint32_t method,
                                       std::uint32_t count, std::uint32_t size);
std::uint32_t os_tape_write_tapemark(os_tape_handle handle, std::uint32_t type,
                                     std::uint32_t count, bool immediate);

// ReadFile and WriteFile of whole blocks at the current position. A read
// across the end of the data delivers the blocks before it and succeeds; a
// read at the end of the data fails with OS_TAPE_NO_DATA_DETECTED. A write
// fails with OS_TAPE_END_OF_MEDIA in the early-warning zone and with
// OS_TAPE_EOM_OVERFLOW at the physical end, having written nothing.
bool os_tape_read(os_tape_handle handle, void* buffer, std::uint32_t length,
                  std::uint32_t* done);
bool os_tape_write(os_tape_handle handle, const void* buffer, std::uint32_t length,
                   std::uint32_t* done);

// The number of the calling thread's last failed tape call.
std::uint32_t os_tape_last_error();
// The platform's text for a number, as FormatMessageA gives it on Windows;
// empty when the platform has none.
std::string os_tape_error_text(std::uint32_t error);
