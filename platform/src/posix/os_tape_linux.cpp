// The operating system's drive on Linux. The SCSI tape driver backend is not
// here yet: any name other than a virtual drive's fails with "not supported".
#include "os_tape.h"
#include "os_tape_drive.h"

std::unique_ptr<os_tape_drive> os_tape_open_system(const std::string& /*name*/, std::uint32_t* error) {
  *error = OS_TAPE_NOT_SUPPORTED;
  return nullptr;
}

// Linux has no texts for these numbers; ours say what each means on a drive.
std::string os_tape_system_error_text(std::uint32_t error) {
  switch (error) {
    case OS_TAPE_NO_ERROR: return "The operation completed successfully.";
    case OS_TAPE_FILE_NOT_FOUND: return "No such tape drive or virtual tape library.";
    case OS_TAPE_PATH_NOT_FOUND: return "The path of the tape drive does not exist.";
    case OS_TAPE_ACCESS_DENIED: return "Access to the tape drive is denied.";
    case OS_TAPE_INVALID_HANDLE: return "The tape drive handle is not open.";
    case OS_TAPE_WRITE_PROTECT: return "The tape is write-protected.";
    case OS_TAPE_CRC: return "A block of the tape cannot be read.";
    case OS_TAPE_SHARING_VIOLATION: return "The tape drive is in use by another process.";
    case OS_TAPE_HANDLE_EOF: return "Reached the end of the tape.";
    case OS_TAPE_NOT_SUPPORTED: return "The tape drive does not support this request.";
    case OS_TAPE_INVALID_PARAMETER: return "A parameter of the tape request is not valid.";
    case OS_TAPE_END_OF_MEDIA: return "The early-warning end of the tape was reached.";
    case OS_TAPE_NO_DATA_DETECTED: return "No more data is on the tape.";
    case OS_TAPE_INVALID_BLOCK_LENGTH: return "The tape's block size does not match the request.";
    case OS_TAPE_MEDIA_CHANGED: return "The tape in the drive may have changed.";
    case OS_TAPE_NO_MEDIA_IN_DRIVE: return "No tape is in the drive.";
    case OS_TAPE_IO_DEVICE: return "The tape drive reported an I/O error.";
    case OS_TAPE_EOM_OVERFLOW: return "The physical end of the tape was reached.";
    case OS_TAPE_FILE_CORRUPT: return "The tape cartridge image is damaged.";
    default: return "";
  }
}
