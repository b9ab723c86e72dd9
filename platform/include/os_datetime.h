#pragma once
// Local date and time of the toolkit, formatted with strftime codes
// ("%m_%d_%Y", "%Y.%m.%d", "%D", "%H%M%S", "%H.%M.%S", "%H:%M:%S").
#include <string>

class os_date {
 public:
  os_date() = default;  // 0/0/0: earlier than every real day
  os_date(int month, int day, int year) : m_month(month), m_day(day), m_year(year) {}
  static os_date today();

  std::string to_string(const std::string& format) const;
  bool operator>(const os_date& other) const;
  bool operator==(const os_date& other) const = default;

  int month() const { return m_month; }
  int day() const { return m_day; }
  int year() const { return m_year; }

 private:
  int m_month = 0;
  int m_day = 0;
  int m_year = 0;
};

class os_time {
 public:
  os_time() = default;
  os_time(int hour, int minute, int second, int hundredths)
      : m_hour(hour), m_minute(minute), m_second(second) { (void)hundredths; }
  static os_time now();

  std::string to_string(const std::string& format) const;

  int hour() const { return m_hour; }
  int minute() const { return m_minute; }
  int second() const { return m_second; }

 private:
  int m_hour = 0;
  int m_minute = 0;
  int m_second = 0;
};

// The local broken-down time of now, for both classes (platform specific).
struct os_local_now {
  int year, month, day, hour, minute, second;
};
os_local_now os_read_local_now();
