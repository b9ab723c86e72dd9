// os_path, DalParsePathSeparators and the text helpers, on this platform's
// separator: the cases are written with '/' and turned into the native form.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "os_path.h"
#include "os_regexp.h"
#include "os_text.h"

namespace {

// A path written with '/' in this platform's form.
std::string Native(std::string path) {
  for (char& c : path) {
    if (c == '/') c = OS_PATH_SEPARATOR;
  }
  return path;
}

struct SplitCase {
  const char* path;
  const char* directory;
  const char* filename;
};

// Paths without drive or UNC part, which split alike on every platform.
const SplitCase kSplitCases[] = {
    {"/dir/sub/name.ext", "/dir/sub", "name.ext"},
    {"dir/sub/name", "dir/sub", "name"},
    {"/name", "/", "name"},
    {"name.ext", "", "name.ext"},
    {"dir/", "dir", ""},
    {"/", "/", ""},
    {"", "", ""},
    {"/dir/06_30_2025_1/FNX_123456_abc", "/dir/06_30_2025_1", "FNX_123456_abc"},
};

TEST(OsPath, SplitsIntoDirectoryAndFilename) {
  for (const SplitCase& c : kSplitCases) {
    const os_path path(Native(c.path));
    EXPECT_EQ(path.directory(), Native(c.directory)) << c.path;
    EXPECT_EQ(path.filename(), c.filename) << c.path;
    EXPECT_EQ(path.drive(), "") << c.path;
    EXPECT_EQ(path.drive_separator(), "") << c.path;
    EXPECT_FALSE(path.has_unc()) << c.path;
    EXPECT_EQ(path.unc(), "") << c.path;
    EXPECT_EQ(path.str(), Native(c.path));
  }
}

struct JoinCase {
  const char* directory;
  const char* name;
  const char* extension;  // null: the two-part constructor
  const char* joined;
};

const JoinCase kJoinCases[] = {
    {"dir", "name", nullptr, "dir/name"},
    {"dir/", "name", nullptr, "dir/name"},  // no doubled separator
    {"/", "name", nullptr, "/name"},
    {"", "name", nullptr, "name"},
    {"dir", "name", "ext", "dir/name.ext"},
    {"dir", "name", ".ext", "dir/name.ext"},
    {"dir", "name", "", "dir/name"},
    {"/a/b", "c", "txt", "/a/b/c.txt"},
};

TEST(OsPath, JoinsDirectoryNameAndExtension) {
  for (const JoinCase& c : kJoinCases) {
    const std::string joined = c.extension ? os_path(Native(c.directory), c.name, c.extension)
                                           : os_path(Native(c.directory), c.name);
    EXPECT_EQ(joined, Native(c.joined)) << c.directory << " + " << c.name;
  }
}

TEST(OsPath, JoinThenSplitGivesThePartsBack) {
  for (const char* directory : {"/dir/sub", "dir", "/"}) {
    const os_path path(os_path(Native(directory), "name.ext").str());
    EXPECT_EQ(path.directory(), Native(directory));
    EXPECT_EQ(path.filename(), "name.ext");
  }
}

#ifndef _WIN32
// On POSIX a leading double separator and a colon are ordinary path text, not
// a UNC share or a drive (the Windows forms have their own suite).
TEST(OsPath, PosixPathHasNoDriveOrUnc) {
  const os_path unc("//host/share/dir/f");
  EXPECT_FALSE(unc.has_unc());
  EXPECT_EQ(unc.directory(), "//host/share/dir");
  EXPECT_EQ(unc.filename(), "f");
  const os_path drive("C:/dir/f");
  EXPECT_EQ(drive.drive(), "");
  EXPECT_EQ(drive.directory(), "C:/dir");
}
#endif

TEST(DalParsePathSeparators, BringsBothSeparatorsIntoThePlatformForm) {
  const std::string s(1, OS_PATH_SEPARATOR);
  const std::map<std::string, std::string> cases{
      {"a/b\\c", "a" + s + "b" + s + "c"},
      {"/", s},
      {"\\", s},
      {"/\\/\\", s + s + s + s},
      {"", ""},
      {"no separator", "no separator"},
      {"C:\\dir/f.ext", "C:" + s + "dir" + s + "f.ext"},
      {"\\\\host\\share/x", s + s + "host" + s + "share" + s + "x"},
  };
  for (const auto& [input, expected] : cases) {
    std::string path = input;
    DalParsePathSeparators(path);
    EXPECT_EQ(path, expected) << input;
  }
  // Far beyond any path limit: nothing is cut, every separator is turned.
  std::string longPath;
  std::string expected;
  for (int i = 0; i < 20000; ++i) {
    longPath += (i % 2 ? "/seg\xE4" : "\\seg\xE4");
    expected += s + "seg\xE4";
  }
  DalParsePathSeparators(longPath);
  EXPECT_EQ(longPath, expected);
}

TEST(OsTokenizer, EmptyPiecesAreNoTokens) {
  struct Case {
    const char* separators;
    const char* text;
    std::vector<std::string> tokens;
  };
  const Case cases[] = {
      {"#", "disk@/a,0,10#disk@/b,0,5#", {"disk@/a,0,10", "disk@/b,0,5"}},
      {",", "a,b,,c,", {"a", "b", "c"}},
      {",", ",,,", {}},
      {",", "", {}},
      {",", "abc", {"abc"}},
      {" \t", "\ta  b\t c ", {"a", "b", "c"}},
      {"", "a,b", {"a,b"}},
  };
  os_tokenizer tokenizer;  // one object for all: usable again with new separators
  for (const Case& c : cases) {
    std::vector<std::string> tokens{"left", "over"};
    tokenizer.separators(c.separators);
    tokenizer.tokenize(c.text, tokens);
    EXPECT_EQ(tokens, c.tokens) << "'" << c.text << "' at '" << c.separators << "'";
  }
}

TEST(OsRegexp, FindsTheLeftmostLongestMatch) {
  struct Case {
    const char* pattern;
    const char* text;
    std::size_t begin, end;  // equal: no match
  };
  // The directory allocation's pattern of date directories comes first.
  const char* date = "[0-9][0-9]_[0-9][0-9]_[0-9][0-9][0-9][0-9]_+[0-9]";
  const Case cases[] = {
      {date, "11_23_2026_3", 0, 12},
      {date, "11_23_2026__12", 0, 13},
      {date, "x11_23_2026_3", 1, 13},
      {date, "11_23_2026", 0, 0},
      {date, "1_23_2026_3", 0, 0},
      {date, "11_23_2026_x", 0, 0},
      {"abc", "xxabcxx", 2, 5},
      {"a+", "baaab", 1, 4},
      {"[0-9]+", "ab123c", 2, 5},
      {"[^a-z]+", "abc12Dx", 3, 6},
      {"ab?c", "ac", 0, 2},
      {"ab?c", "abc", 0, 3},
      {"a.c", "a\nc", 0, 3},
      {"x", "abc", 0, 0},
      {".", "", 0, 0},
      {"[]]", "a]b", 1, 2},
      {"[a-]", "x-", 1, 2},
      {"a\\+", "aa+", 1, 3},
      {"[abc", "abc", 0, 0},  // malformed: matches nothing
  };
  for (const Case& c : cases) {
    const os_regexp_range range = os_regexp(c.pattern, false, false).search(c.text, 0, -1);
    if (c.begin == c.end) {
      EXPECT_TRUE(range.empty()) << c.pattern << " in " << c.text;
    } else {
      EXPECT_EQ(range.begin, c.begin) << c.pattern << " in " << c.text;
      EXPECT_EQ(range.end, c.end) << c.pattern << " in " << c.text;
    }
  }
}

TEST(OsRegexp, SearchesOnlyTheGivenPart) {
  const os_regexp digits("[0-9]+", false, false);
  const os_regexp_range range = digits.search("12ab345", 2, 4);
  EXPECT_EQ(range.begin, 4u);
  EXPECT_EQ(range.end, 6u);
  EXPECT_TRUE(digits.search("12ab", 2, -1).empty());
  EXPECT_TRUE(digits.search("12", 5, -1).empty());
}

TEST(StrCmpNoCase, OrdersWithoutRegardToCase) {
  const StrCmpNoCase less;
  EXPECT_FALSE(less("disk", "DISK"));
  EXPECT_FALSE(less("DISK", "disk"));
  EXPECT_TRUE(less("Centera", "disk"));
  EXPECT_TRUE(less("centera", "DISK"));
  EXPECT_TRUE(less("tap", "TAPE"));
  EXPECT_FALSE(less("TAPE", "tap"));
  EXPECT_FALSE(less("", ""));

  std::map<std::string, int, StrCmpNoCase> registry{{"Disk", 1}, {"tape", 2}};
  EXPECT_EQ(registry.count("DISK"), 1u);
  EXPECT_EQ(registry.count("Tape"), 1u);
  EXPECT_EQ(registry.count("centera"), 0u);
}

TEST(TextHelpers, UpperCaseAndDecimalText) {
  EXPECT_EQ(DalToUpper("disk@/a_b,0,10#"), "DISK@/A_B,0,10#");
  EXPECT_EQ(DalToUpper(""), "");
  EXPECT_EQ(DalToUpper("\xE4\xF6z"), "\xE4\xF6Z") << "bytes beyond ASCII changed";

  const std::map<long long, std::string> numbers{{0, "0"},
                                                 {-1, "-1"},
                                                 {4294967296LL, "4294967296"},
                                                 {INT64_MAX, "9223372036854775807"},
                                                 {INT64_MIN, "-9223372036854775808"}};
  for (const auto& [value, text] : numbers) EXPECT_EQ(tos(value), text);
}

TEST(DalAtol, ReadsLikeAtolIntoThirtyTwoBits) {
  const std::map<std::string, std::int32_t> cases{
      {"0", 0},
      {"123", 123},
      {"  -42", -42},
      {"+7", 7},
      {"12ab", 12},
      {"abc", 0},
      {"", 0},
      {"-", 0},
      {"0000000099", 99},
      {"2147483647", 2147483647},
      {"-2147483648", INT32_MIN},
      {"2147483648", INT32_MIN},  // wraps as the Windows build's long
      {"4294967297", 1},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(DalAtol(text), value) << "'" << text << "'";
}

}  // namespace
