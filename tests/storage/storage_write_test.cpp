// Writing, resizing and deleting documents through the handle at positions.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "dal_configuration.h"
#include "dal_configuration_tape.h"
#include "dal_storage.h"
#include "fnx_expect.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

class StoredDocument : public ::testing::Test {
 protected:
  // Three files "aaaa" "bbbb" "cccc" at 0, 4 and 8.
  void SetUp() override {
    for (int i = 0; i < 3; ++i) {
      paths.push_back(dir.Join("f" + std::to_string(i)));
      location += "disk@" + paths.back() + "," + std::to_string(4 * i) + ",4#";
    }
    Lay();
  }
  void Lay() {
    for (int i = 0; i < 3; ++i) WriteFile(paths[i], std::string(4, static_cast<char>('a' + i)));
  }
  std::string Contents() const { return ReadFile(paths[0]) + ReadFile(paths[1]) + ReadFile(paths[2]); }

  TempDir dir;
  std::vector<std::string> paths;
  std::string location;
};

TEST_F(StoredDocument, WritesAtPositionsFillFilesWithoutGrowingThem) {
  struct Case {
    std::int64_t position;
    const char* data;
    const char* expected;
  };
  const Case cases[] = {
      {0, "XY", "XYaabbbbcccc"},
      {2, "XYZW", "aaXYZWbbcccc"},   // ends in the next file at its offset 0
      {4, "XY", "aaaaXYbbcccc"},     // on a boundary: nothing in the first file
      {3, "123456789", "aaa123456789"},
      {12, "tail", "aaaabbbbcccctail"},  // the document's end lands in the last file
      {-1, "more", "aaaabbbbccccmore"},
  };
  for (const Case& c : cases) {
    Lay();
    CFnx_Dal_Storage document(location);
    ASSERT_TRUE(document.ReOpenForWriting());
    std::uint32_t written = 0;
    const std::string data = c.data;
    EXPECT_TRUE(document.Write(data.data(), static_cast<std::uint32_t>(data.size()), written, c.position));
    EXPECT_EQ(written, data.size());
    document.Close(true);
    EXPECT_EQ(Contents(), c.expected) << "position " << c.position;
    EXPECT_EQ(ReadFile(paths[0]).size(), 4u);
    EXPECT_EQ(ReadFile(paths[1]).size(), 4u);
  }
}

TEST_F(StoredDocument, WriteRefusesPositionsBeyondTheEnd) {
  CFnx_Dal_Storage document(location);
  ASSERT_TRUE(document.ReOpenForWriting());
  std::uint32_t written = 7;
  EXPECT_TRUE(document.Write(nullptr, 5, written, 0));
  EXPECT_EQ(written, 0u);
  EXPECT_TRUE(document.Write("x", 0, written, 99));
  // One byte past the end, and positions before the first byte: no file holds them.
  for (const std::int64_t position : {13LL, -2LL, -4096LL}) {
    const std::string text =
        ExpectFnxError([&] { document.Write("x", 1, written, position); }, "QRSDAL0508E", 1288, 8);
    EXPECT_NE(text.find(std::to_string(position)), std::string::npos) << text;
    EXPECT_NE(text.find("12"), std::string::npos) << text;
    EXPECT_EQ(written, 0u);
  }
  document.Close(true);
  EXPECT_EQ(Contents(), "aaaabbbbcccc");
}

TEST_F(StoredDocument, SecondWriterOfTheSameDocumentIsRefused) {
  CFnx_Dal_Storage first(location);
  ASSERT_TRUE(first.ReOpenForWriting());
  CFnx_Dal_Storage second(location);
  ExpectFnxError([&] { second.ReOpenForWriting(); }, "QRSDAL0514E", 1287, 8);
  EXPECT_FALSE(second.IsOpen());
  first.Close(false);
  EXPECT_TRUE(second.ReOpenForWriting()) << "the lock goes with the first writer's close";
}

TEST_F(StoredDocument, ResizeCutsAndRemovesWholeFiles) {
  {
    CFnx_Dal_Storage document(location);
    ASSERT_TRUE(document.ReOpenForWriting());
    EXPECT_TRUE(document.Resize(12));
    EXPECT_TRUE(document.Resize(100));
    for (const std::int64_t negative : {-1LL, -13LL}) {
      EXPECT_FALSE(document.Resize(negative)) << "no size below 0: " << negative;
    }
    EXPECT_EQ(document.GetSize(), 12);
    EXPECT_EQ(Contents(), "aaaabbbbcccc");
    EXPECT_TRUE(document.Resize(8)) << "a size equal to a file's start removes that file";
    EXPECT_EQ(document.GetSize(), 8);
    EXPECT_FALSE(Osl_File_System::exists(paths[2]));
    EXPECT_TRUE(document.Resize(6));
    EXPECT_EQ(document.GetSize(), 6);
    std::uint32_t written = 0;
    EXPECT_TRUE(document.Write("Z", 1, written, -1)) << "-1 goes on at the new end";
    document.Close(false);
  }
  EXPECT_EQ(ReadFile(paths[0]) + ReadFile(paths[1]), "aaaabbZ");
}

TEST_F(StoredDocument, DeleteGoesOnPastAMissingFile) {
  std::remove(paths[1].c_str());
  CFnx_Dal_Storage document(location);
  EXPECT_EQ(document.Delete(), -1);
  EXPECT_FALSE(Osl_File_System::exists(paths[0]));
  EXPECT_FALSE(Osl_File_System::exists(paths[2]));
  EXPECT_EQ(document.Delete(), -1) << "all gone now";
}

TEST(StorageOpenForWriting, ComparesTheMediaTypeExactly) {
  TempDir dir;
  CFnx_Dal_ConfigValues values;
  values.m_location = dir.path();
  values.m_maxFilesPerDir = 20;
  std::unique_ptr<CFnx_Dal_Configuration> disk(Create_Dal_Configuration("disk", values));
  CFnx_Dal_ConfigurationTape tape;
  CFnx_Dal_Storage document;
  const std::string text = ExpectFnxError([&] { document.OpenForWriting("DISK", disk.get()); }, "QRSDAL0507E", 1287, 8);
  EXPECT_NE(text.find("'disk'"), std::string::npos);
  EXPECT_NE(text.find("'DISK'"), std::string::npos);
  ExpectFnxError([&] { document.OpenForWriting("disk", &tape); }, "QRSDAL0507E", 1287, 8);
  ExpectFnxError([&] { document.OpenForWriting("disk", nullptr); }, "QRSDAL0507E", 1287, 8);
  EXPECT_FALSE(document.IsOpen());
}

// A configuration of a media that no factory knows.
class FloppyConfiguration : public CFnx_Dal_Configuration {
 public:
  CFnx_Dal_Configuration* Clone() const override { return new FloppyConfiguration(); }
  void SetValues(const CFnx_Dal_ConfigValues&) override {}
  void GetValues(CFnx_Dal_ConfigValues&) override {}
  const std::string& GetName() const override {
    static const std::string name = "floppy";
    return name;
  }
  std::int32_t GetMaxPageSize() const override { return 0; }
  std::string Get_Location() override { return {}; }
};

TEST(StorageBackup, UnknownMediaNamesAreRefusedAndDiskDoesNothing) {
  FloppyConfiguration floppy;
  const std::string text =
      ExpectFnxError([&] { CFnx_Dal_Storage::BackupStart(&floppy); }, "QRSDAL0516E", 1280, 12);
  EXPECT_NE(text.find("floppy"), std::string::npos) << text;
  ExpectFnxError([&] { CFnx_Dal_Storage::BackupEnd(&floppy); }, "QRSDAL0516E", 1280, 12);
  TempDir dir;
  CFnx_Dal_ConfigValues values;
  values.m_location = dir.Join("root");
  std::unique_ptr<CFnx_Dal_Configuration> disk(Create_Dal_Configuration("disk", values));
  CFnx_Dal_Storage::BackupStart(disk.get());
  CFnx_Dal_Storage::BackupEnd(disk.get());
  EXPECT_FALSE(Osl_File_System::exists(values.m_location)) << "the disk media has no backup run";
  ExpectFnxError([] { CFnx_Dal_Storage::BackupStart(nullptr); }, "QRSDAL0516E", 1280, 12);
  ExpectFnxError([] { CFnx_Dal_Storage::BackupEnd(nullptr); }, "QRSDAL0516E", 1280, 12);
}

}  // namespace
