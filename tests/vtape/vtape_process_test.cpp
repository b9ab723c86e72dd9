// The virtual drive between processes: a writer has it alone, and killed
// anywhere frees it with every block it vouched for whole.
#include <chrono>
#include <cstring>
#include <random>
#include <thread>

#include "child_process.h"
#include "osl_directory.h"
#include "vtape_fixture.h"

namespace {

// The last whole line of a writer's acknowledgements; empty before the first.
std::string LastLine(const std::string& path) {
  const std::string text = Osl_File_System::exists(path) ? ReadFile(path) : std::string();
  const std::size_t end = text.rfind('\n');
  if (end == std::string::npos) return "";
  const std::size_t start = end == 0 ? 0 : text.rfind('\n', end - 1) + 1;  // npos + 1 is 0
  return text.substr(start, end - start);
}

TEST_F(VtapeTest, AWriterHasTheDriveAloneAndKilledLeavesItFreeWithEveryVouchedBlock) {
  MakeLibrary(16384);
  std::mt19937 random(7);
  for (int run = 0; run < 10; ++run) {
    SCOPED_TRACE("run " + std::to_string(run));
    const std::string ack = m_dir.Join("ack" + std::to_string(run));
    ChildProcess writer({"vtape-write", m_dir.path(), ack});
    ASSERT_TRUE(WaitUntil([&] { return !LastLine(ack).empty(); }));
    if (run == 0) {
      EXPECT_EQ(os_tape_open("vtape:" + m_dir.path()), os_tape_invalid_handle);
      EXPECT_EQ(os_tape_last_error(), OS_TAPE_SHARING_VIOLATION);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    writer.Kill();
    ASSERT_EQ(writer.Wait(), -1) << "the writer ended by itself";
    const os_tape_handle tape = Open();
    ASSERT_EQ(os_tape_set_position(tape, OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false), 0u);
    const std::uint64_t end = Position(tape);
    EXPECT_GE(end, std::stoull(LastLine(ack)));
    std::string data(end * 512, '\0');
    ASSERT_EQ(os_tape_set_position(tape, OS_TAPE_REWIND, 0, 0, 0, false), 0u);
    ASSERT_EQ(Transfer(tape, false, data), 0u);
    for (std::uint64_t word = 0, number = 0; word < end * 64; ++word) {
      std::memcpy(&number, data.data() + word * 8, 8);
      ASSERT_EQ(number, word / 64) << "each word of a block holds the block's number";
    }
    os_tape_close(tape);
  }
}

}  // namespace
