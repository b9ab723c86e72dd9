// The second process of the virtual drive suites:
//   hold <directory> <ready> <release>: open the drive, create <ready>, hold
//     the drive until <release> exists, then write the number of a status
//     call to <ready>
//   write <directory> <ack>: append 64 KiB writes of numbered blocks at the
//     end of the data (from block 0 again past 8 MiB) until killed; after
//     each returned write a line "<end block>" goes to <ack>
// Exit 1 when the drive cannot be opened, 2 on any other failure, 64 on bad usage.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "child_process.h"
#include "os_tape.h"
#include "osl_directory.h"
#include "temp_dir.h"
#include "vtape_fixture.h"

namespace {

int Hold(const std::string& directory, const std::string& ready, const std::string& release) {
  const os_tape_handle tape = os_tape_open("vtape:" + directory);
  if (tape == os_tape_invalid_handle) return 1;
  WriteFile(ready, "");
  // A child left behind by a crashed test ends by itself.
  WaitUntil([&] { return Osl_File_System::exists(release); }, std::chrono::minutes(2));
  WriteFile(ready, std::to_string(os_tape_get_status(tape)));
  os_tape_close(tape);
  return 0;
}

int Write(const std::string& directory, const std::string& ack) {
  const os_tape_handle tape = os_tape_open("vtape:" + directory);
  if (tape == os_tape_invalid_handle) return 1;
  std::FILE* out = std::fopen(ack.c_str(), "w");
  if (!out) return 2;
  os_tape_get_status(tape);  // takes a 1110 that may be owed
  if (os_tape_set_position(tape, OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false) != 0) return 2;
  std::uint32_t partition = 0, low = 0, high = 0;
  if (os_tape_get_position(tape, OS_TAPE_LOGICAL_POSITION, &partition, &low, &high) != 0) return 2;
  std::uint64_t block = low;
  constexpr std::uint32_t kBlock = 512, kPerWrite = 128;
  if (block > 16384) {
    block = 0;
    if (os_tape_set_position(tape, OS_TAPE_REWIND, 0, 0, 0, false) != 0) return 2;
  }
  std::vector<char> data(kBlock * kPerWrite);
  for (;;) {
    for (std::uint32_t i = 0; i < kPerWrite; ++i) {
      const auto content = BlockContent(kBlock, block + i, 1);
      std::copy(content.begin(), content.end(), data.begin() + static_cast<std::ptrdiff_t>(i * kBlock));
    }
    std::uint32_t done = 0;
    if (!os_tape_write(tape, data.data(), static_cast<std::uint32_t>(data.size()), &done)) return 2;
    block += kPerWrite;
    std::fprintf(out, "%llu\n", static_cast<unsigned long long>(block));
    std::fflush(out);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  try {
    if (command == "hold" && argc == 5) return Hold(argv[2], argv[3], argv[4]);
    if (command == "write" && argc == 4) return Write(argv[2], argv[3]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "vtape_helper: %s\n", failure.what());
    return 2;
  }
  std::fprintf(stderr, "usage: vtape_helper hold <directory> <ready> <release> | write <directory> <ack>\n");
  return 64;
}
