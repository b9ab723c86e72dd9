#include "vtape_fixture.h"

#include <cstring>

std::vector<char> BlockContent(std::uint32_t block_size, std::uint64_t number, std::uint32_t seed) {
  std::vector<char> block(block_size);
  std::uint64_t state = number * 0x9E3779B97F4A7C15ull + seed;
  for (std::uint32_t i = 0; i < block_size; ++i) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    block[i] = static_cast<char>(state >> 56);
  }
  std::memcpy(block.data(), &number, sizeof number);
  std::memcpy(block.data() + sizeof number, &seed, sizeof seed);
  return block;
}

void VtapeTest::MakeLibrary(std::uint32_t block_size, std::uint64_t blocks, std::uint64_t warning,
                            unsigned cartridges) {
  m_block_size = block_size;
  FnxVtapeLibraryShape shape;
  shape.cartridges = cartridges;
  shape.blockSize = block_size;
  shape.capacityBytes = blocks * (block_size ? block_size : 512);
  shape.warningBytes = warning * (block_size ? block_size : 512);
  FnxVtapeCreateLibrary(m_dir.path(), shape);
  FnxVtapeInsert(m_dir.path(), "C001");
}

os_tape_handle VtapeTest::Open() {
  const os_tape_handle tape = os_tape_open(Device());
  EXPECT_NE(tape, os_tape_invalid_handle) << os_tape_last_error();
  m_open.push_back(tape);
  return tape;
}

os_tape_handle VtapeTest::OpenReady() {
  const os_tape_handle tape = Open();
  EXPECT_EQ(os_tape_get_status(tape), OS_TAPE_MEDIA_CHANGED);
  EXPECT_EQ(os_tape_get_status(tape), 0u);
  return tape;
}

std::uint32_t VtapeTest::Write(os_tape_handle tape, std::uint64_t first, std::uint32_t count, std::uint32_t seed) {
  std::vector<char> data;
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto block = BlockContent(m_block_size, first + i, seed);
    data.insert(data.end(), block.begin(), block.end());
  }
  std::uint32_t done = 0;
  if (os_tape_write(tape, data.data(), static_cast<std::uint32_t>(data.size()), &done)) {
    EXPECT_EQ(done, data.size());
    return 0;
  }
  EXPECT_EQ(done, 0u);
  return os_tape_last_error();
}

std::uint32_t VtapeTest::Read(os_tape_handle tape, std::uint32_t count, std::uint32_t* done,
                              std::vector<char>* data) {
  std::vector<char> buffer(static_cast<std::size_t>(count) * m_block_size);
  const bool ok = os_tape_read(tape, buffer.data(), static_cast<std::uint32_t>(buffer.size()), done);
  buffer.resize(*done);
  if (data) *data = buffer;
  return ok ? 0 : os_tape_last_error();
}

std::uint32_t VtapeTest::Seek(os_tape_handle tape, std::uint64_t block) {
  return os_tape_set_position(tape, OS_TAPE_LOGICAL_BLOCK, 0, static_cast<std::uint32_t>(block),
                              static_cast<std::uint32_t>(block >> 32), false);
}

std::uint64_t VtapeTest::Position(os_tape_handle tape) {
  std::uint32_t partition = 9, low = 0, high = 0;
  EXPECT_EQ(os_tape_get_position(tape, OS_TAPE_LOGICAL_POSITION, &partition, &low, &high), 0u);
  return (static_cast<std::uint64_t>(high) << 32) | low;
}

void VtapeTest::TearDown() {
  for (const auto tape : m_open) os_tape_close(tape);
}
