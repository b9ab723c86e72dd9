// Locks belong to the open file, not to the process: a second open of the
// file here conflicts as another process's would. Locks held by other
// processes, and freed with a killed one, are the disk process suite's.
#include <gtest/gtest.h>

#include <string>

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

TEST_F(FileLock, ReleasedByRemovingAllOrClosing) {
  Osl_File holder;
  Osl_File other;
  Open(holder);
  Open(other);
  ASSERT_TRUE(holder.add_lock(os_file_lock(1, 0, 10, 0), false));
  ASSERT_TRUE(holder.add_lock(os_file_lock(1, 200, 0, 0), false));
  EXPECT_TRUE(holder.add_lock(os_file_lock(1, 0, 10, 0), false)) << "refused a lock it holds";
  {
    // With per-process locks, closing any other descriptor of the file would drop them.
    Osl_File reader;
    reader.open(m_path, 0, OSL_ACCESS_READ, 0);
  }
  EXPECT_FALSE(other.add_lock(kWholeFile, false));
  holder.remove_all_locks();  // every range
  EXPECT_TRUE(other.add_lock(kWholeFile, false));
  other.close();
  EXPECT_TRUE(holder.add_lock(kWholeFile, false));
  EXPECT_THROW(other.add_lock(kWholeFile, false), os_file_toolkit_error);
  EXPECT_THROW(other.remove_all_locks(), os_file_toolkit_error);
}

}  // namespace
