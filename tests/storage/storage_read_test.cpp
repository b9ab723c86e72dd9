// A document laid down by hand as three files, read back through the handle.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "dal_storage.h"
#include "fnx_expect.h"
#include "temp_dir.h"

namespace {

class ThreeFileDocument : public ::testing::Test {
 protected:
  void SetUp() override {
    std::int64_t from = 0;
    for (const std::string part : {"The quick brown ", "fox jumps over the ", "lazy dog."}) {
      paths.push_back(dir.Join("part" + std::to_string(paths.size())));
      WriteFile(paths.back(), part);
      location += "disk@" + paths.back() + "," + std::to_string(from) + "," + std::to_string(part.size()) + "#";
      from += static_cast<std::int64_t>(part.size());
      whole += part;
    }
  }

  static std::string ReadAt(CFnx_Dal_Storage& document, std::uint32_t length, std::int64_t position) {
    std::string buffer(length, '\0');
    const std::int32_t n = document.Read(buffer.data(), length, position);
    EXPECT_GE(n, 0);
    buffer.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    return buffer;
  }

  TempDir dir;
  std::vector<std::string> paths;
  std::string location;
  std::string whole;
};

TEST_F(ThreeFileDocument, ReadsInOneCallAndInPiecesThatGoOnWhereTheLastStopped) {
  for (std::uint32_t piece : {100u, 1u, 7u, 16u, 19u}) {
    CFnx_Dal_Storage document(location);
    ASSERT_TRUE(document.OpenForReading(nullptr));
    EXPECT_EQ(document.GetSize(), static_cast<std::int64_t>(whole.size()));
    std::string collected;
    for (std::string chunk; !(chunk = ReadAt(document, piece, 0)).empty();) collected += chunk;
    EXPECT_EQ(collected, whole) << "piece " << piece;
    EXPECT_EQ(ReadAt(document, 5, -1), whole.substr(0, 5)) << "-1 starts again at the beginning";
    EXPECT_EQ(ReadAt(document, 5, 0), whole.substr(5, 5)) << "and resets the cursor";
  }
}

TEST_F(ThreeFileDocument, ReadsFromExplicitPositionsAcrossFileBoundaries) {
  struct Case {
    std::int64_t position;
    std::uint32_t length;
  };
  for (const Case c : {Case{2, 20}, Case{10, 30}, Case{17, 100}, Case{30, 10}, Case{40, 4}, Case{54, 8}}) {
    CFnx_Dal_Storage document(location);
    ASSERT_TRUE(document.OpenForReading(nullptr));
    const std::size_t at = std::min(static_cast<std::size_t>(c.position), whole.size());
    EXPECT_EQ(ReadAt(document, c.length, c.position), whole.substr(at, c.length)) << "position " << c.position;
  }
}

TEST_F(ThreeFileDocument, ACloseWithoutDestroyingOpensAgainAndCopiesStartClosed) {
  CFnx_Dal_Storage document(location);
  EXPECT_EQ(document.GetName(), location) << "before any open, the files name themselves";
  std::string first;
  document.GetFirstFilePath(first);
  EXPECT_EQ(first, paths[0]);
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_FALSE(document.OpenForReading(nullptr)) << "a second open is refused";
  document.Close(false);
  ASSERT_TRUE(document.OpenForReading(nullptr));
  EXPECT_EQ(ReadAt(document, 100, -1), whole);

  CFnx_Dal_Storage copy(document);
  EXPECT_FALSE(copy.IsOpen());
  ASSERT_TRUE(copy.OpenForReading(nullptr));
  EXPECT_EQ(ReadAt(copy, 100, -1), whole);
  CFnx_Dal_Storage assigned;
  assigned = copy;
  CFnx_Dal_Storage& alias = assigned;
  assigned = alias;  // self-assignment keeps the files
  EXPECT_EQ(assigned.GetName(), location);
  ASSERT_TRUE(assigned.OpenForReading(nullptr));
  EXPECT_EQ(ReadAt(assigned, 100, 0), "") << "the cursor comes along: the copy had read to the end";
}

// A location's own size bounds the read whatever the file holds now; the
// name shows what the media measured, and a bare path is measured at the open.
TEST_F(ThreeFileDocument, TheLocationsSizeBoundsTheReadAndTheNameShowsTheMedia) {
  EXPECT_EQ(CFnx_Dal_Storage(paths[1]).GetName(), "disk@" + paths[1] + ",0,0#");
  CFnx_Dal_Storage measured("disk@" + paths[1] + "#");
  ASSERT_TRUE(measured.OpenForReading(nullptr));
  EXPECT_EQ(ReadAt(measured, 100, 0), "fox jumps over the ");
  EXPECT_EQ(measured.GetName(), "disk@" + paths[1] + ",0,19#");

  CFnx_Dal_Storage stale("disk@" + paths[0] + ",0,4#");
  ASSERT_TRUE(stale.OpenForReading(nullptr));
  EXPECT_EQ(ReadAt(stale, 100, -1), whole.substr(0, 16)) << "-1 reads the file from its start";
  EXPECT_EQ(ReadAt(stale, 100, 5), "") << "an explicit position past the stored size finds no file";
  EXPECT_EQ(stale.GetSize(), 4);
  EXPECT_EQ(stale.GetName(), "disk@" + paths[0] + ",0,16#");
}

TEST(StorageBadInput, UnreadableLocationsGiveTheErrorAndNeverCrash) {
  TempDir dir;
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
  // A list with a good file and then a bad one keeps the good one.
  CFnx_Dal_Storage document;
  ExpectFnxError([&] { document.ResetLocation("disk@/a,0,1#centera@b,1,1#"); }, "QRSDAL0516E", 1280, 12);
  EXPECT_EQ(document.GetSize(), 1);
}

}  // namespace
