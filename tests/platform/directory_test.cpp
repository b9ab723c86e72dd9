// Osl_Directory, Osl_File_System and Osl_IO_Status on a real file system.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "os_file.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"
#include "toolkit_expect.h"

namespace {

std::vector<std::string> Sorted(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  return names;
}

TEST(OslDirectory, ListsEveryEntryWithDotAndDotDotOnce) {
  TempDir dir;
  EXPECT_EQ(Sorted(Osl_Directory(dir.path(), 0).filenames()), (std::vector<std::string>{".", ".."}));

  // Names that a careless listing drops or mangles: blanks, leading dots.
  const std::vector<std::string> files{"a b.txt", "..x", ".hidden", "plain"};
  for (const std::string& name : files) WriteFile(dir.Join(name), name);
  Osl_Directory::create(dir.Join("sub"));
  WriteFile(dir.Join("sub/inner"), "not listed one level up");

  std::vector<std::string> expected = files;
  expected.insert(expected.end(), {".", "..", "sub"});
  EXPECT_EQ(Sorted(Osl_Directory(dir.path(), 0).filenames()), Sorted(expected));
}

// The directory allocation counts entries as filenames().size() - 2; a
// listing that stops early or repeats undercounts a full directory.
TEST(OslDirectory, ListsManyEntriesEachOnce) {
  TempDir dir;
  std::vector<std::string> expected{".", ".."};
  for (int i = 0; i < 1500; ++i) {
    expected.push_back("file_" + std::to_string(i));
    WriteFile(dir.Join(expected.back()), "");
  }
  EXPECT_EQ(Sorted(Osl_Directory(dir.path(), 0).filenames()), Sorted(expected));
}

TEST(OslDirectory, CreateAndRemove) {
  TempDir dir;
  const std::string sub = dir.Join("sub");
  EXPECT_FALSE(Osl_Directory::exists(sub));
  Osl_Directory::create(sub);
  EXPECT_TRUE(Osl_Directory::exists(sub));
  EXPECT_TRUE(Osl_File_System::exists(sub));
  EXPECT_EQ(Osl_IO_Status(sub).mode() & Osl_IO_Status::TYPE_MASK, Osl_IO_Status::TYPE_DIRECTORY);

  Osl_Directory::remove(sub);
  EXPECT_FALSE(Osl_Directory::exists(sub));
  EXPECT_FALSE(Osl_File_System::exists(sub));
}

struct DirectoryFailure {
  const char* name;
  bool create;        // create, else remove
  const char* path;   // below the test directory
  std::uint32_t error;
  const char* mustStay;  // an entry that the failed call must leave, or null
};

const DirectoryFailure kDirectoryFailures[] = {
    {"CreateExisting", true, "full", native_error::kDirectoryExists, "full/file"},
    {"CreateBelowMissingParent", true, "missing/sub", native_error::kPathNotFound, nullptr},
    {"RemoveNonEmpty", false, "full", native_error::kDirectoryNotEmpty, "full/file"},
    {"RemoveMissing", false, "missing", native_error::kFileNotFound, nullptr},
};

void PrintTo(const DirectoryFailure& c, std::ostream* out) { *out << c.name; }

class OslDirectoryFailure : public ::testing::TestWithParam<DirectoryFailure> {};

TEST_P(OslDirectoryFailure, ThrowsThePlatformNumberAndKeepsWhatWasThere) {
  const DirectoryFailure& c = GetParam();
  TempDir dir;
  Osl_Directory::create(dir.Join("full"));
  WriteFile(dir.Join("full/file"), "x");
  const std::string path = dir.Join(c.path);
  const auto call = [&] {
    if (c.create) {
      Osl_Directory::create(path);
    } else {
      Osl_Directory::remove(path);
    }
  };
  EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>(call, path), c.error);
  if (c.mustStay) {
    EXPECT_EQ(ReadFile(dir.Join(c.mustStay)), "x");
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, OslDirectoryFailure, ::testing::ValuesIn(kDirectoryFailures),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(OslDirectory, ListingAMissingDirectoryOrAFileThrows) {
  TempDir dir;
  const std::string missing = dir.Join("missing");
  EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>([&] { Osl_Directory(missing, 0).filenames(); }, missing),
            native_error::kPathNotFound);
  const std::string file = dir.Join("file");
  WriteFile(file, "x");
  ExpectToolkitError<os_file_toolkit_error>([&] { Osl_Directory(file, 0).filenames(); }, file);
}

// The disk media asks for directories with and without a trailing separator.
TEST(OslDirectory, ExistsWithATrailingSeparator) {
  TempDir dir;
  EXPECT_TRUE(Osl_Directory::exists(dir.path() + OS_PATH_SEPARATOR));
  const std::string file = dir.Join("file");
  WriteFile(file, "x");
  EXPECT_FALSE(Osl_Directory::exists(file + OS_PATH_SEPARATOR));
}

TEST(OslFileSystem, ExistsAndRemoveTellFilesFromDirectories) {
  TempDir dir;
  const std::string file = dir.Join("file");
  WriteFile(file, "x");
  EXPECT_TRUE(Osl_File_System::exists(file));
  EXPECT_FALSE(Osl_Directory::exists(file));
  EXPECT_EQ(Osl_IO_Status(file).mode() & Osl_IO_Status::TYPE_MASK, Osl_IO_Status::TYPE_REGULAR);
  EXPECT_FALSE(Osl_File_System::exists(""));
  EXPECT_FALSE(Osl_Directory::exists(""));

  // A directory is not removed as a file.
  const std::string sub = dir.Join("sub");
  Osl_Directory::create(sub);
  ExpectToolkitError<os_file_toolkit_error>([&] { Osl_File_System::remove(sub); }, sub);
  EXPECT_TRUE(Osl_Directory::exists(sub));

  Osl_File_System::remove(file);
  EXPECT_FALSE(Osl_File_System::exists(file));
  EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>([&] { Osl_File_System::remove(file); }, file),
            native_error::kFileNotFound);
}

TEST(OslIOStatus, MissingEntryThrowsTheIOError) {
  TempDir dir;
  const std::string missing = dir.Join("missing");
  EXPECT_EQ(ExpectToolkitError<os_io_toolkit_error>([&] { Osl_IO_Status status(missing); }, missing),
            native_error::kFileNotFound);
}

}  // namespace
