#pragma once
// Little-endian fields and the FNV-1a checksum of the library's binary files
// (the cartridge header, the position record).
#include <cstddef>
#include <cstdint>

inline void vtape_put(unsigned char* at, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) at[i] = static_cast<unsigned char>(value >> (8 * i));
}

inline std::uint64_t vtape_get(const unsigned char* at, int bytes) {
  std::uint64_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) value = (value << 8) | at[i];
  return value;
}

inline std::uint64_t vtape_checksum(const unsigned char* data, std::size_t size) {
  std::uint64_t hash = 0xcbf29ce484222325ull;
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 0x100000001b3ull;
  return hash;
}
