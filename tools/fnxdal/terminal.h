#pragma once
// What the tool needs to know of its terminal: whether a stream is one,
// binary standard streams on Windows, and a progress line on standard error.
#include <chrono>
#include <cstdint>
#include <string>

namespace fnxdal {

bool StdinIsTerminal();
bool StderrIsTerminal();
// Standard output carries document bytes unchanged (no line-end translation).
void SetStdoutBinary();

// "label: 12.0 MiB, 40.1 MiB/s, volume V" on one rewritten line of standard
// error, at most a few times a second; nothing when standard error is not a
// terminal.
class Progress {
 public:
  explicit Progress(std::string label);
  ~Progress();  // ends the line
  void Add(std::uint64_t bytes, const std::string& volume = std::string());

 private:
  std::string m_label;
  bool m_shown;
  std::uint64_t m_bytes = 0;
  std::chrono::steady_clock::time_point m_start;
  std::chrono::steady_clock::time_point m_last;
};

}  // namespace fnxdal
