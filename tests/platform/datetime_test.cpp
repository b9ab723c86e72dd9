// os_date and os_time: the formats that name directories, files and tape
// labels, the order of days, and the local clock; os_host.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "os_datetime.h"
#include "os_host.h"

namespace {

TEST(OsDate, Formats) {
  struct Case {
    os_date date;
    const char* format;
    const char* text;
  };
  const Case cases[] = {
      {os_date(11, 23, 2026), "%m_%d_%Y", "11_23_2026"},
      {os_date(1, 5, 2026), "%m_%d_%Y", "01_05_2026"},
      {os_date(11, 23, 2026), "%Y.%m.%d", "2026.11.23"},
      {os_date(2, 9, 2031), "%Y.%m.%d", "2031.02.09"},
      {os_date(11, 23, 2026), "%D", "11/23/26"},
      {os_date(1, 2, 2003), "%D", "01/02/03"},
      {os_date(12, 31, 1999), "%D", "12/31/99"},
      {os_date(2, 29, 2000), "%m_%d_%Y", "02_29_2000"},
      {os_date(7, 4, 2026), "%%D is %D", "%D is 07/04/26"},  // an escaped % is no code
  };
  for (const Case& c : cases) EXPECT_EQ(c.date.to_string(c.format), c.text) << c.format;
}

TEST(OsDate, LaterDaysCompareGreater) {
  struct Case {
    os_date later;
    os_date earlier;
  };
  const Case cases[] = {
      {os_date(11, 24, 2026), os_date(11, 23, 2026)},
      {os_date(12, 1, 2026), os_date(11, 30, 2026)},
      {os_date(1, 1, 2027), os_date(12, 31, 2026)},  // the year outranks month and day
      {os_date(1, 1, 1970), os_date()},              // the default day precedes all
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(c.later > c.earlier) << c.later.to_string("%Y.%m.%d");
    EXPECT_FALSE(c.earlier > c.later) << c.later.to_string("%Y.%m.%d");
    EXPECT_FALSE(c.later > c.later);
  }
}

TEST(OsTime, Formats) {
  struct Case {
    os_time time;
    const char* format;
    const char* text;
  };
  const Case cases[] = {
      {os_time(9, 5, 7, 0), "%H%M%S", "090507"},
      {os_time(23, 59, 59, 0), "%H%M%S", "235959"},
      {os_time(0, 0, 0, 0), "%H.%M.%S", "00.00.00"},
      {os_time(14, 3, 30, 0), "%H.%M.%S", "14.03.30"},
      {os_time(14, 3, 30, 0), "%H:%M:%S", "14:03:30"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.time.to_string(c.format), c.text) << c.format;
}

// The broken-down local time of a moment, read through the C library.
std::tm Local(std::time_t moment) {
  std::tm fields{};
#ifdef _WIN32
  localtime_s(&fields, &moment);
#else
  localtime_r(&moment, &fields);
#endif
  return fields;
}

// today and now read the local clock: compared with the C library's local
// time read just before and after (a second may tick in between).
void ExpectLocalNow() {
  const std::time_t before = std::time(nullptr);
  const os_date today = os_date::today();
  const os_time now = os_time::now();
  const std::time_t after = std::time(nullptr);
  bool matched = false;
  for (std::time_t moment = before; moment <= after && !matched; ++moment) {
    const std::tm local = Local(moment);
    matched = today == os_date(local.tm_mon + 1, local.tm_mday, local.tm_year + 1900) &&
              now.hour() == local.tm_hour && now.minute() == local.tm_min && now.second() == local.tm_sec;
  }
  EXPECT_TRUE(matched) << today.to_string("%Y.%m.%d") << " " << now.to_string("%H:%M:%S");
}

TEST(OsDateTime, TodayAndNowAreLocal) { ExpectLocalNow(); }

#ifndef _WIN32
// In a zone far from UTC a clock read as UTC shows. POSIX only: the zone is
// set through TZ, which the Windows runtime reads differently.
TEST(OsDateTime, TodayAndNowFollowTheLocalZone) {
  const char* saved = std::getenv("TZ");
  const std::string previous = saved ? saved : "";
  ::setenv("TZ", "FNX-9:30", 1);
  ::tzset();
  ExpectLocalNow();
  if (saved) {
    ::setenv("TZ", previous.c_str(), 1);
  } else {
    ::unsetenv("TZ");
  }
  ::tzset();
}
#endif

TEST(OsHost, NamesThisComputer) {
  const std::string name = os_host::my_host().name();
  EXPECT_FALSE(name.empty());
  EXPECT_EQ(name.find('\0'), std::string::npos);
  EXPECT_EQ(name.find(' '), std::string::npos);
}

}  // namespace
