// A document laid down by hand as three files, read back through the handle.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dal_storage.h"
#include "fnx_expect.h"
#include "temp_dir.h"

namespace {

class ThreeFileDocument : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::vector<std::string> parts{"The quick brown ", "fox jumps over the ", "lazy dog."};
    std::int64_t from = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const std::string path = dir.Join("part" + std::to_string(i));
      WriteFile(path, parts[i]);
      location += "disk@" + path + "," + std::to_string(from) + "," + std::to_string(parts[i].size()) + "#";
      from += static_cast<std::int64_t>(parts[i].size());
      whole += parts[i];
    }
  }

  // Reads length bytes at position through a fresh open handle.
  std::string ReadAt(CFnx_Dal_Storage& document, std::uint32_t length, std::int64_t position) {
    std::string buffer(length, '\0');
    const std::int32_t n = document.Read(buffer.data(), length, position);
    EXPECT_GE(n, 0);
    buffer.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    return buffer;
  }

  TempDir dir;
  std::string location;
  std::string whole;
};

TEST_F(ThreeFileDocument, ReadsTheConcatenationInOneCall) {
  CFnx_Dal_Storage document(location);
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_EQ(document.GetSize(), static_cast<std::int64_t>(whole.size()));
  EXPECT_EQ(ReadAt(document, 100, 0), whole);
  EXPECT_EQ(ReadAt(document, 100, 0), "") << "the cursor stands at the end";
  document.Close(false);
}

TEST_F(ThreeFileDocument, ReadsInPiecesThatGoOnWhereTheLastStopped) {
  for (std::uint32_t piece : {1u, 3u, 7u, 16u, 19u}) {
    CFnx_Dal_Storage document(location);
    ASSERT_TRUE(document.OpenForReading(nullptr));
    std::string collected;
    for (std::string chunk; !(chunk = ReadAt(document, piece, 0)).empty();) collected += chunk;
    EXPECT_EQ(collected, whole) << "piece " << piece;
    EXPECT_EQ(ReadAt(document, 5, -1), whole.substr(0, 5)) << "-1 starts again at the beginning";
    EXPECT_EQ(ReadAt(document, 5, 0), whole.substr(5, 5)) << "and resets the cursor";
  }
}

TEST_F(ThreeFileDocument, ReadsFromExplicitPositionsAcrossFileBoundaries) {
  // Each explicit read goes on in the following file within the same call.
  struct Case {
    std::int64_t position;
    std::uint32_t length;
  };
  for (const Case c : {Case{2, 20}, Case{10, 30}, Case{17, 100}, Case{30, 10}, Case{40, 4}}) {
    CFnx_Dal_Storage document(location);
    ASSERT_TRUE(document.OpenForReading(nullptr));
    EXPECT_EQ(ReadAt(document, c.length, c.position), whole.substr(static_cast<std::size_t>(c.position), c.length))
        << "position " << c.position;
  }
}

TEST_F(ThreeFileDocument, ReadBeyondTheEndGivesNothingNotAFailure) {
  CFnx_Dal_Storage document(location);
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_EQ(document.Read(nullptr, 0, 1), 0);
  std::string buffer(8, '\0');
  EXPECT_EQ(document.Read(buffer.data(), 8, static_cast<std::int64_t>(whole.size()) + 10), 0);
}

TEST_F(ThreeFileDocument, CloseWithoutDestroyingReadsAgainFromTheStart) {
  CFnx_Dal_Storage document(location);
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_FALSE(document.OpenForReading(nullptr)) << "a second open is refused";
  EXPECT_EQ(ReadAt(document, 100, -1), whole);
  document.Close(false);
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_EQ(ReadAt(document, 100, -1), whole);
}

TEST_F(ThreeFileDocument, GetNameRoundTripsThroughTheConstructor) {
  CFnx_Dal_Storage document(location);
  EXPECT_EQ(document.GetName(), location) << "before any open, the files name themselves";
  EXPECT_EQ(CFnx_Dal_Storage(document).GetName(), location) << "so does a copy";
  const std::string bare = dir.Join("part1");
  EXPECT_EQ(CFnx_Dal_Storage(bare).GetName(), "disk@" + bare + ",0,0#") << "a bare path in the list form";
  std::string firstPath;
  document.GetFirstFilePath(firstPath);
  EXPECT_EQ(firstPath, dir.Join("part0")) << "and the first file knows its path";
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_EQ(document.GetName(), location);
  CFnx_Dal_Storage again(document.GetName());
  ASSERT_TRUE(again.OpenForReading(nullptr));
  EXPECT_EQ(again.GetName(), location);
  std::string first;
  again.GetFirstFilePath(first);
  EXPECT_EQ(first, dir.Join("part0"));
}

TEST_F(ThreeFileDocument, CopiesAreIndependentAndStartClosed) {
  CFnx_Dal_Storage original(location);
  ASSERT_TRUE(original.OpenForReading(nullptr));
  CFnx_Dal_Storage copy(original);
  EXPECT_FALSE(copy.IsOpen());
  ASSERT_TRUE(copy.OpenForReading(nullptr));
  EXPECT_EQ(copy.GetName(), location);
  EXPECT_EQ(ReadAt(copy, 100, -1), whole);
  CFnx_Dal_Storage assigned;
  assigned = copy;
  CFnx_Dal_Storage& alias = assigned;
  assigned = alias;  // self-assignment keeps the files
  ASSERT_TRUE(assigned.OpenForReading(nullptr));
  EXPECT_EQ(assigned.GetName(), location);
}

TEST_F(ThreeFileDocument, ALocationWithoutFromAndSizeIsMeasuredAtTheOpen) {
  const std::string path = dir.Join("part1");
  CFnx_Dal_Storage document("disk@" + path + "#");
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_EQ(document.GetSize(), 19);
  EXPECT_EQ(ReadAt(document, 100, 0), "fox jumps over the ");
  EXPECT_EQ(document.GetName(), "disk@" + path + ",0,19#");
}

TEST_F(ThreeFileDocument, StaleSizeInTheLocationBoundsTheRead) {
  // The location's size stays, whatever the file now holds; the name shows the media's size.
  const std::string path = dir.Join("part0");
  const std::string stale = "disk@" + path + ",0,4#";
  CFnx_Dal_Storage document(stale);
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_EQ(ReadAt(document, 100, -1), whole.substr(0, 16)) << "-1 reads the file from its start";
  EXPECT_EQ(ReadAt(document, 100, 5), "") << "an explicit position past the stored size finds no file";
  EXPECT_EQ(document.GetSize(), 4);
  EXPECT_EQ(document.GetName(), "disk@" + path + ",0,16#");
}

TEST(StorageBadInput, GivesTheErrorAndNeverCrashes) {
  TempDir dir;
  ExpectFnxError([] { CFnx_Dal_Storage document(""); }, "QRSDAL0501E", 1282, 12);
  const std::vector<std::string> unreadable{std::string(5000, 'x'), "////", "\\\\\\", "\xc3\xa9t\xc3\xa9/\xff\xfe",
                                            dir.Join("missing"), "disk@" + dir.Join("missing") + ",0,5"};
  for (const std::string& location : unreadable) {
    CFnx_Dal_Storage document(location);
    EXPECT_EQ(document.GetSize(), 0);
    try {
      document.OpenForReading(nullptr);
      ADD_FAILURE() << "opened: " << location.substr(0, 40);
    } catch (const FNXError& error) {
      const bool expected = error.Text().rfind("QRSDAL0504E", 0) == 0 || error.Text().rfind("QRSDAL0200E", 0) == 0;
      EXPECT_TRUE(expected) << error.Text().substr(0, 200);
    }
  }
}

TEST(StorageBadInput, ListLocationsWithBadFilesFailAtTheirFile) {
  ExpectFnxError([] { CFnx_Dal_Storage document("disk@a,1#"); }, "QRSDAL0502E", 1282, 12);
  ExpectFnxError([] { CFnx_Dal_Storage document("disk@#"); }, "QRSDAL0502E", 1282, 12);
  ExpectFnxError([] { CFnx_Dal_Storage document("disk@a,0,1#x@y@z#"); }, "QRSDAL0502E", 1282, 12);
  ExpectFnxError([] { CFnx_Dal_Storage document("centera@a,0,1#"); }, "QRSDAL0516E", 1280, 12);
  ExpectFnxError([] { CFnx_Dal_Storage document("centera-bare-path"); }, "QRSDAL0516E", 1280, 12);
  // A list with a good file and then a bad one keeps the good one.
  CFnx_Dal_Storage document;
  ExpectFnxError([&] { document.ResetLocation("disk@/a,0,1#centera@b,1,1#"); }, "QRSDAL0516E", 1280, 12);
  EXPECT_EQ(document.GetSize(), 1) << "the good file keeps the size of its location";
  // Without the closing "#" it is a bare disk path that holds an "@" and commas.
  CFnx_Dal_Storage bare("disk@nowhere,0,1");
  const std::string text = ExpectFnxError([&] { bare.OpenForReading(nullptr); }, "QRSDAL0504E", 1284, 8);
  EXPECT_NE(text.find("'disk@nowhere,0,1'"), std::string::npos) << text;
}

}  // namespace
