#pragma once
// A cartridge image: a header of kHeaderSize bytes written once when the
// cartridge is made, then the blocks, back to back, block n at
// kHeaderSize + n * block size. The header fills 64 KiB so that 64 KiB
// transfers meet 64 KiB boundaries of the file, where the file system's page
// cache works in its largest pieces. The end of the data is the image's size
// rounded down to a whole block: a process killed inside a block write leaves
// a partial block behind the data, which nothing reads and the next write at
// that place covers. No write ever touches a block before the one it writes,
// so the blocks before a write read back unchanged whatever happens to it.
//
// Header (little-endian): "FNXVTAPE", version, block size, capacity blocks,
// warning blocks, the cartridge's name (16 bytes), and an FNV-1a checksum of
// the fields before it.
#include <cstdint>
#include <string>

#include "os_file.h"

class vtape_cartridge {
 public:
  static constexpr std::uint32_t kHeaderSize = 65536;

  // Makes a blank cartridge image, replacing a file of that name (what an
  // interrupted creation of the library left). Throws vtape_error.
  static void create(const std::string& path, const std::string& name, std::uint32_t block_size,
                     std::uint64_t capacity_blocks, std::uint64_t warning_blocks);

  // Opens an image, checking its header against the library's entry for it.
  // Throws vtape_error: 1392 for a damaged, truncated or foreign image.
  void open(const std::string& path, const std::string& name, std::uint32_t block_size, bool for_writing);
  void close();
  bool is_open() const { return m_file.is_open(); }

  std::uint32_t block_size() const { return m_block_size; }
  std::uint64_t capacity_blocks() const { return m_capacity; }
  std::uint64_t warning_blocks() const { return m_warning; }
  std::uint64_t end_of_data() const { return m_end; }

  // Reads count blocks at block first, all before the end of the data.
  // Returns 0 or a platform number.
  std::uint32_t read(std::uint64_t first, std::uint64_t count, void* buffer);
  // Writes count blocks at block first (at most the end of the data), which
  // becomes the end of the data behind them; what stood behind first is cut
  // off first. On failure nothing of the write stays. Returns 0 or a number.
  std::uint32_t write(std::uint64_t first, std::uint64_t count, const void* buffer);
  // Cuts the data at block first.
  std::uint32_t erase_from(std::uint64_t first);

 private:
  std::uint32_t seek(std::uint64_t block);
  std::uint32_t cut(std::uint64_t block);

  Osl_File m_file;
  std::string m_path;
  std::uint32_t m_block_size = 0;
  std::uint64_t m_capacity = 0;
  std::uint64_t m_warning = 0;
  std::uint64_t m_end = 0;            // blocks [0, m_end) hold data
  std::int64_t m_file_position = -1;  // where the descriptor stands; -1 unknown
};
