// os_path, DalParsePathSeparators and the text helpers; paths are written
// with '/' and turned into this platform's form.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "os_path.h"
#include "os_regexp.h"
#include "os_text.h"

namespace {

std::string Native(std::string path) {
  for (char& c : path) {
    if (c == '/') c = OS_PATH_SEPARATOR;
  }
  return path;
}

TEST(OsPath, SplitsAndJoins) {
  struct Split {
    const char *path, *directory, *filename;
  } const splits[] = {
      {"/dir/sub/name.ext", "/dir/sub", "name.ext"}, {"/name", "/", "name"}, {"name.ext", "", "name.ext"},
      {"dir/", "dir", ""},                           {"/", "/", ""},         {"", "", ""},
  };
  for (const Split& c : splits) {
    const os_path path(Native(c.path));
    EXPECT_EQ(path.directory(), Native(c.directory)) << c.path;
    EXPECT_EQ(path.filename(), c.filename) << c.path;
  }
  struct Join {
    const char *directory, *name, *extension, *joined;  // extension null: the two-part constructor
  } const joins[] = {
      {"dir/", "name", nullptr, "dir/name"}, {"/", "name", nullptr, "/name"},   {"", "name", nullptr, "name"},
      {"dir", "name", "ext", "dir/name.ext"}, {"dir", "name", ".ext", "dir/name.ext"}, {"dir", "name", "", "dir/name"},
  };
  for (const Join& c : joins) {
    const std::string joined = c.extension ? os_path(Native(c.directory), c.name, c.extension)
                                           : os_path(Native(c.directory), c.name);
    EXPECT_EQ(joined, Native(c.joined)) << c.directory << " + " << c.name;
  }
#ifndef _WIN32
  // A leading double separator and a colon are ordinary text on POSIX.
  EXPECT_FALSE(os_path("//host/share/dir/f").has_unc());
  EXPECT_EQ(os_path("//host/share/dir/f").directory(), "//host/share/dir");
  EXPECT_EQ(os_path("C:/dir/f").drive(), "");
#endif
}

TEST(DalParsePathSeparators, BringsBothSeparatorsIntoThePlatformForm) {
  const std::string s(1, OS_PATH_SEPARATOR);
  const std::map<std::string, std::string> cases{
      {"a/b\\c", "a" + s + "b" + s + "c"}, {"\\", s}, {"/\\/\\", s + s + s + s}, {"", ""},
      {"no separator", "no separator"},    {"\\\\host\\share/x", s + s + "host" + s + "share" + s + "x"},
  };
  for (const auto& [input, expected] : cases) {
    std::string path = input;
    DalParsePathSeparators(path);
    EXPECT_EQ(path, expected) << input;
  }
  // Far beyond any path limit: nothing is cut.
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
    const char *separators, *text;
    std::vector<std::string> tokens;
  } const cases[] = {
      {"#", "disk@/a,0,10#disk@/b,0,5#", {"disk@/a,0,10", "disk@/b,0,5"}},
      {",", "a,b,,c,", {"a", "b", "c"}},
      {",", ",,,", {}},
      {" \t", "\ta  b\t c ", {"a", "b", "c"}},
      {"", "a,b", {"a,b"}},
  };
  os_tokenizer tokenizer;  // one object: usable again with new separators
  for (const Case& c : cases) {
    std::vector<std::string> tokens{"left", "over"};
    tokenizer.separators(c.separators);
    tokenizer.tokenize(c.text, tokens);
    EXPECT_EQ(tokens, c.tokens) << "'" << c.text << "' at '" << c.separators << "'";
  }
}

TEST(OsRegexp, FindsTheLeftmostLongestMatch) {
  struct Case {
    const char *pattern, *text;
    std::size_t begin, end;  // equal: no match
  };
  // The directory allocation's pattern of date directories.
  const char* date = "[0-9][0-9]_[0-9][0-9]_[0-9][0-9][0-9][0-9]_+[0-9]";
  const Case cases[] = {
      {date, "11_23_2026__12", 0, 13}, {date, "x11_23_2026_3", 1, 13}, {date, "11_23_2026_x", 0, 0},
      {"a+", "baaab", 1, 4},           {"[^a-z]+", "abc12Dx", 3, 6},   {"ab?c", "ac", 0, 2},
      {"a.c", "a\nc", 0, 3},           {"[]]", "a]b", 1, 2},           {"[a-]", "x-", 1, 2},
      {"a\\+", "aa+", 1, 3},           {"[abc", "abc", 0, 0},  // malformed: matches nothing
  };
  for (const Case& c : cases) {
    const os_regexp_range range = os_regexp(c.pattern, false, false).search(c.text, 0, -1);
    EXPECT_EQ(range.empty() ? std::size_t{0} : range.begin, c.begin) << c.pattern << " in " << c.text;
    EXPECT_EQ(range.empty() ? std::size_t{0} : range.end, c.end) << c.pattern << " in " << c.text;
  }
  const os_regexp digits("[0-9]+", false, false);
  const os_regexp_range part = digits.search("12ab345", 2, 4);  // only the given part is searched
  EXPECT_EQ(part.begin, 4u);
  EXPECT_EQ(part.end, 6u);
  EXPECT_TRUE(digits.search("12", 5, -1).empty());
}

TEST(TextHelpers, CaseAndNumbers) {
  const StrCmpNoCase less;
  EXPECT_FALSE(less("disk", "DISK"));
  EXPECT_FALSE(less("DISK", "disk"));
  EXPECT_TRUE(less("centera", "DISK"));
  EXPECT_TRUE(less("tap", "TAPE"));
  EXPECT_EQ(DalToUpper("disk@/a_b,0,10#\xE4"), "DISK@/A_B,0,10#\xE4");
  EXPECT_EQ(tos(INT64_MIN), "-9223372036854775808");
  EXPECT_EQ(tos(4294967296LL), "4294967296");

  const std::map<std::string, std::int32_t> atol{
      {"  -42", -42}, {"+7", 7},   {"12ab", 12}, {"abc", 0}, {"", 0}, {"-2147483648", INT32_MIN},
      {"2147483648", INT32_MIN},  // wraps as the Windows build's long
      {"4294967297", 1},
  };
  for (const auto& [text, value] : atol) EXPECT_EQ(DalAtol(text), value) << "'" << text << "'";
}

}  // namespace
