// Feeds arbitrary bytes to the count of a date directory: the first byte
// chooses the operation and the limit, the second how many other entries lie
// beside "dirfile.txt" (its top bit: no "dirfile.txt" at all), the rest is
// the text of "dirfile.txt". Whatever the text holds, a directory that admits
// a file counts at least that file and never more than its limit, a full one
// leaves its count untouched, and nothing but FNXError escapes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "dal_configuration_filesystem.h"
#include "fnx_error.h"
#include "os_text.h"

namespace {

namespace fs = std::filesystem;

struct Scratch {
  fs::path directory;
  Scratch() {
    directory = fs::temp_directory_path() / ("fnx_dirfile_fuzz_" + RandomNumber());
    fs::create_directories(directory);
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(directory, ignored);
  }
};

std::string WholeFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Scratch scratch;
  if (size < 2) return 0;
  const int operation = (data[0] & 1) + 1;
  const int limit = data[0] >> 1;  // 0 to 127; below 10 a full directory is an error
  const bool withDirFile = (data[1] & 0x80) == 0;
  const int others = data[1] & 7;

  for (const fs::directory_entry& entry : fs::directory_iterator(scratch.directory)) fs::remove(entry.path());
  for (int i = 0; i < others; ++i) std::ofstream(scratch.directory / ("fnx_das_" + std::to_string(i)));
  const fs::path dirFile = scratch.directory / "dirfile.txt";
  if (withDirFile) std::ofstream(dirFile, std::ios::binary).write(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::string directory = scratch.directory.string();

  const std::string before = withDirFile ? WholeFile(dirFile) : std::string();
  (void)CFnx_Dal_ConfigurationFileSystem::ReadDirFileCount(directory);
  bool admitted = false;
  try {
    admitted = CFnx_Dal_ConfigurationFileSystem::UpdateDirFile(directory, operation, limit);
  } catch (const FNXError&) {
    return 0;
  }
  const long after = CFnx_Dal_ConfigurationFileSystem::ReadDirFileCount(directory);
  if (operation == 1) {
    if (admitted && (after < 1 || after > limit + 1)) std::abort();
    if (!admitted && withDirFile && WholeFile(dirFile) != before) std::abort();
  }
  return 0;
}
