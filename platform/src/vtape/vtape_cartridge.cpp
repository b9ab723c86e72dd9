// Cartridge images: the header check, block reads and writes, the cut.
#include "vtape_cartridge.h"

#include <cstring>
#include <vector>

#include "os_tape.h"
#include "vtape_bytes.h"
#include "vtape_error.h"

namespace {

constexpr char kMagic[8] = {'F', 'N', 'X', 'V', 'T', 'A', 'P', 'E'};
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kNameSize = 16;
constexpr std::size_t kChecked = 48;  // bytes the checksum covers
constexpr std::size_t kFields = 56;   // the header's fields; zeros follow them

vtape_error Damaged(const std::string& path, const std::string& why) {
  return vtape_error(OS_TAPE_FILE_CORRUPT, "cartridge image '" + path + "' " + why);
}

}  // namespace

void vtape_cartridge::create(const std::string& path, const std::string& name, std::uint32_t block_size,
                             std::uint64_t capacity_blocks, std::uint64_t warning_blocks) {
  if (name.empty() || name.size() > kNameSize)
    throw vtape_error(OS_TAPE_INVALID_PARAMETER, "cartridge name '" + name + "' must have 1 to 16 characters");
  std::vector<unsigned char> image(kHeaderSize);
  unsigned char* header = image.data();
  std::memcpy(header, kMagic, sizeof kMagic);
  vtape_put(header + 8, kVersion, 4);
  vtape_put(header + 12, block_size, 4);
  vtape_put(header + 16, capacity_blocks, 8);
  vtape_put(header + 24, warning_blocks, 8);
  std::memcpy(header + 32, name.data(), name.size());
  vtape_put(header + 48, vtape_checksum(header, kChecked), 8);
  try {
    Osl_File file;
    file.open(path, OSL_FILE_CREATE, OSL_ACCESS_WRITE, 0);
    if (!os_set_end_of_file(file.descriptor())) throw vtape_file_failure("truncate", path, os_last_error());
    if (file.write(header, static_cast<int>(kHeaderSize)) != static_cast<int>(kHeaderSize))
      throw vtape_file_failure("write", path, os_last_error());
    file.close();
  } catch (const os_toolkit_error& failure) {
    throw vtape_file_failure(failure);
  }
}

void vtape_cartridge::open(const std::string& path, const std::string& name, std::uint32_t block_size,
                           bool for_writing) {
  close();
  m_path = path;
  try {
    m_file.open(path, 0, for_writing ? OSL_ACCESS_READ_WRITE : OSL_ACCESS_READ, 0);
  } catch (const os_toolkit_error& failure) {
    const vtape_error error = vtape_file_failure(failure);
    if (error.number() == OS_TAPE_FILE_NOT_FOUND) throw Damaged(path, "is missing");
    throw error;
  }
  try {
    unsigned char header[kFields];
    const int got = m_file.read(header, static_cast<int>(kFields));
    if (got < 0) throw vtape_file_failure("read", path, os_last_error());
    if (got != static_cast<int>(kFields)) throw Damaged(path, "is shorter than its header");
    if (std::memcmp(header, kMagic, sizeof kMagic) != 0) throw Damaged(path, "is no cartridge image");
    if (vtape_get(header + 48, 8) != vtape_checksum(header, kChecked)) throw Damaged(path, "has a damaged header");
    if (vtape_get(header + 8, 4) != kVersion) throw Damaged(path, "has an unknown version");
    m_block_size = static_cast<std::uint32_t>(vtape_get(header + 12, 4));
    m_capacity = vtape_get(header + 16, 8);
    m_warning = vtape_get(header + 24, 8);
    std::string stored(reinterpret_cast<const char*>(header + 32), kNameSize);
    stored.resize(stored.find('\0') == std::string::npos ? kNameSize : stored.find('\0'));
    if (stored != name) throw Damaged(path, "belongs to cartridge '" + stored + "', not '" + name + "'");
    if (m_block_size != block_size)
      throw Damaged(path, "says block size " + std::to_string(m_block_size) + ", the library " +
                              std::to_string(block_size));
    std::int64_t size = 0;
    if (!os_set_file_pointer(m_file.descriptor(), 0, 2, &size)) throw vtape_file_failure("seek", path, os_last_error());
    if (size < static_cast<std::int64_t>(kHeaderSize)) throw Damaged(path, "is shorter than its header");
    m_file_position = size;
    m_end = m_block_size ? static_cast<std::uint64_t>(size - kHeaderSize) / m_block_size : 0;
    if (m_end > m_capacity) throw Damaged(path, "holds more blocks than its capacity");
  } catch (...) {
    close();
    throw;
  }
}

void vtape_cartridge::close() {
  try {
    m_file.close();
  } catch (const os_toolkit_error&) {
    // The image was only read or already written through; nothing is lost.
  }
  m_file_position = -1;
  m_end = 0;
}

std::uint32_t vtape_cartridge::seek(std::uint64_t block) {
  const std::int64_t offset = static_cast<std::int64_t>(kHeaderSize + block * m_block_size);
  if (offset == m_file_position) return 0;
  if (!os_set_file_pointer(m_file.descriptor(), offset, 0, nullptr)) {
    m_file_position = -1;
    return OS_TAPE_IO_DEVICE;
  }
  m_file_position = offset;
  return 0;
}

std::uint32_t vtape_cartridge::read(std::uint64_t first, std::uint64_t count, void* buffer) {
  if (const std::uint32_t error = seek(first)) return error;
  const int length = static_cast<int>(count * m_block_size);
  const int got = m_file.read(buffer, length);
  if (got != length) {
    m_file_position = -1;
    return got < 0 ? OS_TAPE_IO_DEVICE : OS_TAPE_CRC;  // the image shrank behind our back
  }
  m_file_position += got;
  return 0;
}

std::uint32_t vtape_cartridge::cut(std::uint64_t block) {
  m_file_position = -1;
  if (!os_set_file_pointer(m_file.descriptor(), static_cast<std::int64_t>(kHeaderSize + block * m_block_size), 0,
                           nullptr) ||
      !os_set_end_of_file(m_file.descriptor()))
    return OS_TAPE_IO_DEVICE;
  m_file_position = static_cast<std::int64_t>(kHeaderSize + block * m_block_size);
  m_end = block;
  return 0;
}

std::uint32_t vtape_cartridge::write(std::uint64_t first, std::uint64_t count, const void* buffer) {
  // Cut first: a crash after the cut leaves a shorter tape, never old blocks
  // behind new ones.
  if (first < m_end)
    if (const std::uint32_t error = cut(first)) return error;
  if (const std::uint32_t error = seek(first)) return error;
  const int length = static_cast<int>(count * m_block_size);
  if (m_file.write(buffer, length) != length) {
    cut(first);  // a part of a write must not count as data
    return OS_TAPE_IO_DEVICE;
  }
  m_file_position += length;
  m_end = first + count;
  return 0;
}

std::uint32_t vtape_cartridge::erase_from(std::uint64_t first) { return first < m_end ? cut(first) : 0; }
