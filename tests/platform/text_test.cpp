// The text helpers: paths, separators, tokens, patterns, case and numbers,
// dates and times, and the library's message texts. Paths are written with
// '/' and turned into this platform's form.
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "dal_throw.h"
#include "os_datetime.h"
#include "os_path.h"
#include "os_regexp.h"
#include "os_text.h"

namespace {

std::string Native(std::string path) {
  DalParsePathSeparators(path);
  return path;
}

TEST(OsPath, SplitsAndJoins) {
  struct Split {
    const char *path, *drive, *unc, *directory, *filename;
  } const splits[] = {
      {"/dir/sub/name.ext", "", "", "/dir/sub", "name.ext"}, {"/name", "", "", "/", "name"},
      {"name.ext", "", "", "", "name.ext"}, {"dir/", "", "", "dir", ""}, {"/", "", "", "/", ""}, {"", "", "", "", ""},
#ifdef _WIN32
      {"C:/dir/sub/name.ext", "C", "", "/dir/sub", "name.ext"}, {"d:/name", "d", "", "/", "name"},
      {"C:name", "C", "", "", "name"},  // relative to the drive's current directory
      {"C:/dir/", "C", "", "/dir", ""}, {"//host/share/dir/f", "", "//host/share", "/dir", "f"},
      {"//host/share/f", "", "//host/share", "/", "f"}, {"//host/share", "", "//host/share", "", ""},
      {"1:/x", "", "", "1:", "x"},  // no letter: no drive
#else
      // A leading double separator and a colon are ordinary text on POSIX.
      {"//host/share/dir/f", "", "", "//host/share/dir", "f"}, {"C:/dir/f", "", "", "C:/dir", "f"},
#endif
  };
  for (const Split& c : splits) {
    const os_path path(Native(c.path));
    EXPECT_EQ(path.drive(), c.drive) << c.path;
    EXPECT_EQ(path.drive_separator(), *c.drive ? ":" : "") << c.path;
    EXPECT_EQ(path.has_unc(), *c.unc != 0) << c.path;
    EXPECT_EQ(path.unc(), Native(c.unc)) << c.path;
    EXPECT_EQ(path.directory(), Native(c.directory)) << c.path;
    EXPECT_EQ(path.filename(), c.filename) << c.path;
  }
  struct Join {
    const char *directory, *name, *extension, *joined;  // extension null: the two-part constructor
  } const joins[] = {
      {"dir/", "name", nullptr, "dir/name"},  {"/", "name", nullptr, "/name"},       {"", "name", nullptr, "name"},
      {"dir", "name", "ext", "dir/name.ext"}, {"dir", "name", ".ext", "dir/name.ext"}, {"dir", "name", "", "dir/name"},
  };
  for (const Join& c : joins) {
    const std::string joined = c.extension ? os_path(Native(c.directory), c.name, c.extension)
                                           : os_path(Native(c.directory), c.name);
    EXPECT_EQ(joined, Native(c.joined)) << c.directory << " + " << c.name;
  }
}

TEST(DalParsePathSeparators, BringsBothSeparatorsIntoThePlatformForm) {
  const std::string s(1, OS_PATH_SEPARATOR);
  const std::map<std::string, std::string> cases{
      {"a/b\\c", "a" + s + "b" + s + "c"}, {"/\\/\\", s + s + s + s}, {"", ""},
      {"no separator", "no separator"},    {"\\\\host\\share/x", s + s + "host" + s + "share" + s + "x"},
  };
  for (const auto& [input, expected] : cases) {
    std::string path = input;
    DalParsePathSeparators(path);
    EXPECT_EQ(path, expected) << input;
  }
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
    std::size_t from;
    int to;
    std::size_t begin, end;  // equal: no match
  };
  // The directory allocation's pattern of date directories.
  const char* date = "[0-9][0-9]_[0-9][0-9]_[0-9][0-9][0-9][0-9]_+[0-9]";
  const Case cases[] = {
      {date, "11_23_2026__12", 0, -1, 0, 13}, {date, "x11_23_2026_3", 0, -1, 1, 13},
      {date, "11_23_2026_x", 0, -1, 0, 0},
      {"a+", "baaab", 0, -1, 1, 4},           {"[^a-z]+", "abc12Dx", 0, -1, 3, 6},   {"ab?c", "ac", 0, -1, 0, 2},
      {"a.c", "a\nc", 0, -1, 0, 3},           {"[]]", "a]b", 0, -1, 1, 2},           {"[a-]", "x-", 0, -1, 1, 2},
      {"a\\+", "aa+", 0, -1, 1, 3},           {"[abc", "abc", 0, -1, 0, 0},  // malformed: matches nothing
      {"[0-9]+", "12ab345", 2, 4, 4, 6},  // only the given part is searched
      {"[0-9]+", "12", 5, -1, 0, 0},
  };
  for (const Case& c : cases) {
    const os_regexp_range range = os_regexp(c.pattern, false, false).search(c.text, c.from, c.to);
    EXPECT_EQ(range.empty() ? std::size_t{0} : range.begin, c.begin) << c.pattern << " in " << c.text;
    EXPECT_EQ(range.empty() ? std::size_t{0} : range.end, c.end) << c.pattern << " in " << c.text;
  }
}

TEST(TextHelpers, CaseAndNumbers) {
  const StrCmpNoCase less;
  EXPECT_FALSE(less("disk", "DISK"));
  EXPECT_FALSE(less("DISK", "disk"));
  EXPECT_TRUE(less("centera", "DISK"));
  EXPECT_TRUE(less("tap", "TAPE"));
  EXPECT_EQ(DalToUpper("disk@/a_b,0,10#\xE4"), "DISK@/A_B,0,10#\xE4");
  EXPECT_EQ(tos(INT64_MIN), "-9223372036854775808");
  const std::map<std::string, std::int32_t> atol{
      {"  -42", -42}, {"\t\r+7", 7}, {"12ab", 12}, {"abc", 0}, {"", 0}, {"-2147483648", INT32_MIN},
      {"2147483648", INT32_MIN},  // wraps as the Windows build's long
      {"4294967297", 1},
  };
  for (const auto& [text, value] : atol) EXPECT_EQ(DalAtol(text), value) << "'" << text << "'";
}

// The local clock against the C library's: the configuration suite's tape stamps.
TEST(OsDateTime, FormatsAndOrders) {
  struct Case {
    os_date date;
    const char *format, *text;
  } const dates[] = {
      {os_date(1, 5, 2026), "%m_%d_%Y", "01_05_2026"},
      {os_date(2, 9, 2031), "%Y.%m.%d", "2031.02.09"},
      {os_date(11, 23, 2026), "%D", "11/23/26"},
      {os_date(7, 4, 2026), "%%D is %D", "%D is 07/04/26"},  // an escaped % is no code
  };
  for (const Case& c : dates) EXPECT_EQ(c.date.to_string(c.format), c.text) << c.format;
  EXPECT_EQ(os_time(9, 5, 7, 0).to_string("%H.%M.%S"), "09.05.07");
  const std::pair<os_date, os_date> laterEarlier[] = {
      {os_date(11, 24, 2026), os_date(11, 23, 2026)}, {os_date(12, 1, 2026), os_date(11, 30, 2026)},
      {os_date(1, 1, 2027), os_date(12, 31, 2026)},  // the year outranks month and day
      {os_date(1, 1, 1970), os_date()},
  };
  for (const auto& [later, earlier] : laterEarlier) {
    EXPECT_TRUE(later > earlier && !(earlier > later) && !(later > later)) << later.to_string("%Y.%m.%d");
  }
}

// Every id has its wording: the id leads, the "Class::Operation: " context
// follows directly, every value is placed (surplus ones at the end, a value
// that looks like a place taken as it is); the throw helper's error carries
// the table's code and class unless the site gives a code of its own.
TEST(Message, EveryIdHasItsWordingCodeAndClass) {
  for (const DalMessage& message : kDalMessages) {
    const std::string id = message.id;
    const std::string text = Message("")[message.id] << "Cls::Op: " << "<v2>" << "<v3>" << "<v4>";
    EXPECT_EQ(text.rfind(id + " Cls::Op: ", 0), 0u) << text;
    EXPECT_GT(text.size(), id.size() + 10) << "no wording after the context: " << text;
    EXPECT_EQ(text.find('%'), std::string::npos) << "unfilled place in " << text;
    for (const char* value : {"<v2>", "<v3>", "<v4>"}) {
      EXPECT_NE(text.find(value), std::string::npos) << value << " lost from " << text;
    }
    EXPECT_TRUE(message.errorClass == 8 || message.errorClass == 12) << id;
  }
  const std::string literal = Message("")["QRSDAL0504E"] << "Ctx: " << "/a/%2/%1";
  EXPECT_NE(literal.find("'/a/%2/%1'"), std::string::npos) << literal;
  EXPECT_EQ(std::string(Message("")["QRSDAL0200E"] << "Ctx: ").find('%'), std::string::npos);  // fewer values
  const std::string numbers = Message("")["QRSDAL0508E"] << "Ctx: " << std::int64_t{5000000000} << std::int32_t{-7};
  EXPECT_NE(numbers.find("5000000000 "), std::string::npos) << numbers;
  EXPECT_NE(numbers.find(" -7 "), std::string::npos) << numbers;
  EXPECT_EQ(std::string(Message("")["QRSDAL9999E"] << "a" << "b"), "QRSDAL9999E a b");
  EXPECT_EQ(DalMessageFor("QRSDAL0000E"), nullptr);

  const FNXError usual = DalError("src", 7, "QRSDAL0512E", "DAFileSystem:OpenForReading: ", "disk");
  EXPECT_EQ(usual.Text(), std::string(Message("")["QRSDAL0512E"] << "DAFileSystem:OpenForReading: " << "disk"));
  EXPECT_EQ(usual.Code(), 52);
  EXPECT_EQ(usual.Class(), 8);
  EXPECT_EQ(usual.Line(), 7);
  const FNXError own = DalError("src", 7, DalCode{1281}, "QRSDAL0512E", "DATape:OpenForReading: ", "Resize");
  EXPECT_EQ(own.Code(), 1281);
  EXPECT_EQ(own.Class(), 8);
}

}  // namespace
