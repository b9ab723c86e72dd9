#include <ctime>
#include <tuple>

#include "os_datetime.h"

namespace {

// "%D" spelled out: the Windows C runtime's strftime does not know it.
std::string Portable(const std::string& format) {
  std::string portable;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] == '%' && i + 1 < format.size()) {
      const char code = format[++i];
      portable += code == 'D' ? std::string("%m/%d/%y") : std::string{'%', code};
    } else {
      portable += format[i];
    }
  }
  return portable;
}

std::string Format(const std::string& format, const std::tm& fields) {
  char text[128];
  const std::size_t length = std::strftime(text, sizeof text, Portable(format).c_str(), &fields);
  return std::string(text, length);
}

}  // namespace

os_date os_date::today() {
  const os_local_now now = os_read_local_now();
  return os_date(now.month, now.day, now.year);
}

std::string os_date::to_string(const std::string& format) const {
  std::tm fields{};
  fields.tm_year = m_year - 1900;
  fields.tm_mon = m_month - 1;
  fields.tm_mday = m_day;
  return Format(format, fields);
}

bool os_date::operator>(const os_date& other) const {
  return std::tie(m_year, m_month, m_day) > std::tie(other.m_year, other.m_month, other.m_day);
}

os_time os_time::now() {
  const os_local_now now = os_read_local_now();
  return os_time(now.hour, now.minute, now.second, 0);
}

std::string os_time::to_string(const std::string& format) const {
  std::tm fields{};
  fields.tm_hour = m_hour;
  fields.tm_min = m_minute;
  fields.tm_sec = m_second;
  return Format(format, fields);
}
