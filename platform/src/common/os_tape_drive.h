#pragma once
// What a backend of the tape seam implements: one open drive. The dispatcher
// (os_tape.cpp) resolves a device name to a backend, owns the open drives by
// handle and keeps the thread's last error; a backend only answers calls.
//
// Each call returns 0 or the platform error number of os_tape.h. An object is
// used by one thread at a time; its destructor gives the drive free.
#include <cstdint>
#include <memory>
#include <string>

class os_tape_drive {
 public:
  virtual ~os_tape_drive() = default;

  virtual std::uint32_t get_parameters(std::uint32_t operation, std::uint32_t* size,
                                       void* record) = 0;
  virtual std::uint32_t set_parameters(std::uint32_t operation, const void* record) = 0;
  virtual std::uint32_t get_status() = 0;
  virtual std::uint32_t get_position(std::uint32_t type, std::uint32_t* partition,
                                     std::uint32_t* offsetLow, std::uint32_t* offsetHigh) = 0;
  virtual std::uint32_t set_position(std::uint32_t method, std::uint32_t partition,
                                     std::uint32_t offsetLow, std::uint32_t offsetHigh,
                                     bool immediate) = 0;
  virtual std::uint32_t prepare(std::uint32_t operation, bool immediate) = 0;
  virtual std::uint32_t erase(std::uint32_t type, bool immediate) = 0;
  virtual std::uint32_t create_partition(std::uint32_t method, std::uint32_t count,
                                         std::uint32_t size) = 0;
  virtual std::uint32_t write_tapemark(std::uint32_t type, std::uint32_t count,
                                       bool immediate) = 0;
  // done: the bytes moved, also on failure.
  virtual std::uint32_t read(void* buffer, std::uint32_t length, std::uint32_t* done) = 0;
  virtual std::uint32_t write(const void* buffer, std::uint32_t length, std::uint32_t* done) = 0;
};

// The backends' openers. Each returns the open drive, or null with the
// platform number in *error.
// The virtual drive of a library directory (platform/src/vtape).
std::unique_ptr<os_tape_drive> os_tape_open_virtual(const std::string& directory,
                                                    std::uint32_t* error);
// The operating system's drive (platform/src/win32/os_tape_win32.cpp,
// platform/src/posix/os_tape_linux.cpp).
std::unique_ptr<os_tape_drive> os_tape_open_system(const std::string& name,
                                                   std::uint32_t* error);
// The operating system's text for a number; empty when it has none.
std::string os_tape_system_error_text(std::uint32_t error);

// Names that this process registered for virtual drives: a later open of the
// name reaches the virtual drive of the directory. A name registered again
// takes the new directory.
void os_tape_register_virtual(const std::string& name, const std::string& directory);
