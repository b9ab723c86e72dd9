#pragma once
// A fresh virtual tape library per test, its cartridges C001 and C002 of 512-byte
// blocks with an early-warning zone of 8, C001 in the drive; the seam's calls in short.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fnx_vtape.h"
#include "os_tape.h"
#include "temp_dir.h"

class VtapeTest : public ::testing::Test {
 public:
  void MakeLibrary(std::uint64_t blocks = 64) {
    FnxVtapeCreateLibrary(m_dir.path(), {2, 512, blocks * 512, 8 * 512});
    FnxVtapeInsert(m_dir.path(), "C001");
  }
  os_tape_handle Open() {  // closed at the end of the test
    m_open.push_back(os_tape_open("vtape:" + m_dir.path()));
    EXPECT_NE(m_open.back(), os_tape_invalid_handle) << os_tape_last_error();
    return m_open.back();
  }
  // A read or write of data's length: 0 or the last error; data keeps what was read.
  std::uint32_t Transfer(os_tape_handle tape, bool write, std::string& data) {
    std::uint32_t done = 7, size = static_cast<std::uint32_t>(data.size());
    const bool ok =
        write ? os_tape_write(tape, data.data(), size, &done) : os_tape_read(tape, data.data(), size, &done);
    EXPECT_TRUE(ok ? !write || done == size : done == 0) << "a write moves all, a failed call nothing";
    data.resize(done);
    return ok ? 0 : os_tape_last_error();
  }
  // The logical position, or the number the call ends with when that is not 0.
  std::uint64_t Position(os_tape_handle tape) {
    std::uint32_t partition = 0, low = 0, high = 0;
    const std::uint32_t error = os_tape_get_position(tape, OS_TAPE_LOGICAL_POSITION, &partition, &low, &high);
    return error ? error : static_cast<std::uint64_t>(high) << 32 | low;
  }
  void TearDown() override {
    for (const auto tape : m_open) os_tape_close(tape);
  }

  TempDir m_dir;
  std::vector<os_tape_handle> m_open;
};
