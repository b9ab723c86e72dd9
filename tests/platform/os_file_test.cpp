// Files, locks, directories and dates of the platform layer, against the
// real file system of whichever platform runs the suite.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "os_datetime.h"
#include "os_file.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

const os_file_lock kWholeFile(1, 0, 0, 0);

TEST(OslFile, OpenFlagsCreateRefuseAndNeverCut) {
  struct Case {
    const char* name;
    bool exists;
    int flags;
    bool opens;
  };
  const Case cases[] = {
      {"plain open of a missing file", false, 0, false},
      {"plain open of a file", true, 0, true},
      {"create a missing file", false, OSL_FILE_CREATE, true},
      {"create over a file keeps it", true, OSL_FILE_CREATE, true},
      {"exclusive create of a new file", false, OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE, true},
      {"exclusive create over a file", true, OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE, false},
  };
  for (const Case& c : cases) {
    TempDir dir;
    const std::string path = dir.Join("doc");
    if (c.exists) WriteFile(path, "kept");
    Osl_File file;
    try {
      file.open(path, c.flags, OSL_ACCESS_READ_WRITE, 0);
      EXPECT_TRUE(c.opens) << c.name;
      EXPECT_TRUE(file.is_open()) << c.name;
      file.close();
      EXPECT_EQ(ReadFile(path), c.exists ? "kept" : "") << c.name;
    } catch (const os_file_toolkit_error& error) {
      EXPECT_FALSE(c.opens) << c.name << ": " << error.what();
      EXPECT_NE(error.native(), 0u) << c.name;
      EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
      EXPECT_FALSE(file.is_open()) << c.name;
      EXPECT_EQ(file.descriptor(), os_invalid_handle) << c.name;
    }
  }
}

TEST(OslFile, ADirectoryDoesNotOpenAsAFile) {
  TempDir dir;
  Osl_File file;
  EXPECT_THROW(file.open(dir.path(), 0, OSL_ACCESS_READ, 0), os_file_toolkit_error);
  EXPECT_FALSE(file.is_open());
}

TEST(OslFile, TransfersCountBytesAndFailWhenClosed) {
  TempDir dir;
  Osl_File file;
  file.open(dir.Join("doc"), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  EXPECT_EQ(file.write("hello", 5), 5);
  EXPECT_EQ(file.tell(), 5);
  EXPECT_EQ(file.seek(1, 0), 1);
  char buffer[16] = {};
  EXPECT_EQ(file.read(buffer, sizeof buffer), 4);
  EXPECT_EQ(std::string(buffer, 4), "ello");
  EXPECT_EQ(file.read(buffer, sizeof buffer), 0) << "at the end";
  file.close();
  EXPECT_LT(file.read(buffer, sizeof buffer), 0);
  EXPECT_LT(file.write("x", 1), 0);
  EXPECT_THROW(file.add_lock(kWholeFile, false), os_file_toolkit_error);
}

// Positions past 4 GiB go through the 64-bit calls; the toolkit's 32-bit
// seek refuses them instead of wrapping.
TEST(OslFile, SixtyFourBitPositionsAndEndOfFile) {
  TempDir dir;
  const std::string path = dir.Join("big");
  Osl_File file;
  file.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  const std::int64_t beyond = (std::int64_t{1} << 32) + 16;
  std::int64_t position = 0;
  ASSERT_TRUE(os_set_file_pointer(file.descriptor(), beyond, 0, &position));
  EXPECT_EQ(position, beyond);
  ASSERT_TRUE(os_set_end_of_file(file.descriptor()));
  ASSERT_TRUE(os_set_file_pointer(file.descriptor(), 0, 2, &position));
  EXPECT_EQ(position, beyond);
  EXPECT_THROW(file.tell(), os_file_toolkit_error);

  ASSERT_TRUE(os_set_file_pointer(file.descriptor(), 10, 0, nullptr));
  ASSERT_TRUE(os_set_end_of_file(file.descriptor()));
  EXPECT_EQ(file.seek(0, 2), 10);
  EXPECT_FALSE(os_set_file_pointer(file.descriptor(), -20, 1, nullptr)) << "before the start";
  EXPECT_NE(os_last_error(), 0u);
  EXPECT_FALSE(os_error_text(os_last_error()).empty());
  file.close();
  EXPECT_EQ(std::filesystem::file_size(path), 10u);
}

// Two objects of one process exclude each other as two processes do, and
// one object's close never drops another's lock.
TEST(OsFileLock, LocksBelongToTheOpenFile) {
  TempDir dir;
  const std::string path = dir.Join("lockfile");
  Osl_File first, second, third;
  first.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  second.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  third.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);

  ASSERT_TRUE(first.add_lock(kWholeFile, false));
  EXPECT_TRUE(first.add_lock(kWholeFile, false)) << "the holder may ask again";
  EXPECT_FALSE(second.add_lock(kWholeFile, false));
  first.remove_all_locks();
  ASSERT_TRUE(second.add_lock(kWholeFile, false));
  first.close();
  EXPECT_FALSE(third.add_lock(kWholeFile, false)) << "another object's close took the lock";
  second.close();
  EXPECT_TRUE(third.add_lock(kWholeFile, false)) << "closing releases the lock";
}

TEST(OsFileLock, AWaitingLockIsGrantedOnlyAfterTheRelease) {
  TempDir dir;
  const std::string path = dir.Join("lockfile");
  Osl_File holder, waiter;
  holder.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  waiter.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  ASSERT_TRUE(holder.add_lock(kWholeFile, false));

  std::atomic<bool> released{false};
  bool releasedAtGrant = false;
  bool granted = false;
  std::thread waiting([&] {
    granted = waiter.add_lock(kWholeFile, true);
    releasedAtGrant = released.load();
  });
  released = true;
  holder.remove_all_locks();
  waiting.join();
  EXPECT_TRUE(granted);
  EXPECT_TRUE(releasedAtGrant);
}

TEST(OslDirectory, ListsCreatesRemovesAndTellsKinds) {
  TempDir dir;
  const std::string sub = dir.Join("sub");
  const std::string file = dir.Join("file.txt");
  Osl_Directory::create(sub);
  WriteFile(file, "x");

  std::vector<std::string> names = Osl_Directory(dir.path(), 0).filenames();
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{".", "..", "file.txt", "sub"}));

  EXPECT_TRUE(Osl_Directory::exists(sub));
  EXPECT_FALSE(Osl_Directory::exists(file));
  EXPECT_FALSE(Osl_Directory::exists(""));
  EXPECT_TRUE(Osl_File_System::exists(file));
  EXPECT_TRUE(Osl_File_System::exists(sub));
  EXPECT_EQ(Osl_IO_Status(sub).mode() & Osl_IO_Status::TYPE_MASK, Osl_IO_Status::TYPE_DIRECTORY);
  EXPECT_EQ(Osl_IO_Status(file).mode() & Osl_IO_Status::TYPE_MASK, Osl_IO_Status::TYPE_REGULAR);

  EXPECT_THROW(Osl_Directory::create(sub), os_file_toolkit_error) << "exists already";
  EXPECT_THROW(Osl_Directory::remove(dir.path()), os_file_toolkit_error) << "not empty";
  EXPECT_THROW(Osl_IO_Status(dir.Join("absent")), os_io_toolkit_error);
  EXPECT_THROW(Osl_File_System::remove(dir.Join("absent")), os_file_toolkit_error);
  EXPECT_THROW(Osl_Directory(dir.Join("absent"), 0).filenames(), os_file_toolkit_error);

  Osl_File_System::remove(file);
  Osl_Directory::remove(sub);
  EXPECT_EQ(Osl_Directory(dir.path(), 0).filenames(), (std::vector<std::string>{".", ".."}));
}

TEST(OsDateTime, FormatsOfTheDateDirectoriesAndLabels) {
  const os_date date(3, 7, 2026);
  const os_time time(9, 5, 3, 0);
  struct Case {
    std::string format;
    std::string expected;
  };
  const Case dates[] = {{"%m_%d_%Y", "03_07_2026"}, {"%Y.%m.%d", "2026.03.07"}, {"%D", "03/07/26"},
                        {"%%D", "%D"}};
  for (const Case& c : dates) EXPECT_EQ(date.to_string(c.format), c.expected) << c.format;
  const Case times[] = {{"%H%M%S", "090503"}, {"%H.%M.%S", "09.05.03"}, {"%H:%M:%S", "09:05:03"}};
  for (const Case& c : times) EXPECT_EQ(time.to_string(c.format), c.expected) << c.format;
  EXPECT_TRUE(os_date::today() > os_date(12, 31, 2020));
}

}  // namespace
