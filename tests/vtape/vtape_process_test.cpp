// The virtual drive between processes: exclusive use, a holder that dies,
// and writers killed at random points of their writes.
#include <chrono>
#include <random>
#include <thread>

#include "child_process.h"
#include "osl_directory.h"
#include "vtape_fixture.h"

namespace {

TEST_F(VtapeTest, AnotherProcessHoldingTheDriveRefusesUsAndSeesOurFaults) {
  MakeLibrary();
  const std::string ready = m_dir.Join("ready"), release = m_dir.Join("release");
  ChildProcess holder("vtape_helper", {"hold", m_dir.path(), ready, release});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(ready); }));
  EXPECT_EQ(os_tape_open(Device()), os_tape_invalid_handle);
  EXPECT_EQ(os_tape_last_error(), OS_TAPE_SHARING_VIOLATION);
  FnxVtapeFault fault;
  fault.call = "get_status";
  fault.error = OS_TAPE_CRC;
  FnxVtapeScriptFault(m_dir.path(), fault);
  WriteFile(release, "");
  EXPECT_EQ(holder.Wait(), 0);
  EXPECT_EQ(ReadFile(ready), "23") << "the holder's next call met the fault scripted meanwhile";
}

TEST_F(VtapeTest, AProcessThatDiesHoldingTheDriveHoldsItNoMore) {
  MakeLibrary();
  ChildProcess holder("vtape_helper", {"hold", m_dir.path(), m_dir.Join("ready"), m_dir.Join("release")});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(m_dir.Join("ready")); }));
  holder.Kill();
  EXPECT_EQ(holder.Wait(), -1);
  EXPECT_NE(Open(), os_tape_invalid_handle);
}

// The last complete line of a writer's acknowledgements: the end of the data
// that a returned write vouched for (0 before the first).
std::uint64_t LastAcknowledged(const std::string& path) {
  const std::string text = Osl_File_System::exists(path) ? ReadFile(path) : std::string();
  const std::size_t end = text.rfind('\n');
  if (end == std::string::npos) return 0;
  const std::size_t start = text.rfind('\n', end - 1);
  return std::stoull(text.substr(start == std::string::npos ? 0 : start + 1, end));
}

TEST_F(VtapeTest, AWriterKilledAnywhereLeavesEveryVouchedBlockReadable) {
  MakeLibrary(512, 1 << 16, 64, 1);
  std::mt19937 random(7);
  for (int run = 0; run < 12; ++run) {
    SCOPED_TRACE("run " + std::to_string(run));
    const std::string ack = m_dir.Join("ack" + std::to_string(run));
    {
      ChildProcess writer("vtape_helper", {"write", m_dir.path(), ack});
      ASSERT_TRUE(WaitUntil([&] { return LastAcknowledged(ack) > 0; }));
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
      writer.Kill();
      ASSERT_EQ(writer.Wait(), -1) << "the writer ended by itself";
    }
    const std::uint64_t vouched = LastAcknowledged(ack);
    // The next process takes the drive at once, and finds every block whole.
    const os_tape_handle tape = Open();
    ASSERT_NE(tape, os_tape_invalid_handle);
    os_tape_get_status(tape);
    ASSERT_EQ(os_tape_set_position(tape, OS_TAPE_SPACE_END_OF_DATA, 0, 0, 0, false), 0u);
    const std::uint64_t end = Position(tape);
    EXPECT_GE(end, vouched);
    ASSERT_EQ(Seek(tape, 0), end == 0 ? OS_TAPE_NO_DATA_DETECTED : 0u);
    for (std::uint64_t block = 0; block < end;) {
      std::uint32_t done = 0;
      std::vector<char> data;
      ASSERT_EQ(Read(tape, 128, &done, &data), 0u) << "block " << block;
      for (std::uint32_t i = 0; i < done / 512; ++i, ++block)
        ASSERT_TRUE(std::equal(data.begin() + i * 512, data.begin() + (i + 1) * 512,
                               BlockContent(512, block, 1).begin()))
            << "block " << block;
    }
    os_tape_close(tape);
  }
}

}  // namespace
