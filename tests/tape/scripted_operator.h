#pragma once
// The operator at the console, played from a second thread: it polls the
// operator table for the device's question, checks its text and options
// against a script, does the step's action (a cartridge change) and answers.
//
// A question is told from the one before by the "Backup request: " line that
// the device logs before it asks: the waiting flag alone cannot tell two
// questions in a row apart. The script installs the log sink that counts
// them, so only one script may run at a time.
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "dal_operator.h"

struct OperatorStep {
  std::string question;              // the exact text expected
  std::vector<std::string> options;  // the exact options expected, in order
  std::string answer;                // the option chosen; any other text answers past the list
  std::function<void()> action = {}; // done before answering
};

extern const std::vector<std::string> kRetryCancel;
extern const std::vector<std::string> kRetryCancelUse;
extern const std::string kUse;

class ScriptedOperator {
 public:
  ScriptedOperator(const CFnx_Dal_OperatorItemID& id, std::vector<OperatorStep> steps);
  ScriptedOperator(const ScriptedOperator&) = delete;
  ScriptedOperator& operator=(const ScriptedOperator&) = delete;
  ~ScriptedOperator();

  // Call once the device call has returned or thrown: stops the thread and
  // returns what went against the script (empty when all went by it).
  // Questions beyond the script are answered "Cancel" and reported.
  std::vector<std::string> Finish();
  // The texts of all questions seen; valid after Finish.
  const std::vector<std::string>& questions() const { return m_questions; }

 private:
  void Run();

  const CFnx_Dal_OperatorItemID m_id;
  const std::vector<OperatorStep> m_steps;
  std::atomic<int> m_asked{0};  // "Backup request: " lines logged so far
  std::atomic<bool> m_stop{false};
  std::vector<std::string> m_errors;     // written by the thread, read after join
  std::vector<std::string> m_questions;  // likewise
  std::thread m_thread;
};
