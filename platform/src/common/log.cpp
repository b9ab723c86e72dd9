#include <atomic>
#include <mutex>

#include "fnx_log.h"

namespace {

struct LogSink {
  std::mutex lock;  // guards callback and context, and serialises calls
  FnxLogCallback callback = nullptr;
  void* context = nullptr;
  std::atomic<int> level{-1};  // -1: no sink; read without the lock
};

LogSink& Sink() {
  static LogSink sink;
  return sink;
}

void Deliver(int severity, const char* component, const std::string& text) {
  LogSink& sink = Sink();
  std::lock_guard<std::mutex> guard(sink.lock);
  if (sink.callback && severity <= sink.level.load(std::memory_order_relaxed)) {
    sink.callback(severity, component, text.c_str(), sink.context);
  }
}

}  // namespace

extern "C" void Fnx_SetLogSink(int level, FnxLogCallback callback, void* context) {
  LogSink& sink = Sink();
  std::lock_guard<std::mutex> guard(sink.lock);
  sink.callback = callback;
  sink.context = context;
  sink.level.store(callback ? level : -1, std::memory_order_relaxed);
}

bool FnxLogEnabled(int severity) noexcept {
  return severity <= Sink().level.load(std::memory_order_relaxed);
}

CLogMsg::CLogMsg(const char* name1, const char* name2, int severity)
    : m_component(name2 ? name2 : name1), m_severity(severity), m_enabled(FnxLogEnabled(severity)) {}

// The severity streamed before the text is the one the line is reported and
// filtered with: a line built at another severity is switched on or off here.
CLogMsg& CLogMsg::operator<<(LogSeverity severity) {
  m_severity = severity.value;
  m_enabled = FnxLogEnabled(m_severity);
  return *this;
}

CLogMsg& CLogMsg::operator<<(const char* text) {
  if (m_enabled && text) m_line += text;
  return *this;
}

CLogMsg& CLogMsg::operator<<(const std::string& text) {
  if (m_enabled) m_line += text;
  return *this;
}

CLogMsg& CLogMsg::operator<<(unsigned long value) {
  if (m_enabled) m_line += std::to_string(value);
  return *this;
}

CLogMsg& CLogMsg::operator<<(long long value) {
  if (m_enabled) m_line += std::to_string(value);
  return *this;
}

CLogMsg& CLogMsg::operator<<(CLogMsgFlush) {
  if (m_enabled) Deliver(m_severity, m_component, m_line);
  m_line.clear();
  return *this;
}

CFnx_Dal_Trace::CFnx_Dal_Trace(const char* label) noexcept
    : m_label(FnxLogEnabled(FNX_TRACE_SEVERITY) ? label : nullptr) {
  if (m_label) {
    try {
      Deliver(FNX_TRACE_SEVERITY, nullptr, std::string("enter ") + m_label);
    } catch (...) {
      // A trace line that cannot be made must not change what is traced.
    }
  }
}

CFnx_Dal_Trace::~CFnx_Dal_Trace() {
  if (m_label) {
    try {
      Deliver(FNX_TRACE_SEVERITY, nullptr, std::string("leave ") + m_label);
    } catch (...) {
    }
  }
}
