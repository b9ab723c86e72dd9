// os_date and os_time: the formats of directory, file and label names, the
// order of days, and the local clock; os_host.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

#include "os_datetime.h"
#include "os_host.h"

namespace {

TEST(OsDateTime, Formats) {
  struct Case {
    os_date date;
    const char *format, *text;
  } const dates[] = {
      {os_date(1, 5, 2026), "%m_%d_%Y", "01_05_2026"},
      {os_date(2, 9, 2031), "%Y.%m.%d", "2031.02.09"},
      {os_date(11, 23, 2026), "%D", "11/23/26"},
      {os_date(1, 2, 2003), "%D", "01/02/03"},
      {os_date(7, 4, 2026), "%%D is %D", "%D is 07/04/26"},  // an escaped % is no code
  };
  for (const Case& c : dates) EXPECT_EQ(c.date.to_string(c.format), c.text) << c.format;
  EXPECT_EQ(os_time(9, 5, 7, 0).to_string("%H%M%S"), "090507");
  EXPECT_EQ(os_time(14, 3, 30, 0).to_string("%H.%M.%S"), "14.03.30");
}

TEST(OsDate, LaterDaysCompareGreater) {
  const std::pair<os_date, os_date> cases[] = {
      {os_date(11, 24, 2026), os_date(11, 23, 2026)}, {os_date(12, 1, 2026), os_date(11, 30, 2026)},
      {os_date(1, 1, 2027), os_date(12, 31, 2026)},  // the year outranks month and day
      {os_date(1, 1, 1970), os_date()},
  };
  for (const auto& [later, earlier] : cases) {
    EXPECT_TRUE(later > earlier && !(earlier > later) && !(later > later)) << later.to_string("%Y.%m.%d");
  }
}

// Compared with the C library's local time just before and after (a second may tick).
TEST(OsDateTime, TodayAndNowAreLocal) {
#ifndef _WIN32
  // A clock read as UTC shows in a zone far from it; the Windows runtime reads TZ differently.
  const char* saved = std::getenv("TZ");
  const std::string previous = saved ? saved : "";
  ::setenv("TZ", "FNX-9:30", 1);
  ::tzset();
#endif
  const std::time_t before = std::time(nullptr);
  const os_date today = os_date::today();
  const os_time now = os_time::now();
  const std::time_t after = std::time(nullptr);
  bool matched = false;
  for (std::time_t moment = before; moment <= after && !matched; ++moment) {
    std::tm local{};
#ifdef _WIN32
    localtime_s(&local, &moment);
#else
    localtime_r(&moment, &local);
#endif
    matched = today == os_date(local.tm_mon + 1, local.tm_mday, local.tm_year + 1900) &&
              now.hour() == local.tm_hour && now.minute() == local.tm_min && now.second() == local.tm_sec;
  }
  EXPECT_TRUE(matched) << today.to_string("%Y.%m.%d") << " " << now.to_string("%H:%M:%S");
#ifndef _WIN32
  saved ? ::setenv("TZ", previous.c_str(), 1) : ::unsetenv("TZ");
  ::tzset();
#endif
}

TEST(OsHost, NamesThisComputer) {
  const std::string name = os_host::my_host().name();
  EXPECT_FALSE(name.empty());
  EXPECT_EQ(name.find_first_of(std::string(" \0", 2)), std::string::npos);
}

}  // namespace
