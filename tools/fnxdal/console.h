#pragma once
// The operator console: runs beside a backup or restore in the same process
// and answers the questions that the tape logic asks through the process's
// operator table.
//
// Line grammar: a number (the option's number as shown, from 1) or an
// option's text answers the open question; "insert CARTRIDGE", "eject" and
// "status" work on a virtual drive. On a terminal each line acts at once; on
// any other standard input (a script playing the operator) each line waits
// until a question is open, so that "insert C002" then "Retry" act in step
// with the run. Lines left over when the run ends are never read.
#include <atomic>
#include <memory>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace fnxdal {

class LineSource;

class OperatorConsole {
 public:
  // vtapeDirectory: the library directory of a virtual drive, empty for a
  // real drive (insert, eject and status are then refused). Lines come from
  // standard input, or from script when one is given (as from a script on
  // standard input: each waits for a question).
  explicit OperatorConsole(std::string vtapeDirectory, std::vector<std::string> script = {});
  ~OperatorConsole();  // stops watching; a question still open stays open
  OperatorConsole(const OperatorConsole&) = delete;
  OperatorConsole& operator=(const OperatorConsole&) = delete;

 private:
  void Run();
  // Shows every waiting question not shown yet, and status lines that changed.
  bool ShowTable();
  void Apply(const std::string& line);

  std::string m_vtapeDirectory;
  bool m_scripted;
  std::shared_ptr<LineSource> m_lines;
  std::atomic<bool> m_stop{false};
  std::string m_shown;  // what was last printed of the table
  // Items answered, with when: an item still shows as waiting until its
  // asker wakes, and must not be answered twice. One that still waits a
  // second later was asked again.
  std::map<std::string, std::chrono::steady_clock::time_point> m_answered;
  bool Answered(const std::string& key);
  std::thread m_thread;
};

}  // namespace fnxdal
