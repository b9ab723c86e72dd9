#pragma once
// The toolkit's exceptions, which reach the host from the file and status
// calls of the library.
#include <cstdint>
#include <stdexcept>
#include <string>

#include "fnx_export.h"

// Exceptions of the toolkit's file and status calls; native() is the
// platform's error number (errno, or GetLastError on Win32).
class FNX_API os_toolkit_error : public std::runtime_error {
 public:
  os_toolkit_error(const std::string& what, std::uint32_t native);
  ~os_toolkit_error() override;
  std::uint32_t native() const noexcept { return m_native; }

 private:
  std::uint32_t m_native;
};

class FNX_API os_file_toolkit_error : public os_toolkit_error {
 public:
  using os_toolkit_error::os_toolkit_error;
  ~os_file_toolkit_error() override;
};

class FNX_API os_io_toolkit_error : public os_toolkit_error {
 public:
  using os_toolkit_error::os_toolkit_error;
  ~os_io_toolkit_error() override;
};
