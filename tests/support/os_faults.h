#pragma once
// Faults that the real file system makes only for some users or on some
// platforms, played through the platform layer's table of system calls so
// that a test sees them everywhere and as any user. Each lasts as long as its
// object; one at a time, while no other thread works on files.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// Creating a file or directory directly beneath directory is refused with the
// platform's "access denied", as in a directory without write permission;
// existing files open as before.
class RefuseCreatesIn {
 public:
  explicit RefuseCreatesIn(const std::string& directory);
  ~RefuseCreatesIn();

 private:
  struct Overrides;
  std::unique_ptr<Overrides> m_overrides;
};

// Every file takes at most bytes bytes, as under a per-process file size
// limit: a write across the limit is cut short at it, a write at the limit
// fails ("file too large", on Windows "disk full").
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::int64_t bytes);
  ~FileSizeLimit();

 private:
  struct Overrides;
  std::unique_ptr<Overrides> m_overrides;
};

// Every write call answers success having moved no byte, as a device may
// that takes nothing more without saying why.
class WritesTakeNothing {
 public:
  WritesTakeNothing();
  ~WritesTakeNothing();

 private:
  struct Overrides;
  std::unique_ptr<Overrides> m_overrides;
};

// Every read and write call moves at most bytes bytes, as a pipe or a
// network file system may: the caller has to go on with the rest.
class ShortTransfers {
 public:
  explicit ShortTransfers(std::size_t bytes);
  ~ShortTransfers();

 private:
  struct Overrides;
  std::unique_ptr<Overrides> m_overrides;
};
