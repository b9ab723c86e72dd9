// Locks belong to the open file, not to the process; a dead process leaves none.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "child_process.h"
#include "os_file.h"
#include "osl_directory.h"
#include "temp_dir.h"
#include "toolkit_expect.h"

namespace {

const os_file_lock kWholeFile(1, 0, 0, 0);

class FileLock : public ::testing::Test {
 protected:
  void SetUp() override { WriteFile(m_path, std::string(100, 'd')); }
  void Open(Osl_File& file) { file.open(m_path, 0, OSL_ACCESS_READ_WRITE, 0); }
  // 0 when a second process is granted the whole-file lock, 1 when refused.
  int ChildTryLock() { return ChildProcess({"try-lock", m_path}).Wait(); }

  TempDir m_dir;
  const std::string m_path = m_dir.Join("document");
};

// The second lock, on another open file of this process, while the first is
// held (the file has 100 bytes).
TEST_F(FileLock, RangesAndSharingConflictAsRequested) {
  struct Case {
    os_file_lock first, second;
    bool granted;
  } const cases[] = {
      {{1, 0, 0, 0}, {1, 1 << 20, 1, 0}, false},  // whole file reaches past the end
      {{1, 0, 10, 0}, {1, 10, 10, 0}, true},
      {{1, 0, 10, 0}, {1, 5, 10, 0}, false},
      {{0, 0, 0, 0}, {0, 0, 0, 0}, true},
      {{0, 0, 0, 0}, {1, 0, 0, 0}, false},
      {{1, 0, 0, 0}, {0, 0, 0, 0}, false},
  };
  for (const Case& c : cases) {
    Osl_File first;
    Osl_File second;
    Open(first);
    Open(second);
    ASSERT_TRUE(first.add_lock(c.first, false));
    EXPECT_EQ(second.add_lock(c.second, false), c.granted) << "case " << (&c - cases);
    if (!c.granted) {
      EXPECT_EQ(os_last_error(), native_error::kLockRefused);
    }
  }
}

TEST_F(FileLock, ReleasedByRemovingAllOrClosingAndHeldAcrossProcesses) {
  Osl_File holder;
  Osl_File other;
  Open(holder);
  Open(other);
  EXPECT_EQ(ChildTryLock(), 0);
  ASSERT_TRUE(holder.add_lock(os_file_lock(1, 0, 10, 0), false));
  ASSERT_TRUE(holder.add_lock(os_file_lock(1, 200, 0, 0), false));
  EXPECT_TRUE(holder.add_lock(os_file_lock(1, 0, 10, 0), false)) << "refused a lock it holds";
  {
    // With per-process locks, closing any other descriptor of the file would drop them.
    Osl_File reader;
    reader.open(m_path, 0, OSL_ACCESS_READ, 0);
  }
  EXPECT_EQ(ChildTryLock(), 1);
  EXPECT_FALSE(other.add_lock(kWholeFile, false));
  holder.remove_all_locks();  // every range
  EXPECT_EQ(ChildTryLock(), 0);
  EXPECT_TRUE(other.add_lock(kWholeFile, false));
  other.close();
  EXPECT_TRUE(holder.add_lock(kWholeFile, false));
  EXPECT_THROW(other.add_lock(kWholeFile, false), os_file_toolkit_error);
  EXPECT_THROW(other.remove_all_locks(), os_file_toolkit_error);
}

// Win32 may free a dead process's locks a moment later: the waiting lock
// is bounded, and a thread still blocked at the limit ends the run.
TEST_F(FileLock, WaitingLockIsGrantedWhenTheHolderDies) {
  const std::string ready = m_dir.Join("ready");
  ChildProcess child({"hold-lock", m_path, ready});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(ready); }));
  Osl_File file;
  Open(file);
  EXPECT_FALSE(file.add_lock(kWholeFile, false));
  std::atomic<bool> returned{false}, granted{false};
  std::vector<std::thread> waiter;
  waiter.emplace_back([&] {
    granted = file.add_lock(kWholeFile, true);
    returned = true;
  });
  // 100 ms only bound how long we look at a wait that must not return.
  EXPECT_FALSE(WaitUntil([&] { return returned.load(); }, std::chrono::milliseconds(100))) << "granted while held";
  child.Kill();
  EXPECT_EQ(child.Wait(), -1);
  JoinWithin(waiter, [&] { return returned.load(); }, nullptr, "waiting lock");
  EXPECT_TRUE(granted.load());
}

}  // namespace
