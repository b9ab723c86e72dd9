// Writing, resizing and deleting a stored document through the handle.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <functional>
#include <memory>

#include "dal_configuration.h"
#include "dal_storage.h"
#include "fnx_error.h"
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
      {12, "tail", "aaaabbbbcccctail"},  // the end lands in the last file: only it grows
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
    EXPECT_EQ(document.GetSize(), static_cast<std::int64_t>(std::string(c.expected).size())) << "only growth counts";
    EXPECT_TRUE(document.Write(nullptr, 5, written, 0)) << "no buffer, nothing written";
    EXPECT_EQ(written, 0u);
    document.Close(true);
    EXPECT_EQ(Contents(), c.expected) << "position " << c.position;
  }
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
  CFnx_Dal_Storage reader("disk@" + paths[0] + ",0,4#");
  ASSERT_TRUE(reader.OpenForReading(nullptr));
  EXPECT_FALSE(reader.Resize(2)) << "a document open for reading is not cut";
  EXPECT_EQ(ReadFile(paths[0]), "aaaa");
  reader.Close(false);

  CFnx_Dal_Storage emptied("disk@" + paths[0] + ",0,4#disk@" + paths[1] + ",4,3#");
  ASSERT_TRUE(emptied.ReOpenForWriting());
  EXPECT_TRUE(emptied.Resize(0));
  emptied.Close(false);
  EXPECT_FALSE(Osl_File_System::exists(paths[1]));
  CFnx_Dal_Storage again(emptied.GetName());
  ASSERT_TRUE(again.OpenForReading(nullptr)) << "cut to nothing, the first file stays and its name reads back";
  EXPECT_EQ(again.GetSize(), 0);
}

// A cut that fails loses nothing: the files behind it stay on disk and in
// the name, and reads still find their bytes. Whole files that do go leave
// the disk too, also from a handle that was never opened.
TEST_F(StoredDocument, AFailedCutKeepsEveryFileAndRemovedFilesLeaveTheDisk) {
  for (const bool opened : {true, false}) {
    for (int i = 0; i < 3; ++i) WriteFile(paths[i], std::string("0123456789ab").substr(4 * i, 4));
    CFnx_Dal_Storage document(location);
    if (opened) {
      ASSERT_TRUE(document.OpenForReading(nullptr));
    }
    EXPECT_FALSE(document.Resize(5)) << "a file not open for writing is not cut";
    EXPECT_EQ(document.GetName(), location);
    EXPECT_EQ(Contents(), "0123456789ab");
    if (opened) {
      std::string three(3, '\0');
      EXPECT_EQ(document.Read(three.data(), 3, 2), 3);
      EXPECT_EQ(three, "234");
    }
    EXPECT_TRUE(document.Resize(8)) << "the file before the new end stays whole";
    EXPECT_EQ(document.GetSize(), 8);
    EXPECT_FALSE(Osl_File_System::exists(paths[2])) << (opened ? "opened" : "never opened");
  }
}

// An open that fails at a later file closes the files it had opened, so
// their locks do not outlive the failed call.
TEST_F(StoredDocument, AFailedOpenClosesTheFilesItOpened) {
  std::unique_ptr<CFnx_Dal_Configuration> config(Create_Dal_Configuration("disk", CFnx_Dal_ConfigValues()));
  CFnx_Dal_Storage holder(paths[1]);
  ASSERT_TRUE(holder.ReOpenForWriting());
  const std::function<void(CFnx_Dal_Storage&)> opens[] = {
      [](CFnx_Dal_Storage& document) { document.ReOpenForWriting(); },
      [&](CFnx_Dal_Storage& document) { document.OpenForWriting("disk", config.get()); },
  };
  for (const auto& open : opens) {
    CFnx_Dal_Storage document(location);
    document.SetFileCreateFlag(false);
    EXPECT_THROW(open(document), FNXError) << "the second file is locked";
    document.Close(false);
    CFnx_Dal_Storage first(paths[0]);
    EXPECT_NO_THROW(first.ReOpenForWriting()) << "the first file is free again";
    first.Close(true);
  }
}

// A location with the create flag names a new document: the open makes its
// file, and what is written there reads back.
TEST_F(StoredDocument, TheCreateFlagMakesTheFileALocationNames) {
  const std::string path = dir.Join("sub/new.doc");
  std::unique_ptr<CFnx_Dal_Configuration> config(Create_Dal_Configuration("disk", CFnx_Dal_ConfigValues()));
  CFnx_Dal_Storage document("disk@" + path + ",0,0#");
  document.SetFileCreateFlag(true);
  ASSERT_TRUE(document.OpenForWriting("disk", config.get()));
  std::uint32_t written = 0;
  EXPECT_TRUE(document.Write("new", 3, written, -1));
  document.Close(false);
  EXPECT_EQ(ReadFile(path), "new");
}

TEST_F(StoredDocument, DeleteGoesOnPastAMissingFile) {
  std::remove(paths[1].c_str());
  CFnx_Dal_Storage document(location);
  EXPECT_EQ(document.Delete(), -1);
  EXPECT_FALSE(Osl_File_System::exists(paths[0]));
  EXPECT_FALSE(Osl_File_System::exists(paths[2]));
  EXPECT_EQ(document.Delete(), -1) << "all gone now";
}

}  // namespace
