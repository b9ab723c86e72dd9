#pragma once
// A fresh virtual tape library per test, and the seam's calls in the short
// form the suites use. Blocks carry their number and a seed, so that a read
// tells which block of which write it got.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fnx_vtape.h"
#include "os_tape.h"
#include "temp_dir.h"

// The content of block `number` written with `seed`.
std::vector<char> BlockContent(std::uint32_t block_size, std::uint64_t number, std::uint32_t seed);

class VtapeTest : public ::testing::Test {
 public:
  // cartridges of blocks blocks with a warning zone of warning blocks; C001 inserted.
  void MakeLibrary(std::uint32_t block_size = 512, std::uint64_t blocks = 64, std::uint64_t warning = 8,
                   unsigned cartridges = 2);
  std::string Device() const { return "vtape:" + m_dir.path(); }
  os_tape_handle Open();
  // The number a call ends with: 0 on success, else the last error.
  std::uint32_t Write(os_tape_handle tape, std::uint64_t first, std::uint32_t count, std::uint32_t seed = 1);
  std::uint32_t Read(os_tape_handle tape, std::uint32_t count, std::uint32_t* done,
                     std::vector<char>* data = nullptr);
  std::uint32_t Seek(os_tape_handle tape, std::uint64_t block);
  std::uint64_t Position(os_tape_handle tape);
  // Opens, takes the 1110 of the insert, and positions at block 0.
  os_tape_handle OpenReady();

  void TearDown() override;

  TempDir m_dir;
  std::vector<os_tape_handle> m_open;  // closed at the end of the test
  std::uint32_t m_block_size = 512;
};
