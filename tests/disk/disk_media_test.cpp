// The disk media's parts on their own: delete on each road, directories made
// level by level, the count table of "dirfile.txt", and the check of a root.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "dal_configuration_filesystem.h"
#include "dal_disk_check.h"
#include "dal_media_filesystem.h"
#include "dal_storage.h"
#include "disk_content.h"
#include "fnx_error.h"
#include "fnx_log.h"
#include "os_path.h"
#include "osl_directory.h"
#include "small_stack.h"
#include "temp_dir.h"

namespace {

// Only a file directly in a date directory takes its root's lockfile and
// count; the directory goes when nothing else is left in it. A location in
// the other separator (Windows takes both) reaches the same lockfile and count.
TEST(DiskMediaDelete, EachRoadRemovesCountsAndLogsItsOwnSteps) {
  enum Where { kPlain, kDated, kBelowDated, kMissing };
  const std::pair<Where, int> cases[] = {{kMissing, 0}, {kPlain, 0}, {kDated, 0}, {kDated, 2}, {kBelowDated, 0}};
  const auto capture = [](int severity, const char*, const char* text, void* lines) {
    static_cast<std::vector<std::string>*>(lines)->push_back(std::to_string(severity) + " " + text);
  };
  for (const auto& [where, others] : cases) {  // others: files beside the deleted one
    TempDir dir;
    const std::string dated = os_path(dir.Join("root"), "07_15_2021_1");
    const std::string directory = where == kDated        ? dated
                                  : where == kBelowDated ? os_path(dated, "sub").str()
                                                         : dir.Join("plain");
    DAFileSystem::MakeDirectories(directory);
    std::string path = os_path(directory, "doc");
    if (where != kMissing) WriteFile(path, "x");
    std::replace(path.begin(), path.end(), OS_PATH_SEPARATOR, '/');
    for (int i = 0; i < others; ++i) WriteFile(os_path(directory, "other" + std::to_string(i)), "");
    std::vector<std::string> lines;
    Fnx_SetLogSink(1, capture, &lines);
    DAFileSystem media;
    media.SetLocation(path);
    EXPECT_EQ(media.Delete(), where == kMissing ? 7 : 0) << directory;
    Fnx_SetLogSink(0, nullptr, nullptr);

    std::vector<std::string> expected{"1 DAFileSystem::Delete started, location : " + path};
    if (where != kMissing) {
      expected.push_back("1 DAFileSystem::Delete dir : " + directory);
      expected.push_back("1 DAFileSystem::Delete remove file " + std::string(where == kDated ? "with" : "no") +
                         " lock: " + path);
    }
    const bool directoryGoes = where == kDated && others == 0;
    if (directoryGoes) expected.push_back("1 DAFileSystem::Delete remove dir: " + directory);
    EXPECT_EQ(lines, expected) << directory;
    EXPECT_FALSE(Osl_File_System::exists(path)) << directory;
    EXPECT_NE(Osl_Directory::exists(directory), directoryGoes) << directory;
    EXPECT_EQ(DirFileCount(directory), where == kDated && others > 0 ? 3 : -1) << directory;
    EXPECT_EQ(Osl_File_System::exists(dir.Join("root/lockfile")), where == kDated) << directory;
    if (where == kBelowDated) {
      EXPECT_EQ(Entries(dated), std::vector<std::string>{"sub"}) << "no count or lockfile beside it";
    }
  }
}

// A path of 12000 levels under a plain file, made on a thread with a small
// stack, fails at the first name that the system refuses: no stack frame and
// no copy of the path per level.
TEST(DiskMediaDirectories, ADeepPathFailsAtTheFirstRefusedNameOnASmallStack) {
  TempDir dir;
  struct Job {
    std::string blocker, path, error;
  } job{dir.Join("blocker"), dir.Join("blocker"), "none"};
  WriteFile(job.blocker, "a file");
  for (int i = 0; i < 12000; ++i) job.path += std::string(1, OS_PATH_SEPARATOR) + "d";
  const auto make = [](void* argument) {
    Job& work = *static_cast<Job*>(argument);
    try {
      DAFileSystem::MakeDirectories(work.path);
    } catch (const os_file_toolkit_error& error) {
      work.error = error.what();
    }
  };
  ASSERT_TRUE(RunOnSmallStack(256 * 1024, make, &job));
  EXPECT_NE(job.error.find(job.blocker), std::string::npos) << job.error.substr(0, 200);
  EXPECT_LT(job.error.size(), job.blocker.size() + 200) << "the refused name, not the whole path";
}

// A location's own size bounds a read whatever the file holds now; the name
// shows what the media measured, and a bare path is measured at the open.
TEST(DiskMediaLocations, TheStoredSizeBoundsTheReadAndTheNameShowsTheMedia) {
  TempDir dir;
  const std::string path = dir.Join("file");
  WriteFile(path, "The quick brown ");
  EXPECT_EQ(CFnx_Dal_Storage(path).GetName(), "disk@" + path + ",0,0#");
  CFnx_Dal_Storage measured("disk@" + path + "#");
  ASSERT_TRUE(measured.OpenForReading(nullptr));
  EXPECT_EQ(measured.GetName(), "disk@" + path + ",0,16#");
  CFnx_Dal_Storage stale("disk@" + path + ",0,4#");
  ASSERT_TRUE(stale.OpenForReading(nullptr));
  std::string back(100, '\0');
  back.resize(static_cast<std::size_t>(stale.Read(back.data(), 100, -1)));
  EXPECT_EQ(back, "The quick brown ") << "-1 reads the file from its start";
  EXPECT_EQ(stale.Read(back.data(), 100, 5), 0) << "an explicit position past the stored size finds no file";
  EXPECT_EQ(stale.GetSize(), 4);
  EXPECT_EQ(stale.GetName(), "disk@" + path + ",0,16#");
}

// What an entry becomes when a file is counted in (1) or out (2), with the
// directory's other entries present.
TEST(DirFile, CountTable) {
  struct Case {
    const char* before;  // null: no "dirfile.txt"
    int others;          // entries beside "dirfile.txt"
    int operation;
    bool result;
    const char* after;  // null: no "dirfile.txt" afterwards
  };
  const Case cases[] = {
      {"NumberOfFilesInDirectory=5;", 0, 1, true, "NumberOfFilesInDirectory=6;"},
      {"NumberOfFilesInDirectory=10;", 0, 1, false, "NumberOfFilesInDirectory=10;"},
      {"NumberOfFilesInDirectory=10;", 0, 2, true, "NumberOfFilesInDirectory=9;;"},
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
    if (c.before) WriteFile(dir.Join("dirfile.txt"), c.before);
    const std::string label = std::string(c.before ? c.before : "(none)") + " op " + std::to_string(c.operation);
    EXPECT_EQ(CFnx_Dal_ConfigurationFileSystem::UpdateDirFile(dir.path(), c.operation, 10), c.result) << label;
    EXPECT_EQ(Osl_File_System::exists(dir.Join("dirfile.txt")) ? ReadFile(dir.Join("dirfile.txt")) : "(none)",
              c.after ? c.after : "(none)")
        << label;
  }
  for (const auto& [name, date] : {std::pair{"07_15_2021_3", true}, {"x07_15_2021_12", true}, {"07_15_2021__3", true},
                                   {"7_15_2021_3", false}, {"07_15_21_3", false}, {"07_15_2021_", false}}) {
    EXPECT_EQ(CFnx_Dal_ConfigurationFileSystem::IsDateDirectory(name), date) << name;
  }
}

// What a crash leaves is found, and a repair mends the counts and removes
// empty directories without touching a document.
TEST(DiskCheck, FindsDriftEmptyAndUnreadableAndRepairsOnlyTheCounts) {
  TempDir dir;
  const std::string root = dir.Join("root");
  EXPECT_THROW(CheckDiskRoot(root, false), FNXError) << "a missing root";
  CFnx_Dal_ConfigValues values;
  values.m_location = root;
  values.m_maxFilesPerDir = 10;
  std::unique_ptr<CFnx_Dal_Configuration> disk(Create_Dal_Configuration("disk", values));
  std::mt19937_64 random(1);
  const std::string first = StoreInPieces(*disk, "first", random);
  StoreInPieces(*disk, "second", random);
  std::string dated;
  CFnx_Dal_Storage(first).GetFirstFilePath(dated);
  dated = dated.substr(0, dated.find_last_of("/\\"));
  // A writer killed between its count and its file, an emptied directory,
  // and something that is no document.
  WriteFile(os_path(dated, "dirfile.txt"), "NumberOfFilesInDirectory=5;");
  const std::string empty = os_path(root, "01_02_2020_1");
  Osl_Directory::create(empty);
  WriteFile(os_path(empty, "dirfile.txt"), "NumberOfFilesInDirectory=1;");
  Osl_Directory::create(os_path(dated, "stray"));
  // No count, or a count file without its key, is no drift: the next count starts from the entries.
  for (const char* name : {"01_03_2020_1", "01_04_2020_1"}) {
    Osl_Directory::create(os_path(root, name));
    WriteFile(os_path(os_path(root, name), "doc"), "d");
  }
  WriteFile(os_path(os_path(root, "01_04_2020_1"), "dirfile.txt"), "no key");
  for (const bool repair : {false, true}) {
    const auto findings = CheckDiskRoot(root, repair);
    ASSERT_EQ(findings.size(), 3u) << "repair " << repair;
    int kinds = 0;
    for (const auto& finding : findings) {
      kinds |= 1 << finding.kind;
      EXPECT_EQ(finding.repaired, repair && finding.kind != CFnx_Dal_DiskFinding::UnreadableEntry);
      if (finding.kind == CFnx_Dal_DiskFinding::CountDrift) {
        EXPECT_EQ(finding.counted * 10 + finding.present, 54);  // two documents, "stray", "dirfile.txt"
      }
    }
    EXPECT_EQ(kinds, 7);
  }
  EXPECT_FALSE(Osl_Directory::exists(empty));
  EXPECT_EQ(ReadFile(os_path(dated, "dirfile.txt")), "NumberOfFilesInDirectory=4;");
  EXPECT_EQ(CheckDiskRoot(root, false).size(), 1u) << "\"stray\" stays, reported";
  std::string path;
  CFnx_Dal_Storage(first).GetFirstFilePath(path);
  EXPECT_EQ(ReadFile(path), "first");
  EXPECT_NO_THROW(StoreInPieces(*disk, "third", random)) << "new documents go on after the repair";
}

}  // namespace
