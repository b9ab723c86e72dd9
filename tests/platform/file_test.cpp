// Files and directories on a real file system: opens, transfers, positions,
// the 64-bit handle calls of the disk media, listings and removals, and the
// platform's error number in every refusal.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "os_faults.h"
#include "os_file.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"
#include "toolkit_expect.h"

namespace {

constexpr std::int64_t kGiB = std::int64_t{1} << 30;

// origin 1 gives the position, origin 2 the size.
std::int64_t PointerAt(os_native_handle handle, int origin) {
  std::int64_t where = -1;
  EXPECT_TRUE(os_set_file_pointer(handle, 0, origin, &where)) << os_error_text(os_last_error());
  return where;
}

TEST(OslFile, OpenFlagsCreateAndRefuseWithTheErrorNumber) {
  struct Case {
    bool exists;
    int flags;
    std::uint32_t error;  // 0: the open succeeds
  } const cases[] = {
      {false, 0, native_error::kFileNotFound},
      {false, OSL_FILE_EXCLUSIVE, native_error::kFileNotFound},
      {false, OSL_FILE_CREATE, 0},
      {true, OSL_FILE_CREATE, 0},
      {false, OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE, 0},
      {true, OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE, native_error::kFileExists},
      {true, 0, 0},
  };
  TempDir dir;
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "exists " << c.exists << ", flags " << c.flags);
    const std::string path = dir.Join("document" + std::to_string(&c - cases));
    if (c.exists) WriteFile(path, "keep me");
    Osl_File file;
    const auto open = [&] { file.open(path, c.flags, OSL_ACCESS_READ_WRITE, 0); };
    if (c.error != 0) {
      EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>(open, path), c.error);
      EXPECT_FALSE(file.is_open());
    } else {
      open();
      file.close();
    }
    EXPECT_EQ(Osl_File_System::exists(path), c.exists || c.error == 0);
    if (c.exists) {
      EXPECT_EQ(ReadFile(path), "keep me");
    }
  }
  // A missing directory on the way, and a directory taken for a document.
  const std::string inMissing = dir.Join("missing/document");
  Osl_File file;
  EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>(
                [&] { file.open(inMissing, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0); }, inMissing),
            native_error::kPathNotFound);
  const std::string sub = dir.Join("sub");
  Osl_Directory::create(sub);
  ExpectToolkitError<os_file_toolkit_error>([&] { file.open(sub, 0, OSL_ACCESS_READ, 0); }, sub);
}

TEST(OslFile, TransfersCountBytesAndFollowTheAccessMode) {
  TempDir dir;
  const std::string path = dir.Join("document");
  Osl_File file;
  char c = 0;
  EXPECT_LT(file.read(&c, 1), 0) << "a file never opened";
  file.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  std::string block(100000, '\0');
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 7);
  ASSERT_EQ(file.write(block.data(), 100000), 100000);
  EXPECT_EQ(file.seek(0, 0), 0);
  std::string back(block.size() + 10, 'z');
  EXPECT_EQ(file.read(back.data(), static_cast<int>(back.size())), 100000);
  EXPECT_EQ(back.substr(0, block.size()), block);
  EXPECT_EQ(file.read(back.data(), 10), 0);
  // A bad length or buffer says so, not that the file were closed.
  for (const int result : {file.read(back.data(), -1), file.write(block.data(), -1), file.read(nullptr, 1),
                           file.write(nullptr, 1)}) {
    EXPECT_LT(result, 0);
  }
  EXPECT_EQ(os_last_error(), native_error::kInvalidArgument);
  {
    ShortTransfers few(7);  // each call goes on where the last one stopped
    EXPECT_EQ(file.seek(0, 0), 0);
    ASSERT_EQ(file.write(block.data() + 500, 100), 100);
    EXPECT_EQ(file.seek(0, 0), 0);
    EXPECT_EQ(file.read(back.data(), 100), 100);
    EXPECT_EQ(back.substr(0, 100), block.substr(500, 100));
  }
  Osl_File reader;
  reader.open(path, 0, OSL_ACCESS_READ, 0);
  EXPECT_LT(reader.write("x", 1), 0);
  EXPECT_FALSE(os_set_end_of_file(reader.descriptor()));
  reader.open(dir.Join("other"), OSL_FILE_CREATE, OSL_ACCESS_WRITE, 0);  // the reopen closes the first
  EXPECT_EQ(reader.write("o", 1), 1);
  EXPECT_EQ(ReadFile(dir.Join("other")), "o");
  Osl_File writer;
  writer.open(path, 0, OSL_ACCESS_WRITE, 0);
  EXPECT_LT(writer.read(back.data(), 1), 0);
  EXPECT_EQ(writer.write("X", 1), 1);
  writer.close();
  EXPECT_LT(writer.read(&c, 1), 0);
  EXPECT_EQ(ReadFile(path), "X" + block.substr(501, 99) + block.substr(100));
  file.close();
  Osl_File_System::remove(path);  // fails on Win32 if a handle of it leaked
}

// A refused seek leaves the position, so that the caller may go on after the error.
TEST(OslFile, SeekOriginsAndRefusalsThatKeepThePosition) {
  TempDir dir;
  Osl_File file;
  const std::string path = dir.Join("document");
  file.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  ASSERT_EQ(file.write("0123456789", 10), 10);
  EXPECT_EQ(file.seek(-4, 2), 6);
  EXPECT_EQ(file.seek(20, 0), 20);
  EXPECT_EQ(file.seek(3, 0), 3);
  EXPECT_EQ(file.seek(1, 1), 4);
  EXPECT_EQ(file.tell(), 4);
  // Only a 64-bit long can ask for 4 GiB directly; a 32-bit one repeats the overflow.
  const std::pair<long, short> beyond32Bits =
      sizeof(long) > 4 ? std::pair<long, short>{static_cast<long>(4 * kGiB), 0} : std::pair<long, short>{INT32_MAX, 1};
  for (const auto& refused : {std::pair<long, short>{-5, 1}, {-11, 2}, {INT32_MAX, 1}, beyond32Bits}) {
    ExpectToolkitError<os_file_toolkit_error>([&] { file.seek(refused.first, refused.second); }, path);
    EXPECT_EQ(PointerAt(file.descriptor(), 1), 4) << refused.first << " from " << refused.second;
  }
  std::int64_t position = 77;
  EXPECT_FALSE(os_set_file_pointer(file.descriptor(), -1, 0, &position));
  EXPECT_EQ(os_last_error(), native_error::kNegativeSeek);
  EXPECT_EQ(position, 77);
  // A position only the 64-bit calls reach: tell refuses and moves nothing.
  ASSERT_TRUE(os_set_file_pointer(file.descriptor(), 3 * kGiB, 0, nullptr));
  ExpectToolkitError<os_file_toolkit_error>([&] { file.tell(); }, path);
  EXPECT_EQ(PointerAt(file.descriptor(), 1), 3 * kGiB);
}

// Sparse files across the 32-bit boundaries: a position cut anywhere gives another size.
TEST(OslFile, PointerAndEndOfFileReach64Bits) {
  TempDir dir;
  for (const std::int64_t size : {2 * kGiB, 4 * kGiB, 5 * kGiB + 3}) {
    SCOPED_TRACE(size);
    Osl_File file;
    file.open(dir.Join("large"), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
    const os_native_handle handle = file.descriptor();
    std::int64_t position = -1;
    ASSERT_TRUE(os_set_file_pointer(handle, size, 0, &position)) << os_error_text(os_last_error());
    EXPECT_EQ(position, size);
    ASSERT_TRUE(os_set_end_of_file(handle)) << os_error_text(os_last_error());
    ASSERT_TRUE(os_set_file_pointer(handle, -1, 2, &position));
    EXPECT_EQ(position, size - 1);
    ASSERT_EQ(file.write("E", 1), 1);
    ASSERT_TRUE(os_set_file_pointer(handle, size - 2, 0, nullptr));
    char tail[4] = {'x', 'x', 'x', 'x'};
    ASSERT_EQ(file.read(tail, 4), 2);
    EXPECT_EQ(std::string(tail, 2), std::string("\0E", 2));
    // Cutting from a 64-bit pointer leaves the pointer where it was.
    ASSERT_TRUE(os_set_file_pointer(handle, size / 2 + 1, 0, nullptr));
    ASSERT_TRUE(os_set_end_of_file(handle));
    EXPECT_EQ(PointerAt(handle, 1), size / 2 + 1);
    EXPECT_EQ(PointerAt(handle, 2), size / 2 + 1);
  }
}

// The directory allocation counts entries as filenames().size() - 2: each
// entry, "." and ".." must come exactly once, also past the first batch.
TEST(OslDirectory, ListsEveryEntryWithDotAndDotDotOnce) {
  TempDir dir;
  std::vector<std::string> expected{".", "..", "a b.txt", "..x", ".hidden", "sub"};
  for (int i = 0; i < 1500; ++i) expected.push_back("file_" + std::to_string(i));
  for (const std::string& name : expected) {
    if (name.size() > 2 && name != "sub") WriteFile(dir.Join(name), "");
  }
  Osl_Directory::create(dir.Join("sub"));
  WriteFile(dir.Join("sub/inner"), "");
  std::vector<std::string> listed = Osl_Directory(dir.path(), 0).filenames();
  std::sort(expected.begin(), expected.end());
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(listed, expected);
  EXPECT_EQ(Osl_Directory(dir.Join("sub"), 0).filenames().size(), 3u);
}

// A NUL inside a path would cut it short in the platform's calls, which would
// then act on the entry named by what stands before it.
TEST(OslDirectory, RefusalsGiveThePlatformNumberAndKeepWhatWasThere) {
  TempDir dir;
  const std::string full = dir.Join("full");
  const std::string file = dir.Join("full/file");
  const std::string missing = dir.Join("missing");
  Osl_Directory::create(full);
  WriteFile(file, "keep me");
  const std::string fileCut = file + std::string(1, '\0') + "x";
  const std::string fullCut = full + std::string(1, '\0') + "x";
  Osl_File opened;
  const std::tuple<std::string, std::function<void()>, std::uint32_t> calls[] = {
      {full, [&] { Osl_Directory::create(full); }, native_error::kDirectoryExists},
      {missing, [&] { Osl_Directory::create(dir.Join("missing/sub")); }, native_error::kPathNotFound},
      {full, [&] { Osl_Directory::remove(full); }, native_error::kDirectoryNotEmpty},
      {missing, [&] { Osl_Directory::remove(missing); }, native_error::kFileNotFound},
      {missing, [&] { Osl_File_System::remove(missing); }, native_error::kFileNotFound},
      {full, [&] { Osl_File_System::remove(full); }, 0},  // a directory is no file
      {missing, [&] { Osl_Directory(missing, 0).filenames(); }, native_error::kPathNotFound},
      {file, [&] { Osl_Directory(file, 0).filenames(); }, 0},
      {file, [&] { Osl_File_System::remove(fileCut); }, native_error::kInvalidName},
      {file, [&] { opened.open(fileCut, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0); }, native_error::kInvalidName},
      {full, [&] { Osl_Directory::remove(fullCut); }, native_error::kInvalidName},
      {full, [&] { Osl_Directory::create(fullCut); }, native_error::kInvalidName},
      {full, [&] { Osl_Directory(fullCut, 0).filenames(); }, native_error::kInvalidName},
  };
  for (const auto& [where, call, error] : calls) {
    const std::uint32_t number = ExpectToolkitError<os_file_toolkit_error>(call, where);
    if (error != 0) {
      EXPECT_EQ(number, error) << where;
    }
  }
  EXPECT_EQ(ExpectToolkitError<os_io_toolkit_error>([&] { Osl_IO_Status status(missing); }, missing),
            native_error::kFileNotFound);
  EXPECT_FALSE(opened.is_open());
  EXPECT_EQ(ReadFile(file), "keep me");
  EXPECT_TRUE(Osl_Directory::exists(full + OS_PATH_SEPARATOR));  // the disk media asks both ways
  for (const std::string& no : std::vector<std::string>{file, file + OS_PATH_SEPARATOR, fullCut, missing, ""}) {
    EXPECT_FALSE(Osl_Directory::exists(no)) << no;
  }
  EXPECT_FALSE(Osl_File_System::exists(fileCut));
  EXPECT_FALSE(Osl_File_System::exists(""));
  EXPECT_EQ(Osl_IO_Status(file).mode() & Osl_IO_Status::TYPE_MASK, Osl_IO_Status::TYPE_REGULAR);
  EXPECT_EQ(Osl_IO_Status(full).mode() & Osl_IO_Status::TYPE_MASK, Osl_IO_Status::TYPE_DIRECTORY);
  Osl_File_System::remove(file);
  Osl_Directory::remove(full);
  EXPECT_FALSE(Osl_File_System::exists(full));
}

}  // namespace
