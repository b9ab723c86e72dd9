// Osl_File opens, transfers and positions; the 64-bit handle calls of the disk media.
#include <gtest/gtest.h>

#include <cstdint>
#include <climits>
#include <ostream>
#include <string>
#include <vector>

#include "os_file.h"
#include "osl_directory.h"
#include "temp_dir.h"
#include "toolkit_expect.h"

namespace {

constexpr std::int64_t kGiB = std::int64_t{1} << 30;

// Size of the file behind an open handle, read as the disk media reads it.
std::int64_t SizeOf(os_native_handle handle) {
  std::int64_t size = -1;
  EXPECT_TRUE(os_set_file_pointer(handle, 0, 2, &size)) << os_error_text(os_last_error());
  return size;
}

std::int64_t PositionOf(os_native_handle handle) {
  std::int64_t position = -1;
  EXPECT_TRUE(os_set_file_pointer(handle, 0, 1, &position)) << os_error_text(os_last_error());
  return position;
}

enum class Before { Absent, FileWithContent, Directory };

struct OpenCase {
  const char* name;
  Before before;
  int flags;
  int access;
  std::uint32_t error;  // 0: the open succeeds
  const char* contentAfter;  // of the file after a successful open; null: not checked
};

const OpenCase kOpenCases[] = {
    {"MissingFileIsNotFound", Before::Absent, 0, OSL_ACCESS_READ, native_error::kFileNotFound, nullptr},
    {"MissingFileForUpdateIsNotFound", Before::Absent, 0, OSL_ACCESS_READ_WRITE, native_error::kFileNotFound,
     nullptr},
    {"ExclusiveAloneCreatesNothing", Before::Absent, OSL_FILE_EXCLUSIVE, OSL_ACCESS_READ_WRITE,
     native_error::kFileNotFound, nullptr},
    {"CreateMakesAMissingFile", Before::Absent, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0, ""},
    {"CreateKeepsAnExistingFile", Before::FileWithContent, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0, "keep me"},
    {"CreateExclusiveMakesAMissingFile", Before::Absent, OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE,
     OSL_ACCESS_READ_WRITE, 0, ""},
    {"CreateExclusiveRefusesAnExistingFile", Before::FileWithContent, OSL_FILE_CREATE | OSL_FILE_EXCLUSIVE,
     OSL_ACCESS_READ_WRITE, native_error::kFileExists, "keep me"},
    {"ReadOpensAnExistingFile", Before::FileWithContent, 0, OSL_ACCESS_READ, 0, "keep me"},
    {"UpdateOpensAnExistingFile", Before::FileWithContent, 0, OSL_ACCESS_READ_WRITE, 0, "keep me"},
};

void PrintTo(const OpenCase& c, std::ostream* out) { *out << c.name; }

class OslFileOpen : public ::testing::TestWithParam<OpenCase> {};

TEST_P(OslFileOpen, FlagsAndAccess) {
  const OpenCase& c = GetParam();
  TempDir dir;
  const std::string path = dir.Join("document");
  if (c.before == Before::FileWithContent) WriteFile(path, "keep me");
  Osl_File file;
  if (c.error != 0) {
    EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>([&] { file.open(path, c.flags, c.access, 0); }, path),
              c.error);
    EXPECT_FALSE(file.is_open());
    EXPECT_EQ(file.descriptor(), os_invalid_handle);
  } else {
    file.open(path, c.flags, c.access, 0);
    EXPECT_TRUE(file.is_open());
    EXPECT_NE(file.descriptor(), os_invalid_handle);
    file.close();
  }
  if (c.contentAfter) {
    EXPECT_EQ(ReadFile(path), c.contentAfter);
  } else {
    EXPECT_FALSE(Osl_File_System::exists(path)) << "a failed open left a file behind";
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, OslFileOpen, ::testing::ValuesIn(kOpenCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(OslFile, MissingDirectoryAndDirectoryItselfAreRefused) {
  TempDir dir;
  const std::string inMissing = dir.Join("missing/document");
  Osl_File file;
  EXPECT_EQ(ExpectToolkitError<os_file_toolkit_error>(
                [&] { file.open(inMissing, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0); }, inMissing),
            native_error::kPathNotFound);
  // A directory is no file: the disk media must not take one for a document.
  const std::string directory = dir.Join("sub");
  Osl_Directory::create(directory);
  ExpectToolkitError<os_file_toolkit_error>([&] { file.open(directory, 0, OSL_ACCESS_READ, 0); }, directory);
  EXPECT_FALSE(file.is_open());
}

TEST(OslFile, AccessModeLimitsTransfers) {
  TempDir dir;
  const std::string path = dir.Join("document");
  WriteFile(path, "abc");
  char buffer[8] = {};

  Osl_File reader;
  reader.open(path, 0, OSL_ACCESS_READ, 0);
  EXPECT_LT(reader.write("x", 1), 0) << "a read-only open wrote";
  EXPECT_EQ(reader.read(buffer, 8), 3);

  Osl_File writer;
  writer.open(path, 0, OSL_ACCESS_WRITE, 0);
  EXPECT_LT(writer.read(buffer, 1), 0) << "a write-only open read";
  EXPECT_EQ(writer.write("X", 1), 1);
  writer.close();
  EXPECT_EQ(ReadFile(path), "Xbc");
}

TEST(OslFile, TransfersCountBytesAndStopAtTheEnd) {
  TempDir dir;
  const std::string path = dir.Join("document");
  Osl_File file;
  file.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  std::string block(100000, '\0');
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<char>(i * 7);
  ASSERT_EQ(file.write(block.data(), static_cast<int>(block.size())), 100000);
  EXPECT_EQ(file.seek(0, 0), 0);

  std::string back(block.size() + 10, 'z');
  EXPECT_EQ(file.read(back.data(), static_cast<int>(back.size())), 100000) << "a short count at the end";
  EXPECT_EQ(back.substr(0, block.size()), block);
  EXPECT_EQ(file.read(back.data(), 10), 0) << "no end of file reported";
  EXPECT_EQ(file.write(block.data(), 0), 0);
  EXPECT_LT(file.read(back.data(), -1), 0);
  EXPECT_LT(file.write(block.data(), -1), 0);
  EXPECT_EQ(SizeOf(file.descriptor()), 100000);
}

TEST(OslFile, ClosedFileRefusesEverythingAndReopenTakesTheNewFile) {
  TempDir dir;
  const std::string first = dir.Join("first");
  const std::string second = dir.Join("second");
  WriteFile(first, "1");
  WriteFile(second, "2");
  Osl_File file;
  char c = 0;
  EXPECT_LT(file.read(&c, 1), 0);
  EXPECT_EQ(os_last_error(), native_error::kBadHandle);
  EXPECT_LT(file.write(&c, 1), 0);
  EXPECT_EQ(os_last_error(), native_error::kBadHandle);
  EXPECT_EQ(file.descriptor(), os_invalid_handle);

  file.open(first, 0, OSL_ACCESS_READ, 0);
  file.open(second, 0, OSL_ACCESS_READ, 0);  // closes the first
  ASSERT_EQ(file.read(&c, 1), 1);
  EXPECT_EQ(c, '2');
  file.close();
  file.close();  // a second close is harmless
  EXPECT_FALSE(file.is_open());
  EXPECT_LT(file.read(&c, 1), 0);
  // The first file was closed by the reopen: it can be removed everywhere.
  Osl_File_System::remove(first);
}

TEST(OsFileSeek, OriginsAndTell) {
  TempDir dir;
  Osl_File file;
  file.open(dir.Join("document"), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  ASSERT_EQ(file.write("0123456789", 10), 10);
  EXPECT_EQ(file.tell(), 10);
  EXPECT_EQ(file.seek(3, 0), 3);
  EXPECT_EQ(file.seek(2, 1), 5);
  EXPECT_EQ(file.tell(), 5);
  EXPECT_EQ(file.seek(-4, 2), 6);
  char c = 0;
  ASSERT_EQ(file.read(&c, 1), 1);
  EXPECT_EQ(c, '6');
  EXPECT_EQ(file.seek(20, 0), 20) << "a seek past the end is allowed";
}

// A refused seek must leave the position where it was: the caller goes on
// reading or writing at the old position after catching the error.
TEST(OsFileSeek, RefusedSeekLeavesThePositionUnchanged) {
  TempDir dir;
  Osl_File file;
  const std::string path = dir.Join("document");
  file.open(path, OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  ASSERT_EQ(file.write("0123456789", 10), 10);
  ASSERT_EQ(file.seek(4, 0), 4);

  ExpectToolkitError<os_file_toolkit_error>([&] { file.seek(-5, 1); }, path);  // before the start
  EXPECT_EQ(PositionOf(file.descriptor()), 4);
  ExpectToolkitError<os_file_toolkit_error>([&] { file.seek(-11, 2); }, path);
  EXPECT_EQ(PositionOf(file.descriptor()), 4);
  // Beyond the 32 bits of the toolkit's positions.
  ExpectToolkitError<os_file_toolkit_error>([&] { file.seek(INT32_MAX, 1); }, path);
  EXPECT_EQ(PositionOf(file.descriptor()), 4);
  if constexpr (sizeof(long) > 4) {  // only a 64-bit long can ask for it directly
    ExpectToolkitError<os_file_toolkit_error>([&] { file.seek(static_cast<long>(4 * kGiB), 0); }, path);
    EXPECT_EQ(PositionOf(file.descriptor()), 4);
  }
  char c = 0;
  ASSERT_EQ(file.read(&c, 1), 1);
  EXPECT_EQ(c, '4');

  // tell on a position that only the 64-bit calls can reach is refused too,
  // and moves nothing.
  ASSERT_TRUE(os_set_file_pointer(file.descriptor(), 3 * kGiB, 0, nullptr));
  ExpectToolkitError<os_file_toolkit_error>([&] { file.tell(); }, path);
  EXPECT_EQ(PositionOf(file.descriptor()), 3 * kGiB);
}

// Sizes around the 32-bit boundaries, on a sparse file: a position cut to 32
// bits anywhere gives another size.
class LargeFile : public ::testing::TestWithParam<std::int64_t> {};

TEST_P(LargeFile, PointerAndEndOfFileReach64Bits) {
  const std::int64_t size = GetParam();
  TempDir dir;
  Osl_File file;
  file.open(dir.Join("large"), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  const os_native_handle handle = file.descriptor();

  std::int64_t position = -1;
  ASSERT_TRUE(os_set_file_pointer(handle, size, 0, &position)) << os_error_text(os_last_error());
  EXPECT_EQ(position, size);
  ASSERT_TRUE(os_set_end_of_file(handle)) << os_error_text(os_last_error());
  EXPECT_EQ(SizeOf(handle), size);

  // A byte written just below the end comes back at the same 64-bit place.
  ASSERT_TRUE(os_set_file_pointer(handle, -1, 2, &position));
  EXPECT_EQ(position, size - 1);
  ASSERT_EQ(file.write("E", 1), 1);
  ASSERT_TRUE(os_set_file_pointer(handle, size - 2, 0, nullptr));
  char tail[4] = {'x', 'x', 'x', 'x'};
  ASSERT_EQ(file.read(tail, 4), 2);
  EXPECT_EQ(tail[0], '\0');
  EXPECT_EQ(tail[1], 'E');
  EXPECT_EQ(SizeOf(handle), size) << "the write moved the end";

  // Cutting and extending work from a 64-bit pointer, which stays where it was.
  ASSERT_TRUE(os_set_file_pointer(handle, size / 2 + 1, 0, nullptr));
  ASSERT_TRUE(os_set_end_of_file(handle));
  EXPECT_EQ(PositionOf(handle), size / 2 + 1);
  EXPECT_EQ(SizeOf(handle), size / 2 + 1);
  ASSERT_TRUE(os_set_file_pointer(handle, size, 0, nullptr));
  ASSERT_TRUE(os_set_end_of_file(handle));
  EXPECT_EQ(SizeOf(handle), size);
  ASSERT_TRUE(os_set_file_pointer(handle, 0, 0, nullptr));
  ASSERT_TRUE(os_set_end_of_file(handle));
  EXPECT_EQ(SizeOf(handle), 0);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LargeFile,
                         ::testing::Values(2 * kGiB - 1, 2 * kGiB, 2 * kGiB + 1, 4 * kGiB - 1, 4 * kGiB,
                                           4 * kGiB + 1, 5 * kGiB + 3));

TEST(FileHandleCalls, FailuresAnswerFalseWithTheReason) {
  TempDir dir;
  Osl_File file;
  file.open(dir.Join("document"), OSL_FILE_CREATE, OSL_ACCESS_READ_WRITE, 0);
  ASSERT_EQ(file.write("abc", 3), 3);
  std::int64_t position = 77;
  EXPECT_FALSE(os_set_file_pointer(file.descriptor(), -1, 0, &position));
  EXPECT_EQ(os_last_error(), native_error::kNegativeSeek);
  EXPECT_EQ(position, 77) << "a failed call wrote the position";
  EXPECT_EQ(PositionOf(file.descriptor()), 3);
  EXPECT_FALSE(os_error_text(native_error::kFileNotFound).empty());

  // A read-only handle cannot be cut.
  Osl_File reader;
  reader.open(dir.Join("document"), 0, OSL_ACCESS_READ, 0);
  EXPECT_FALSE(os_set_end_of_file(reader.descriptor()));
  EXPECT_NE(os_last_error(), 0u);
  EXPECT_EQ(ReadFile(dir.Join("document")), "abc");
}

}  // namespace
