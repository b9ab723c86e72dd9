// The virtual drive suites' command of fnx_test_child (test_child.h).
#include <chrono>
#include <fstream>
#include <vector>

#include "os_tape.h"
#include "test_child.h"

int WriteTapeBlocks(const ChildArgs& args) {
  const os_tape_handle tape = os_tape_open("vtape:" + args[0]);
  if (tape == os_tape_invalid_handle) return 1;
  std::ofstream ack(args[1]);
  std::uint32_t partition = 0, block = 0, high = 0, done = 0;
  os_tape_get_status(tape);  // takes the 1110 of the insert
  os_tape_set_position(tape, OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false);
  os_tape_get_position(tape, OS_TAPE_LOGICAL_POSITION, &partition, &block, &high);
  std::vector<std::uint64_t> words(16 * 64);
  const auto stop = std::chrono::steady_clock::now() + std::chrono::minutes(2);  // a parent gone
  while (std::chrono::steady_clock::now() < stop) {
    if (block > 8192 && os_tape_set_position(tape, OS_TAPE_REWIND, 0, 0, 0, false) == 0) block = 0;
    ack << block << std::endl;
    for (std::size_t i = 0; i < words.size(); ++i) words[i] = block + i / 64;
    if (!os_tape_write(tape, words.data(), 16 * 512, &done)) return 2;
    block += 16;
  }
  return 0;
}
