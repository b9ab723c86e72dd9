// The disk media on its own: offsets of reads and writes, how far a write
// grows a file, the opens of named files, cutting, and what a delete leaves.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "dal_configuration_filesystem.h"
#include "dal_media_filesystem.h"
#include "disk_content.h"
#include "fnx_log.h"
#include "fnx_expect.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

std::string ReadAt(DAFileSystem& media, std::uint32_t length, std::int64_t offset) {
  std::string buffer(length, '\0');
  std::uint32_t read = 12345;
  EXPECT_TRUE(media.Read(buffer.data(), length, read, offset));
  buffer.resize(read);
  return buffer;
}

TEST(DiskMediaRead, ZeroGoesOnWhereTheFileStandsAndMinusOneStartsAgain) {
  TempDir dir;
  const std::string path = dir.Join("doc");
  WriteFile(path, "0123456789");
  DAFileSystem media;
  media.OpenForReading(path);
  EXPECT_EQ(ReadAt(media, 3, 0), "012");
  EXPECT_EQ(ReadAt(media, 3, 0), "345") << "0 is no position";
  EXPECT_EQ(ReadAt(media, 2, 8), "89");
  EXPECT_EQ(ReadAt(media, 2, 1), "12") << "an offset behind the file pointer";
  EXPECT_EQ(ReadAt(media, 4, -1), "0123");
  EXPECT_EQ(ReadAt(media, 100, 0), "456789");
  EXPECT_EQ(ReadAt(media, 100, 0), "") << "the end of the file is 0 bytes and true";
}

TEST(DiskMediaWrite, CountsOnlyTheBytesByWhichTheFileGrows) {
  struct Case {
    std::int64_t offset;
    const char* data;
    std::uint32_t counted;
    const char* after;
  };
  const Case cases[] = {
      {-1, "ab", 0, "ab2345"},        // an open for writing stands at the start
      {2, "XY", 0, "01XY45"},         // inside the file
      {4, "ABCD", 2, "0123ABCD"},     // begins inside, ends beyond
      {6, "tail", 4, "012345tail"},   // past the end
      {0, "0123456", 1, "0123456"},
  };
  for (const Case& c : cases) {
    TempDir dir;
    const std::string path = dir.Join("doc");
    WriteFile(path, "012345");
    const std::string data = c.data;
    std::uint32_t written = 0, counted = 99;
    {
      DAFileSystem media;
      media.OpenForWriting(path, false);
      ASSERT_TRUE(media.Write(data.data(), static_cast<std::uint32_t>(data.size()), written, counted, c.offset));
      EXPECT_EQ(written, data.size()) << c.data;
      EXPECT_EQ(counted, c.counted) << c.data;
      EXPECT_EQ(media.GetFileSize(), static_cast<std::int64_t>(std::string(c.after).size())) << c.data;
      media.Close();
    }
    EXPECT_EQ(ReadFile(path), c.after) << c.data;
  }
}

TEST(DiskMediaWrite, AnUpdateAppendsAtTheEnd) {
  TempDir dir;
  const std::string path = dir.Join("doc");
  WriteFile(path, "abc");
  DAFileSystem media;
  media.OpenForUpdate(path);
  std::uint32_t written = 0, counted = 0;
  ASSERT_TRUE(media.Write("de", 2, written, counted, -1));
  EXPECT_EQ(counted, 2u);
  media.Close();
  EXPECT_EQ(ReadFile(path), "abcde");
}

TEST(DiskMediaSize, IsZeroUnmeasuredAndCachedAfterClose) {
  TempDir dir;
  const std::string path = dir.Join("doc");
  WriteFile(path, "12345");
  DAFileSystem media;
  EXPECT_EQ(media.GetFileSize(), 0) << "closed and never measured";
  media.OpenForReading(path);
  media.Close();
  WriteFile(path, "1234567");
  EXPECT_EQ(media.GetFileSize(), 5) << "what was measured at the open";
  ExpectFnxError([&] { media.OpenForReading(dir.Join("missing")); }, "QRSDAL0504E", 1284, 8);
}

TEST(DiskMediaResize, CutsAnOpenFileAndLeavesAReadOnlyOneAlone) {
  TempDir dir;
  const std::string path = dir.Join("doc");
  WriteFile(path, "0123456789");
  {
    DAFileSystem media;
    media.OpenForWriting(path, false);
    EXPECT_EQ(ReadAt(media, 2, 0), "01");
    ASSERT_TRUE(media.Resize(4));
    EXPECT_EQ(media.GetFileSize(), 4);
    std::uint32_t written = 0, counted = 0;
    ASSERT_TRUE(media.Write("X", 1, written, counted, -1)) << "the file pointer stands at the new end";
    EXPECT_EQ(counted, 1u);
    media.Close();
  }
  EXPECT_EQ(ReadFile(path), "0123X");

  DAFileSystem reader;
  reader.OpenForReading(path);
  EXPECT_EQ(ReadAt(reader, 1, 0), "0");
  EXPECT_FALSE(reader.Resize(2));
  EXPECT_EQ(reader.GetFileSize(), 5);
  reader.Close();
  EXPECT_EQ(ReadFile(path), "0123X");
}

TEST(DiskMediaDirectories, ATrailingSeparatorIsMadeOnce) {
  TempDir dir;
  const std::string deep = os_path(os_path(dir.Join("a"), "b"), "c").str() + OS_PATH_SEPARATOR;
  DAFileSystem::MakeDirectories(deep);
  EXPECT_TRUE(Osl_Directory::exists(deep));
  DAFileSystem::MakeDirectories(deep);
  EXPECT_EQ(Entries(dir.Join("a")), std::vector<std::string>{"b"});
}

// Where a deleted file lay decides whether its root's lockfile and count take part.
TEST(DiskMediaDelete, ADateDirectoryWithoutACountIsCountedFromItsEntries) {
  struct Case {
    int others;          // documents left beside the deleted one
    bool directoryStays;
    long count;          // in "dirfile.txt" afterwards; -1 none
  };
  for (const Case c : {Case{0, false, -1}, Case{2, true, 3}}) {
    TempDir dir;
    const std::string dateDir = os_path(dir.Join("root"), "07_15_2021_1");
    DAFileSystem::MakeDirectories(dateDir);
    const std::string path = os_path(dateDir, "doc");
    WriteFile(path, "x");
    for (int i = 0; i < c.others; ++i) WriteFile(os_path(dateDir, "other" + std::to_string(i)), "");
    DAFileSystem media;
    media.SetLocation(path);
    EXPECT_EQ(media.Delete(), 0);
    EXPECT_FALSE(Osl_File_System::exists(path));
    EXPECT_EQ(Osl_Directory::exists(dateDir), c.directoryStays) << c.others;
    if (c.directoryStays) {
      EXPECT_EQ(DirFileCount(dateDir), c.count) << c.others;
    }
    EXPECT_TRUE(Osl_File_System::exists(os_path(dir.Join("root"), "lockfile")));
  }
}

TEST(DiskMediaDelete, OnlyTheFilesOwnDirectoryIsLookedAt) {
  TempDir dir;
  const std::string dateDir = os_path(dir.Join("root"), "07_15_2021_1");
  const std::string sub = os_path(dateDir, "sub");
  DAFileSystem::MakeDirectories(sub);
  const std::string path = os_path(sub, "doc");
  WriteFile(path, "x");
  DAFileSystem media;
  media.SetLocation(path);
  EXPECT_EQ(media.Delete(), 0);
  EXPECT_TRUE(Osl_Directory::exists(sub));
  EXPECT_EQ(Entries(dateDir), std::vector<std::string>{"sub"}) << "no lockfile, no count";
  EXPECT_EQ(media.Delete(), 7);
}

// The lines a delete leaves in the log, in order, for each road it takes.
TEST(DiskMediaDelete, LogsEachStepOfItsRoad) {
  struct Sink {
    static void Capture(int severity, const char*, const char* text, void* context) {
      static_cast<std::vector<std::string>*>(context)->push_back(std::to_string(severity) + " " + text);
    }
  };
  TempDir dir;
  const std::string plainDir = dir.Join("plain");
  const std::string dateDir = os_path(dir.Join("root"), "07_15_2021_1");
  DAFileSystem::MakeDirectories(plainDir);
  DAFileSystem::MakeDirectories(dateDir);
  const std::string plain = os_path(plainDir, "doc");
  const std::string dated = os_path(dateDir, "doc");
  const std::string missing = os_path(plainDir, "missing");
  WriteFile(plain, "x");
  WriteFile(dated, "x");
  const std::string started = "1 DAFileSystem::Delete started, location : ";
  struct Case {
    std::string path;
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {missing, {started + missing}},
      {plain,
       {started + plain, "1 DAFileSystem::Delete dir : " + plainDir,
        "1 DAFileSystem::Delete remove file no lock: " + plain}},
      {dated,
       {started + dated, "1 DAFileSystem::Delete dir : " + dateDir,
        "1 DAFileSystem::Delete remove file with lock: " + dated, "1 DAFileSystem::Delete remove dir: " + dateDir}},
  };
  for (const Case& c : cases) {
    std::vector<std::string> lines;
    Fnx_SetLogSink(1, &Sink::Capture, &lines);
    DAFileSystem media;
    media.SetLocation(c.path);
    const std::int32_t result = media.Delete();
    Fnx_SetLogSink(0, nullptr, nullptr);
    EXPECT_EQ(result, c.path == missing ? 7 : 0) << c.path;
    EXPECT_EQ(lines, c.lines) << c.path;
  }
}

}  // namespace
