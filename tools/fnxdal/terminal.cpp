#include "terminal.h"

#include <cstdio>
#include <iostream>
#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#define FNXDAL_ISATTY _isatty
#define FNXDAL_FILENO _fileno
#else
#include <unistd.h>
#define FNXDAL_ISATTY isatty
#define FNXDAL_FILENO fileno
#endif

namespace fnxdal {

bool StdinIsTerminal() { return FNXDAL_ISATTY(FNXDAL_FILENO(stdin)) != 0; }
bool StderrIsTerminal() { return FNXDAL_ISATTY(FNXDAL_FILENO(stderr)) != 0; }

void SetStdoutBinary() {
#if defined(_WIN32)
  _setmode(_fileno(stdout), _O_BINARY);
#endif
}

Progress::Progress(std::string label)
    : m_label(std::move(label)), m_shown(StderrIsTerminal()), m_start(std::chrono::steady_clock::now()),
      m_last(m_start) {}

Progress::~Progress() {
  if (m_shown && m_bytes > 0) std::cerr << "\n";
}

void Progress::Add(std::uint64_t bytes, const std::string& volume) {
  m_bytes += bytes;
  if (!m_shown) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - m_last < std::chrono::milliseconds(250)) return;
  m_last = now;
  const double seconds = std::chrono::duration<double>(now - m_start).count();
  const double mib = static_cast<double>(m_bytes) / (1024.0 * 1024.0);
  char line[160];
  std::snprintf(line, sizeof line, "\r%s: %.1f MiB, %.1f MiB/s%s%s   ", m_label.c_str(), mib,
                seconds > 0 ? mib / seconds : 0.0, volume.empty() ? "" : ", volume ", volume.c_str());
  std::cerr << line << std::flush;
}

}  // namespace fnxdal
