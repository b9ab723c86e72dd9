// Locks of os_file belong to the open file: two objects of one process
// exclude each other as two processes do, closing another descriptor of the
// same file drops nothing, and a process that dies leaves no lock behind.
// The second process is platform_child.
#include <gtest/gtest.h>

#include <atomic>
#include <ostream>
#include <string>
#include <thread>

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

  // A fresh open of the document, as a second writer makes it.
  void Open(Osl_File& file) { file.open(m_path, 0, OSL_ACCESS_READ_WRITE, 0); }

  // Exit code of a child that tries the whole-file lock: 0 granted, 1 refused.
  int ChildTryLock() { return ChildProcess("platform_child", {"try-lock", m_path}).Wait(); }

  TempDir m_dir;
  const std::string m_path = m_dir.Join("document");
};

TEST_F(FileLock, TwoOpenFilesOfOneProcessExcludeEachOther) {
  Osl_File first;
  Osl_File second;
  Open(first);
  Open(second);
  ASSERT_TRUE(first.add_lock(kWholeFile, false));
  EXPECT_FALSE(second.add_lock(kWholeFile, false)) << "the lock belongs to the process, not to the open file";
  EXPECT_EQ(os_last_error(), native_error::kLockRefused) << "a refusal must leave its reason";
  EXPECT_TRUE(first.add_lock(kWholeFile, false)) << "an open file was refused a lock it holds";

  first.remove_all_locks();
  EXPECT_TRUE(second.add_lock(kWholeFile, false));
  EXPECT_FALSE(first.add_lock(kWholeFile, false));

  second.close();  // closing releases as well
  EXPECT_TRUE(first.add_lock(kWholeFile, false));
}

// With per-process locks, closing any descriptor of the file would drop the
// lock that another object of the process holds.
TEST_F(FileLock, ClosingAnotherOpenOfTheFileKeepsTheLock) {
  Osl_File holder;
  Open(holder);
  ASSERT_TRUE(holder.add_lock(kWholeFile, false));
  {
    Osl_File reader;
    reader.open(m_path, 0, OSL_ACCESS_READ, 0);
    char c = 0;
    EXPECT_EQ(reader.read(&c, 1), 1);
    reader.close();
  }
  {
    Osl_File other;
    Open(other);
  }  // closed by the destructor
  EXPECT_EQ(ChildTryLock(), 1) << "the lock vanished when another descriptor was closed";
  Osl_File third;
  Open(third);
  EXPECT_FALSE(third.add_lock(kWholeFile, false));
}

TEST_F(FileLock, ParentLockRefusesTheChild) {
  Osl_File holder;
  Open(holder);
  EXPECT_EQ(ChildTryLock(), 0) << "no lock yet";
  ASSERT_TRUE(holder.add_lock(kWholeFile, false));
  EXPECT_EQ(ChildTryLock(), 1);
  holder.remove_all_locks();
  EXPECT_EQ(ChildTryLock(), 0);
}

TEST_F(FileLock, KilledChildLeavesNoLock) {
  const std::string ready = m_dir.Join("ready");
  ChildProcess child("platform_child", {"hold-lock", m_path, ready});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(ready); })) << "the child did not lock";
  Osl_File file;
  Open(file);
  EXPECT_FALSE(file.add_lock(kWholeFile, false)) << "the child's lock did not hold";
  child.Kill();
  EXPECT_EQ(child.Wait(), -1);
  // The system frees a dead process's locks; Win32 may take a moment.
  EXPECT_TRUE(WaitUntil([&] { return file.add_lock(kWholeFile, false); })) << "the dead child's lock stayed";
}

// A waiting lock is granted once the other process lets go; a waiting call
// that answered "refused" instead would let a writer give up.
TEST_F(FileLock, WaitingLockIsGrantedWhenTheChildReleases) {
  const std::string ready = m_dir.Join("ready");
  const std::string release = m_dir.Join("release");
  ChildProcess child("platform_child", {"hold-lock", m_path, ready, release});
  ASSERT_TRUE(WaitUntil([&] { return Osl_File_System::exists(ready); })) << "the child did not lock";

  Osl_File file;
  Open(file);
  std::atomic<bool> calling{false};
  std::atomic<bool> granted{false};
  std::thread waiter([&] {
    calling = true;
    granted = file.add_lock(kWholeFile, true);
  });
  ASSERT_TRUE(WaitUntil([&] { return calling.load(); }));
  WriteFile(release, "");
  waiter.join();  // bounded: the child lets go at once, and dies within its lifetime at the latest
  EXPECT_TRUE(granted.load());
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(ChildTryLock(), 1) << "the granted lock is not held";
}

struct RangeCase {
  const char* name;
  os_file_lock first;
  os_file_lock second;
  bool granted;  // the second, on another open file, while the first is held
};

// The document lock is always the whole file; the ranges show what "whole"
// means: from 0 to the end and beyond, also past the current size (100 bytes).
const RangeCase kRangeCases[] = {
    {"WholeAgainstWhole", {1, 0, 0, 0}, {1, 0, 0, 0}, false},
    {"WholeAgainstInside", {1, 0, 0, 0}, {1, 50, 10, 0}, false},
    {"WholeAgainstBeyondTheEnd", {1, 0, 0, 0}, {1, 1 << 20, 1, 0}, false},
    {"RangeAgainstAdjacentRange", {1, 0, 10, 0}, {1, 10, 10, 0}, true},
    {"RangeAgainstOverlappingRange", {1, 0, 10, 0}, {1, 5, 10, 0}, false},
    {"SharedAgainstShared", {0, 0, 0, 0}, {0, 0, 0, 0}, true},
    {"SharedAgainstExclusive", {0, 0, 0, 0}, {1, 0, 0, 0}, false},
    {"ExclusiveAgainstShared", {1, 0, 0, 0}, {0, 0, 0, 0}, false},
};

void PrintTo(const RangeCase& c, std::ostream* out) { *out << c.name; }

class FileLockRange : public FileLock, public ::testing::WithParamInterface<RangeCase> {};

TEST_P(FileLockRange, ConflictsAsRequested) {
  const RangeCase& c = GetParam();
  Osl_File first;
  Osl_File second;
  Open(first);
  Open(second);
  ASSERT_TRUE(first.add_lock(c.first, false));
  EXPECT_EQ(second.add_lock(c.second, false), c.granted);
  first.remove_all_locks();
  EXPECT_TRUE(second.add_lock(c.second, false)) << "remove_all_locks left a lock";
}

INSTANTIATE_TEST_SUITE_P(Cases, FileLockRange, ::testing::ValuesIn(kRangeCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FileLock, RemoveAllLocksReleasesEveryRange) {
  Osl_File first;
  Osl_File second;
  Open(first);
  Open(second);
  ASSERT_TRUE(first.add_lock(os_file_lock(1, 0, 10, 0), false));
  ASSERT_TRUE(first.add_lock(os_file_lock(1, 20, 10, 0), false));
  ASSERT_TRUE(first.add_lock(os_file_lock(1, 200, 0, 0), false));
  first.remove_all_locks();
  EXPECT_TRUE(second.add_lock(kWholeFile, false));
}

TEST_F(FileLock, ClosedFileCannotLock) {
  Osl_File file;
  EXPECT_THROW(file.add_lock(kWholeFile, false), os_file_toolkit_error);
  EXPECT_THROW(file.remove_all_locks(), os_file_toolkit_error);
  Open(file);
  file.close();
  EXPECT_THROW(file.add_lock(kWholeFile, true), os_file_toolkit_error);
}

}  // namespace
