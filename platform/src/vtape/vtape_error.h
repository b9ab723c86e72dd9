#pragma once
// The one failure of the virtual drive's internals: a platform number of
// os_tape.h (what the seam returns) with a text that says what failed and
// where (what the management calls report).
#include <cstdint>
#include <stdexcept>
#include <string>

#include "os_file.h"

class vtape_error : public std::runtime_error {
 public:
  vtape_error(std::uint32_t number, const std::string& what) : std::runtime_error(what), m_number(number) {}
  std::uint32_t number() const noexcept { return m_number; }

 private:
  std::uint32_t m_number;
};

// A failed file call of the library directory as a drive number: a missing
// entry is "no such drive or library" (2), anything else a device fault (1117).
vtape_error vtape_file_failure(const os_toolkit_error& failure);
// The same for a call that reported through os_last_error.
vtape_error vtape_file_failure(const char* context, const std::string& path, std::uint32_t native);
