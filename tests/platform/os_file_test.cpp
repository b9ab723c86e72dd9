// Osl_File opens, transfers and positions; the 64-bit handle calls of the disk media.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "os_faults.h"
#include "os_file.h"
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
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "exists " << c.exists << ", flags " << c.flags);
    TempDir dir;
    const std::string path = dir.Join("document");
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
    if (c.exists) {
      EXPECT_EQ(ReadFile(path), "keep me");
    } else {
      EXPECT_EQ(Osl_File_System::exists(path), c.error == 0);
    }
  }
  // A missing directory on the way, and a directory taken for a document.
  TempDir dir;
  const std::string inMissing = dir.Join("missing/document");
  Osl_File file;
  EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>(
                [&] { file.open(inMissing, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0); }, inMissing),
            native_error::kPathNotFound);
  const std::string directory = dir.Join("sub");
  Osl_Directory::create(directory);
  ExpectToolkitError<os_file_toolkit_error>([&] { file.open(directory, 0, OSL_ACCESS_READ, 0); }, directory);
}

TEST(OslFile, TransfersCountBytesAndFollowTheAccessMode) {
  TempDir dir;
  const std::string path = dir.Join("document");
  Osl_File file;
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
  const auto refusedAsInvalid = [](int result) {
    const std::uint32_t error = os_last_error();
    EXPECT_LT(result, 0);
    EXPECT_EQ(error, native_error::kInvalidArgument);
  };
  refusedAsInvalid(file.read(back.data(), -1));
  refusedAsInvalid(file.write(block.data(), -1));
  refusedAsInvalid(file.read(nullptr, 1));
  refusedAsInvalid(file.write(nullptr, 1));
  {
    WritesTakeNothing full;
    EXPECT_EQ(file.write("abc", 3), 0) << "a write that moves nothing ends short, not in a loop";
  }
  file.close();

  Osl_File reader;
  reader.open(path, 0, OSL_ACCESS_READ, 0);
  EXPECT_LT(reader.write("x", 1), 0);
  EXPECT_FALSE(os_set_end_of_file(reader.descriptor()));
  Osl_File writer;
  writer.open(path, 0, OSL_ACCESS_WRITE, 0);
  EXPECT_LT(writer.read(back.data(), 1), 0);
  EXPECT_EQ(writer.write("X", 1), 1);
  writer.close();
  EXPECT_EQ(ReadFile(path), "X" + block.substr(1));
}

TEST(OslFile, ClosedFileRefusesAndReopenTakesTheNewFile) {
  TempDir dir;
  WriteFile(dir.Join("first"), "1");
  WriteFile(dir.Join("second"), "2");
  Osl_File file;
  char c = 0;
  EXPECT_LT(file.read(&c, 1), 0);
  file.open(dir.Join("first"), 0, OSL_ACCESS_READ, 0);
  file.open(dir.Join("second"), 0, OSL_ACCESS_READ, 0);
  ASSERT_EQ(file.read(&c, 1), 1);
  EXPECT_EQ(c, '2');
  file.close();
  EXPECT_LT(file.read(&c, 1), 0);
  Osl_File_System::remove(dir.Join("first"));  // fails on Win32 if the reopen leaked the first handle
}

// The caller goes on at the old position after catching the error.
TEST(OsFileSeek, OriginsAndRefusalsThatKeepThePosition) {
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
  EXPECT_EQ(PointerAt(file.descriptor(), 1), 4);
  // A position only the 64-bit calls reach: tell refuses and moves nothing.
  ASSERT_TRUE(os_set_file_pointer(file.descriptor(), 3 * kGiB, 0, nullptr));
  ExpectToolkitError<os_file_toolkit_error>([&] { file.tell(); }, path);
  EXPECT_EQ(PointerAt(file.descriptor(), 1), 3 * kGiB);
}

// Sparse files across the 32-bit boundaries: a position cut anywhere gives another size.
TEST(LargeFile, PointerAndEndOfFileReach64Bits) {
  for (const std::int64_t size : {2 * kGiB, 4 * kGiB, 5 * kGiB + 3}) {
    SCOPED_TRACE(size);
    TempDir dir;
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

}  // namespace
