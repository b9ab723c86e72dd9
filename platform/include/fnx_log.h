#pragma once
// Logging and tracing inside the library: the lines that reach the host's
// sink (fnx_log_sink.h). Without a sink nothing is formatted, and a trace
// scope costs no allocation.
#include <cstdint>
#include <string>

#include "fnx_log_sink.h"

// True when a line of this severity would reach a sink.
bool FnxLogEnabled(int severity) noexcept;

struct LogSeverity {
  int value;
};

struct CLogMsgFlush {};
inline constexpr CLogMsgFlush flush{};

// One log line in the making. flush hands the line to the sink and starts a
// new one, so one object may be flushed more than once.
class CLogMsg {
 public:
  CLogMsg(const char* name1, const char* name2, int severity);
  CLogMsg(const CLogMsg&) = delete;
  CLogMsg& operator=(const CLogMsg&) = delete;

  CLogMsg& operator<<(LogSeverity severity);
  CLogMsg& operator<<(const char* text);
  CLogMsg& operator<<(const std::string& text);
  CLogMsg& operator<<(unsigned long value);
  CLogMsg& operator<<(long long value);
  CLogMsg& operator<<(CLogMsgFlush);

 private:
  const char* m_component;  // null or the second name
  int m_severity;
  bool m_enabled;  // by the constructor or a streamed LogSeverity; off: nothing is formatted
  std::string m_line;
};

// One ordinary line of the library (severity 1, no component) from the values
// in order; nothing is formatted when no sink takes it.
template <typename... Values>
void FnxLogLine(const Values&... values) {
  if (!FnxLogEnabled(1)) return;
  CLogMsg log(nullptr, nullptr, 1);
  (log << ... << values) << flush;
}

// A trace scope: reports entry and exit of a labelled operation.
class CFnx_Dal_Trace {
 public:
  explicit CFnx_Dal_Trace(const char* label) noexcept;
  ~CFnx_Dal_Trace();
  CFnx_Dal_Trace(const CFnx_Dal_Trace&) = delete;
  CFnx_Dal_Trace& operator=(const CFnx_Dal_Trace&) = delete;

 private:
  const char* m_label;  // null when tracing was off at entry
};
