// New documents on disk: where they land, how each date directory counts
// them in "dirfile.txt", and how delete gives the places back.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "dal_configuration_filesystem.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "os_datetime.h"
#include "os_path.h"
#include "osl_directory.h"
#include "temp_dir.h"

namespace {

std::string TodaysDirectory(int number) { return os_date::today().to_string("%m_%d_%Y") + "_" + std::to_string(number); }

class DiskRoot : public ::testing::Test {
 protected:
  void UseRoot(const std::string& location) {
    CFnx_Dal_ConfigValues values;
    values.m_location = location;
    values.m_maxFilesPerDir = 10;
    config.reset(Create_Dal_Configuration("disk", values));
  }
  // Writes a new document and returns its location.
  std::string Store(const std::string& content) {
    CFnx_Dal_Storage document;
    document.SetFileExtension("dat");
    EXPECT_TRUE(document.OpenForWriting("disk", config.get()));
    std::uint32_t written = 0;
    EXPECT_TRUE(document.Write(content.data(), static_cast<std::uint32_t>(content.size()), written, -1));
    EXPECT_EQ(written, content.size());
    document.Close(false);
    return document.GetName();
  }
  std::string DirText(const std::string& name) { return ReadFile(os_path(os_path(root, name), "dirfile.txt")); }

  TempDir dir;
  const std::string root = dir.Join("root");
  std::unique_ptr<CFnx_Dal_Configuration> config;
};

TEST_F(DiskRoot, DocumentsFillNumberedDirectoriesOfTheDay) {
  UseRoot(root);
  std::vector<std::string> locations;
  for (int i = 0; i < 12; ++i) {
    locations.push_back(Store("document " + std::to_string(i)));
    if (i < 9) {
      EXPECT_EQ(DirText(TodaysDirectory(1)), "NumberOfFilesInDirectory=" + std::to_string(i + 2) + ";");
    }
  }
  std::vector<std::string> dirs = DateDirectories(root);
  std::sort(dirs.begin(), dirs.end());
  EXPECT_EQ(dirs, (std::vector<std::string>{TodaysDirectory(1), TodaysDirectory(2)}));
  EXPECT_EQ(Entries(os_path(root, TodaysDirectory(1))).size(), 10u) << "nine documents and the count";
  EXPECT_EQ(DirText(TodaysDirectory(2)), "NumberOfFilesInDirectory=4;");

  const std::regex name(R"(fnx_das_\d{6}_[0-9A-Za-z]+\.dat)");
  std::set<std::string> paths;
  for (std::size_t i = 0; i < locations.size(); ++i) {
    std::string path;
    CFnx_Dal_Storage(locations[i]).GetFirstFilePath(path);
    EXPECT_TRUE(std::regex_match(os_path(path).filename(), name)) << path;
    const std::string content = "document " + std::to_string(i);
    EXPECT_EQ(locations[i], "disk@" + path + ",0," + std::to_string(content.size()) + "#");
    EXPECT_EQ(ReadFile(path), content);
    paths.insert(path);
  }
  EXPECT_EQ(paths.size(), locations.size());
  EXPECT_EQ(ReadFile(os_path(root, "lockfile")), "");
}

// A root with a trailing separator: delete must still find the writer's lockfile.
TEST_F(DiskRoot, DeleteCountsDownWithoutTruncatingAndRemovesTheEmptyDirectory) {
  UseRoot(root + "/");
  std::vector<std::string> locations;
  for (int i = 0; i < 9; ++i) locations.push_back(Store(std::string(100, 'x')));
  const std::string first = os_path(root, TodaysDirectory(1));
  EXPECT_EQ(DirFileCount(first), 10);

  EXPECT_EQ(CFnx_Dal_Storage(locations[0]).Delete(), 0);
  EXPECT_EQ(DirText(TodaysDirectory(1)), "NumberOfFilesInDirectory=9;;") << "rewritten in place, the old tail stays";
  for (std::size_t i = 1; i + 1 < locations.size(); ++i) EXPECT_EQ(CFnx_Dal_Storage(locations[i]).Delete(), 0);
  EXPECT_EQ(DirFileCount(first), 2);
  EXPECT_EQ(CFnx_Dal_Storage(locations.back()).Delete(), 0);
  EXPECT_EQ(Entries(root), std::vector<std::string>{"lockfile"}) << "file, count and directory went";
  EXPECT_EQ(CFnx_Dal_Storage(locations.back()).Delete(), -1) << "a missing file is the media's 7";

  // The object keeps its number: the removed directory comes back for the next document.
  Store("again");
  EXPECT_EQ(DirFileCount(first), 2);
}

TEST_F(DiskRoot, ARestartGoesOnInTheHighestDirectoryOfTheDay) {
  Osl_Directory::create(root);
  Osl_Directory::create(os_path(root, TodaysDirectory(1)));
  Osl_Directory::create(os_path(root, TodaysDirectory(4)));
  Osl_Directory::create(os_path(root, "01_01_2001_9"));  // an earlier day is not looked at
  WriteFile(os_path(root, TodaysDirectory(7)), "a plain file is no directory");
  UseRoot(root);
  Store("a");
  EXPECT_EQ(DirFileCount(os_path(root, TodaysDirectory(4))), 2);
  for (int i = 0; i < 8; ++i) Store("b");
  EXPECT_EQ(DirFileCount(os_path(root, TodaysDirectory(4))), 10);
  Store("c");
  EXPECT_EQ(DirFileCount(os_path(root, TodaysDirectory(5))), 2);
  EXPECT_EQ(DirFileCount(os_path(root, TodaysDirectory(1))), -1) << "gaps and lower numbers are not filled";
}

TEST_F(DiskRoot, ANumberThatIsNoNumberCountsAsZero) {
  Osl_Directory::create(root);
  Osl_Directory::create(os_path(root, os_date::today().to_string("%m_%d_%Y") + "_x"));
  UseRoot(root);
  Store("a");
  EXPECT_EQ(DirFileCount(os_path(root, TodaysDirectory(0))), 2) << "the unnumbered directory is number 0";
}

// The count table of "dirfile.txt": what an entry becomes when a file is
// counted in (1) or out (2), with the directory's other entries present.
TEST(DirFile, CountTable) {
  struct Case {
    const char* before;  // null: no "dirfile.txt"
    int others;          // entries beside "dirfile.txt"
    int operation;
    bool result;
    const char* after;   // null: no "dirfile.txt" afterwards
  };
  const Case cases[] = {
      {"NumberOfFilesInDirectory=5;", 0, 1, true, "NumberOfFilesInDirectory=6;"},
      {"NumberOfFilesInDirectory=10;", 0, 1, false, "NumberOfFilesInDirectory=10;"},
      {"NumberOfFilesInDirectory=10;", 0, 2, true, "NumberOfFilesInDirectory=9;;"},
      {"NumberOfFilesInDirectory=3;", 0, 2, true, "NumberOfFilesInDirectory=2;"},
      {"NumberOfFilesInDirectory=2;", 0, 2, false, nullptr},
      {"head NumberOfFilesInDirectory=4; tail", 0, 1, true, "head NumberOfFilesInDirectory=5; tail"},
      {nullptr, 3, 1, true, "NumberOfFilesInDirectory=5;"},
      {nullptr, 10, 1, false, nullptr},
      {nullptr, 2, 2, true, "NumberOfFilesInDirectory=3;"},
      {nullptr, 0, 2, false, nullptr},
      {"garbage", 2, 1, true, "garbageNumberOfFilesInDirectory=4;"},
      {"xNumberOfFilesInDirectory=7", 1, 1, true, "xNumberOfFilesInDirectory=3;"},
      {"NumberOfFilesInDirectory=-1;", 1, 1, true, "NumberOfFilesInDirectory=3;;"},
      {"NumberOfFilesInDirectory=-1;", 2, 2, true, "NumberOfFilesInDirectory=2;;"},
      {"NumberOfFilesInDirectory=abc;", 0, 1, true, "NumberOfFilesInDirectory=2;c;"},
      {"NumberOfFilesInDirectory=2555555555;", 1, 1, true, "NumberOfFilesInDirectory=3;55555555;"},
  };
  for (const Case& c : cases) {
    TempDir dir;
    for (int i = 0; i < c.others; ++i) WriteFile(dir.Join("doc" + std::to_string(i)), "");
    const std::string dirfile = dir.Join("dirfile.txt");
    if (c.before) WriteFile(dirfile, c.before);
    const std::string label = std::string(c.before ? c.before : "(none)") + " op " + std::to_string(c.operation);
    EXPECT_EQ(CFnx_Dal_ConfigurationFileSystem::UpdateDirFile(dir.path(), c.operation, 10), c.result) << label;
    if (c.after) {
      EXPECT_EQ(ReadFile(dirfile), c.after) << label;
    } else {
      EXPECT_FALSE(Osl_File_System::exists(dirfile)) << label;
    }
  }
}

TEST(DirFile, TheDatePatternMayStandAnywhereInTheName) {
  const std::pair<const char*, bool> cases[] = {{"07_15_2021_3", true}, {"x07_15_2021_12", true},
                                                {"07_15_2021__3", true}, {"7_15_2021_3", false},
                                                {"07_15_21_3", false},   {"07_15_2021_", false}};
  for (const auto& [name, date] : cases) EXPECT_EQ(CFnx_Dal_ConfigurationFileSystem::IsDateDirectory(name), date) << name;
}

}  // namespace
