#pragma once
// Logging and tracing. The library writes no file and reads no environment
// variable: lines go to a sink that the host installs with Fnx_SetLogSink.
// Without a sink nothing is formatted, and a trace scope costs no allocation.
//
// Severity: 1 is an ordinary line of the library, 5 the operator dialogue,
// FNX_TRACE_SEVERITY the entry and exit of a traced scope. A line reaches the
// sink when its severity is at most the level given with the sink.
#include <cstdint>
#include <string>

#include "fnx_export.h"

extern "C" {
// component: null, or the name given to CLogMsg ("media-request").
typedef void (*FnxLogCallback)(int severity, const char* component, const char* text,
                               void* context);

// Installs the sink (null callback: none). Thread-safe; the callback may be
// called from any thread that uses the library, one call at a time. Once this
// returns, the previous callback is never called again, so its context may go.
// The callback must neither log through the library nor install a sink: it
// runs under the sink's lock and would wait on itself.
FNX_API void Fnx_SetLogSink(int level, FnxLogCallback callback, void* context);
}

inline constexpr int FNX_TRACE_SEVERITY = 9;

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
