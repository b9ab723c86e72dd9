// What os_file does alike on every platform: the closing destructor, and
// the toolkit's 32-bit seek and tell over the platform's 64-bit file pointer.
#include <cstdint>

#include "os_file.h"
#include "os_toolkit_error.h"

os_file::~os_file() {
  try {
    close();
  } catch (...) {
    // Nobody is left to tell; the handle is gone either way.
  }
}

// A refused seek leaves the position where it was, so that the caller may go
// on at the old place after catching the error.
long os_file::seek(long offset, short origin) {
  std::int64_t before = 0;
  if (!os_set_file_pointer(m_handle, 0, 1, &before)) throw os_file_error("seek", m_path, os_last_error());
  std::int64_t position = 0;
  if (!os_set_file_pointer(m_handle, offset, origin, &position)) throw os_file_error("seek", m_path, os_last_error());
  if (position > INT32_MAX) {
    os_set_file_pointer(m_handle, before, 0, nullptr);
    throw os_file_error("seek", m_path, os_error_overflow);
  }
  return static_cast<long>(position);
}

long os_file::tell() { return seek(0, 1); }
