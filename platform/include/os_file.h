#pragma once
// Files of the toolkit: os_file with per-open-file locks, Osl_File with open,
// and the 64-bit handle calls that the disk media makes on an open file's
// descriptor.
//
// Locks belong to the open file, not to the process: two os_file objects of
// one process that lock the same file exclude each other exactly as two
// processes do, and closing one descriptor never drops another's lock.
#include <cstdint>
#include <memory>
#include <string>

#include "os_toolkit_exceptions.h"

// The platform handle of an open file (a file descriptor on POSIX, a HANDLE
// on Win32), widened; all bits set when no file is open.
using os_native_handle = std::intptr_t;
inline constexpr os_native_handle os_invalid_handle = -1;

// A byte-range lock request. Type 1 is exclusive (0 shared); a length of 0
// reaches to the end of the file and beyond; whence 0 counts from the start.
class os_file_lock {
 public:
  os_file_lock(short type, long start, long length, short whence) { set_lock(type, start, length, whence); }
  void set_lock(short type, long start, long length, short whence) {
    m_type = type;
    m_start = start;
    m_length = length;
    m_whence = whence;
  }
  short type() const { return m_type; }
  long start() const { return m_start; }
  long length() const { return m_length; }
  short whence() const { return m_whence; }

 private:
  short m_type = 1;
  long m_start = 0;
  long m_length = 0;
  short m_whence = 0;
};

// Defined by each backend: what it must remember of an open file besides
// the handle (on Win32 the ranges it holds locked).
struct os_file_native_state;
struct os_file_native_state_delete {
  void operator()(os_file_native_state* state) const;  // in the backend, where the type is complete
};

class os_file {
 public:
  os_file() = default;
  virtual ~os_file();  // closes; failures are swallowed
  os_file(const os_file&) = delete;
  os_file& operator=(const os_file&) = delete;

  bool is_open() const { return m_handle != os_invalid_handle; }
  // Closes the file, which also releases its locks. Throws
  // os_file_toolkit_error when the platform reports an error; the file counts
  // as closed even then, since its descriptor cannot be used again.
  void close();

  // Transfers up to length bytes; returns the count, 0 at the end of the file,
  // negative on failure (the platform's error stays in os_last_error).
  int read(void* buffer, int length);
  int write(const void* buffer, int length);

  // 32-bit seek and tell of the toolkit; origin 0 start, 1 current, 2 end.
  // Throw os_file_toolkit_error on failure or on a position beyond 32 bits;
  // a refused seek leaves the position where it was.
  long seek(long offset, short origin);
  long tell();

  os_native_handle descriptor() const { return m_handle; }

  // Locks a range of this open file. wait true blocks until granted; wait
  // false answers at once. false: refused (the reason in os_last_error).
  // Throws os_file_toolkit_error when the file is not open or the file
  // system cannot lock at all.
  bool add_lock(const os_file_lock& lock, bool wait);
  // Releases every lock that this open file holds. Throws os_file_toolkit_error.
  void remove_all_locks();

 protected:
  // Opened by a derived class; invariant: m_handle is invalid or owned here.
  os_native_handle m_handle = os_invalid_handle;
  std::string m_path;  // for the text of errors

  // What the backend keeps beside the handle, made when first needed; null
  // while there is nothing to keep.
  std::unique_ptr<os_file_native_state, os_file_native_state_delete> m_native;
};

// Open flags and access modes of Osl_File::open.
inline constexpr int OSL_FILE_CREATE = 0x100;     // create when absent, never truncate
inline constexpr int OSL_FILE_EXCLUSIVE = 0x400;  // with CREATE: fail when it exists
inline constexpr int OSL_ACCESS_READ = 0;
inline constexpr int OSL_ACCESS_WRITE = 1;
inline constexpr int OSL_ACCESS_READ_WRITE = 2;

class Osl_File : public os_file {
 public:
  // Opens path; a file already open in this object is closed first.
  // Throws os_file_toolkit_error with the platform's number.
  void open(const std::string& path, int flags, int access, unsigned long reserved);
};

// The handle calls of the disk media, with 64-bit positions. Each answers
// false on failure and leaves the reason in os_last_error.
// Moves the file pointer (origin 0 start, 1 current, 2 end); newPosition may be null.
bool os_set_file_pointer(os_native_handle handle, std::int64_t offset, int origin,
                         std::int64_t* newPosition);
// Cuts or extends the file at the file pointer.
bool os_set_end_of_file(os_native_handle handle);
// The calling thread's last platform error: errno on POSIX, GetLastError on Win32.
std::uint32_t os_last_error();
// The platform's text for an error number.
std::string os_error_text(std::uint32_t error);
