// The disk media's delete on its own: what it removes, locks and logs on each road.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "dal_media_filesystem.h"
#include "disk_content.h"
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
  struct Case {
    Where where;
    int others;  // files beside the deleted one, no "dirfile.txt" among them
    bool directoryStays;
    long count;  // in "dirfile.txt" afterwards; -1 none
    bool slashes = false;  // the location written with "/"
  };
  const Case cases[] = {{kMissing, 0, true, -1}, {kPlain, 0, true, -1},     {kDated, 0, false, -1},
                        {kDated, 2, true, 3},    {kBelowDated, 0, true, -1}, {kDated, 0, false, -1, true},
                        {kDated, 2, true, 3, true}};
  struct Sink {
    static void Capture(int severity, const char*, const char* text, void* context) {
      static_cast<std::vector<std::string>*>(context)->push_back(std::to_string(severity) + " " + text);
    }
  };
  for (const Case& c : cases) {
    TempDir dir;
    const std::string root = dir.Join("root");
    const std::string dated = os_path(root, "07_15_2021_1");
    const std::string directory = c.where == kDated ? dated
                                  : c.where == kBelowDated ? os_path(dated, "sub").str()
                                                           : dir.Join("plain");
    DAFileSystem::MakeDirectories(directory);
    std::string path = os_path(directory, "doc");
    if (c.where != kMissing) WriteFile(path, "x");
    if (c.slashes) std::replace(path.begin(), path.end(), OS_PATH_SEPARATOR, '/');
    for (int i = 0; i < c.others; ++i) WriteFile(os_path(directory, "other" + std::to_string(i)), "");

    std::vector<std::string> lines;
    Fnx_SetLogSink(1, &Sink::Capture, &lines);
    DAFileSystem media;
    media.SetLocation(path);
    const std::int32_t result = media.Delete();
    Fnx_SetLogSink(0, nullptr, nullptr);

    std::vector<std::string> expected{"1 DAFileSystem::Delete started, location : " + path};
    if (c.where != kMissing) {
      expected.push_back("1 DAFileSystem::Delete dir : " + directory);
      expected.push_back(std::string("1 DAFileSystem::Delete remove file ") +
                         (c.where == kDated ? "with lock: " : "no lock: ") + path);
    }
    if (!c.directoryStays) expected.push_back("1 DAFileSystem::Delete remove dir: " + directory);
    const std::string label = directory + " others " + std::to_string(c.others);
    EXPECT_EQ(result, c.where == kMissing ? 7 : 0) << label;
    EXPECT_EQ(lines, expected) << label;
    EXPECT_FALSE(Osl_File_System::exists(path)) << label;
    EXPECT_EQ(Osl_Directory::exists(directory), c.directoryStays) << label;
    EXPECT_EQ(DirFileCount(directory), c.count) << label;
    EXPECT_EQ(Osl_File_System::exists(os_path(root, "lockfile")), c.where == kDated) << label;
    if (c.where == kBelowDated) {
      EXPECT_EQ(Entries(dated), std::vector<std::string>{"sub"}) << "no count or lockfile beside it";
    }
  }
}

// Directory creation needs neither a stack frame nor a copy of the path per
// level: a path of 12000 levels under a plain file, made on a thread with a
// small stack, fails at the first name that the system refuses.
TEST(DiskMediaDirectories, ADeepPathFailsAtTheFirstRefusedNameOnASmallStack) {
  TempDir dir;
  const std::string blocker = dir.Join("blocker");
  WriteFile(blocker, "a file, not a directory");
  struct Job {
    std::string path;
    std::string error;
  } job{blocker, ""};
  for (int i = 0; i < 12000; ++i) job.path += std::string(1, OS_PATH_SEPARATOR) + "d";
  ASSERT_TRUE(RunOnSmallStack(
      256 * 1024,
      [](void* argument) {
        Job& work = *static_cast<Job*>(argument);
        try {
          DAFileSystem::MakeDirectories(work.path);
          work.error = "none";
        } catch (const os_file_toolkit_error& error) {
          work.error = error.what();
        } catch (...) {
          work.error = "another exception";
        }
      },
      &job));
  EXPECT_NE(job.error.find(blocker), std::string::npos) << job.error.substr(0, 200);
  EXPECT_LT(job.error.size(), blocker.size() + 200) << "the refused name, not the whole path";
  EXPECT_EQ(ReadFile(blocker), "a file, not a directory");
}

}  // namespace
