// Paths of the Windows build: drive letters, UNC prefixes, backslashes.
#include <gtest/gtest.h>

#include <string>

#include "os_path.h"

TEST(WindowsPath, SplitsDrivesUncPrefixesDirectoriesAndNames) {
  struct Case {
    const char* path;
    const char* drive;
    const char* unc;
    const char* directory;
    const char* filename;
  };
  const Case cases[] = {
      {R"(C:\dir\sub\name.ext)", "C", "", R"(\dir\sub)", "name.ext"},
      {R"(d:\name)", "d", "", R"(\)", "name"},
      {R"(C:name)", "C", "", "", "name"},  // relative to the drive's current directory
      {R"(C:\dir\)", "C", "", R"(\dir)", ""},
      {R"(\\host\share\dir\f)", "", R"(\\host\share)", R"(\dir)", "f"},
      {R"(\\host\share\f)", "", R"(\\host\share)", R"(\)", "f"},
      {R"(\\host\share)", "", R"(\\host\share)", "", ""},
      {R"(dir\f.txt)", "", "", "dir", "f.txt"},
      {R"(\rooted\f)", "", "", R"(\rooted)", "f"},
      {"1:\\x", "", "", "1:", "x"},  // no letter: no drive
  };
  for (const Case& c : cases) {
    const os_path path{std::string(c.path)};
    EXPECT_EQ(path.drive(), c.drive) << c.path;
    EXPECT_EQ(path.drive_separator(), *c.drive ? ":" : "") << c.path;
    EXPECT_EQ(path.has_unc(), *c.unc != 0) << c.path;
    EXPECT_EQ(path.unc(), c.unc) << c.path;
    EXPECT_EQ(path.directory(), c.directory) << c.path;
    EXPECT_EQ(path.filename(), c.filename) << c.path;
  }
}

TEST(WindowsPath, JoinsWithBackslashes) {
  EXPECT_EQ(os_path(R"(C:\dir)", "f").str(), R"(C:\dir\f)");
  EXPECT_EQ(os_path(R"(C:\dir\)", "f").str(), R"(C:\dir\f)");
  EXPECT_EQ(os_path(R"(\\host\share)", "f", "txt").str(), R"(\\host\share\f.txt)");
  EXPECT_EQ(os_path("", "f").str(), "f");
}
