// Locks belong to the open file, not to the process; a dead process leaves none.
#include <gtest/gtest.h>

#include <atomic>
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

TEST_F(FileLock, TwoOpenFilesOfOneProcessExcludeEachOther) {
  Osl_File first;
  Osl_File second;
  Open(first);
  Open(second);
  ASSERT_TRUE(first.add_lock(os_file_lock(1, 0, 10, 0), false));
  ASSERT_TRUE(first.add_lock(os_file_lock(1, 200, 0, 0), false));
  EXPECT_FALSE(second.add_lock(kWholeFile, false));
  EXPECT_EQ(os_last_error(), native_error::kLockRefused);
  EXPECT_TRUE(first.add_lock(os_file_lock(1, 0, 10, 0), false)) << "refused a lock it holds";
  first.remove_all_locks();  // every range
  EXPECT_TRUE(second.add_lock(kWholeFile, false));
  second.close();  // closing releases as well
  EXPECT_TRUE(first.add_lock(kWholeFile, false));
  EXPECT_THROW(second.add_lock(kWholeFile, false), os_file_toolkit_error);
}

// With per-process locks, closing any other descriptor of the file drops the lock.
TEST_F(FileLock, HeldAcrossProcessesAndOtherDescriptorsClosing) {
  Osl_File holder;
  Open(holder);
  EXPECT_EQ(ChildTryLock(), 0);
  ASSERT_TRUE(holder.add_lock(kWholeFile, false));
  {
    Osl_File other;
    other.open(m_path, 0, OSL_ACCESS_READ, 0);
  }
  EXPECT_EQ(ChildTryLock(), 1);
  holder.remove_all_locks();
  EXPECT_EQ(ChildTryLock(), 0);
}

TEST_F(FileLock, KilledChildLeavesNoLock) {
  const std::string ready = m_dir.Join("ready");
  ChildProcess child({"hold-lock", m_path, ready});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(ready); }));
  Osl_File file;
  Open(file);
  EXPECT_FALSE(file.add_lock(kWholeFile, false));
  child.Kill();
  EXPECT_EQ(child.Wait(), -1);
  // Win32 may free a dead process's locks a moment later.
  EXPECT_TRUE(WaitUntil([&] { return file.add_lock(kWholeFile, false); }));
}

TEST_F(FileLock, WaitingLockIsGrantedWhenTheChildReleases) {
  const std::string ready = m_dir.Join("ready");
  const std::string release = m_dir.Join("release");
  ChildProcess child({"hold-lock", m_path, ready, release});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(ready); }));
  Osl_File file;
  Open(file);
  std::atomic<bool> calling{false}, returned{false}, granted{false};
  std::vector<std::thread> waiter;
  waiter.emplace_back([&] {
    calling = true;
    granted = file.add_lock(kWholeFile, true);
    returned = true;
  });
  EXPECT_TRUE(WaitUntil([&] { return calling.load(); }));
  WriteFile(release, "");
  const auto done = [&] { return returned.load(); };
  EXPECT_TRUE(WaitUntil(done)) << "the lock was not granted when the child let go";
  JoinWithin(waiter, done, [&] { child.Kill(); }, "waiting lock");  // a dead child holds nothing
  EXPECT_TRUE(granted.load());
  EXPECT_EQ(child.Wait(), 0);
}

// The second lock, on another open file, while the first is held (the file has 100 bytes).
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
  }
}

}  // namespace
