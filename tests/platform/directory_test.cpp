// Osl_Directory, Osl_File_System and Osl_IO_Status on a real file system.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "os_file.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"
#include "toolkit_expect.h"

namespace {

std::vector<std::string> SortedListing(const std::string& path) {
  std::vector<std::string> names = Osl_Directory(path, 0).filenames();
  std::sort(names.begin(), names.end());
  return names;
}

// The directory allocation counts entries as filenames().size() - 2: each
// entry, "." and ".." must come exactly once, also past the first batch.
TEST(OslDirectory, ListsEveryEntryWithDotAndDotDotOnce) {
  TempDir dir;
  EXPECT_EQ(SortedListing(dir.path()), (std::vector<std::string>{".", ".."}));
  std::vector<std::string> expected{".", "..", "a b.txt", "..x", ".hidden", "sub"};
  for (std::size_t i = 2; i < 5; ++i) WriteFile(dir.Join(expected[i]), "");
  for (int i = 0; i < 1500; ++i) {
    expected.push_back("file_" + std::to_string(i));
    WriteFile(dir.Join(expected.back()), "");
  }
  Osl_Directory::create(dir.Join("sub"));
  WriteFile(dir.Join("sub/inner"), "");
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(SortedListing(dir.path()), expected);
}

TEST(OslDirectory, FailuresGiveThePlatformNumberAndKeepWhatWasThere) {
  struct Case {
    bool create;  // create, else remove
    const char* path;
    std::uint32_t error;
  } const cases[] = {
      {true, "full", native_error::kDirectoryExists},
      {true, "missing/sub", native_error::kPathNotFound},
      {false, "full", native_error::kDirectoryNotEmpty},
      {false, "missing", native_error::kFileNotFound},
  };
  TempDir dir;
  Osl_Directory::create(dir.Join("full"));
  WriteFile(dir.Join("full/file"), "x");
  for (const Case& c : cases) {
    const std::string path = dir.Join(c.path);
    const auto call = [&] { c.create ? Osl_Directory::create(path) : Osl_Directory::remove(path); };
    EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>(call, path), c.error);
    EXPECT_EQ(ReadFile(dir.Join("full/file")), "x");
  }
  const std::string missing = dir.Join("missing");
  EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>([&] { SortedListing(missing); }, missing),
            native_error::kPathNotFound);
  const std::string file = dir.Join("full/file");
  ExpectToolkitError<os_file_toolkit_error>([&] { SortedListing(file); }, file);
  EXPECT_EQ(ExpectToolkitError<os_io_toolkit_error>([&] { Osl_IO_Status status(missing); }, missing),
            native_error::kFileNotFound);
}

TEST(OslFileSystem, ExistsAndRemoveTellFilesFromDirectories) {
  TempDir dir;
  const std::string file = dir.Join("file");
  const std::string sub = dir.Join("sub");
  WriteFile(file, "x");
  Osl_Directory::create(sub);
  EXPECT_TRUE(Osl_Directory::exists(sub + OS_PATH_SEPARATOR));  // the disk media asks both ways
  EXPECT_FALSE(Osl_Directory::exists(file + OS_PATH_SEPARATOR));
  EXPECT_FALSE(Osl_Directory::exists(file));
  EXPECT_FALSE(Osl_File_System::exists(""));
  EXPECT_EQ(Osl_IO_Status(file).mode() & Osl_IO_Status::TYPE_MASK, Osl_IO_Status::TYPE_REGULAR);
  EXPECT_EQ(Osl_IO_Status(sub).mode() & Osl_IO_Status::TYPE_MASK, Osl_IO_Status::TYPE_DIRECTORY);

  ExpectToolkitError<os_file_toolkit_error>([&] { Osl_File_System::remove(sub); }, sub);
  EXPECT_TRUE(Osl_Directory::exists(sub));
  Osl_Directory::remove(sub);
  EXPECT_FALSE(Osl_File_System::exists(sub));
  Osl_File_System::remove(file);
  EXPECT_FALSE(Osl_File_System::exists(file));
  EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>([&] { Osl_File_System::remove(file); }, file),
            native_error::kFileNotFound);
}

// A NUL inside a path would cut it short in the platform's calls, which
// would then act on the entry named by what stands before it.
TEST(OslFileSystem, PathWithANulInsideIsRefusedAndReachesNoOtherEntry) {
  TempDir dir;
  const std::string file = dir.Join("file");
  const std::string sub = dir.Join("sub");
  WriteFile(file, "keep me");
  Osl_Directory::create(sub);
  const std::string fileCut = file + std::string(1, '\0') + "x";
  const std::string subCut = sub + std::string(1, '\0') + "x";
  EXPECT_FALSE(Osl_File_System::exists(fileCut));
  EXPECT_FALSE(Osl_Directory::exists(subCut));
  Osl_File opened;
  const std::pair<std::string, std::function<void()>> calls[] = {
      {file, [&] { Osl_File_System::remove(fileCut); }},
      {file, [&] { opened.open(fileCut, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0); }},
      {sub, [&] { Osl_Directory::remove(subCut); }},
      {sub, [&] { Osl_Directory::create(subCut); }},
      {sub, [&] { Osl_Directory(subCut, 0).filenames(); }},
  };
  for (const auto& [where, call] : calls) {
    EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>(call, where), native_error::kInvalidName) << where;
  }
  EXPECT_FALSE(opened.is_open());
  EXPECT_EQ(ReadFile(file), "keep me");
  EXPECT_TRUE(Osl_Directory::exists(sub));
}

}  // namespace
